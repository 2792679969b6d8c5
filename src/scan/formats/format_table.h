#pragma once

#include "scan/formats/scan_input.h"
#include "scan/formats/scan_output.h"

#include <brisko_scan/check.h>
#include <brisko_scan/formats.h>
#include <brisko_scan/images.h>
#include <brisko_scan/inspect.h>

#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// How the library handles a format: a row of the table in format_table.cpp. A function that a format
/// does not have is null.
struct FormatDriver {
    Format traits{};
    bool needsColumnOrder = false;  // an output needs its points column by column
    bool colourIsOptional = false;  // an output has colours or not, as a whole
    bool hasPlainForm = false;      // an output may be without its index
    bool keepsCells = true;         // an output has a place for columns and rows
    bool holdsScans = false;        // an output may hold several scans

    std::unique_ptr<ScanInput> (*open)(const std::string& path,
                                       const ReadOptions& options) = nullptr;
    /// The scans of a file that may hold several; null for formats of one scan a file.
    std::vector<ScanEntry> (*list)(const std::string& path) = nullptr;
    ScanReport (*describe)(const std::string& path) = nullptr;
    void (*check)(ScanCheck& check, const ProgressFunction& progress) = nullptr;
    /// The pictures inside a file, and the bytes of one; null for formats without.
    std::vector<EmbeddedImage> (*listImages)(const std::string& path) = nullptr;
    void (*readImage)(const std::string& path, std::size_t image, const ImageSink& sink) = nullptr;
    /// The pictures of cameras whose place is known.
    std::vector<PlacedImage> (*placeImages)(const std::string& path) = nullptr;
    std::unique_ptr<ScanOutput> (*create)(const OutputTarget& target) = nullptr;
    /// What an output of a grid takes at least, its points aside where these can be few.
    unsigned __int128 (*leastBytes)(const OutputTarget& target) = nullptr;
};

/// The driver of a scan to be read. Throws ScanError(Request) for a name that is not a scan's.
const FormatDriver& readerOf(const std::string& path);
/// The driver of an output. Throws ScanError(Request).
const FormatDriver& writerOf(const std::string& path);

}  // namespace brisko::scan
