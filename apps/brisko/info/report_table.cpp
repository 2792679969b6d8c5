#include "info/report_table.h"

#include "common/message.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <ostream>

namespace brisko::tool {
namespace {

std::string gridText(bool hasGrid, std::uint32_t columns, std::uint32_t rows) {
    return hasGrid ? std::to_string(columns) + " x " + std::to_string(rows) : "-";
}

/// The share of cells with a return, and the distance that half of the points are beyond.
std::array<std::string, 2> summaryTexts(const std::optional<scan::PointSummary>& summary) {
    if (!summary || summary->points == 0) return {"-", "-"};
    char metres[32];
    std::snprintf(metres, sizeof metres, "%.2f m", summary->range.median);
    return {summary->cells > 0 ? percentOf(summary->points, summary->cells) : "-", metres};
}

std::string alignmentText(const Alignment& alignment) {
    return alignment.source == AlignmentSource::File ? "yes" : "no";
}

}  // namespace

void ReportTable::add(const scan::ScanReport& report) {
    const auto put = [&](const std::string& name, const std::optional<scan::PointSummary>& summary,
                         std::uint64_t records, const std::string& grid, const Alignment& alignment,
                         bool hasColour) {
        const auto [coverage, range] = summaryTexts(summary);
        m_rows.push_back({report.format->name, grid,
                          std::to_string(summary ? summary->points : records), coverage, range,
                          alignmentText(alignment), hasColour ? "yes" : "no", printable(name)});
    };
    if (report.scans.size() < 2) {
        put(report.path, report.summary, report.records,
            gridText(report.hasGrid, report.columns, report.rows), report.alignment,
            report.hasColour);
        return;
    }
    for (std::size_t i = 0; i < report.scans.size(); ++i) {
        const scan::ScanEntry& entry = report.scans[i];
        put(report.path + ", scan " + std::to_string(i + 1) +
                (entry.name.empty() ? "" : ": " + entry.name),
            entry.summary, entry.records, gridText(entry.hasGrid, entry.columns, entry.rows),
            entry.alignment, entry.hasColour);
    }
}

void ReportTable::print(std::ostream& out) const {
    if (m_rows.empty()) return;
    std::vector<Row> rows = {
        {"format", "grid", "points", "cells", "median", "matrix", "colour", "scan"}};
    rows.insert(rows.end(), m_rows.begin(), m_rows.end());
    std::array<std::size_t, kColumns> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < kColumns; ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    constexpr std::size_t kFirstNumber = 1, kEndOfNumbers = 5;  // these end below each other
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < kColumns; ++i) {
            const std::string blanks(widths[i] - row[i].size(), ' ');
            const bool isNumber = i >= kFirstNumber && i < kEndOfNumbers;
            out << (isNumber ? blanks + row[i] : row[i] + blanks) << "  ";
        }
        out << row.back() << "\n";
    }
}

}  // namespace brisko::tool
