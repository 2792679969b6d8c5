#pragma once

#include <string_view>

namespace brisko::scan {

/// The page that shows scans, from viewer/ as it is: everything before the scans, and after them.
/// Between the two lie a script element for the points of each scan and one that describes them all.
struct ViewPage {
    std::string_view head;
    std::string_view tail;
};

/// Defined by a source that the build makes of the files in viewer/.
ViewPage viewPage();

}  // namespace brisko::scan
