#pragma once

#include "panorama/picture.h"

#include <string>

namespace brisko::tool {

/// Writes a picture. Throws Failure(NotWritten), naming shownPath.
void writePng(const Picture& picture, const std::string& path, const std::string& shownPath);

}  // namespace brisko::tool
