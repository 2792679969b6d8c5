// What makes a fuzzing program of the one target that is linked into it.
//   NAME_fuzz --write-seeds FOLDER   writes the target's seeds into an existing folder
//   NAME_fuzz [libFuzzer's options]  fuzzes

#include "target.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    if (*argc == 3 && std::string((*argv)[1]) == "--write-seeds") {
        const std::string folder = (*argv)[2];
        int number = 0;
        for (const brisko::fuzz::Bytes& seed : brisko::fuzz::targets().at(0).seeds())
            brisko::test::writeFile(folder + "/seed" + std::to_string(number++), seed);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const brisko::fuzz::Target target = brisko::fuzz::targets().at(0);
    target.run({bytes, size});
    return 0;
}
