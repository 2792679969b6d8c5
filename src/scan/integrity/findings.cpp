#include <brisko_scan/findings.h>

#include <algorithm>

namespace brisko::scan {

std::string findingText(const Finding& finding) {
    std::string text = finding.file + ": ";
    if (finding.block) text += "block " + std::to_string(*finding.block);
    if (finding.block && finding.offset) text += ", ";
    if (finding.offset) text += "byte " + std::to_string(*finding.offset);
    if (finding.block || finding.offset) text += ": ";
    return text + finding.text;
}

void Findings::add(Finding finding) {
    const bool kept = isKept(finding.kind);
    ++m_counts[finding.kind];
    if (kept) m_kept.push_back(std::move(finding));
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
