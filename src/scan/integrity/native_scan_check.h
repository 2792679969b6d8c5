#pragma once

#include "base/ordered_work.h"
#include "layouts/records.h"
#include "scan/files/input_file.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/scan_check.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/threads.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

    /// Without an angle, so that it takes a tenth of the time: true for nearly all points of scans that go
    /// all the way round.
    bool isWellInside(double x, double y, double z) const {
        const double horizontal = std::sqrt(x * x + y * y);
        return horizontal > 0 && horizontal < kFar && z <= horizontal * m_highestSlope &&
               z >= horizontal * m_lowestSlope;
    }

private:
    struct Axis {
        double low = 0, high = 0, step = 0;  // degrees
    };
    static std::optional<Axis> axis(float start, float stop, float step);
    void findSlopes();
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
             std::uint64_t offset) {
        ++m_check.points;
        const bool isUsual =
            isFinite(point) && (!m_range || m_range->isWellInside(point.x, point.y, point.z));
        if (!isUsual) [[unlikely]]
            look(point, block, number, offset);
    }
    /// How many lay outside since this was asked before, for another to count them too.
    std::uint64_t takeOutside() { return std::exchange(m_outside, 0); }
    void addOutside(std::uint64_t points) { m_outside += points; }
    /// Where much lies outside, the header counts its angles in another way than the points do, and no single
    /// point is to blame.
    void finish();

private:
    void look(const CellPoint& point, std::uint64_t block, std::uint64_t number,
              std::uint64_t offset);
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

/// Records that follow each other in a block.
struct Stretch {
    std::uint64_t block = 0, begin = 0;  // the block and the offset of its header
    std::uint64_t announced = 0;         // records of the block
    std::uint64_t there = 0;             // of these, as far as it is known
    std::uint64_t first = 0, count = 0;  // the stretch: numbers in the block
    std::uint64_t offset = 0;            // of the stretch
    std::uint64_t bytes = 0;             // that are read for it

    std::uint64_t end() const { return first + count; }
    bool isFirst() const { return first == 0; }
    bool isLast() const { return end() == there; }
};

/// Stretches that one thread looks at, with what it finds there.
struct NativePart {
    NativePart(const ScanCheck& whole, const CLFileHeader& header)
        : check(whole.findings.most()), stream(whole.path, kReadBytes), points(check, header) {
        check.path = whole.path;
    }

    /// What is read at once: it stays in the processor's cache.
    static constexpr std::size_t kReadBytes = 1 << 17;

    /// For others.
    void clear() {
        stretches.clear();
        check.findings = Findings(check.findings.most());
        check.blocks = check.records = check.points = 0;
        points.takeOutside();
        steps.clear();
    }

    /// Calls take(bytes, number in the block, offset) for each record of a stretch.
    template <class Take>
    void takeRecords(const Stretch& stretch, std::size_t recordSize, const Take& take) {
        stream.seek(stretch.offset);
        std::uint64_t number = stretch.first;
        while (number < stretch.end()) {
            const std::uint64_t some =
                std::min<std::uint64_t>(stretch.end() - number, kReadBytes / recordSize);
            std::uint64_t offset = stream.offset();
            const std::uint8_t* in = stream.take(some * recordSize);
            for (const std::uint64_t end = number + some; number < end; ++number) {
                take(in, number, offset);
                in += recordSize;
                offset += recordSize;
            }
        }
    }

    std::vector<Stretch> stretches;
    ScanCheck check;
    ByteStream stream;
    PointCheck points;
    std::vector<std::uint64_t> steps;  // where progress shows, in order
};

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
    /// Looks at the scan part by part on the threads of the job, and takes in order what they find.
    ///   make  a part, to be used for one after another
    ///   next  moves m_stretch to the next stretch, of a part; false after the last one. Never called by two threads at once
    ///   look  looks at the stretches of a part
    template <class Make, class Next, class Look>
    void checkParts(const Make& make, const Next& next, const Look& look) {
        using Part = decltype(make());
        const auto fetch = [&](Part& part) {
            if (!part) part = make();
            part->clear();
            std::uint64_t bytes = 0;
            while (bytes < kPartBytes && part->stretches.size() < kMostStretches && next(*part)) {
                part->stretches.push_back(m_stretch);
                bytes += m_stretch.bytes;
            }
            return !part->stretches.empty();
        };
        PiecesAhead<Part> parts(
            jobThreads(), fetch, [&](Part& part) { look(*part); }, kShortScansAlone);
        while (const Part* const part = parts.next())
            take(**part);
    }
    void finish() {
        m_points->finish();
        checkAlignmentFile(m_check);
    }

    static constexpr std::uint64_t kShowEvery = 1 << 14;  // records
    /// So many bytes are a part, or more where a stretch is larger. One more compressed piece fits into a read.
    static constexpr std::uint64_t kPartBytes = NativePart::kReadBytes - (1 << 13);
    ScanCheck& m_check;
    ByteStream m_stream;
    const ProgressFunction& m_progressOf;
    Header m_header;
    std::optional<TaskProgress> m_progress;
    std::optional<PointCheck> m_points;
    Stretch m_stretch;  // the last one that was found

private:
    static constexpr std::size_t kMostStretches = 1 << 12;      // of a part, where blocks are small
    static constexpr PieceCounts kShortScansAlone{.alone = 6};  // parts

    void take(NativePart& part) {
        for (const std::uint64_t step : part.steps)
            m_progress->advanceTo(step);
        m_check.blocks += part.check.blocks;
        m_check.records += part.check.records;
        m_check.points += part.check.points;
        m_check.findings.add(part.check.findings);
        m_points->addOutside(part.points.takeOutside());
    }
};

}  // namespace brisko::scan
