#pragma once

#include "scan/files/input_file.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/point_check.h"

#include <brisko_scan/text.h>

#include <cstdint>
#include <optional>
#include <string>

namespace brisko::scan {

/// What the checks of both native formats share: a header, then blocks whose points are looked at.
template <class Header>
class NativeScanCheck {
public:
    NativeScanCheck(ScanCheck& check, const ProgressFunction& progress)
        : m_check(check), m_stream(check.path), m_progressOf(progress) {
        readHeader(m_header, check.path);
    }

protected:
    void add(const char* kind, std::optional<std::uint64_t> block, std::uint64_t offset,
             const std::string& text) {
        m_check.findings.add({kind, m_check.path, block, offset, text});
    }
    void addUnknownFormat(std::uint64_t offset, const std::string& known) {
        add("header", {}, offset,
            "point format " + std::to_string(m_header.GetPointFormat()) + " is not one of " +
                known);
    }
    void addMissingBlock(std::uint64_t block, std::uint64_t offset) {
        add("block", block, offset,
            "the file ends before it; the header announces " +
                countOf(m_header.GetBlockCount(), "block"));
    }

    bool hasWholeHeader(std::uint64_t size) {
        if (m_stream.size() >= size) return true;
        add("header", {}, m_stream.size(), "the file ends inside its header");
        return false;
    }

    /// From here on points can be added and progress shows.
    ///   moreBytes  that are read besides the scan's own
    void beginBlocks(std::uint64_t headerSize, std::uint64_t moreBytes) {
        m_progress.emplace(m_progressOf, "check", m_stream.size() + moreBytes, "bytes");
        m_points.emplace(m_check, m_header);
        m_stream.seek(headerSize);
    }
    void finish() {
        m_points->finish();
        checkAlignmentFile(m_check);
    }

    static constexpr std::uint64_t kShowEvery = 1 << 14;  // records

    ScanCheck& m_check;
    ByteStream m_stream;
    const ProgressFunction& m_progressOf;
    Header m_header;
    std::optional<TaskProgress> m_progress;
    std::optional<PointCheck> m_points;
};

}  // namespace brisko::scan
