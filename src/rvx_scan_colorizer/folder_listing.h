#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brisko {

/// The names of the regular files in a folder, in the order that case-blind file systems give: by
/// their upper-case letters (ASCII), then by bytes. So results do not depend on the file system.
/// Names that are not UTF-8 are passed over. A folder that cannot be read has no files.
std::vector<std::string> listFiles(const std::string& folder);

/// Whether the name of any entry of a folder holds a text: file, folder or whatever it is.
bool holdsEntryNamed(const std::string& folder, std::string_view part);

/// The folder that holds a file, as an absolute path without "." and "..".
std::string folderOf(const std::string& path);

}  // namespace brisko
