#pragma once

#include <brisko_scan/export.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace brisko::scan {

struct Finding;

/// What kind of failure ended a call.
enum class ErrorKind {
    Request,     // what was asked for makes no sense, or not for this scan
    Damaged,     // an input is damaged or cannot be read
    NotWritten,  // an output could not be written
    Cancelled,   // the progress function answered false
};

/// A place in a file.
struct FilePlace {
    std::optional<std::uint64_t> block;   // of the scan; blocks and tiles count from 0
    std::optional<std::uint64_t> offset;  // bytes from the start of the file
};

/// The failure of a call of this library. Nothing of an output that failed is left.
///   what()  "scan.cl3: block 3, byte 4711: reason; advice"; a file's name is in it as it is, so that a
///           program that shows the text on a terminal has to escape control characters
class BRISKO_SCAN_EXPORT ScanError : public std::runtime_error {
public:
    /// file: UTF-8; empty where no file is at fault. advice: what the user can do; may be empty.
    ScanError(ErrorKind kind, const std::string& file, const std::string& reason,
              const std::string& advice = {});
    ScanError(ErrorKind kind, const std::string& file, const FilePlace& place,
              const std::string& reason, const std::string& advice = {});
    ~ScanError() override;

    /// The error of what was found in a damaged file.
    static ScanError damage(const Finding& finding, const std::string& advice);

    ErrorKind kind() const { return m_kind; }
    const std::string& file() const { return m_file; }
    const FilePlace& place() const { return m_place; }
    const std::string& reason() const { return m_reason; }
    const std::string& advice() const { return m_advice; }

private:
    ErrorKind m_kind;
    std::string m_file;
    FilePlace m_place;
    std::string m_reason;
    std::string m_advice;
};

}  // namespace brisko::scan
