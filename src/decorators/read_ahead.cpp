#include "decorators/read_ahead.h"

#include <brisko_codec/threads.h>

#include "codec/batch_source.h"

#include <boost/thread/thread.hpp>

#include <algorithm>

namespace brisko {

void ReadAhead::start(BriskoCodec& codec, const std::string& folder, PhotoOutlines outlines,
                      const GoesOn& goesOn) {
    // Deliberate: each handle writes to the log that it is ready, and hosts know these four records.
    constexpr std::size_t kFewestHandles = 4;
    stop();
    m_threads = jobThreads();
    m_handles.push_back(
        std::make_unique<RvxScanColorizer>(folder, RvxScanColorizer::kCapacity, outlines, goesOn));
    while (m_handles.size() < std::max(kFewestHandles, m_threads))
        m_handles.push_back(std::make_unique<RvxScanColorizer>(*m_handles.front(), goesOn));
    m_workers.emplace(m_threads - 1);
    // Codecs of others are asked point by point, so that an interruption comes between two points.
    constexpr std::size_t kChunk = 1024;
    m_chunk = dynamic_cast<BatchSource*>(&codec) ? kChunk : 1;
    m_reader.emplace(codec);
    m_passStarted = false;
    m_ended = false;
}

void ReadAhead::stop() {
    if (m_workers) m_workers->stop();
    m_workers.reset();
    m_handles.clear();
    m_reader.reset();
    for (PointBuffer& buffer : m_buffers)
        buffer.count = 0;
    m_front = m_readable = m_position = 0;
    m_ended = true;
}

bool ReadAhead::refill() {
    if (m_readable > 0) front().count = 0;
    m_readable = m_position = 0;
    // Twice at the beginning, as nothing has been coloured then.
    while (m_readable == 0) {
        if (m_ended && front().count == 0 && back().count == 0) return false;
        fill(front());
        exchange();
    }
    return true;
}

/// Reads on until the buffer is full or the data ends. An exception leaves what was read so far.
void ReadAhead::fill(PointBuffer& buffer) {
    while (!m_ended && buffer.count < PointBuffer::kCapacity) {
        if (m_passStarted) boost::this_thread::interruption_point();
        const std::size_t wanted = std::min(m_chunk, PointBuffer::kCapacity - buffer.count);
        const PointArrays arrays = buffer.arraysFrom(buffer.count);
        const std::size_t got = m_passStarted ? m_reader->readNext(arrays, wanted)
                                              : m_reader->readFirst(arrays, wanted);
        m_passStarted = true;
        buffer.count += got;
        m_ended = got < wanted;
    }
}

/// Hands the coloured buffer to the host and the one just filled to the workers.
void ReadAhead::exchange() {
    m_workers->wait();
    m_front = 1 - m_front;
    m_readable = front().count;
    if (back().count == 0) return;
    m_nextRun = 0;
    m_workers->start(m_threads, [this](std::size_t i) { colourRuns(back(), *m_handles[i]); });
}

/// Takes runs until all are taken. Colours of different runs share no cache line. Points that cannot be coloured
/// keep the colour that they came with.
void ReadAhead::colourRuns(PointBuffer& buffer, RvxScanColorizer& handle) noexcept try {
    constexpr std::size_t kRun = 512;
    static_assert(3 * kRun % 64 == 0);
    while (!m_workers->isStopping()) {
        const std::size_t begin = kRun * m_nextRun++;
        if (begin >= buffer.count) return;
        handle.colourPoints(buffer.positions + 3 * begin, std::min(kRun, buffer.count - begin),
                            buffer.colours + 3 * begin);
    }
} catch (...) {
}

}  // namespace brisko
