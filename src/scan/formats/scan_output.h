#pragma once

#include "layouts/alignment_matrix.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/scan_photos.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan {

/// Where an output goes and what it says besides its points.
struct OutputTarget {
    std::string path;       // where to write
    std::string shownPath;  // how messages name it
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    Matrix matrix = kIdentityMatrix;
    std::string name;            // of the station; may be empty
    std::string guid;            // as ScanInfo has it
    double precision = 0;        // metres; 0: exact
    std::string formVersion;     // of formats with several; empty: the usual one
    bool withColour = false;     // where the format leaves a choice
    bool indexed = false;        // of formats that may have an index or not
    bool inColumnOrder = false;  // points come column by column, not only band by band
    ProgressFunction progress;   // asked whether to go on while the output is read back
    CLRFileHeader header;        // grid, angles and texts of native formats
    /// In a cloud of several stations: whose points come next, from 1; columns and rows are then the
    /// largest of all of them. 0: the only one.
    std::uint16_t station = 0;
    /// Of formats that hold pictures: photos to be stored, whose poses lead to the frame of the file.
    std::vector<PinholeCamera> photos;
};

/// A scan being written. Points come column by column (native formats: by bands of 256 columns);
/// columns and rows count from the first of the output.
class ScanOutput {
public:
    virtual ~ScanOutput() = default;

    /// Throws ScanError(NotWritten) when they cannot be written.
    virtual void write(std::span<const CellPoint> points) = 0;
    /// The same for points that the caller needs no more; what they are afterwards is open.
    virtual void take(std::vector<CellPoint>& points) { write(points); }
    /// Waits until all points so far are counted. Throws ScanError(NotWritten).
    virtual void settle() {}
    /// The scan at hand is complete; what is written next is of another one, or of another station of a
    /// cloud. Path, precision and version stay those of the first. Throws ScanError(NotWritten).
    virtual void nextScan(const OutputTarget& target) { static_cast<void>(target); }
    /// Completes the files and compares them with what was given.
    /// Throws ScanError(NotWritten) when they do not hold it.
    virtual void finish() = 0;

    // What is counted, after settle() and finish().

    /// Points stored.
    std::uint64_t points() const { return m_points; }
    /// Of these, the ones stored with a colour other than black.
    std::uint64_t coloured() const { return m_coloured; }
    const LeftOut& leftOut() const { return m_leftOut; }
    /// What else the user should know of what was stored, after finish(); may be empty.
    const std::string& remark() const { return m_remark; }

protected:
    /// Counts a point that is stored with its colour.
    void count(const CellPoint& p) {
        ++m_points;
        m_coloured += (p.red | p.green | p.blue) != 0;
    }

    std::uint64_t m_points = 0;
    std::uint64_t m_coloured = 0;
    LeftOut m_leftOut;
    std::string m_remark;
};

inline void addTo(LeftOut& all, const LeftOut& more) {
    all.outsideGrid += more.outsideGrid;
    all.notFinite += more.notFinite;
    all.atScanner += more.atScanner;
}

/// Whether a matrix leaves points where they are.
bool isIdentity(const double (&matrix)[16]);

/// Sees that bands of columns follow each other: what comes too late, a writer would drop.
class BandOrder {
public:
    BandOrder(std::uint32_t bandColumns, const std::string& shownPath)
        : m_bandColumns(bandColumns), m_shownPath(shownPath) {}

    /// Throws ScanError(Damaged) for a column of a band that already passed.
    void require(std::uint32_t column) {
        const std::uint32_t band = column / m_bandColumns;
        if (band >= m_band) {
            m_band = band;
            return;
        }
        throw ScanError(ErrorKind::Damaged, m_shownPath,
                        "the input is not in column order: a point of column " +
                            std::to_string(column) + " comes after later columns");
    }

private:
    std::uint32_t m_bandColumns;
    std::string m_shownPath;
    std::uint32_t m_band = 0;
};

/// Finds out in which order the columns of points come.
class ColumnBands {
public:
    void add(std::uint32_t column) {
        m_single &= column >= m_last;
        m_band &= column / kBand >= m_last / kBand;
        m_last = column;
    }
    /// Adds columns that come later and were looked at apart.
    ///   first  of them
    void append(const ColumnBands& later, std::uint32_t first) {
        add(first);
        m_single &= later.m_single;
        m_band &= later.m_band;
        m_last = later.m_last;
    }
    /// 1: column by column, 256: by bands of so many, 0: in any other order.
    std::uint32_t bandColumns() const { return m_single ? 1 : m_band ? kBand : 0; }

private:
    static constexpr std::uint32_t kBand = 256;

    std::uint32_t m_last = 0;
    bool m_single = true, m_band = true;
};

// One of each, in files of their own.
std::unique_ptr<ScanOutput> createCL3Output(const OutputTarget& target);
std::unique_ptr<ScanOutput> createCLROutput(const OutputTarget& target);
std::unique_ptr<ScanOutput> createPtxOutput(const OutputTarget& target);
std::unique_ptr<ScanOutput> createE57Output(const OutputTarget& target);
std::unique_ptr<ScanOutput> createPlyOutput(const OutputTarget& target);
std::unique_ptr<ScanOutput> createLasOutput(const OutputTarget& target);
std::unique_ptr<ScanOutput> createPcdOutput(const OutputTarget& target);
std::unique_ptr<ScanOutput> createPtsOutput(const OutputTarget& target);
std::unique_ptr<ScanOutput> createTiffOutput(const OutputTarget& target);

}  // namespace brisko::scan
