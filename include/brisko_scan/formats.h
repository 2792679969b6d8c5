#pragma once

#include <brisko_scan/export.h>

#include <string>
#include <vector>

namespace brisko::scan {

/// A file format and what it can hold.
struct Format {
    const char* name;       // "CL3"
    const char* extension;  // ".cl3"; names in capitals are taken as well
    const char* about;      // what an output is, for help texts
    bool reads;
    bool writes;
    bool isNative;   // CL3 or CLR: with companions, and photos beside it
    bool needsGrid;  // an output needs the cells of its points
    bool keepsPose;  // the alignment, as a matrix
    bool keepsColour;
    bool keepsMissingReturns;  // a cell without a return stays a cell
};

/// All formats, in the order in which texts name them.
BRISKO_SCAN_EXPORT const std::vector<Format>& formats();

/// The format of a file by its name; null for a name that is none of theirs.
BRISKO_SCAN_EXPORT const Format* formatOf(const std::string& path);

/// ".cl3, .clr, .ptx": the extensions of the formats that are read, or written.
BRISKO_SCAN_EXPORT std::string readableExtensions();
BRISKO_SCAN_EXPORT std::string writableExtensions();

}  // namespace brisko::scan
