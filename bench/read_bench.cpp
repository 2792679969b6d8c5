// Reading whole scans: point by point, cell by cell and many at a time; finding bounds.

#include "job.h"
#include "synthetic/check_values.h"

#include <algorithm>
#include <vector>

namespace brisko::bench {

namespace {

void report(benchmark::State& state, const JobMemory& memory, const PointSum& sum) {
    if (sum.points == 0) state.SkipWithError("the scan cannot be read");
    report(state, memory, static_cast<double>(sum.points), sum.value());
}

void report(benchmark::State& state, const JobMemory& memory, std::int64_t points) {
    report(state, memory, static_cast<double>(points), static_cast<double>(points));
}

/// Runs a job: every time with a scan that is opened anew. `Facade` is what the host knows of it.
template <class Codec, class Facade, class Result, class Read>
void runJob(benchmark::State& state, const std::string& name, const Read& read) {
    const std::string path = inputPath(name);
    const JobMemory memory;
    Result result{};
    for (auto _ : state) {
        const CodecPtr<Facade> codec(Codec::Create());
        codec->Open(path.c_str());
        read(*codec, result);
    }
    report(state, memory, result);
}

/// Hands a whole pass to `take`, point by point.
template <class Take>
void forEachPoint(BriskoCodec& codec, const Take& take) {
    double x, y, z;
    float i;
    std::uint8_t r, g, b, a;
    for (bool more = codec.ReadFirstPoint(x, y, z, i, r, g, b, a); more;
         more = codec.ReadNextPoint(x, y, z, i, r, g, b, a)) {
        take(x, y, z, i, r, g, b);
    }
}

void readPoints(benchmark::State& state, const std::string& name) {
    runJob<CL3Codec, BriskoCodec, PointSum>(state, name, [](BriskoCodec& codec, PointSum& sum) {
        forEachPoint(codec, [&sum](auto... values) { sum.add(values...); });
    });
}

template <class Codec>
void readGridPoints(benchmark::State& state, const std::string& name) {
    runJob<Codec, BriskoGridCodec, PointSum>(
        state, name, [](BriskoGridCodec& codec, PointSum& sum) {
            double x, y, z;
            float i;
            std::uint8_t r, g, b, a;
            unsigned column, row;
            for (bool more = codec.ReadFirstGridPoint(x, y, z, i, r, g, b, a, column, row); more;
                 more = codec.ReadNextGridPoint(x, y, z, i, r, g, b, a, column, row)) {
                sum.add(x, y, z, i, r, g, b);
                sum.addCell(column, row);
            }
        });
}

/// Arrays for a batch. Its points stay in the processor's caches.
class Batch {
public:
    static constexpr std::size_t kCapacity = 4096;

    explicit Batch(bool withCells) {
        m_arrays.positions = m_positions.data();
        m_arrays.intensities = m_intensities.data();
        m_arrays.colours = m_colours.data();
        if (!withCells) return;
        m_arrays.columns = m_columns.data();
        m_arrays.rows = m_rows.data();
    }

    const PointArrays& arrays() const { return m_arrays; }

