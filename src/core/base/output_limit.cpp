#include "base/output_limit.h"

#include "base/file.h"

namespace brisko {

bool isOutputReasonable(std::uint64_t outputBytes, std::uint64_t inputBytes,
                        const std::string& path) {
    return outputBytes <= largestOutputFor(inputBytes) && outputBytes <= freeSpaceBeside(path);
}

}  // namespace brisko
