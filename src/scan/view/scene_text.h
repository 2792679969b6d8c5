#pragma once

#include "scan/view/view_points.h"

#include <brisko_scan/scan_info.h>
#include <brisko_scan/view.h>

#include <string>
#include <vector>

namespace brisko::scan {

/// A text for JSON inside of a page: it cannot end the element that it stands in.
std::string quoted(const std::string& text);

/// What the page has to know of one scan: a JSON object.
std::string sceneScan(const ViewedScan& viewed, const ScanInfo& info, const ViewPoints& points);

/// The same of all: a JSON object with the objects of the scans.
/// and the photos.
std::string sceneText(const std::string& title, bool full, const std::vector<std::string>& scans,
                      const std::vector<std::string>& photos);

}  // namespace brisko::scan
