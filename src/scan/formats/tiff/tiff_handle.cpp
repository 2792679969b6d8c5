#include "scan/formats/tiff/tiff_handle.h"

#include <brisko_scan/scan_error.h>

#include <tiffio.h>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace brisko::scan::tiff {
namespace {

/// The message of a call that fails.
int noteProblem(TIFF*, void* problem, const char*, const char* format, std::va_list values) {
    std::array<char, 256> text{};
    static_cast<void>(std::vsnprintf(text.data(), text.size(), format, values));
    *static_cast<std::string*>(problem) = text.data();
    return 1;
}

int ignoreWarning(TIFF*, void*, const char*, const char*, std::va_list) {
    return 1;
}

}  // namespace

void Handle::Closer::operator()(::tiff* file) const {
    TIFFClose(file);
}

Handle::Handle(const std::string& path, const std::string& shownPath, const char* mode)
    : m_shownPath(shownPath), m_problem(std::make_unique<std::string>()) {
    errno = 0;
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(
        TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
    if (!options) fail();
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), noteProblem, m_problem.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreWarning, nullptr);
    m_file.reset(TIFFOpenExt(path.c_str(), mode, options.get()));
    if (!m_file) fail();
}

void Handle::fail() const {
    // The system's own reason says more than the library's, where there is one.
    fail(errno != 0 ? std::strerror(errno) : *m_problem);
}

void Handle::fail(const std::string& reason) const {
    throw ScanError(ErrorKind::NotWritten, m_shownPath,
                    "cannot be written" + (reason.empty() ? "" : ": " + reason));
}

}  // namespace brisko::scan::tiff
