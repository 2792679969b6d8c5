// The calls of the three writers in any order: what lies on the disk after Close are the points that
// were written, as the rules of the writer keep them.

#include "same_points.h"
#include "scan_folder.h"

#include <brisko_codec/brisko_codec.h>

#include <cmath>
#include <map>

namespace brisko::fuzz {

namespace {

using test::TestPoint;
using Cell = std::pair<std::uint32_t, std::uint32_t>;

/// A grid of a host.
class Grid : public GridFileHeader {
public:
    Grid(std::size_t columns, std::size_t rows) : m_columns(columns), m_rows(rows) {}
    std::size_t GetAzimuthResolution() const override { return m_columns; }
    std::size_t GetZenithResolution() const override { return m_rows; }
    bool Read(const char*) override { return false; }

private:
    std::size_t m_columns, m_rows;
};

/// Mostly ordinary numbers; sometimes any.
double coordinate(Input& in) {
    const std::uint8_t kind = in.u8();
    if (kind == 255) return in.f64();
    return (kind - 120) * 0.25;
}

TestPoint takePoint(Input& in) {
    TestPoint p;
    p.x = coordinate(in);
    p.y = coordinate(in);
    p.z = coordinate(in);
    p.intensity = static_cast<float>(in.u8()) * 5;
    p.red = in.u8();
    p.column = in.u8();
    p.column *= in.u8() % 4U;  // up to three tiles
    p.row = in.u8();
    return p;
}

bool isMeasured(const TestPoint& p) {
    return p.intensity > 0 || p.x != 0 || p.y != 0 || p.z != 0;
}

class PlainWriter {
public:
    PlainWriter(const std::string& path, Grid) : m_path(path) {}

    bool open() { return m_points.clear(), m_writer.Open(m_path.c_str(), nullptr); }
    bool close() { return m_writer.Close(); }
    void write(const TestPoint& p) {
        m_writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, 0, 0, 255);
        if (isMeasured(p)) m_points.push_back(p);
    }
    void expectFile() const {
        const auto codec = test::openScan<CL3Codec>(m_path);
        setFrame(*codec, Frame::Scanner);
        const auto read = test::readAll(*codec);
        expect(!m_writer.HasWriteError() && read.size() == m_points.size());
        for (std::size_t i = 0; i < read.size(); ++i) {
            TestPoint expected = m_points[i];
            expected.column = expected.row = 0;
            align(m_identity, expected);
            TestPoint point = read[i];
            align(m_identity, point);
            expect(isSame(point, expected));
        }
    }

private:
    const double m_identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    std::string m_path;
    CL3WriterCodec m_writer;
    std::vector<TestPoint> m_points;
};

class IndexedWriter {
public:
    IndexedWriter(const std::string& path, Grid grid) : m_path(path), m_grid(grid) {}

    bool open() {
        m_points.clear();
        m_band = 0;
        return m_writer.Open(m_path.c_str(), &m_grid);
    }
    bool close() { return m_writer.Close(); }
    void write(const TestPoint& p) {
        m_writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, 0, 0, 255, p.column, p.row);
        const auto end = [](std::size_t cells) { return (cells + 255) / 256 * 256; };
        const bool inside = p.column < end(m_grid.GetAzimuthResolution()) &&
                            p.row < end(m_grid.GetZenithResolution());
        // A point beyond the grid ends the bands before it, too.
        const bool isLate = p.column / 256 < m_band;
        m_band = std::max(m_band, p.column / 256);
        if (inside && !isLate) m_points[{p.column, p.row}] = p;
    }
    void expectFile() const {
        const auto codec = test::openScan<CL3GridCodec>(m_path);
        expect(codec != nullptr && !m_writer.HasWriteError());
        setFrame(*codec, Frame::Scanner);
        std::map<Cell, TestPoint> read;
        for (const TestPoint& p : test::readAll(*codec))
            read[{p.column, p.row}] = p;
        std::size_t measured = 0;
        for (const auto& [cell, p] : m_points) {
            if (!isMeasured(p)) continue;
            ++measured;
            const auto found = read.find(cell);
            expect(found != read.end());
            expect(found->second.red == p.red && isSame(found->second.intensity, p.intensity));
            const double sum = p.x + p.y + p.z;
            if (std::isfinite(sum)) expect(found->second.x == p.x && found->second.z == p.z);
        }
        expect(read.size() == measured);
    }

private:
    std::string m_path;
    Grid m_grid;
    CL3IJWriterGridCodec m_writer;
    std::uint32_t m_band = 0;
    std::map<Cell, TestPoint> m_points;
};

