#include <brisko_scan/scan_error.h>

#include <brisko_scan/findings.h>
#include <brisko_scan/text.h>

namespace brisko::scan {
namespace {

std::string placeText(const FilePlace& place) {
    std::string text;
    if (place.block) text += "block " + std::to_string(*place.block);
    if (place.offset) {
        text += (text.empty() ? "" : ", ") + ("byte " + std::to_string(*place.offset));
    }
    return text.empty() ? text : text + ": ";
}

std::string errorText(const std::string& file, const FilePlace& place, const std::string& reason,
                      const std::string& advice) {
    return (file.empty() ? "" : file + ": ") + placeText(place) + reason +
           (advice.empty() ? "" : "; " + advice);
}

}  // namespace

ScanError::ScanError(ErrorKind kind, const std::string& file, const std::string& reason,
                     const std::string& advice)
    : ScanError(kind, file, FilePlace{}, reason, advice) {
}

ScanError::ScanError(ErrorKind kind, const std::string& file, const FilePlace& place,
                     const std::string& reason, const std::string& advice)
    : std::runtime_error(errorText(file, place, reason, advice)),
      m_kind(kind),
      m_file(file),
      m_place(place),
      m_reason(reason),
      m_advice(advice) {
}

ScanError ScanError::damage(const Finding& finding, const std::string& advice) {
    return {
        ErrorKind::Damaged, finding.file, {finding.block, finding.offset}, finding.text, advice};
}

ScanError::~ScanError() = default;

std::string countOf(std::uint64_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace brisko::scan
