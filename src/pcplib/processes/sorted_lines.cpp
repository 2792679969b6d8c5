#include "pcplib/processes/sorted_lines.h"

#include "base/file.h"
#include "layouts/layout.h"

#include <algorithm>
#include <utility>

namespace QelPcpLib {

namespace clr_record = brisko::clr_record;

SortedLines::SortedLines(brisko::OutputFile& output, std::string path, std::uint64_t rows,
                         const ProcessProgress& progress)
    : m_output(output), m_path(std::move(path)), m_rows(rows), m_progress(progress) {
}

std::size_t SortedLines::held() const {
    return m_held.size() / clr_record::kSize;
}

std::size_t SortedLines::add(std::span<const std::uint8_t> bytes) {
    const std::uint64_t lacking = missing() * clr_record::kSize;
    if (bytes.size() > lacking) bytes = bytes.first(static_cast<std::size_t>(lacking));
    if (bytes.size() > clr_record::kSize) {
        bytes = bytes.first(bytes.size() - bytes.size() % clr_record::kSize);
    }
    if (m_held.size() + bytes.size() > kMostHeld * clr_record::kSize) spill();
    m_held.insert(m_held.end(), bytes.begin(), bytes.end());
    if (bytes.size() < clr_record::kSize) {
        m_held.resize(m_held.size() + clr_record::kSize - bytes.size());
    }
    return bytes.size();
}

void SortedLines::writeHeld() {
    m_output.append(m_held);
    m_held.clear();
}

void SortedLines::spill() {
    if (m_spilled == 0) m_lineStart = m_output.position();
    m_ends.look(m_held.data(), held());
    m_spilled += held();
    writeHeld();
    m_progress.poll();
}

bool SortedLines::finishLine(std::uint64_t k) {
    return m_rows <= kMostHeld ? finishHeldLine(k) : finishSpilledLine(k);
}

bool SortedLines::finishHeldLine(std::uint64_t k) {
    const auto rows = static_cast<std::size_t>(m_rows);
    m_held.resize(rows * clr_record::kSize);
    const bool turn = runsAgainstOrder(k, ClassifyLine(m_held.data(), rows));
    if (turn) ReverseLine(m_held.data(), rows);
    writeHeld();
    return turn;
}

bool SortedLines::finishSpilledLine(std::uint64_t k) {
    spill();
    m_output.appendZeros((m_rows - m_spilled) * clr_record::kSize);
    const bool turn = runsAgainstOrder(k, m_ends.direction());
    if (turn) m_good = turnInFile() && m_good;
    m_spilled = 0;
    m_ends = {};
    return turn;
}

bool SortedLines::turnInFile() {
    m_output.flush();
    if (m_output.failed()) return false;
    const brisko::FilePtr file = brisko::openFile(m_path.c_str(), "rb+");
    const auto between = [this] { m_progress.poll(); };
    return file && reverseRecordsInFile(file.get(), m_lineStart, m_rows, between);
}

}  // namespace QelPcpLib
