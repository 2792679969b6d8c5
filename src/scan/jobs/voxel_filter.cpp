#include "scan/jobs/voxel_filter.h"

#include "base/private_folder.h"
#include "base/text.h"
#include "scan/jobs/point_filter.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint64_t kLastBlock = std::numeric_limits<std::uint64_t>::max();

bool isFinite(const CellPoint& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

[[noreturn]] void failAsChanged(const std::string& path) {
    throw ScanError(ErrorKind::Damaged, path, "it changed while it was read");
}

}  // namespace

// ------------------------------------------------------------------------------- Marks on the disk

/// A bit for each point and pass: whether it is the first of a cube. A point may be marked in several
/// passes, in which it is the same cube's.
class VoxelFilter::Marks {
public:
    Marks(const std::string& beside, const std::string& scan)
        : m_beside(beside), m_scan(scan), m_file(beside) {}

    void put(bool isMarked) {
        m_bits.resize(m_count / 8 % kChunk + 1);
        m_bits.back() = static_cast<std::uint8_t>(m_bits.back() | isMarked << m_count % 8);
        if (++m_count % kChunkBits == 0) append();
    }

    void endPass() {
        if (!m_bits.empty()) append();
        if (m_passes++ > 0 && m_count != m_points) failAsChanged(m_scan);
        m_points = m_count;
        m_count = 0;
    }

    /// The bit of the next point, beginning with the given one.
    void seek(std::uint64_t point) {
        m_next = point;
        m_bits.clear();
    }
    bool take() {
        if (m_next >= m_points) failAsChanged(m_scan);
        if (m_bits.empty() || m_next % kChunkBits == 0) load(m_next / kChunkBits);
        const bool isMarked = (m_bits[m_next / 8 % kChunk] >> m_next % 8 & 1) != 0;
        ++m_next;
        return isMarked;
    }

private:
    static constexpr std::size_t kChunk = 1 << 16;  // bytes
    static constexpr std::uint64_t kChunkBits = 8 * kChunk;

    void append() {
        const bool isWritten = m_file.append(m_bits.data(), m_bits.size());
        if (!isWritten) {
            throw ScanError(ErrorKind::NotWritten, m_beside,
                            "what is known of the points of " + m_scan +
                                " cannot wait beside it: " + std::strerror(errno));
        }
        m_bits.clear();
    }

    void load(std::uint64_t chunk) {
        const std::uint64_t passBytes = (m_points + 7) / 8;
        const std::uint64_t begin = chunk * kChunk;
        const auto size =
            static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, passBytes - begin));
        m_bits.assign(size, 0);
        m_pass.resize(size);
        for (std::uint64_t pass = 0; pass < m_passes; ++pass) {
            if (!m_file.read(pass * passBytes + begin, m_pass.data(), size)) {
                throw ScanError(ErrorKind::NotWritten, m_beside,
                                "what waited beside it cannot be read back");
            }
            std::transform(m_bits.begin(), m_bits.end(), m_pass.begin(), m_bits.begin(),
                           [](std::uint8_t a, std::uint8_t b) { return a | b; });
        }
    }

    std::string m_beside, m_scan;
    SpillFile m_file;
    std::vector<std::uint8_t> m_bits, m_pass;  // of a chunk: of all passes, of one
    std::uint64_t m_passes = 0;
    std::uint64_t m_points = 0;  // of a pass
    std::uint64_t m_count = 0;   // bits put in this pass
    std::uint64_t m_next = 0;    // to be taken
};

// ---------------------------------------------------------------------------------------- The filter

VoxelFilter::VoxelFilter(double size, ScanInput& input, const PointConditions& conditions,
                         const std::string& beside, const ProgressFunction& progress,
                         std::size_t mostSlots)
    : m_size(size),
      m_input(input),
      m_conditions(std::make_unique<PointConditions>(conditions)),
      m_beside(beside),
      m_progress(progress),
      m_set(mostSlots),
      m_lastBlock(kLastBlock) {
}

VoxelFilter::~VoxelFilter() = default;

