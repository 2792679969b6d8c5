#include "pcplib/files/part_file_name.h"

#include "base/companion_path.h"

namespace QelPcpLib {

std::string partFileName(std::string_view path, std::string_view extension, int part) {
    const std::string number = part > 1 ? "_" + std::to_string(part) : std::string();
    return brisko::companionForWriting(path, number + std::string(extension));
}

}  // namespace QelPcpLib
