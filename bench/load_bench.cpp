// Loads the library as a host's plug-in would, and tells how long that took and how many shared objects
// the process then holds. It links nothing of the library; a fresh process is one measurement.

#include <dlfcn.h>
#include <link.h>
#include <chrono>
#include <cstddef>
#include <cstdio>

namespace {

int countObject(dl_phdr_info* info, std::size_t /*size*/, void* count) {
    // The program itself has no name; the kernel's page is no file.
    const char* const name = info->dlpi_name;
    if (name && name[0] == '/') ++*static_cast<int*>(count);
    return 0;
}

}  // namespace

int main() {
    const auto start = std::chrono::steady_clock::now();
    if (!dlopen(BRISKO_LIBRARY, RTLD_NOW)) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    int objects = 0;
    dl_iterate_phdr(countObject, &objects);
    std::printf("ms=%.3f objects=%d\n", took.count(), objects);
    return 0;
}
