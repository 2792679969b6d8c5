#pragma once

#include <cstdint>

namespace QelPcpLib {

/// Through which a long process reports how far it has come. A driver clears it and begins each of its
/// processes with SetProcNo; the process then reports per cent.
class CProgressCallback {
public:
    virtual ~CProgressCallback() = default;

    CProgressCallback() = default;
    CProgressCallback(const CProgressCallback&) = default;
    CProgressCallback& operator=(const CProgressCallback&) = default;

    /// Per cent of the current process.
    virtual void SetPos(std::uint16_t position) { m_position = position; }
    /// Another process begins, at 0 per cent.
    virtual void SetProcNo(std::uint16_t number) {
        m_processNumber = number;
        m_position = 0;
    }
    /// Called several times a second between two per cent, so that a callback which can stop the
    /// process (by an exception) need not wait for the next one.
    virtual void Poll() {}

    std::uint16_t GetPos() const { return m_position; }
    std::uint16_t GetProcNo() const { return m_processNumber; }

    /// What an indexing driver does before it starts.
    void MarkStarted() { m_state1 = m_state2 = 1; }
    void ClearAbort() { m_abort = 0; }

protected:
    std::uint16_t m_position = 0;
    std::uint8_t m_abort = 0;
    std::uint16_t m_state1 = 0, m_state2 = 0;
    std::uint16_t m_processNumber = 0;
};

}  // namespace QelPcpLib
