#include "scan.h"

#include "errors.h"
#include "interrupts.h"

#include <algorithm>
#include <filesystem>

namespace brisko::python {
namespace {

namespace py = pybind11;

constexpr std::size_t kPart = 1 << 16;          // points that are read between two looks at signals
constexpr std::size_t kLargestBatch = 1 << 20;  // points whose memory is there from the start

/// Arrays of a window of cells by name. They lie column by column in memory, as scans are stored:
/// neighbours are written one after the other.
class WindowMemory {
public:
    WindowMemory(std::uint32_t columns, std::uint32_t rows) : m_columns(columns), m_rows(rows) {}

    template <class Value>
    CellArrays::Array add(const std::string& name, py::ssize_t values = 1) {
        std::vector<py::ssize_t> shape{m_columns, m_rows};
        if (values > 1) shape.push_back(values);
        py::array_t<Value> array(shape);
        useLargePages(array.mutable_data(), static_cast<std::size_t>(array.nbytes()));
        m_arrays[name.c_str()] = array.attr("swapaxes")(0, 1);
        return {array.mutable_data(), array.strides(0), array.strides(1)};
    }

    const py::dict& arrays() const { return m_arrays; }

private:
    py::ssize_t m_columns, m_rows;
    py::dict m_arrays;
};

}  // namespace

Scan::Scan(const std::string& path, const scan::ReadOptions& options)
    : m_options(options), m_path(std::filesystem::absolute(path).lexically_normal().string()) {
    auto reader = std::make_unique<scan::ScanReader>(scan::ScanReader::open(path, options));
    m_info = reader->info();
    m_free.push_back({std::move(reader), false});
}

void Scan::close() {
    m_isClosed = true;
    std::vector<FreeReader> closing;
    const std::lock_guard lock(m_mutex);
    closing.swap(m_free);
}

void Scan::requireOpen() const {
    if (m_isClosed) failValue(m_path + ": the scan is closed");
}

Scan::Reader Scan::takeReader() {
    FreeReader taken{nullptr, false};
    {
        const std::lock_guard lock(m_mutex);
        if (!m_free.empty()) {
            taken = std::move(m_free.back());
            m_free.pop_back();
        }
    }
    if (!taken.reader) {
        return std::make_unique<scan::ScanReader>(scan::ScanReader::open(m_path, m_options));
    }
    if (taken.isUsed) taken.reader->rewind();
    return std::move(taken.reader);
}

void Scan::giveBack(Reader reader, bool isUsed) {
    const std::lock_guard lock(m_mutex);
    if (!m_isClosed) m_free.push_back({std::move(reader), isUsed});
}

py::dict Scan::readWindow(const CellWindow& window, const std::vector<std::string>& wanted) {
    requireOpen();
    // A window that does not lie in the grid is refused by the reader, before its memory is made.
    const bool isInside = window.endColumn <= m_info.columns && window.endRow <= m_info.rows &&
                          window.firstColumn <= window.endColumn &&
                          window.firstRow <= window.endRow;
    WindowMemory memory(isInside ? window.endColumn - window.firstColumn : 0,
                        isInside ? window.endRow - window.firstRow : 0);
    CellArrays arrays;
    for (const std::string& name : wanted) {
        if (name == "xyz") arrays.positions = memory.add<double>(name, 3);
        if (name == "intensity") arrays.intensities = memory.add<float>(name);
        if (name == "colour") arrays.colours = memory.add<std::uint8_t>(name, 3);
        if (name == "valid") arrays.present = memory.add<bool>(name);
    }
    JobProgress(py::none()).run([&](const scan::ProgressFunction& progress) {
        Reader reader = takeReader();
        const std::uint64_t found = reader->readWindow(window, arrays, progress);
        giveBack(std::move(reader), false);
        return found;
    });
    return memory.arrays();
}

py::tuple Scan::readAll() {
    return Pass(shared_from_this()).next(std::numeric_limits<std::size_t>::max());
}

std::size_t Scan::pointsToExpect() const {
    // One more, so that the end is met before there is no room. The scan was found complete, so that its
    // count is one of records that are there.
    const std::uint64_t known = m_info.recordsArePoints ? m_info.records + 1 : 0;
    return std::max<std::size_t>(kLargestBatch, known);
}

std::uint64_t Scan::countPoints() {
    return Pass(shared_from_this()).countRest();
}

Pass::~Pass() {
    if (!m_reader) return;
    try {
        m_scan->giveBack(std::move(m_reader), true);
    } catch (...) {
        // Without memory to keep it in, the next pass opens a reader of its own.
        m_reader.reset();
    }
}

/// Fills the memory, which grows up to `size` points. Without Python's lock.
std::size_t Pass::fill(PointMemory& memory, std::size_t size) {
    const std::lock_guard lock(m_mutex);
    if (m_isAtEnd) return 0;
    if (!m_reader) m_reader = m_scan->takeReader();
    Interrupts interrupts;
    std::size_t filled = 0;
    try {
        while (filled < size) {
            if (filled == memory.capacity()) {
                memory.resize(std::min(size, std::max(m_scan->pointsToExpect(), 2 * filled)));
            }
            const std::size_t part = std::min({kPart, size - filled, memory.capacity() - filled});
            const std::size_t some = m_reader->read(memory.arrays(filled), part);
            filled += some;
            m_isAtEnd = some < part;
            if (m_isAtEnd) break;
            interrupts.check();
        }
    } catch (...) {
        m_reader.reset();
        m_isAtEnd = true;
        throw;
    }
    return filled;
}

py::tuple Pass::next(std::size_t size) {
    m_scan->requireOpen();
    PointMemory memory = size <= kLargestBatch ? PointMemory::forBatch(size) : PointMemory();
    std::size_t count = 0;
    {
        const py::gil_scoped_release released;
        count = fill(memory, size);
        if (size > kLargestBatch) memory.resize(std::max<std::size_t>(count, 1));
    }
    return std::move(memory).toArrays(count);
}

std::uint64_t Pass::countRest() {
    m_scan->requireOpen();
    const py::gil_scoped_release released;
    const std::lock_guard lock(m_mutex);
    if (!m_reader) m_reader = m_scan->takeReader();
    Interrupts interrupts;
    std::uint64_t count = 0;
    m_isAtEnd = true;
    for (std::size_t some = kPart; some == kPart; count += some) {
        some = m_reader->read({}, kPart);
        interrupts.check();
    }
    return count;
}

}  // namespace brisko::python
