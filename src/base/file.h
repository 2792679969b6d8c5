#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>

/// The one way to the platform's files. Paths are UTF-8 everywhere else.
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
FilePtr openFile(const char* path, const char* mode);

/// The file's length now, 0 when it cannot be told.
std::uint64_t fileLength(std::FILE* file);

/// The length of the file of that name; 0 when it is no regular file or cannot be looked at.
std::uint64_t fileLength(const char* path);

/// Reads up to size bytes at an offset, leaving the stream's position alone. Returns the bytes read:
/// fewer only at the end of the file or after an error.
std::size_t readAt(std::FILE* file, std::uint64_t offset, void* out, std::size_t size);

/// Writes all bytes at an offset, past any buffer of the stream. Returns the bytes written: fewer
/// only after an error, with errno set.
std::size_t writeAt(std::FILE* file, std::uint64_t offset, std::span<const std::uint8_t> bytes);

/// Seeks with a 64-bit offset.
bool seekTo(std::FILE* file, std::uint64_t offset);

/// Closes the file; false with errno set when its last bytes could not be written.
bool closeFile(FilePtr file);

/// Gives a file a new content, complete or not at all: the text is written beside it and renamed.
/// Returns false with errno set on failure, also where the file is there and not writable; the file
/// is then as it was.
bool replaceFile(const char* path, std::string_view content);

/// Creates an empty file under a new name in the folder of a path, with an extension of its own, for
/// output that takes the path's name when it is complete. The name does not grow with the path's.
/// Returns: the new file's path; empty, with errno set, when it cannot be created.
std::string reserveBeside(const std::string& path, std::string_view extension);

/// Whether a file can take the path: nothing is there, or a regular file that may be written. Sets
/// errno when not.
bool isReplaceable(const std::string& path);

/// The path with all symbolic links in it followed; the path itself where nothing is there yet.
std::string resolvedPath(const std::string& path);

/// Whether anything is there, of whatever kind.
bool fileExists(const std::string& path);

/// Sees that what was written to a file (or to the names in a folder) is on the disk. Returns false
/// with errno set on failure.
bool flushToDisk(const std::string& path);

/// The folder of a path: "." where the path names none.
std::string folderOf(const std::string& path);

/// Bytes that can still be written to the disk of a path's folder.
std::uint64_t freeSpaceFor(const std::string& path);

/// Puts a finished file in the place of another. Returns false with errno set on failure.
bool renameFile(const std::string& from, const std::string& to);

/// Removes a file; a missing one counts as removed.
bool removeFile(const std::string& path);

}  // namespace brisko
