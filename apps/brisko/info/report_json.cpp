#include "common/json_number.h"
#include "info/report_output.h"

#include <brisko_scan/photos.h>
#include "common/json_reports.h"

namespace brisko::tool {
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
    json["problems"] = report.problems;
    return json;
}

Json failureJson(const std::string& path, const std::string& problem) {
    return {{"path", path}, {"problems", Json::array({problem})}};
}

}  // namespace brisko::tool
