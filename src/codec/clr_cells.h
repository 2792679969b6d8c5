#pragma once

#include <brisko_codec/column_range.h>
#include <brisko_codec/compressed_lines.h>
#include <brisko_codec/file_header.h>

#include "codec/first_problem.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace brisko {

/// Cells of a CLR scan in the order of its lines, all blocks merged, a run at a time. A run may
/// cross lines.
class CLRCells {
public:
    virtual ~CLRCells() = default;

    /// Reads the next run. Returns its number of cells; 0 at the end of the data.
    virtual std::size_t nextRun() = 0;
    /// The cells of the run.
    virtual const RawRecord* cells() const = 0;
};

/// A file of a scan: the first, or a later one of a series.
struct CLRSource {
    std::FILE* file;
    CLRFileHeader header;
    FirstProblem::File name;  // in problems
};

/// Where pieces of compressed lines begin: those of every n-th line, in each block. A pass can start at one
/// of these lines without a way through all before.
struct PieceTable {
    struct Block {
        std::size_t source = 0;  // the file, by its place in the list
        bool isLastOfFile = false;
        std::uint8_t flag = 0;
        std::vector<std::uint64_t> starts;  // offsets, of lines 0, n, 2 n ...
    };
    std::uint32_t lines = 1;  // n
    std::vector<Block> blocks;
};

/// The cells of a scan, from the header of each file on. Null where a header cannot be followed or the
/// files do not fit together. What is wrong with the blocks is noted as it is met.
///   sources  at least one; all with the same grid and kind of blocks
///   lines    to be read; inside the grid
///   pieces   where those of compressed lines begin; null: not known
std::unique_ptr<CLRCells> openCLRCells(const std::vector<CLRSource>& sources,
                                       const ColumnRange& lines, FirstProblem& problem,
                                       const PieceTable* pieces = nullptr);

// The two kinds, each in a file of its own.
std::unique_ptr<CLRCells> openPlainCells(const std::vector<CLRSource>& sources,
                                         const ColumnRange& lines, FirstProblem& problem);
std::unique_ptr<CLRCells> openCompressedCells(const std::vector<CLRSource>& sources,
                                              const ColumnRange& lines, FirstProblem& problem,
                                              const PieceTable* pieces);

/// Follows the lengths of all pieces of compressed lines. Whatever is wrong with them is noted.
///   between  called often, and may throw
PieceTable findPieces(const std::vector<CLRSource>& sources, std::uint32_t lines,
                      FirstProblem& problem, const std::function<void()>& between);

/// Whether the first file of a scan stores its cells as plain records, or as it has none.
bool isPlain(const CLRSource& first, FirstProblem& problem);

/// The number of lines, and of cells in a line, that a header announces; both 0 where either is not
/// above 0 or their product does not fit into a file.
struct CLRGrid {
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;

    std::uint64_t cells() const { return columns * rows; }
};
CLRGrid gridOf(const CLRFileHeader& header);

/// Whether the file of that size stores its cells as plain records. One that announces compressed
/// lines does so when its size is exactly that of plain records: a copy with sorted lines keeps the
/// header of its original.
bool hasPlainRecords(const CLRFileHeader& header, std::uint64_t fileSize);

}  // namespace brisko
