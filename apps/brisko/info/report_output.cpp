#include "info/report_output.h"

#include "common/json.h"
#include "common/message.h"

#include <brisko_scan/photos.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace brisko::tool {
namespace {

/// A number as short as its digits allow; "-" where it is not finite.
std::string text(double value, int digits = 9) {
    if (!std::isfinite(value)) return "-";
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
    return buffer;
}

std::string orDash(const std::string& field) {
    const std::string stripped = withoutPadding(field);
    return stripped.empty() ? "-" : printable(stripped);
}

std::string span(float start, float stop, float step) {
    constexpr int kDigits = 7;  // of a float
    return text(static_cast<double>(start), kDigits) + " to " +
           text(static_cast<double>(stop), kDigits) + " by " +
           text(static_cast<double>(step), kDigits);
}

void headerLines(std::ostream& out, const CLFileHeader& header) {
    out << "  version    " << orDash(header.GetFileVersion()) << "\n";
    out << "  scanner    " << orDash(header.GetModelName()) << ", serial number "
        << orDash(header.GetSerialNumber()) << ", hardware " << orDash(header.GetHardwareVersion())
        << ", firmware " << orDash(header.GetFirmwareVersion()) << "\n";
    out << "  taken      " << orDash(header.GetDate()) << " " << orDash(header.GetTime())
        << ", temperature " << text(static_cast<double>(header.GetTemperature()), 7)
        << ", pressure " << text(static_cast<double>(header.GetPressure()), 7) << "\n";
    out << "  azimuth    "
        << span(header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(),
                header.GetDeltaAzimuthAngle())
        << "\n";
    out << "  zenith     "
        << span(header.GetStartZenithAngle(), header.GetStopZenithAngle(),
                header.GetDeltaZenithAngle())
        << "\n";
    out << "  records    point format " << unsigned{header.GetPointFormat()} << ", blocks "
        << header.GetBlockCount() << "\n";
}

/// Whether a place for colours is used only the points show.
std::string colourText(const ScanReport& report) {
    if (!report.hasColour) return "none";
    if (!report.summary) return "room for it; --count shows whether it is used";
    const auto [points, coloured] = std::pair(report.summary->points, report.summary->coloured);
    if (coloured == 0) return "none: all points are black";
    return std::to_string(coloured) + " of " + countOf(points, "point") + ", " +
           percentOf(coloured, points);
}

void alignmentLines(std::ostream& out, const Alignment& alignment) {
    out << "  alignment  " << sourceName(alignment.source) << "\n";
    if (alignment.source != AlignmentSource::File) return;
    for (int row = 0; row < 4; ++row) {
        out << "            ";
        for (int column = 0; column < 4; ++column) {
            out << " " << text(alignment.matrix[4 * row + column], 12);
        }
        out << "\n";
    }
}

void detailLines(std::ostream& out, const ScanReport& report) {
    constexpr std::size_t kWidth = 11;
    for (const auto& [name, what] : report.details) {
        const std::string shown = withoutPadding(what);
        out << "  " << printable(name)
            << std::string(name.size() < kWidth ? kWidth - name.size() : 1, ' ')
            << (shown.empty() ? "-" : printable(shown)) << "\n";
    }
}

void photoLines(std::ostream& out, const scan::StationPhotos& photos) {
    if (photos.photos.empty()) return;
    out << "  photos     " << scan::photosText(photos) << "\n";
    for (const std::string& reason : scan::ignoredTexts(photos))
        out << "             " << printable(reason) << "\n";
    for (const scan::PhotoTrouble& trouble : scan::troublesOf(photos))
        out << "             " << printable(scan::troubleText(trouble)) << "\n";
    for (const std::string& remark : scan::remarksOn(photos))
        out << "             " << printable(remark) << "\n";
}

std::string spreadText(const scan::ValueSpread& spread) {
    constexpr int kDigits = 5;
    return "mean " + text(spread.mean, kDigits) + ", median " + text(spread.median, kDigits) +
           ", 5 to 95 % " + text(spread.percentile5, kDigits) + " to " +
           text(spread.percentile95, kDigits);
}

/// With three digits, and none after the point where these are enough.
std::string wholeText(double value) {
    if (!(value >= 100) || !(value < 1e15)) return text(value, 3);
    return std::to_string(std::llround(value));
}

/// How far neighbouring points are from each other at a distance, on a surface that faces the scanner.
std::string spacingText(const PointSummary& summary, double metres) {
    constexpr double kRadians = 3.14159265358979323846 / 180;
    const double across = summary.columnStep * kRadians * metres;
    const double along = summary.rowStep * kRadians * metres;
    return text(across * 1000, 3) + " x " + text(along * 1000, 3) + " mm at " + text(metres, 3) +
           " m (" + wholeText(1 / (across * along)) + " points per square metre)";
}

void summaryLines(std::ostream& out, const PointSummary& summary) {
    out << "  points     " << summary.points;
    if (summary.cells > 0) {
        out << ", in " << percentOf(summary.points, summary.cells) << " of "
            << countOf(summary.cells, "cell");
    }
    out << "\n";
    if (summary.points == 0) return;
    constexpr const char* kAxes[] = {"x", "y", "z"};
    for (int axis = 0; axis < 3; ++axis) {
        out << "  " << kAxes[axis] << "          " << text(summary.min[axis], 12) << " to "
            << text(summary.max[axis], 12) << "\n";
    }
    out << "  intensity  " << text(static_cast<double>(summary.minIntensity), 7) << " to "
        << text(static_cast<double>(summary.maxIntensity), 7) << ", "
        << spreadText(summary.intensity) << "\n";
    out << "  range      " << text(summary.range.min, 7) << " to " << text(summary.range.max, 7)
        << ", " << spreadText(summary.range) << "\n";
    if (!(summary.columnStep > 0 && summary.rowStep > 0)) return;
    out << "  spacing    " << spacingText(summary, 10) << "\n";
    if (summary.range.median > 0)
        out << "             " << spacingText(summary, summary.range.median) << "\n";
}

/// One line a scan of a file that may hold several.
void scanLines(std::ostream& out, const std::vector<scan::ScanEntry>& scans) {
    for (std::size_t i = 0; i < scans.size(); ++i) {
        const scan::ScanEntry& entry = scans[i];
        out << "  scan " << i + 1 << "     " << (entry.name.empty() ? "-" : printable(entry.name))
            << ": " << countOf(entry.records, "record");
        if (entry.hasGrid) out << ", " << entry.columns << " columns x " << entry.rows << " rows";
        out << (entry.hasColour ? ", room for colours" : "")
            << (entry.alignment.source == AlignmentSource::File ? ", aligned by a matrix" : "")
            << "\n";
        if (entry.summary) summaryLines(out, *entry.summary);
    }
}

}  // namespace

