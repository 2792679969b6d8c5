#pragma once

#include "scan/files/input_file.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/scan_check.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_scan/text.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

namespace brisko::scan {

/// The directions that a header's angles cover: azimuth counter-clockwise from +x and zenith angle
/// from +z, degrees; elevations above the horizon where its numbers leave 0 to 180.
class DirectionRange {
public:
    /// Nothing where the header gives no directions: no steps, no span, not finite, or numbers that
    /// are no such angles.
    static std::optional<DirectionRange> fromHeader(const CLFileHeader& header);

    /// Whether a point, metres in the scanner's frame, lies in such a direction, give or take two
    /// steps and a centimetre: beams leave the instrument a little beside its centre.
    bool contains(double x, double y, double z) const {
        return isWellInside(x, y, z) || containsByAngles(x, y, z);
    }

private:
    struct Axis {
        double low = 0, high = 0, step = 0;  // degrees
    };
    static std::optional<Axis> axis(float start, float stop, float step);
    void findSlopes();
    /// Without an angle, so that it takes a tenth of the time: true for nearly all points of scans that go
    /// all the way round.
    bool isWellInside(double x, double y, double z) const {
        const double horizontal = std::sqrt(x * x + y * y);
        return horizontal > 0 && horizontal < kFar && z <= horizontal * m_highestSlope &&
               z >= horizontal * m_lowestSlope;
    }
    bool containsByAngles(double x, double y, double z) const;

    static constexpr double kFar = 1e100;  // its square is a number

    Axis m_azimuth;
    Axis m_vertical;
    bool m_isElevation = false;
    // Heights above a distance of one, without the slack; none where azimuths have to be looked at.
    double m_lowestSlope = 1, m_highestSlope = -1;
};

/// Looks at single points: finite numbers, and whether they lie in directions that the header covers.
class PointCheck {
public:
    PointCheck(ScanCheck& check, const CLFileHeader& header);

    /// A record that holds a point; its number within the block counts from 0.
    void add(const CellPoint& point, std::uint64_t block, std::uint64_t number,
             std::uint64_t offset);
    /// Where much lies outside, the header counts its angles in another way than the points do, and no single
    /// point is to blame.
    void finish();

private:
    void note(const char* kind, const CellPoint& point, std::uint64_t block, std::uint64_t number,
              std::uint64_t offset, const std::string& what);

    ScanCheck& m_check;
    std::optional<DirectionRange> m_range;
    std::uint64_t m_outside = 0;
};

/// Reports a header with angles that are not finite.
void checkHeaderAngles(ScanCheck& check, const CLFileHeader& header);
/// Reports an alignment file that exists and cannot be used.
void checkAlignmentFile(ScanCheck& check);

/// What the checks of both native formats share: a header, then blocks whose points are looked at.
template <class Header>
class NativeScanCheck {
public:
    NativeScanCheck(ScanCheck& check, const ProgressFunction& progress)
        : m_check(check), m_stream(check.path), m_progressOf(progress) {
        readHeader(m_header, check.path);
    }

protected:
    void add(const char* kind, std::optional<std::uint64_t> block, std::uint64_t offset,
             const std::string& text) {
        m_check.findings.add({kind, m_check.path, block, offset, text});
    }
    void addUnknownFormat(std::uint64_t offset, const std::string& known) {
        add("header", {}, offset,
            "point format " + std::to_string(m_header.GetPointFormat()) + " is not one of " +
                known);
    }
    void addMissingBlock(std::uint64_t block, std::uint64_t offset) {
        add("block", block, offset,
            "the file ends before it; the header announces " +
                countOf(m_header.GetBlockCount(), "block"));
    }

    bool hasWholeHeader(std::uint64_t size) {
        if (m_stream.size() >= size) return true;
        add("header", {}, m_stream.size(), "the file ends inside its header");
        return false;
    }

    /// From here on points can be added and progress shows.
    ///   moreBytes  that are read besides the scan's own
    void beginBlocks(std::uint64_t headerSize, std::uint64_t moreBytes) {
        m_progress.emplace(m_progressOf, "check", m_stream.size() + moreBytes, "bytes");
        m_points.emplace(m_check, m_header);
        m_stream.seek(headerSize);
    }
    void finish() {
        m_points->finish();
        checkAlignmentFile(m_check);
    }

    static constexpr std::uint64_t kShowEvery = 1 << 14;  // records

    ScanCheck& m_check;
    ByteStream m_stream;
    const ProgressFunction& m_progressOf;
    Header m_header;
    std::optional<TaskProgress> m_progress;
    std::optional<PointCheck> m_points;
};

}  // namespace brisko::scan