class RawWriter {
public:
    RawWriter(const std::string& path, Grid grid) : m_path(path), m_grid(grid) {}

    bool open() {
        m_points.clear();
        m_inOrder = true;
        return m_writer.Open(m_path.c_str(), &m_grid);
    }
    bool close() { return m_writer.Close(); }
    void write(TestPoint p) {
        p.column = std::min(p.column, 255U);  // of one band
        m_writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, 0, 0, 255, p.column, p.row);
        if (p.column >= m_grid.GetAzimuthResolution() || p.row >= m_grid.GetZenithResolution())
            m_inOrder = m_inOrder && p.column < m_grid.GetAzimuthResolution();
        else if (std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z))
            m_points[{p.column, p.row}] = p;
    }
    void expectFile() const {
        const auto read = test::readScan<CLRGridCodec>(m_path);
        expect(!m_writer.HasWriteError());
        if (!m_inOrder) return;
        std::size_t measured = 0;
        for (const auto& [cell, p] : m_points)
            measured += p.intensity > 0;
        expect(read.size() == measured);
        for (const TestPoint& p : read) {
            const auto written = m_points.find({p.column, p.row});
            expect(written != m_points.end());
            expect(p.intensity == written->second.intensity);
            const double x = written->second.x;
            if (std::abs(x) < 200'000) expect(std::abs(p.x - x) <= 1.6e-4);
        }
    }

private:
    std::string m_path;
    Grid m_grid;
    CLRWriterGridCodec m_writer;
    bool m_inOrder = true;
    std::map<Cell, TestPoint> m_points;
};

template <class Writer>
void write(Input& in, const std::string& path) {
    std::size_t columns = in.u8();
    columns *= 1 + in.u8() % 3U;
    const std::size_t rows = in.u8();
    Writer writer(path, Grid(columns, rows));
    bool isOpen = false;
    for (int steps = 0; steps < 200 && !in.empty(); ++steps) {
        const std::uint8_t what = in.u8();
        if (what < 8) {
            expect(writer.open());
            isOpen = true;
        } else if (what < 12) {
            expect(writer.close() == isOpen);
            if (isOpen) writer.expectFile();
            isOpen = false;
        } else if (isOpen) {
            writer.write(takePoint(in));
        }
    }
    expect(writer.close() == isOpen);
    if (isOpen) writer.expectFile();
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.clear();
    Input in(input);
    switch (in.u8() % 3) {
        case 0:
            return write<PlainWriter>(in, folder / "scan.cl3");
        case 1:
            return write<IndexedWriter>(in, folder / "scan.cl3");
        default:
            return write<RawWriter>(in, folder / "scan.clr");
    }
}

std::vector<Bytes> seeds() {
    std::vector<Bytes> all;
    for (std::uint8_t kind = 0; kind < 3; ++kind) {
        Bytes bytes = {kind, 200, 2, 9, 11, 0};
        for (std::uint8_t i = 0; i < 30; ++i) {
            const std::uint8_t column = static_cast<std::uint8_t>(8 * i);
            bytes.insert(bytes.end(),
                         {200, i, 130, 90, i, 7, column, static_cast<std::uint8_t>(i / 10),
                          static_cast<std::uint8_t>(i % 9)});
        }
        bytes.insert(bytes.end(), {10, 11, 3, 77, 120, 120, 120, 1, 2, 3, 1, 4});
        all.push_back(bytes);
    }
    return all;
}

const Registered registered({"writers", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
