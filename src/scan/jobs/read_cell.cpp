#include "base/checked.h"
#include "layouts/records.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/scan_check.h"
#include "scan/integrity/tile_check.h"

#include <brisko_scan/cell.h>
#include <brisko_scan/scan_error.h>

namespace brisko::scan {
namespace {

IndexLayout requireIndexed(const std::string& path) {
    if (!hasExtension(path, ".cl3")) {
        throw ScanError(ErrorKind::Request, path, "single cells are read from indexed .cl3 scans",
                        "'brisko convert' makes one");
    }
    const ScanLayout layout = inspectCL3(path);
    requireSound(layout);
    if (layout.index) return *layout.index;
    throw ScanError(
        ErrorKind::Damaged, path,
        "the scan has no index (" + companionOf(path, ".ij") + "), so its cells cannot be found");
}

void open(CL3CellReader& reader, const std::string& path, Frame frame) {
    if (!reader.open(path.c_str())) {
        throw ScanError(ErrorKind::Damaged, path, "cannot be opened with its index");
    }
    if (reader.alignment().source == AlignmentSource::Unreadable && frame == Frame::Aligned) {
        throw ScanError(ErrorKind::Damaged, companionOf(path, ".alg"),
                        "cannot be read as an alignment", "--scanner-frame does without it");
    }
    reader.setFrame(frame);
}

void requireInside(const CL3CellReader& reader, const std::string& path, std::uint32_t column,
                   std::uint32_t row) {
    if (column < reader.columns() && row < reader.rows()) return;
    throw ScanError(ErrorKind::Request, path,
                    "the grid has columns 0 to " +
                        std::to_string(std::int64_t{reader.columns()} - 1) + " and rows 0 to " +
                        std::to_string(std::int64_t{reader.rows()} - 1));
}

/// The entries of the cell's tile number its points one by one, or any of them may be another's.
void requireSoundTile(const std::string& path, const IndexLayout& index, std::uint32_t column,
                      std::uint32_t row) {
    ScanCheck check(1);
    check.path = path;
    TileCheck tiles(check, index.path);
    const std::uint64_t tilesDown = divideRoundingUp(index.rows, index.tileSize);
    tiles.startAt(column / index.tileSize * tilesDown + row / index.tileSize);
    tiles.next();
    if (check.findings.empty()) return;
    throw ScanError::damage(check.findings.kept().front(), kRepairAdvice);
}

}  // namespace

std::optional<CellPoint> readCell(const std::string& path, std::uint32_t column, std::uint32_t row,
                                  Frame frame) {
    const IndexLayout index = requireIndexed(path);
    CL3CellReader reader;
    open(reader, path, frame);
    requireInside(reader, path, column, row);
    requireSoundTile(path, index, column, row);
    CellPoint point;
    switch (reader.readCell(column, row, point)) {
        case CellState::Point:
            break;
        case CellState::Empty:
            return {};
        case CellState::Damaged:
            throw ScanError(ErrorKind::Damaged, path,
                            "column " + std::to_string(column) + ", row " + std::to_string(row) +
                                ": the index promises a point that the scan does not hold");
    }
    if (!isFinite(point)) failDamaged(path, path + ": the point is not finite in all its numbers");
    return point;
}

}  // namespace brisko::scan
