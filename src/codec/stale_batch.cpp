#include "codec/stale_batch.h"

#include "base/file.h"
#include "base/system_calls.h"

#include <algorithm>

namespace brisko {

void PassLimits::start(std::FILE* file, std::uint64_t offset, FirstProblem& problem,
                       FirstProblem::File which) {
    m_problem = &problem;
    m_which = which;
    m_file = file;
    m_position = offset;
    m_length = fileLength(file, problem.readErrors());
    m_staleLeft = kMostStale;
}

std::uint64_t PassLimits::wholeItemsLeft(std::uint64_t wanted, std::uint64_t itemSize) const {
    return atEnd() ? 0 : std::min(wanted, (m_length - m_position) / itemSize);
}

void PassLimits::finish() {
    noteProblem(ReadProblemKind::CutShort, m_position);
    m_position = m_length;
}

std::size_t PassLimits::read(void* out, std::size_t size) {
    if (atEnd()) {
        finish();
        return 0;
    }
    const std::size_t got = system_calls::fread(out, 1, size, m_file);
    m_position += got;
    if (got < size) {
        if (std::ferror(m_file) != 0) {
            readErrors()->note();
            noteProblem(ReadProblemKind::Unreadable, m_position);
        }
        finish();
    }
    return got;
}

std::uint64_t PassLimits::takeStale(std::uint64_t wanted) {
    const std::uint64_t taken = std::min(wanted, m_staleLeft);
    m_staleLeft -= taken;
    return taken;
}

void StaleBatch::start(std::size_t itemSize, std::size_t slack) {
    m_itemSize = itemSize;
    m_slack = slack;
    m_bytes.assign(slack, 0);
}

std::size_t StaleBatch::fill(PassLimits& pass, std::uint64_t left) {
    const std::uint64_t wanted = std::min(kMostItems, left);
    const std::uint64_t fresh = pass.wholeItemsLeft(wanted, m_itemSize);
    const std::uint64_t count = fresh + pass.takeStale(wanted - fresh);
    const std::size_t needed = static_cast<std::size_t>(count) * m_itemSize + m_slack;
    if (m_bytes.size() < needed) m_bytes.resize(needed);

    const std::size_t bytes = static_cast<std::size_t>(fresh) * m_itemSize;
    if (bytes > 0) pass.read(m_bytes.data(), bytes);
    if (fresh < wanted) pass.finish();
    return static_cast<std::size_t>(count);
}

}  // namespace brisko
