#pragma once

#include <brisko_scan/export.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// The advice of an error about damage.
inline constexpr const char* kRepairAdvice = "'brisko repair' salvages what is left";

/// The kind of a point outside the header's angles: a doubt, and no damage of the file.
inline constexpr const char* kAngleFinding = "angle";

/// Something that is not as it should be, and where.
struct Finding {
    std::string kind;  // "block", "entry", "coordinate" and so on
    std::string file;
    std::optional<std::uint64_t> block;   // of the scan; blocks and tiles count from 0
    std::optional<std::uint64_t> offset;  // bytes from the start of the file
    std::string text;
};

/// "scan.cl3: block 3, byte 4711: ...".
BRISKO_SCAN_EXPORT std::string findingText(const Finding& finding);

/// What was found in a scan. Of each kind the first ones are kept and all are counted: a million bad
/// points do not hide a bad block, and do not fill the memory.
class BRISKO_SCAN_EXPORT Findings {
public:
    explicit Findings(std::size_t most) : m_most(most) {}
    /// How many of a kind are kept.
    std::size_t most() const { return m_most; }

    void add(Finding finding);
    /// Adds those of a later part of the scan, of which as many of a kind were kept.
    void add(const Findings& later);
    /// Whether another one of the kind would be kept, or is only counted.
    bool isKept(const std::string& kind) const;
    /// Forgets all of a kind.
    void drop(const std::string& kind);

    bool empty() const { return m_kept.empty(); }
    const std::vector<Finding>& kept() const { return m_kept; }
    /// All of them, also those that are not kept.
    std::uint64_t count() const;
    /// How many of each kind are not kept.
    std::map<std::string, std::uint64_t> unlisted() const;

private:
    std::size_t m_most;  // of a kind
    std::vector<Finding> m_kept;
    std::map<std::string, std::uint64_t> m_counts;
};

}  // namespace brisko::scan
