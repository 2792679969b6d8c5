#pragma once

#include "base/read_errors.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

/// The one way to the platform's files. Paths are UTF-8 everywhere else. Where a result could also mean
/// that nothing is there, a failure is noted in `errors` besides.
namespace brisko {

struct FileCloser {
    void operator()(std::FILE* file) const noexcept;
};

/// An open file that closes itself.
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a file as fopen does; not inherited by child processes.
/// Returns: null with errno set on failure: EINVAL for a path that is null, empty or not UTF-8 and
///          for anything that is not a regular file (a pipe or a device could block the host or never
///          end), EISDIR for a folder.
FilePtr openFile(const char* path, const char* mode, ReadErrors* errors = nullptr);

/// The file's length now, 0 when it is not known.
std::uint64_t fileLength(std::FILE* file, ReadErrors* errors = nullptr);

/// The length of the file of that name; 0 when it is no regular file or cannot be looked at.
std::uint64_t fileLength(const char* path, ReadErrors* errors = nullptr);

/// Distinguishes a file from others and from its own earlier states.
struct FileStamp {
    std::uint64_t device = 0, number = 0, length = 0;
    std::int64_t seconds = 0, nanoseconds = 0;  // of the last change of its content

    bool operator==(const FileStamp&) const = default;
    bool operator<(const FileStamp& other) const {
        return std::tie(device, number, length, seconds, nanoseconds) <
               std::tie(other.device, other.number, other.length, other.seconds, other.nanoseconds);
    }
};

/// The stamp of the regular file of that name; nothing when there is none or it cannot be looked at.
std::optional<FileStamp> fileStamp(const char* path);

/// Reads up to size bytes at an offset, leaving the stream's position alone. Returns the bytes read:
/// fewer only at the end of the file or after an error.
std::size_t readAt(std::FILE* file, std::uint64_t offset, void* out, std::size_t size,
                   ReadErrors* errors = nullptr);

/// Writes all bytes at an offset, past any buffer of the stream. Returns the bytes written: fewer
/// only after an error, with errno set.
std::size_t writeAt(std::FILE* file, std::uint64_t offset, std::span<const std::uint8_t> bytes);

/// Seeks with a 64-bit offset.
bool seekTo(std::FILE* file, std::uint64_t offset, ReadErrors* errors = nullptr);

/// Closes the file; false with errno set when its last bytes could not be written.
bool closeFile(FilePtr file);

/// Whether a file can be put there: nothing is there, or a regular file that may be written. Sets
/// errno when not.
bool isReplaceable(const std::string& path);

/// The path that a symbolic link leads to in the end, also where nothing is there yet; the path
/// itself when it is no link.
std::string resolveLinks(const std::string& path);

/// The folder of a path, with its last '/'; "." where the path has none.
std::string parentFolder(const std::string& path);

/// Whether two names lead to one file.
bool isSameFile(const std::string& a, const std::string& b, ReadErrors* errors = nullptr);

/// Brings a closed file from the system's memory to the disk.
///   between  called at least every few megabytes; what it throws ends the call
/// Returns false with errno set when the disk did not take it.
bool syncFile(const std::string& path, const std::function<void()>& between);

/// Whether anything is there, of whatever kind.
bool fileExists(const std::string& path, ReadErrors* errors = nullptr);

/// Visits the names of all entries of a folder, in no order. One that cannot be read has none.
void forEachEntry(const std::string& folder, const std::function<void(std::string_view)>& visit);

/// The names of the regular files in a folder, links to such included, in no order. A folder that
/// cannot be read has none.
std::vector<std::string> filesIn(const std::string& folder);

/// Bytes that can still be written in the folder of a path; the largest number when that is not known.
std::uint64_t freeSpaceBeside(const std::string& path);

/// Removes a file; a missing one counts as removed.
bool removeFile(const std::string& path);

}  // namespace brisko
