// Writing whole scans. Points are made while the clock stands still.

#include "job.h"
#include "synthetic/check_values.h"
#include "synthetic/point_feed.h"

namespace brisko::bench {

namespace {

CL3FileHeader header() {
    CL3FileHeader header;
    header.SetStopAzimuthAngle(360.0F);
    header.SetStopZenithAngle(150.0F);
    header.SetDeltaAzimuthAngle(360.0F / static_cast<float>(gridColumns()));
    header.SetDeltaZenithAngle(150.0F / static_cast<float>(gridRows()));
    return header;
}

/// Feeds the room to a writer through use(writer, point, column, row). Removes what was there and,
/// after the clock has stopped, what was written.
template <class WriterClass, class Use>
void write(benchmark::State& state, std::size_t headerSize, const Use& use) {
    const std::string path = outputPath("library.out"), index = outputPath("library.ij");
    const std::string alignment = outputPath("library.alg");
    PointFeed feed(gridColumns(), gridRows());
    removeFiles({path, index, alignment});
    CL3FileHeader grid = header();
    const std::uint32_t rows = gridRows();
    const JobMemory memory;
    for (auto _ : state) {
        WriterClass writer;
        writer.Open(path.c_str(), &grid);
        state.PauseTiming();
        feed.run([&] { state.ResumeTiming(); },
                 [&](const Point* p, std::size_t count, std::uint32_t column, std::uint32_t row) {
                     for (const Point* const end = p + count; p != end; ++p) {
                         use(writer, *p, column, row);
                         if (++row == rows) row = 0, ++column;
                     }
                 },
                 [&] { state.PauseTiming(); });
        state.ResumeTiming();
        writer.Close();
        if (writer.HasWriteError()) state.SkipWithError("the scan cannot be written");
    }
    report(state, memory, static_cast<double>(feed.cells()),
           checkFile(path, headerSize) + checkFile(index, kIJHeader));
    removeFiles({path, index, alignment});
}

template <class WriterClass>
void writeGrid(benchmark::State& state, std::size_t headerSize) {
    // Through the base class, as a host that knows only that it has a writer.
    write<WriterClass>(
        state, headerSize,
        [](BaseWriterGridCodec& writer, const Point& p, std::uint32_t column, std::uint32_t row) {
            writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255, column, row);
        });
}

void writeCL3(benchmark::State& state) {
    write<CL3WriterCodec>(
        state, kCL3Header,
        [](BaseWriterCodec& writer, const Point& p, std::uint32_t, std::uint32_t) {
            writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255);
        });
}

}  // namespace

void addJobs() {
    addJob("cl3-write", writeCL3);
    addJob("grid-write", writeGrid<CL3IJWriterGridCodec>, kCL3Header);
    addJob("clr-write", writeGrid<CLRWriterGridCodec>, kCLRHeader);
}

}  // namespace brisko::bench
