#pragma once

#include <brisko_codec/export.h>
#include <brisko_codec/file_header.h>

#include <cstdint>
#include <memory>

namespace brisko {

/// Points that were passed to a writer since its last Open and cannot be read back, by reason. Points
/// that a write error or a lack of memory kept off the disk are not among them: HasWriteError reports
/// those.
struct DroppedPoints {
    std::uint64_t outsideGrid = 0;       // no cell; the padding of tiles has cells
    std::uint64_t bandPassed = 0;        // their 256 columns were written already
    std::uint64_t notFinite = 0;         // a CLR record cannot hold them
    std::uint64_t wouldReadAsEmpty = 0;  // every reader takes them for a cell without a point
    std::uint64_t replaced = 0;          // a later point took their cell

    std::uint64_t total() const {
        return outsideGrid + bandPassed + notFinite + wouldReadAsEmpty + replaced;
    }
};

}  // namespace brisko

/// Writes a stream of points.
///
/// Order of calls: Open, any number of WritePoint, Close. Close is what completes the files: a
/// writer destroyed while open leaves files that are not final. A second Open closes first.
/// Copies of an open writer share its files: whichever is closed first completes them.
/// Neither Open nor Close vouches for the files: ask HasWriteError after Close (or
/// brisko::hasWriteError, through this interface), and brisko::getDroppedPoints for what was left out.
/// Threads: one thread at a time per writer.
class BRISKO_CODEC_EXPORT BaseWriterCodec {
public:
    BaseWriterCodec() = default;
    BaseWriterCodec(const BaseWriterCodec&) = default;
    BaseWriterCodec& operator=(const BaseWriterCodec&) = default;

    /// The scanner's full-scale intensity, 2200.
    static const float i_range;

    /// Creates (truncates) the file, under its final name: an older file is gone from here on.
    ///   path    UTF-8; a path that is not valid UTF-8 fails with errno EINVAL
    ///   header  the scan's grid; read during the call only. Null counts as a grid without cells, whose
    ///           angles each writer chooses.
    virtual bool Open(const char* path, GridFileHeader* header) = 0;
    /// Writes what is still in memory, corrects the counts in the headers, and closes the file. False
    /// only when nothing was open: true also when the disk is full, see HasWriteError.
    virtual bool Close() = 0;
    /// Adds a point: metres, intensity 0 to i_range. Alpha is not stored. Ignored when closed.
    virtual void WritePoint(double x, double y, double z, float intensity, std::uint8_t red,
                            std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) = 0;
    virtual ~BaseWriterCodec();
};

/// Writes a stream of points with their places in the scan grid. Order of calls and copies as above.
class BRISKO_CODEC_EXPORT BaseWriterGridCodec {
public:
    /// Sets the matrix to the identity.
    BaseWriterGridCodec();
    BaseWriterGridCodec(const BaseWriterGridCodec&) = default;
    BaseWriterGridCodec& operator=(const BaseWriterGridCodec&) = default;

    /// The scanner's full-scale intensity, 2200.
    static const float i_range;

    /// As BaseWriterCodec::Open. Negative resolutions of a header count as 0.
    virtual bool Open(const char* path, GridFileHeader* header) = 0;
    /// As BaseWriterCodec::Close.
    virtual bool Close() = 0;
    /// Adds a point. Each writer says which points it drops.
    ///   column  azimuth step, from 0. Points come roughly by column: 256 columns are kept at a time.
    ///   row     zenith step within the column, from 0
    virtual void WritePoint(double x, double y, double z, float intensity, std::uint8_t red,
                            std::uint8_t green, std::uint8_t blue, std::uint8_t alpha,
                            std::uint32_t column, std::uint32_t row) = 0;
    virtual ~BaseWriterGridCodec();
    /// The scan's alignment: 16 doubles, row by row (element of row r and column c at 4r + c).
    /// Null leaves it unchanged. Points are written as they come; the matrix is only stored.
    virtual void SetMatrixTransform(double* matrix);

protected:
    double m_matrix[16];
};

/// Writes a CL3 file of point format 1 in blocks of at most 1,000,000 points. No index and no ALG
/// file are written, and older ones beside the path stay: remove them when they no longer fit.
class BRISKO_CODEC_EXPORT CL3WriterCodec : public BaseWriterCodec {
public:
    CL3WriterCodec();
    CL3WriterCodec(const CL3WriterCodec&);
    CL3WriterCodec& operator=(const CL3WriterCodec&);
    ~CL3WriterCodec() override;

    /// False when the file cannot be created. A header that is no CLFileHeader, and a null one, give
    /// angles 0 and steps 1.
    bool Open(const char* path, GridFileHeader* header) override;
    bool Close() override;
    /// A point of intensity 0 or less whose coordinates are all 0 becomes a record that readers take
    /// for none.
    void WritePoint(double x, double y, double z, float intensity, std::uint8_t red,
                    std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) override;

