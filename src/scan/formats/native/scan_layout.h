#pragma once

#include "layouts/alignment_matrix.h"

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>
#include <brisko_scan/inspect.h>
#include <brisko_scan/tile_table.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// What the files of a native scan say of themselves, found without reading a point. The walk from
/// block to block shows whether a scan was cut short, which readers cannot.
struct ScanLayout {
    std::string path;
    bool isCL3 = true;  // else CLR
    std::uint64_t bytes = 0;
    std::unique_ptr<CLFileHeader> header;
    std::uint64_t records = 0;  // of all blocks, with and without a point
    std::optional<IndexLayout> index;
    /// The grid: of the index, or of a CLR header. 0 x 0 where it is not known.
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    /// What is wrong, each with its file and place. Empty for a sound scan.
    std::vector<std::string> problems;
};

/// Throws ScanError(Damaged) only when the scan file itself cannot be read.
///   tiles  of the scan, which are then not looked at; throws ScanError(Request) for those of another one
ScanLayout inspectCL3(const std::string& path, const TileTable* tiles = nullptr);
ScanLayout inspectCLR(const std::string& path);
ScanLayout inspectNative(const std::string& path);  // by its name

/// All tiles of an indexed scan, from the index alone. Throws ScanError(Damaged).
std::shared_ptr<const CL3TileTable> findTiles(const std::string& path);

/// Whether its records have room for a colour.
bool hasColour(const ScanLayout& layout);

/// Adds what is wrong with the header's angles.
void addAngleProblem(ScanLayout& layout);

/// The alignment beside a scan.
Alignment alignmentOf(const std::string& scan);

/// Whether two matrices differ by no more than the 18 decimals of a companion can keep.
bool isSameMatrix(const Matrix& a, const Matrix& b);

/// Throws ScanError(Damaged) with the first problem, if there is one.
void requireSound(const ScanLayout& layout);

// What the files of a native scan say of themselves, with the photos beside it.
ScanReport describeCL3(const std::string& path);
ScanReport describeCLR(const std::string& path);

/// Reads the header of a scan file; fields that a short file lacks keep their values.
/// Throws ScanError(Damaged) when it cannot be read.
void readHeader(CLFileHeader& header, const std::string& path);

/// Whether the angles that a header gives are numbers, and what to say when not. The steps of a CL3
/// header do not count: writers that know no grid leave what a division by 0 gives.
bool hasFiniteAngles(const CLFileHeader& header);
inline constexpr const char* kBadAngle = "an angle of the header is not a number";

/// Replaces the header at the start of a scan file that a writer has completed.
/// Throws ScanError(NotWritten).
void rewriteHeader(const std::string& path, const CLFileHeader& header,
                   const std::string& shownPath);

}  // namespace brisko::scan
