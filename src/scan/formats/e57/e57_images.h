#pragma once

#include "scan/formats/scan_input.h"

#include <brisko_scan/images.h>

#include <cstddef>
#include <string>
#include <vector>

namespace brisko::scan {

std::vector<EmbeddedImage> listE57Images(const std::string& path);

std::vector<PlacedImage> placeE57Images(const std::string& path);

/// Hands out the bytes of one picture. Throws ScanError(Damaged) where they do not lie inside the file.
void readE57Image(const std::string& path, std::size_t image, const ImageSink& sink);

}  // namespace brisko::scan