    /// What a host does with a batch. A function of its own: inside the loop that calls the library
    /// the sums would live on the stack, and each addition would wait for the one before it.
    [[gnu::noinline]] PointSum addedTo(PointSum sum, std::size_t count) const {
        for (std::size_t k = 0; k < count; ++k) {
            const double* const p = &m_positions[3 * k];
            const std::uint8_t* const c = &m_colours[3 * k];
            sum.add(p[0], p[1], p[2], m_intensities[k], c[0], c[1], c[2]);
        }
        if (!m_arrays.columns) return sum;
        for (std::size_t k = 0; k < count; ++k)
            sum.addCell(m_columns[k], m_rows[k]);
        return sum;
    }

private:
    std::vector<double> m_positions = std::vector<double>(3 * kCapacity);
    std::vector<float> m_intensities = std::vector<float>(kCapacity);
    std::vector<std::uint8_t> m_colours = std::vector<std::uint8_t>(3 * kCapacity);
    std::vector<std::uint32_t> m_columns = std::vector<std::uint32_t>(kCapacity);
    std::vector<std::uint32_t> m_rows = std::vector<std::uint32_t>(kCapacity);
    PointArrays m_arrays;
};

/// A pass of a codec in batches.
template <bool withCells>
void sumBatches(BriskoCodec& codec, PointSum& sum) {
    PointBatchReader reader(codec);
    const Batch batch(withCells);
    for (std::size_t count = reader.readFirst(batch.arrays(), Batch::kCapacity); count > 0;
         count = reader.readNext(batch.arrays(), Batch::kCapacity)) {
        sum = batch.addedTo(sum, count);
    }
}

template <class Codec, bool withCells>
void readBatches(benchmark::State& state, const std::string& name) {
    runJob<Codec, BriskoCodec, PointSum>(state, name, sumBatches<withCells>);
}

/// A reader of an indexed scan that skips half of its points.
struct NearCodec {
    static BriskoCodec* Create() {
        return SkipCodecCreator::CreateGridCodec(CL3GridCodec::Create(), kNear);
    }
};

struct Bounds {
    double min[3] = {1e300, 1e300, 1e300}, max[3] = {-1e300, -1e300, -1e300};
    std::int64_t points = 0;

    void add(double x, double y, double z) {
        const double values[3] = {x, y, z};
        for (int axis = 0; axis < 3; ++axis) {
            min[axis] = std::min(min[axis], values[axis]);
            max[axis] = std::max(max[axis], values[axis]);
        }
        ++points;
    }
    double value() const {
        return min[0] + 2 * min[1] + 3 * min[2] + 4 * max[0] + 5 * max[1] + 6 * max[2] +
               static_cast<double>(points);
    }
};

void report(benchmark::State& state, const JobMemory& memory, const Bounds& bounds) {
    report(state, memory, static_cast<double>(bounds.points), bounds.value());
}

/// What a host would write that knows nothing of GetBounds.
void fullPass(benchmark::State& state) {
    runJob<CL3Codec, BriskoCodec, Bounds>(
        state, "scan.cl3", [](BriskoCodec& codec, Bounds& bounds) {
            forEachPoint(codec,
                         [&bounds](double x, double y, double z, auto...) { bounds.add(x, y, z); });
        });
}

void getBounds(benchmark::State& state) {
    runJob<CL3Codec, BriskoCodec, Bounds>(
        state, "scan.cl3", [](BriskoCodec& codec, Bounds& bounds) {
            codec.GetBounds(bounds.min[0], bounds.min[1], bounds.min[2], bounds.max[0],
                            bounds.max[1], bounds.max[2], bounds.points);
        });
}

void getPointCount(benchmark::State& state) {
    runJob<CL3Codec, BriskoCodec, std::int64_t>(
        state, "scan.cl3",
        [](BriskoCodec& codec, std::int64_t& points) { points = codec.GetPointCount(); });
}

}  // namespace

void addJobs() {
    addJob("cl3-read", readPoints, "scan.cl3");
    addJob("cl3-batch", readBatches<CL3Codec, false>, "scan.cl3");
    addJob("grid-read", readGridPoints<CL3GridCodec>, "grid.cl3");
    addJob("grid-batch", readBatches<CL3GridCodec, true>, "grid.cl3");
    addJob("skip-batch", readBatches<NearCodec, true>, "grid.cl3");
    addJob("clr1-read", readGridPoints<CLRGridCodec>, "raw1.clr");
    addJob("clr5-read", readGridPoints<CLRGridCodec>, "raw5.clr");
    addJob("clrc-read", readGridPoints<CLRGridCodec>, "rawc.clr");
    addJob("clr1-batch", readBatches<CLRGridCodec, true>, "raw1.clr");
    addJob("full-pass", fullPass);
    addJob("get-bounds", getBounds);
    addJob("get-point-count", getPointCount);
}

}  // namespace brisko::bench
