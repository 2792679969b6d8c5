#include <brisko_scan/scan_reader.h>

#include "layouts/alignment_matrix.h"
#include "layouts/cell_arrays.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/formats/scan_input.h"
#include "scan/integrity/scan_check.h"
#include "scan/integrity/tile_check.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace brisko::scan {
namespace {

/// Copies points into the arrays that there are, one array after the other: they stay in the processor's
/// caches meanwhile, and no point asks which arrays are wanted.
void copyPoints(const CellPoint* points, std::size_t count, const PointArrays& arrays,
                std::size_t first) {
    const auto each = [&](auto* array, std::size_t values, const auto& copy) {
        if (!array) return;
        auto* out = array + values * first;
        for (std::size_t i = 0; i < count; ++i, out += values)
            copy(out, points[i]);
    };
    each(arrays.positions, 3, [](double* out, const CellPoint& p) {
        out[0] = p.x;
        out[1] = p.y;
        out[2] = p.z;
    });
    each(arrays.intensities, 1, [](float* out, const CellPoint& p) { *out = p.intensity; });
    each(arrays.colours, 3, [](std::uint8_t* out, const CellPoint& p) {
        out[0] = p.red;
        out[1] = p.green;
        out[2] = p.blue;
    });
    each(arrays.columns, 1, [](std::uint32_t* out, const CellPoint& p) { *out = p.column; });
    each(arrays.rows, 1, [](std::uint32_t* out, const CellPoint& p) { *out = p.row; });
}

/// The rest of the arrays from a point on.
PointArrays arraysFrom(const PointArrays& arrays, std::size_t first) {
    const auto from = [first](auto* array, std::size_t values) {
        return array ? array + values * first : nullptr;
    };
    return {from(arrays.positions, 3), from(arrays.intensities, 1), from(arrays.colours, 3),
            from(arrays.columns, 1), from(arrays.rows, 1)};
}

/// The arrays of a window as those of a part of it.
CellArrays arraysOf(const CellWindow& part, const CellWindow& window, CellArrays arrays) {
    const auto columns = static_cast<std::ptrdiff_t>(part.firstColumn - window.firstColumn);
    const auto rows = static_cast<std::ptrdiff_t>(part.firstRow - window.firstRow);
    for (CellArrays::Array* array :
         {&arrays.positions, &arrays.intensities, &arrays.colours, &arrays.present}) {
        if (!array->start) continue;
        array->start = static_cast<std::uint8_t*>(array->start) + columns * array->columnStride +
                       rows * array->rowStride;
    }
    return arrays;
}

}  // namespace

class ScanReader::State {
public:
    State(const std::string& path, const ReadOptions& options)
        : m_options(options), m_input(openScan(path, options)) {}

    const ScanInfo& info() const { return m_input->info(); }

    std::size_t read(const PointArrays& arrays, std::size_t capacity) {
        if (m_input->readsIntoArrays()) return readStraight(arrays, capacity);
        std::size_t filled = 0;
        while (filled < capacity) {
            if (m_next == m_points.size() && !readBatch()) break;
            const std::size_t some = std::min(m_points.size() - m_next, capacity - filled);
            copyPoints(m_points.data() + m_next, some, arrays, filled);
            m_next += some;
            filled += some;
        }
        return filled;
    }

    void rewind() {
        m_input->rewind();
        m_points.clear();
        m_next = 0;
        m_atEnd = false;
    }

