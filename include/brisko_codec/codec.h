#pragma once

#include <brisko_codec/export.h>

#include <cstddef>
#include <cstdint>

/// Reads the points of a scan one after another. Obtained from a factory (CL3Codec::Create and its
/// siblings, SkipCodecCreator) and freed with BriskoCodec::Destroy.
///
/// Order of calls: Open, ReadFirstPoint, ReadNextPoint until it answers false, Close, Destroy.
/// GetPointCount and GetBounds may be called at any time after Open.
/// Threads: one thread at a time per object; distinct objects are independent.
class BRISKO_CODEC_EXPORT BriskoCodec {
protected:
    virtual ~BriskoCodec();

public:
    BriskoCodec();
    BriskoCodec(const BriskoCodec&);
    BriskoCodec(BriskoCodec&&) noexcept;
    BriskoCodec& operator=(const BriskoCodec&);
    BriskoCodec& operator=(BriskoCodec&&) noexcept;

    /// The scanner's full-scale intensity, 2200. Intensities run from 0 to this value.
    static const float i_range;

    /// Opens a scan for reading; closes the one that was open before.
    ///   path  UTF-8. A path that is not valid UTF-8, is empty or null, or names anything but a
    ///         regular file cannot be opened (errno shows why).
    /// Source:  the scan's alignment comes from the companion named like the path up to its last
    ///          '.' (folders included) plus ".alg"; without one the alignment is the identity.
    /// Returns: whether the scan file opened. Its header is not looked at before the first point.
    virtual bool Open(const char* path) = 0;

    /// Closes the scan. Cached bounds and count stay. Harmless when nothing is open.
    virtual void Close() = 0;

    /// The number of valid points: the count that GetBounds finds.
    virtual std::int64_t GetPointCount();

    /// The extent of the points, in metres, and their number: of the aligned points, or of those in the
    /// scanner's frame where brisko::setFrame chose that.
    /// Source:  a full pass over the scan at the first call for a frame; later calls return what that
    ///          pass found, also after another scan was opened with the same object.
    /// Leaves:  the reader at the end of the data: start again with a first-point call.
    /// Without any point: count 0, minima 1.797...e308, maxima 2.225...e-308, and every call looks
    /// again.
    virtual void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                           double& maxZ, std::int64_t& count) = 0;

    /// Starts a pass and delivers its first valid point.
    ///   x, y, z           metres, after the alignment of the scan
    ///   intensity         0 to i_range; a file may hold any number, negative ones included, and it is
    ///                     delivered as it is
    ///   red, green, blue  0 where the scan has no colour
    ///   alpha             always 255
    /// Returns: false when the scan cannot be read (closed, header of an unknown point format, no
    ///          usable index where one is needed) or holds no valid point; brisko::getReadProblem
    ///          says which. The arguments are untouched where the scan cannot be read, and all 0 with
    ///          alpha 255 where it holds no point. Nothing is thrown, whatever the file holds.
    virtual bool ReadFirstPoint(double& x, double& y, double& z, float& intensity,
                                std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                std::uint8_t& alpha) = 0;

    /// Delivers the next valid point of the pass; records that hold no point are passed over.
    /// Returns: false at the end of the data (all out-arguments 0, alpha 255), and before a pass
    ///          was started.
    virtual bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                               std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) = 0;

    /// Frees a reader, whichever factory made it. Does nothing for null.
    static void Destroy(BriskoCodec* codec);
};

/// A reader that also knows the place of each point in the scan grid.
class BRISKO_CODEC_EXPORT BriskoGridCodec : public virtual BriskoCodec {
protected:
    ~BriskoGridCodec() override;

public:
    BriskoGridCodec();
    BriskoGridCodec(const BriskoGridCodec&);
    BriskoGridCodec(BriskoGridCodec&&) noexcept;
    BriskoGridCodec& operator=(const BriskoGridCodec&);
    BriskoGridCodec& operator=(BriskoGridCodec&&) noexcept;

    /// The size of the scan grid and the edge of its index tiles (0 where there is no index).
    /// Indexed CL3 scans know it after Open, CLR scans after the first point was asked for.
    /// Values are those of the file: a negative resolution in a CLR header comes out sign-extended,
    /// so check them before sizing anything by them.
    virtual void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) = 0;

    /// As ReadFirstPoint, with the point's place in the grid:
    ///   column  azimuth step (number of the scan line), from 0
    ///   row     zenith step within the line, from 0
    /// Cells of the padding in the last tiles are legal: column is below the columns rounded up to
    /// whole tiles, row likewise. Both stay untouched when the call answers false.
    virtual bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity,
                                    std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                    std::uint8_t& alpha, unsigned& column, unsigned& row) = 0;

    /// As ReadNextPoint, with the point's place in the grid.
    virtual bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity,
                                   std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                   std::uint8_t& alpha, unsigned& column, unsigned& row) = 0;

    /// GetGridSize with the first two values narrowed to 32 bits.
    void GetGridResolution(unsigned& columns, unsigned& rows, unsigned& tileSize);
};
