#include "base/checked.h"
#include "scan/files/input_file.h"
#include "scan/formats/pcd/pcd_blocks.h"
#include "scan/formats/ptx/line_reader.h"
#include "scan/formats/ptx/number_text.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

/// A line a point.
class AsciiBlocks : public PcdBlocks {
public:
    AsciiBlocks(const std::string& path, const PcdHeader& header) : m_path(path), m_header(header) {
        // "0 0 0" and the end of the line, which the last may lack.
        const auto bytes = checkedMultiply(header.points, 2 * header.values());
        if (!bytes || *bytes > InputFile(path).size() + 1) failPcdTooShort(path, header);
        m_roles.assign(header.fields.size(), kPcdRoles);
        for (std::size_t role = 0; role < kPcdRoles; ++role) {
            if (header.roles[role]) m_roles[*header.roles[role]] = role;
        }
        rewind();
    }

    bool fetch(PcdBlock& block) override {
        block.first = m_done;
        const std::uint64_t left = m_header.points - m_done;
        if (left == 0) requireEnd();
        if (left == 0) return false;
        if (!m_lines->take(block.lines)) {
            throw ScanError(ErrorKind::Damaged, m_path,
                            "the file ends after " + std::to_string(m_done) + " of " +
                                std::to_string(m_header.points) + " points");
        }
        takeLines(block, left);
        m_done += block.count;
        return true;
    }

    void decode(PcdBlock& block) const override {
        makePcdRoom(m_header, block);
        std::string_view text = block.lines.text();
        for (std::size_t i = 0; i < block.count; ++i) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            readPoint(withoutCarriageReturn(text.substr(0, end)), block, i);
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }

    void rewind() override {
        m_lines = std::make_unique<LineReader>(m_path);
        for (std::string_view line;
             m_lines->position() < m_header.dataOffset && m_lines->next(line);) {
        }
        m_done = 0;
    }

private:
    [[noreturn]] void fail(std::uint64_t line, const std::string& reason) const {
        throw ScanError(ErrorKind::Damaged, m_path, "line " + std::to_string(line) + ": " + reason);
    }

    /// Each line is a point; gives back what is after the last one.
    void takeLines(PcdBlock& block, std::uint64_t most) {
        const std::string_view text = block.lines.text();
        const std::uint64_t lines = countLineEnds(text) + (text.back() != '\n');
        block.count = static_cast<std::size_t>(std::min(lines, most));
        if (lines <= most) return;
        std::size_t end = 0;
        for (std::size_t i = 0; i < block.count; ++i)
            end = text.find('\n', end) + 1;
        m_lines->giveBack(block.lines, end);
    }

    void readPoint(std::string_view line, PcdBlock& block, std::size_t place) const {
        const std::uint64_t number = block.lines.before + place + 1;
        std::string separated;
        if (line.find(',') != line.npos) {
            separated = line;
            std::replace(separated.begin(), separated.end(), ',', ' ');
            line = separated;
        }
        for (std::size_t i = 0; i < m_header.fields.size(); ++i) {
            for (std::uint64_t k = 0; k < m_header.fields[i].count; ++k) {
                double value = 0;
                const bool isFirst = k == 0 && m_roles[i] < kPcdRoles;
                const bool isPacked =
                    isFirst && m_roles[i] == static_cast<std::size_t>(PcdRole::Packed);
                if (!(isPacked ? takePacked(line, value) : takeAny(line, value)))
                    fail(number, "not a number for each of " + std::to_string(m_header.values()) +
                                     " values of a point");
                if (isFirst) block.columns[m_roles[i]][place] = value;
            }
        }
        if (!isBlank(line))
            fail(number, "more than " + std::to_string(m_header.values()) + " numbers");
    }

    static std::string_view nextWord(std::string_view line) {
        const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
        return line.substr(begin, line.find_first_of(" \t", begin) - begin);
    }

    /// Also what is no finite number.
    static bool takeAny(std::string_view& line, double& value) {
        if (takeNumber(line, value)) return true;
        std::string_view word = nextWord(line);
        const auto after = static_cast<std::size_t>(word.data() + word.size() - line.data());
        if (word.starts_with('-') || word.starts_with('+')) word.remove_prefix(1);
        for (const char* known : {"nan", "NaN", "NAN", "inf", "Inf", "INF"}) {
            if (word != known) continue;
            line.remove_prefix(after);
            value = std::numeric_limits<double>::quiet_NaN();
            return true;
        }
        return false;
    }

    /// A number of digits only is the packed colour; another one is a float of the same bits.
    static bool takePacked(std::string_view& line, double& value) {
        const std::string_view word = nextWord(line);
        const bool isWhole =
            std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (!takeAny(line, value)) return false;
        constexpr double kMost = std::numeric_limits<std::uint32_t>::max();
        if (isWhole) return value <= kMost;
        const bool isFloat = std::abs(value) <= std::numeric_limits<float>::max();
        value = isFloat ? std::bit_cast<std::uint32_t>(static_cast<float>(value)) : 0;
        return true;
    }

    void requireEnd() {
        for (std::string_view line; m_lines->next(line);) {
            if (!isBlank(line)) {
                fail(m_lines->number(), "more points than the " + std::to_string(m_header.points) +
                                            " that the header announces");
            }
        }
    }

    std::string m_path;
    PcdHeader m_header;
    std::vector<std::size_t> m_roles;  // of the fields; kPcdRoles: none
    std::unique_ptr<LineReader> m_lines;
    std::uint64_t m_done = 0;
};

}  // namespace

std::unique_ptr<PcdBlocks> openPcdLines(const std::string& path, const PcdHeader& header) {
    return std::make_unique<AsciiBlocks>(path, header);
}

}  // namespace brisko::scan