    std::uint64_t readWindow(const CellWindow& window, const CellArrays& arrays,
                             const ProgressFunction& progress) {
        requireInside(window);
        if (hasExtension(info().path, ".cl3") && !m_options.colourFromPhotos) {
            return readCells(window, arrays, progress);
        }
        const std::uint64_t found = fillByAPass(window, arrays, progress);
        rewind();
        return found;
    }

private:
    /// While it lives, the reader makes a pass from the first point on, which of a native scan need not bring
    /// other columns than a window's.
    class WindowPass {
    public:
        WindowPass(State& state, const CellWindow& window, const ProgressFunction& progress)
            : m_state(state) {
            if (!state.info().format->isNative) {
                state.rewind();
                return;
            }
            ReadOptions options = state.m_options;
            options.columns = GridRange{window.firstColumn, window.endColumn};
            if (progress) options.progress = progress;
            m_other = openScan(state.info().path, options);
            exchange();
        }
        ~WindowPass() {
            if (m_other) exchange();
        }
        WindowPass(const WindowPass&) = delete;
        WindowPass& operator=(const WindowPass&) = delete;

    private:
        void exchange() {
            m_state.m_input.swap(m_other);
            m_state.m_points.clear();
            m_state.m_next = 0;
            m_state.m_atEnd = false;
        }

        State& m_state;
        std::unique_ptr<ScanInput> m_other;
    };

    /// False at the end of the scan.
    bool readBatch() {
        if (m_atEnd) return false;
        m_input->read(m_points);
        m_next = 0;
        m_atEnd = m_points.empty();
        if (isMoved()) {
            const AlignmentMatrix matrix(info().alignment);
            for (CellPoint& point : m_points)
                matrix.apply(point.x, point.y, point.z);
        }
        return !m_atEnd;
    }

    bool isMoved() const {
        return m_options.frame == Frame::Aligned &&
               info().alignment.source == AlignmentSource::File;
    }

    /// Without a copy of the points in between.
    std::size_t readStraight(const PointArrays& arrays, std::size_t capacity) {
        const AlignmentMatrix matrix(info().alignment);
        std::size_t filled = 0;
        while (filled < capacity && !m_atEnd) {
            const PointArrays rest = arraysFrom(arrays, filled);
            const std::size_t some = m_input->readInto(rest, capacity - filled);
            m_atEnd = some == 0;
            if (isMoved() && rest.positions) {
                for (double* p = rest.positions; p != rest.positions + 3 * some; p += 3)
                    matrix.apply(p[0], p[1], p[2]);
            }
            filled += some;
        }
        return filled;
    }

    std::uint64_t fillByAPass(const CellWindow& window, const CellArrays& arrays,
                              const ProgressFunction& progress) {
        CellArraysWriter out(arrays, window);
        out.putEmptyWindow();
        std::uint64_t found = 0;
        const WindowPass pass(*this, window, progress);
        while (readBatch()) {
            requireGoingOn(progress);
            for (const CellPoint& p : m_points) {
                if (p.column < window.firstColumn || p.column >= window.endColumn ||
                    p.row < window.firstRow || p.row >= window.endRow) {
                    continue;
                }
                out.seek(p.column, p.row);
                out.put(p);
                ++found;
            }
        }
        return found;
    }

    void requireInside(const CellWindow& window) const {
        const bool isInside = window.firstColumn <= window.endColumn &&
                              window.endColumn <= info().columns &&
                              window.firstRow <= window.endRow && window.endRow <= info().rows;
        if (info().hasGrid && isInside) return;
        throw ScanError(ErrorKind::Request, info().path,
                        info().hasGrid
                            ? "the window does not lie inside the grid of " +
                                  std::to_string(info().columns) + " x " +
                                  std::to_string(info().rows) + " cells"
                            : "the scan has no index, so the cells of its points are not "
                              "known");
    }

    std::uint64_t readCells(const CellWindow& window, const CellArrays& arrays,
                            const ProgressFunction& progress) {
        if (!m_cells) openCells();
        std::uint64_t found = 0;
        forEachTile(window, [&](const CellWindow& part) {
            requireGoingOn(progress);
            requireSoundTile(part);
            std::uint64_t some = 0;
            const CellState state =
                m_cells->readWindow(part, arraysOf(part, window, arrays), &some);
            if (state == CellState::Damaged) {
                failDamaged(info().path, info().path +
                                             ": the index promises points that the scan does not "
                                             "hold");
            }
            found += some;
        });
        return found;
    }

