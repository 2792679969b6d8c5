#include <brisko_codec/alignment.h>
#include <brisko_codec/writers.h>

#include "writers/tile_grid_writer.h"

#include <memory>
#include <new>

using namespace brisko;

/// The open files, shared by the copies of a writer.
class CL3IJWriterGridCodec::State : public TileGridWriter {};

CL3IJWriterGridCodec::CL3IJWriterGridCodec() = default;
CL3IJWriterGridCodec::CL3IJWriterGridCodec(const CL3IJWriterGridCodec&) = default;
CL3IJWriterGridCodec& CL3IJWriterGridCodec::operator=(const CL3IJWriterGridCodec&) = default;
CL3IJWriterGridCodec::~CL3IJWriterGridCodec() = default;

bool CL3IJWriterGridCodec::Open(const char* path, GridFileHeader* header) {
    Close();
    try {
        m_state = std::make_shared<State>();
        return m_state->open(path, header);
    } catch (const std::bad_alloc&) {
        m_state.reset();
        return false;
    }
}

bool CL3IJWriterGridCodec::Close() {
    if (!m_state || !m_state->isOpen()) return false;
    m_state->close(m_matrix);
    return true;
}

void CL3IJWriterGridCodec::WritePoint(double x, double y, double z, float intensity,
                                      std::uint8_t red, std::uint8_t green, std::uint8_t blue,
                                      std::uint8_t, std::uint32_t column, std::uint32_t row) {
    if (m_state) m_state->write({x, y, z, intensity, red, green, blue}, column, row);
}

void CL3IJWriterGridCodec::WriteInBackground() {
    if (!m_state || !m_state->isOpen()) return;
    try {
        m_state->writeBehind();
    } catch (const std::bad_alloc&) {
        // Then it goes as it always did.
    }
}

bool CL3IJWriterGridCodec::HasWriteError() const {
    return m_state && m_state->failed();
}

DroppedPoints CL3IJWriterGridCodec::GetDroppedPoints() const {
    return m_state ? m_state->dropped() : DroppedPoints{};
}