/// Coordinates count from the first point: a scan far from the origin of its frame has as much room.
VoxelSet::Voxel VoxelFilter::voxelOf(const CellPoint& point) {
    constexpr double kHalf = 0.5 * VoxelSet::kSpan;
    constexpr double kExact = 9007199254740992;  // 2^53: cubes can be told apart up to here
    const double cubes[3] = {std::floor(point.x / m_size), std::floor(point.y / m_size),
                             std::floor(point.z / m_size)};
    if (!m_base) m_base = {cubes[0] - kHalf, cubes[1] - kHalf, cubes[2] - kHalf};
    std::uint32_t place[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double offset = cubes[axis] - (*m_base)[axis];
        const bool fits =
            std::abs(cubes[axis]) < kExact && offset >= 0 && offset < double{VoxelSet::kSpan};
        if (!fits) {
            throw ScanError(ErrorKind::Request, m_input.info().path,
                            formatText("cubes of %.15g m are too small for it: its points lie more "
                                       "than %.0f of them apart",
                                       m_size, kHalf),
                            "choose larger ones, or the points with --box or --max-distance");
        }
        place[axis] = static_cast<std::uint32_t>(offset);
    }
    return {place[0], place[1], place[2]};
}

/// Decides all points of a batch; false where a cube does not fit and nothing is known of the rest.
bool VoxelFilter::decide(const std::vector<CellPoint>& points) {
    m_isFirst.assign(points.size(), 1);
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (!isFinite(points[i])) continue;
        const VoxelSet::Voxel voxel = voxelOf(points[i]);
        const std::uint64_t block = VoxelSet::blockOf(voxel);
        VoxelSet::Added added = VoxelSet::Added::Known;
        while (block >= m_firstBlock && block <= m_lastBlock) {
            added = m_set.add(block, voxel);
            if (added != VoxelSet::Added::Full) break;
            if (!m_marks) return false;
            // The upper half is left to the next pass. What was marked of it will be marked again.
            m_lastBlock = m_firstBlock + (m_lastBlock - m_firstBlock) / 2;
            m_set.keepUpTo(m_lastBlock);
        }
        m_isFirst[i] = added == VoxelSet::Added::New;
    }
    return true;
}

void VoxelFilter::apply(std::vector<CellPoint>& points) {
    ++m_batches;
    if (!m_marks && !decide(points)) markAll(points.size());
    if (m_marks) {
        m_isFirst.resize(points.size());
        for (char& isFirst : m_isFirst)
            isFirst = m_marks->take();
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (m_isFirst[i] != 0) points[kept++] = points[i];
    }
    m_points += points.size();
    points.resize(kept);
}

void VoxelFilter::markAll(std::size_t pointsAtHand) {
    m_marks = std::make_unique<Marks>(m_beside, m_input.info().path);
    for (;;) {
        m_set.clear();
        markPart();
        m_marks->endPass();
        if (m_lastBlock == kLastBlock) break;
        const std::uint64_t width = m_lastBlock - m_firstBlock;
        m_firstBlock = m_lastBlock + 1;
        m_lastBlock = width < kLastBlock - m_firstBlock ? m_firstBlock + width : kLastBlock;
    }
    m_set = VoxelSet(0);
    comeBackAfter(m_points + pointsAtHand);
    m_marks->seek(m_points);
}

/// A pass over the whole input, which marks the first points of some of the cubes.
void VoxelFilter::markPart() {
    m_input.rewind();
    TaskProgress progress(m_progress, "thin out", m_input.steps(), m_input.stepUnit());
    PointFilter filter(*m_conditions);
    std::vector<CellPoint> points;
    for (m_input.read(points); !points.empty(); m_input.read(points)) {
        filter.apply(points);
        decide(points);
        for (const char isFirst : m_isFirst)
            m_marks->put(isFirst != 0);
        progress.advanceTo(m_input.stepsDone());
    }
}

/// Brings the input back to the place after the batch at hand.
void VoxelFilter::comeBackAfter(std::uint64_t expected) {
    m_input.rewind();
    PointFilter filter(*m_conditions);
    std::vector<CellPoint> points;
    std::uint64_t passed = 0;
    for (std::uint64_t i = 0; i < m_batches; ++i) {
        requireGoingOn(m_progress);
        m_input.read(points);
        filter.apply(points);
        passed += points.size();
    }
    if (passed != expected) failAsChanged(m_input.info().path);
}

}  // namespace brisko::scan
