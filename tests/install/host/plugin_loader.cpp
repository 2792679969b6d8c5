#include "progress_host.h"

#include <dlfcn.h>
#include <cstdio>

/// A host that knows nothing of the library: a plug-in brings it, and neither shows its symbols.
int main(int, char** argv) {
    void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        std::puts(dlerror());
        return 2;
    }
    const auto follow =
        reinterpret_cast<decltype(&followProgress)>(dlsym(plugin, "followProgress"));
    return follow ? follow() : 3;
}