std::string withoutPadding(std::string field) {
    field.resize(std::min(field.find('\0'), field.size()));
    while (!field.empty() && field.back() == ' ')
        field.pop_back();
    return field;
}

const char* sourceName(AlignmentSource source) {
    switch (source) {
        case AlignmentSource::File:
            return "file";
        case AlignmentSource::Unreadable:
            return "unreadable";
        default:
            return "none";
    }
}

std::string reportText(const ScanReport& report) {
    std::ostringstream out;
    out << printable(report.path) << ": " << report.format->name << ", " << report.bytes
        << " bytes\n";
    const bool isOne = report.scans.size() < 2;  // else each scan has its own line
    if (isOne && report.hasGrid) {
        out << "  grid       " << report.columns << " columns x " << report.rows << " rows\n";
    } else if (isOne) {
        out << "  grid       not known" << (report.format->isNative ? ": no index\n" : "\n");
    }
    if (report.header) {
        headerLines(out, *report.header);
        out << "  stored     " << report.records << " records\n";
    }
    if (report.index) {
        out << "  index      " << printable(report.index->path) << ", " << report.index->bytes
            << " bytes, " << countOf(report.index->tiles, "tile") << " of "
            << report.index->tileSize << " x " << report.index->tileSize << ", "
            << countOf(report.index->points, "point") << "\n";
    }
    detailLines(out, report);
    scanLines(out, report.scans);
    if (isOne) out << "  colour     " << colourText(report) << "\n";
    photoLines(out, report.photos);
    if (isOne) alignmentLines(out, report.alignment);
    if (report.summary) summaryLines(out, *report.summary);
    for (const std::string& problem : report.problems)
        out << "  problem    " << printable(problem) << "\n";
    return out.str();
}

