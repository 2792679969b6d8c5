#include "pcplib/files/part_file_name.h"

#include "base/companion_path.h"

namespace QelPcpLib {

std::string partFileName(std::string_view path, std::string_view extension, int part) {
    std::string ending;
    if (part > 1) ending.append("_").append(std::to_string(part));
    return brisko::companionForWriting(path, ending.append(extension));
}

}  // namespace QelPcpLib
