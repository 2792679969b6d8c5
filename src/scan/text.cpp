#include <brisko_scan/text.h>

namespace brisko::scan {

std::string countOf(std::uint64_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace brisko::scan
