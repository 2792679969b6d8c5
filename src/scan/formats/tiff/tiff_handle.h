#pragma once

#include <memory>
#include <string>

struct tiff;

namespace brisko::scan::tiff {

/// An open TIFF file of libtiff with its own place for messages, so that threads do not share it.
class Handle {
public:
    /// mode: as TIFFOpen takes it. Throws ScanError(NotWritten).
    Handle(const std::string& path, const std::string& shownPath, const char* mode);
    ::tiff* get() const { return m_file.get(); }
    /// After the last call; what was not written by then shows nowhere.
    void close() { m_file.reset(); }

    /// Throws ScanError(NotWritten) with the system's reason (errno), or the library's.
    [[noreturn]] void fail() const;
    [[noreturn]] void fail(const std::string& reason) const;

private:
    struct Closer {
        void operator()(::tiff* file) const;
    };

    std::string m_shownPath;
    std::unique_ptr<std::string>
        m_problem;  // what the library said last; where it is, must not change
    std::unique_ptr<::tiff, Closer> m_file;
};

}  // namespace brisko::scan::tiff
