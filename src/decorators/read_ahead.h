#pragma once

#include <brisko_codec/point_batch.h>

#include "base/worker_pool.h"
#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace brisko {

/// A run of points between reading and delivering.
class PointBuffer {
public:
    static constexpr std::size_t kCapacity = 400'000;

    // Room alone: 16 MB that are not written before points come.
    PointBuffer() {}  // NOLINT(cppcoreguidelines-pro-type-member-init)

    std::size_t count = 0;
    alignas(64) double positions[3 * kCapacity];  // metres, as measured
    alignas(64) std::uint8_t colours[3 * kCapacity];
    float intensities[kCapacity];
    std::uint32_t columns[kCapacity];
    std::uint32_t rows[kCapacity];

    /// The places of the points from one on.
    PointArrays arraysFrom(std::size_t first) {
        return {positions + 3 * first, intensities + first, colours + 3 * first, columns + first,
                rows + first};
    }
};

/// Reads the points of a codec ahead and has workers colour them, each with a handle of its own: while the
/// host takes the points of one buffer, the other is coloured, and while that goes on the first one is
/// filled again. Only the calling thread touches the codec; it colours, too, where it would have to wait.
class ReadAhead {
public:
    ReadAhead() = default;
    ~ReadAhead() { stop(); }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// Makes the handles for a scan's folder; the codec is read from the next call on. Throws what
    /// RvxScanColorizer throws; the object is then as after stop. As many threads colour as a job has that the
    /// calling thread begins.
    void start(BriskoCodec& codec, const std::string& folder, PhotoOutlines outlines,
               const GoesOn& goesOn);

    /// The handles of the workers, for settings between start and the first point.
    std::span<const std::unique_ptr<RvxScanColorizer>> handles() const { return m_handles; }

    /// Stops and joins the workers, and forgets all points. Harmless at any time.
    void stop();

    /// Makes the next points available. Returns false at the end of the data. In a thread of
    /// Boost.Thread that is interrupted it throws boost::thread_interrupted, and nothing is lost.
    bool hasPoint() { return m_position < m_readable || refill(); }

    /// The buffer and the place of the next point, when there is one.
    const PointBuffer& buffer() const { return m_buffers[m_front]; }
    std::size_t position() const { return m_position; }
    std::size_t available() const { return m_readable - m_position; }
    void advance(std::size_t points) { m_position += points; }

private:
    PointBuffer& front() { return m_buffers[m_front]; }
    PointBuffer& back() { return m_buffers[1 - m_front]; }

    bool refill();
    void fill(PointBuffer& buffer);
    void exchange();
    void colourRuns(PointBuffer& buffer, RvxScanColorizer& handle) noexcept;

    std::array<PointBuffer, 2> m_buffers;
    std::vector<std::unique_ptr<RvxScanColorizer>> m_handles;  // one for each thread, or more
    std::optional<PointBatchReader> m_reader;
    std::size_t m_chunk = 1;  // points read at a time
    bool m_passStarted = false;
    bool m_ended = true;
    std::size_t m_front = 0;     // the buffer that the host takes points from
    std::size_t m_readable = 0;  // how many it holds for the host
    std::size_t m_position = 0;
    std::size_t m_threads = 1;
    std::atomic<std::size_t> m_nextRun = 0;  // of the buffer that is coloured
    std::optional<WorkerPool> m_workers;     // the last member: joined before the others go
};

}  // namespace brisko