namespace {

using Json = nlohmann::ordered_json;

Json headerJson(const CLFileHeader& header) {
    return {
        {"fileVersion", withoutPadding(header.GetFileVersion())},
        {"modelName", withoutPadding(header.GetModelName())},
        {"hardwareVersion", withoutPadding(header.GetHardwareVersion())},
        {"firmwareVersion", withoutPadding(header.GetFirmwareVersion())},
        {"serialNumber", withoutPadding(header.GetSerialNumber())},
        {"date", withoutPadding(header.GetDate())},
        {"time", withoutPadding(header.GetTime())},
        {"temperature", jsonNumber(header.GetTemperature())},
        {"pressure", jsonNumber(header.GetPressure())},
        {"startAzimuth", jsonNumber(header.GetStartAzimuthAngle())},
        {"stopAzimuth", jsonNumber(header.GetStopAzimuthAngle())},
        {"deltaAzimuth", jsonNumber(header.GetDeltaAzimuthAngle())},
        {"startZenith", jsonNumber(header.GetStartZenithAngle())},
        {"stopZenith", jsonNumber(header.GetStopZenithAngle())},
        {"deltaZenith", jsonNumber(header.GetDeltaZenithAngle())},
        {"pointFormat", header.GetPointFormat()},
        {"blockCount", header.GetBlockCount()},
    };
}

Json indexJson(const scan::IndexLayout& index) {
    return {{"path", index.path},
            {"bytes", index.bytes},
            {"tiles", index.tiles},
            {"tileSize", index.tileSize},
            {"points", index.points}};
}

Json alignmentJson(const Alignment& alignment) {
    Json matrix = nullptr;
    if (alignment.source == AlignmentSource::File) {
        matrix = Json::array();
        for (const double element : alignment.matrix)
            matrix.push_back(jsonNumber(element));
    }
    return {{"source", sourceName(alignment.source)}, {"matrix", matrix}};
}

Json triple(const double (&values)[3]) {
    return Json::array({jsonNumber(values[0]), jsonNumber(values[1]), jsonNumber(values[2])});
}

Json summaryJson(const PointSummary& summary) {
    Json json = {{"points", summary.points},
                 {"coloured", summary.coloured},
                 {"bounds", nullptr},
                 {"intensity", nullptr}};
    if (summary.points == 0) return json;
    json["bounds"] = {{"min", triple(summary.min)}, {"max", triple(summary.max)}};
    json["intensity"] = {{"min", jsonNumber(summary.minIntensity)},
                         {"max", jsonNumber(summary.maxIntensity)}};
    return json;
}

Json spreadJson(const scan::ValueSpread& spread) {
    return {
        {"min", jsonNumber(spread.min)},       {"max", jsonNumber(spread.max)},
        {"mean", jsonNumber(spread.mean)},     {"percentile5", jsonNumber(spread.percentile5)},
        {"median", jsonNumber(spread.median)}, {"percentile95", jsonNumber(spread.percentile95)}};
}

Json statisticsJson(const PointSummary& summary) {
    Json json = {{"range", nullptr}, {"intensity", nullptr}, {"cells", nullptr}, {"step", nullptr}};
    if (summary.cells > 0) json["cells"] = summary.cells;
    if (summary.points == 0) return json;
    json["range"] = spreadJson(summary.range);
    json["intensity"] = spreadJson(summary.intensity);
    if (summary.columnStep > 0 && summary.rowStep > 0) {
        json["step"] = {{"column", jsonNumber(summary.columnStep)},
                        {"row", jsonNumber(summary.rowStep)}};
    }
    return json;
}

/// Pairs keep their order and may share a name.
Json detailsJson(const ScanReport& report) {
    Json json = Json::array();
    for (const auto& [name, what] : report.details)
        json.push_back({{"name", name}, {"text", withoutPadding(what)}});
    return json;
}

Json scansJson(const std::vector<scan::ScanEntry>& scans) {
    Json json = Json::array();
    for (const scan::ScanEntry& entry : scans) {
        json.push_back({{"name", entry.name},
                        {"records", entry.records},
                        {"grid", nullptr},
                        {"colour", entry.hasColour},
                        {"alignment", alignmentJson(entry.alignment)}});
        if (entry.summary) {
            json.back()["count"] = summaryJson(*entry.summary);
            json.back()["statistics"] = statisticsJson(*entry.summary);
        }
        if (entry.hasGrid) json.back()["grid"] = {{"columns", entry.columns}, {"rows", entry.rows}};
    }
    return json;
}

}  // namespace

Json reportJson(const ScanReport& report) {
    Json json = {{"path", report.path}, {"format", report.format->name}, {"bytes", report.bytes}};
    json["header"] = report.header ? headerJson(*report.header) : Json(nullptr);
    json["grid"] = nullptr;
    if (report.hasGrid) json["grid"] = {{"columns", report.columns}, {"rows", report.rows}};
    json["records"] = report.header ? Json(report.records) : Json(nullptr);
    json["colour"] = report.hasColour;
    json["index"] = report.index ? indexJson(*report.index) : Json(nullptr);
    json["alignment"] = alignmentJson(report.alignment);
    json["photos"] = photosJson(report.photos);
    json["scans"] = scansJson(report.scans);
    json["details"] = detailsJson(report);
    json["count"] = report.summary ? summaryJson(*report.summary) : Json(nullptr);
    json["statistics"] = report.summary ? statisticsJson(*report.summary) : Json(nullptr);
    json["problems"] = report.problems;
    return json;
}

Json failureJson(const std::string& path, const std::string& problem) {
    return {{"path", path}, {"problems", Json::array({problem})}};
}

}  // namespace brisko::tool
