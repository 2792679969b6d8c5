#include "info/report_output.h"

#include <charconv>
#include <cmath>
#include <iterator>

namespace brisko::tool {
namespace {

using Json = nlohmann::ordered_json;

Json number(double value) {
    return std::isfinite(value) ? Json(value) : Json(nullptr);
}

/// The number that the shortest decimal of the float stands for: 0.1, not 0.10000000149.
Json number(float value) {
    if (!std::isfinite(value)) return nullptr;
    char text[32];
    const char* const end = std::to_chars(text, text + sizeof text, value).ptr;
    double shortest = 0;
    std::from_chars(text, end, shortest);
    return shortest;
}

Json headerJson(const CLFileHeader& header) {
    return {
        {"fileVersion", withoutPadding(header.GetFileVersion())},
        {"modelName", withoutPadding(header.GetModelName())},
        {"hardwareVersion", withoutPadding(header.GetHardwareVersion())},
        {"firmwareVersion", withoutPadding(header.GetFirmwareVersion())},
        {"serialNumber", withoutPadding(header.GetSerialNumber())},
        {"date", withoutPadding(header.GetDate())},
        {"time", withoutPadding(header.GetTime())},
        {"temperature", number(header.GetTemperature())},
        {"pressure", number(header.GetPressure())},
        {"startAzimuth", number(header.GetStartAzimuthAngle())},
        {"stopAzimuth", number(header.GetStopAzimuthAngle())},
        {"deltaAzimuth", number(header.GetDeltaAzimuthAngle())},
        {"startZenith", number(header.GetStartZenithAngle())},
        {"stopZenith", number(header.GetStopZenithAngle())},
        {"deltaZenith", number(header.GetDeltaZenithAngle())},
        {"pointFormat", header.GetPointFormat()},
        {"blockCount", header.GetBlockCount()},
    };
}

Json indexJson(const IndexLayout& index) {
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
            matrix.push_back(number(element));
    }
    return {{"source", sourceName(alignment.source)}, {"matrix", matrix}};
}

Json triple(const double (&values)[3]) {
    return Json::array({number(values[0]), number(values[1]), number(values[2])});
}

Json summaryJson(const PointSummary& summary) {
    Json json = {{"points", summary.points}, {"bounds", nullptr}, {"intensity", nullptr}};
    if (summary.points == 0) return json;
    json["bounds"] = {{"min", triple(summary.min)}, {"max", triple(summary.max)}};
    json["intensity"] = {{"min", number(summary.minIntensity)},
                         {"max", number(summary.maxIntensity)}};
    return json;
}

}  // namespace

Json reportJson(const ScanReport& report) {
    Json json = {{"path", report.path}, {"format", kindName(report.kind)}, {"bytes", report.bytes}};
    json["header"] = report.header ? headerJson(*report.header) : Json(nullptr);
    json["grid"] = nullptr;
    if (report.hasGrid) json["grid"] = {{"columns", report.columns}, {"rows", report.rows}};
    json["records"] = report.header ? Json(report.records) : Json(nullptr);
    json["colour"] = report.hasColour;
    json["index"] = report.index ? indexJson(*report.index) : Json(nullptr);
    json["alignment"] = alignmentJson(report.alignment);
    json["count"] = report.summary ? summaryJson(*report.summary) : Json(nullptr);
    json["problems"] = report.problems;
    return json;
}

Json failureJson(const std::string& path, const std::string& problem) {
    return {{"path", path}, {"problems", Json::array({problem})}};
}

}  // namespace brisko::tool
