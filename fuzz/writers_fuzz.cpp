// The calls of the three writers in any order, also by their copies and where nothing can be written: what
// is closed does nothing and says so, and what lies on the disk after Close are the points that were
// written, as the rules of the writer keep them.

#include "same_points.h"
#include "scan_folder.h"

#include <brisko_codec/brisko_codec.h>

#include "base/companion_path.h"

#include <cmath>
#include <map>
#include <utility>

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

/// A scan that is written, and the points that it has to hold.
template <class Writer>
struct Scan {
    std::string path;
    Grid grid;
    Writer writer{};
    std::vector<TestPoint> inOrder{};
    std::map<Cell, TestPoint> byCell{};
    std::uint32_t band = 0;
    bool ranOutOfGrid = false;
};

using PlainScan = Scan<CL3WriterCodec>;
using IndexedScan = Scan<CL3IJWriterGridCodec>;
using RawScan = Scan<CLRWriterGridCodec>;

void write(PlainScan& scan, const TestPoint& p) {
    scan.writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, 0, 0, 255);
    if (isMeasured(p)) scan.inOrder.push_back({p.x, p.y, p.z, p.intensity, p.red});
}

void expectFile(const PlainScan& scan) {
    const auto codec = test::openScan<CL3Codec>(scan.path);
    setFrame(*codec, Frame::Scanner);
    const auto read = test::readAll(*codec);
    expect(read.size() == scan.inOrder.size());
    for (std::size_t i = 0; i < read.size(); ++i)
        expect(isSame(read[i], scan.inOrder[i]));
}

void write(IndexedScan& scan, const TestPoint& p) {
    scan.writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, 0, 0, 255, p.column, p.row);
    const auto end = [](std::size_t cells) { return (cells + 255) / 256 * 256; };
    const bool inside = p.column < end(scan.grid.GetAzimuthResolution()) &&
                        p.row < end(scan.grid.GetZenithResolution());
    // A point beyond the grid ends the bands before it, too.
    const bool isLate = p.column / 256 < scan.band;
    scan.band = std::max(scan.band, p.column / 256);
    if (inside && !isLate) scan.byCell[{p.column, p.row}] = p;
}

void expectFile(const IndexedScan& scan) {
    const auto tiles = [](std::size_t cells) { return (cells + 255) / 256; };
    const std::size_t all =
        tiles(scan.grid.GetAzimuthResolution()) * tiles(scan.grid.GetZenithResolution());
    expect(test::readFile(companionForWriting(scan.path, ".ij")).size() == 48 + 262'156 * all);
    const auto codec = test::openScan<CL3GridCodec>(scan.path);
    expect(codec != nullptr);
    setFrame(*codec, Frame::Scanner);
    std::map<Cell, TestPoint> read;
    for (const TestPoint& p : test::readAll(*codec))
        read[{p.column, p.row}] = p;
    std::size_t measured = 0;
    for (const auto& [cell, p] : scan.byCell) {
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

void write(RawScan& scan, TestPoint p) {
    p.column = std::min(p.column, 255U);  // of one band
    scan.writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, 0, 0, 255, p.column, p.row);
    const bool isBeyond = p.column >= scan.grid.GetAzimuthResolution();
    if (isBeyond || p.row >= scan.grid.GetZenithResolution())
        scan.ranOutOfGrid = scan.ranOutOfGrid || isBeyond;
    else if (std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z))
        scan.byCell[{p.column, p.row}] = p;
}

void expectFile(const RawScan& scan) {
    const auto read = test::readScan<CLRGridCodec>(scan.path);
    if (scan.ranOutOfGrid) return;
    std::size_t measured = 0;
    for (const auto& [cell, p] : scan.byCell)
        measured += p.intensity > 0;
    expect(read.size() == measured);
    for (const TestPoint& p : read) {
        const auto written = scan.byCell.find({p.column, p.row});
        expect(written != scan.byCell.end());
        expect(p.intensity == written->second.intensity);
        const double x = written->second.x;
        if (std::abs(x) < 200'000) expect(std::abs(p.x - x) <= 1.6e-4);
    }
}

template <class Writer>
void use(Input& in, const std::string& path) {
    std::size_t columns = in.u8();
    columns *= 1 + in.u8() % 3U;
    const std::size_t rows = in.u8();
    const Scan<Writer> unwritten{path, Grid(columns, rows)};
    Scan<Writer> scan = unwritten;
    bool isOpen = false;
    const auto close = [&] {
        expect(scan.writer.Close() == isOpen);
        if (std::exchange(isOpen, false)) expectFile(scan);
    };
    for (int steps = 0; steps < 200 && !in.empty(); ++steps) {
        const std::uint8_t what = in.u8();
        if (what < 6) {
            close();
            scan = unwritten;
            isOpen = scan.writer.Open(path.c_str(), &scan.grid);
            expect(isOpen);
        } else if (what < 10) {
            close();
            expect(!scan.writer.HasWriteError());
        } else if (what < 12) {
            Writer copy(scan.writer);
            if (what == 10) {
                scan.writer = copy;
                continue;
            }
            expect(copy.Close() == isOpen);  // and the scan's own has nothing left to close
            if (std::exchange(isOpen, false)) expectFile(scan);
        } else if (what < 14) {
            const char* const nowhere[] = {nullptr, "", "\xFF.cl3", "/"};
            const bool opens = scan.writer.Open(nowhere[in.u8() % 4], &scan.grid);
            if (std::exchange(isOpen, false)) expectFile(scan);  // opening completes what was open
            expect(opens == !std::is_same_v<Writer, CL3WriterCodec> && scan.writer.HasWriteError());
            expect(scan.writer.Close() == opens);
            scan = unwritten;
        } else if (isOpen) {
            write(scan, takePoint(in));
        } else {
            Scan<Writer> closed = scan;
            write(closed, takePoint(in));
        }
    }
    close();
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.clear();
    Input in(input);
    const std::uint8_t kind = in.u8() % 3;
    if (kind == 0) use<CL3WriterCodec>(in, folder / "scan.cl3");
    if (kind == 1) use<CL3IJWriterGridCodec>(in, folder / "scan.cl3");
    if (kind == 2) use<CLRWriterGridCodec>(in, folder / "scan.clr");
}

std::vector<Bytes> seeds() {
    std::vector<Bytes> all;
    for (std::uint8_t kind = 0; kind < 3; ++kind) {
        Bytes bytes = {kind, 200, 2, 9, 8, 0};
        for (std::uint8_t i = 0; i < 30; ++i) {
            const std::uint8_t column = static_cast<std::uint8_t>(8 * i);
            bytes.insert(bytes.end(),
                         {200, i, 130, 90, i, 7, column, static_cast<std::uint8_t>(i / 10),
                          static_cast<std::uint8_t>(i % 9)});
            if (i == 20) bytes.push_back(10);  // a copy goes on
        }
        bytes.insert(bytes.end(),
                     {7, 8, 3, 77, 120, 120, 120, 1, 2, 3, 1, 4, 11, 9, 5, 13, 3, 12, 0, 5});
        all.push_back(bytes);
    }
    return all;
}

const Registered registered({"writers", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