    /// Whether anything could not be written since the last Open (full disk, quota, I/O error).
    /// Points after the first error are dropped, and only whole records are counted.
    bool HasWriteError() const;
    brisko::DroppedPoints GetDroppedPoints() const;

    class BRISKO_CODEC_LOCAL State;

private:
    std::shared_ptr<State> m_state;
};

/// Writes an indexed CL3 scan: scan.cl3 in tiles of 256 x 256 cells, its index scan.ij, and at Close
/// scan.alg with the matrix and the box around all points passed in. Companions are named by
/// replacing the extension of the last path component.
class BRISKO_CODEC_EXPORT CL3IJWriterGridCodec : public BaseWriterGridCodec {
public:
    CL3IJWriterGridCodec();
    CL3IJWriterGridCodec(const CL3IJWriterGridCodec&);
    CL3IJWriterGridCodec& operator=(const CL3IJWriterGridCodec&);
    ~CL3IJWriterGridCodec() override;

    /// True also when a file could not be created: HasWriteError reports that. False when the grid has
    /// more than 2^32 - 1 tiles, or memory runs out. A header that is no CLFileHeader gives angles of 0
    /// to 90 degrees; a null one a grid without cells, so that every point is dropped.
    bool Open(const char* path, GridFileHeader* header) override;
    bool Close() override;
    /// After Open and before the first point: bands of 256 columns are from then on encoded and written by a
    /// thread of their own while the next band is filled, which takes the memory of one band more. The
    /// files are the same; an error may show one band later, and at Close at the latest.
    void WriteInBackground();
    /// A later point replaces an earlier one of its cell; one of intensity 0 or less whose coordinates
    /// are all 0 empties the cell. Dropped: points of a band already written, and points beyond the
    /// last tile; a column beyond it ends all bands. Every point widens the box in scan.alg, a dropped
    /// one, too.
    void WritePoint(double x, double y, double z, float intensity, std::uint8_t red,
                    std::uint8_t green, std::uint8_t blue, std::uint8_t alpha, std::uint32_t column,
                    std::uint32_t row) override;

    /// Whether a file could not be created or written since the last Open.
    bool HasWriteError() const;
    brisko::DroppedPoints GetDroppedPoints() const;

    class BRISKO_CODEC_LOCAL State;

private:
    std::shared_ptr<State> m_state;
};

/// Writes a CLR file of point format 1: one block, every cell of the grid a record, odd columns
/// bottom-up as the scanner records them. Colour and matrix are not stored; no companion is written.
class BRISKO_CODEC_EXPORT CLRWriterGridCodec : public BaseWriterGridCodec {
public:
    CLRWriterGridCodec();
    CLRWriterGridCodec(const CLRWriterGridCodec&);
    CLRWriterGridCodec& operator=(const CLRWriterGridCodec&);
    ~CLRWriterGridCodec() override;

    /// True also when the file could not be created: HasWriteError reports that. False only when memory
    /// runs out. A header that is no CLFileHeader gives angles of 0 to 90 degrees; a null one a grid
    /// without cells, so that every point is dropped.
    bool Open(const char* path, GridFileHeader* header) override;
    bool Close() override;
    /// Coordinates are stored in 1/10000 m and intensities as whole numbers; a point whose intensity
    /// rounds to 0 or less reads back as an empty cell. Dropped: points of a band already written, rows
    /// beyond the grid, coordinates or intensities that are not finite. Columns beyond the grid are
    /// written all the same, with the empty columns before them.
    void WritePoint(double x, double y, double z, float intensity, std::uint8_t red,
                    std::uint8_t green, std::uint8_t blue, std::uint8_t alpha, std::uint32_t column,
                    std::uint32_t row) override;

    /// Says that no more points come for the columns before `end`: they are written out and their
    /// memory is given back. The writer keeps 256 columns otherwise, which takes 5 KiB a row. A point
    /// for such a column is dropped as one of a band already written.
    void FinishColumns(std::uint32_t end);

    /// Whether the file could not be created or written since the last Open.
    bool HasWriteError() const;
    brisko::DroppedPoints GetDroppedPoints() const;

    class BRISKO_CODEC_LOCAL State;

private:
    std::shared_ptr<State> m_state;
};

namespace brisko {

/// The same questions through the interfaces. A writer that is not this library's answers false and
/// no point.
BRISKO_CODEC_EXPORT DroppedPoints getDroppedPoints(const BaseWriterCodec& writer);
BRISKO_CODEC_EXPORT DroppedPoints getDroppedPoints(const BaseWriterGridCodec& writer);
BRISKO_CODEC_EXPORT bool hasWriteError(const BaseWriterCodec& writer);
BRISKO_CODEC_EXPORT bool hasWriteError(const BaseWriterGridCodec& writer);

}  // namespace brisko
