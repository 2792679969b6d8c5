#include <brisko_scan/findings.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>

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

std::string findingText(const Finding& finding) {
    return finding.file + ": " + placeText({finding.block, finding.offset}) + finding.text;
}

void Findings::add(Finding finding) {
    const bool kept = isKept(finding.kind);
    ++m_counts[finding.kind];
    if (kept) m_kept.push_back(std::move(finding));
}

void Findings::add(const Findings& later) {
    std::map<std::string, std::uint64_t> onlyCounted = later.m_counts;
    for (const Finding& finding : later.m_kept) {
        add(finding);
        --onlyCounted[finding.kind];
    }
    for (const auto& [kind, count] : onlyCounted)
        if (count > 0) m_counts[kind] += count;
}

bool Findings::isKept(const std::string& kind) const {
    const auto found = m_counts.find(kind);
    return found == m_counts.end() || found->second < m_most;
}

void Findings::drop(const std::string& kind) {
    std::erase_if(m_kept, [&](const Finding& finding) { return finding.kind == kind; });
    m_counts.erase(kind);
}

std::uint64_t Findings::count() const {
    std::uint64_t sum = 0;
    for (const auto& [kind, count] : m_counts)
        sum += count;
    return sum;
}

std::map<std::string, std::uint64_t> Findings::unlisted() const {
    std::map<std::string, std::uint64_t> left;
    for (const auto& [kind, count] : m_counts) {
        if (count > m_most) left[kind] = count - m_most;
    }
    return left;
}

}  // namespace brisko::scan