    /// The parts of a window in each tile, in the order of the files.
    template <class Use>
    void forEachTile(const CellWindow& window, const Use& use) const {
        const auto tileEnd = [this](std::uint32_t at, std::uint32_t end) {
            const std::uint64_t next = (std::uint64_t{at} / m_tileSize + 1) * m_tileSize;
            return static_cast<std::uint32_t>(std::min<std::uint64_t>(next, end));
        };
        for (std::uint32_t c = window.firstColumn; c < window.endColumn;) {
            const std::uint32_t endColumn = tileEnd(c, window.endColumn);
            for (std::uint32_t r = window.firstRow; r < window.endRow;) {
                const std::uint32_t endRow = tileEnd(r, window.endRow);
                use(CellWindow{c, endColumn, r, endRow});
                r = endRow;
            }
            c = endColumn;
        }
    }

    void openCells() {
        auto cells = std::make_unique<CL3CellReader>();
        const bool isOpen = m_options.tiles
                                ? cells->open(info().path.c_str(), *m_options.tiles->tiles())
                                : cells->open(info().path.c_str());
        if (!isOpen) {
            throw ScanError(ErrorKind::Damaged, info().path, "cannot be opened with its index");
        }
        cells->setFrame(m_options.frame);
        const IndexLayout index = *inspectCL3(info().path, m_options.tiles.get()).index;
        m_indexPath = index.path;
        m_tileSize = index.tileSize;
        m_tilesDown = (std::uint64_t{index.rows} + index.tileSize - 1) / index.tileSize;
        m_isSound.assign(index.tiles, false);
        m_cells = std::move(cells);
    }

    /// The entries of a tile number its points one by one, or any of them may be another cell's. Each
    /// tile is looked at once.
    void requireSoundTile(const CellWindow& part) {
        const std::uint64_t tile =
            part.firstColumn / m_tileSize * m_tilesDown + part.firstRow / m_tileSize;
        if (tile >= m_isSound.size() || m_isSound[tile]) return;
        ScanCheck check(1);
        check.path = info().path;
        TileCheck tiles(check, m_indexPath);
        tiles.startAt(tile);
        tiles.next();
        if (!check.findings.empty()) {
            throw ScanError::damage(check.findings.kept().front(), kRepairAdvice);
        }
        m_isSound[tile] = true;
    }

    ReadOptions m_options;
    std::unique_ptr<ScanInput> m_input;
    std::vector<CellPoint> m_points;  // of the batch at hand
    std::size_t m_next = 0;           // of them
    bool m_atEnd = false;

    std::unique_ptr<CL3CellReader> m_cells;  // made when a window is asked for
    std::string m_indexPath;
    std::uint32_t m_tileSize = 1;
    std::uint64_t m_tilesDown = 0;
    std::vector<bool> m_isSound;  // tiles that were looked at
};

ScanReader::ScanReader(std::unique_ptr<State> state) : m_state(std::move(state)) {
}
ScanReader::ScanReader(ScanReader&&) noexcept = default;
ScanReader& ScanReader::operator=(ScanReader&&) noexcept = default;
ScanReader::~ScanReader() = default;

ScanReader ScanReader::open(const std::string& path, const ReadOptions& options) {
    return ScanReader(std::make_unique<State>(path, options));
}

const ScanInfo& ScanReader::info() const {
    return m_state->info();
}

std::size_t ScanReader::read(const PointArrays& arrays, std::size_t capacity) {
    return m_state->read(arrays, capacity);
}

void ScanReader::rewind() {
    m_state->rewind();
}

std::uint64_t ScanReader::readWindow(const CellWindow& window, const CellArrays& arrays) {
    return m_state->readWindow(window, arrays, {});
}

std::uint64_t ScanReader::readWindow(const CellWindow& window, const CellArrays& arrays,
                                     const ProgressFunction& progress) {
    return m_state->readWindow(window, arrays, progress);
}

}  // namespace brisko::scan
