#pragma once

#include "point_memory.h"

#include <pybind11/numpy.h>

#include <brisko_scan/scan_reader.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace brisko::python {

/// An open scan. Every pass and every window takes a reader of its own for as long as it lasts, so that
/// any number of them can go on side by side, on any threads; readers that are free are used again.
class Scan : public std::enable_shared_from_this<Scan> {
public:
    /// Throws ScanError.
    Scan(const std::string& path, const scan::ReadOptions& options);

    const scan::ScanInfo& info() const { return m_info; }
    /// Absolute, so that it stays right when the process changes its folder.
    const std::string& path() const { return m_path; }

    bool isClosed() const { return m_isClosed; }
    /// Passes that go on keep their files until their next batch.
    void close();
    /// Raises ValueError where the scan is closed.
    void requireOpen() const;

    /// The window as arrays (rows, columns) by name: those of "xyz", "intensity", "colour", "valid" that
    /// are wanted.
    pybind11::dict readWindow(const CellWindow& window, const std::vector<std::string>& wanted);
    /// The points of the whole scan, as of a batch.
    pybind11::tuple readAll();
    /// Counts the points by a pass over them.
    std::uint64_t countPoints();

private:
    friend class Pass;
    using Reader = std::unique_ptr<scan::ScanReader>;
    struct FreeReader {
        Reader reader;
        bool isUsed;  // to be rewound before a pass
    };

    /// How many to have room for before any is read.
    std::size_t pointsToExpect() const;

    /// A reader that starts a pass. Without Python's lock.
    Reader takeReader();
    void giveBack(Reader reader, bool isUsed);

    scan::ReadOptions m_options;
    std::string m_path;
    scan::ScanInfo m_info;
    std::mutex m_mutex;
    std::vector<FreeReader> m_free;
    std::atomic<bool> m_isClosed = false;
};

/// A pass over the points of a scan.
class Pass {
public:
    explicit Pass(std::shared_ptr<Scan> scan) : m_scan(std::move(scan)) {}
    ~Pass();
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    /// The next points as a tuple of arrays, size of them while there are as many; of length 0 at the end.
    pybind11::tuple next(std::size_t size);
    /// Passes over the rest of the points and counts them.
    std::uint64_t countRest();

private:
    std::size_t fill(PointMemory& memory, std::size_t size);

    std::shared_ptr<Scan> m_scan;
    std::mutex m_mutex;
    Scan::Reader m_reader;
    bool m_isAtEnd = false;
};

}  // namespace brisko::python
