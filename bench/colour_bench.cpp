// Colouring from sixty photos around a scan.

#include "job.h"

namespace brisko::bench {

namespace {

std::string station() {
    return inputPath("station/scan/colour.cl3");
}

CodecPtr<BriskoCodec> colourCodec(bool readAhead) {
    return CodecPtr<BriskoCodec>(ColorCodecCreator::CreateCodec(CL3Codec::Create(), readAhead));
}

/// Reads up to so many points of an open codec, and tells of their colours.
struct Colours {
    double points = 0;
    std::uint64_t sum = 0;

    void read(BriskoCodec& codec, double most) {
        double x, y, z;
        float i;
        std::uint8_t r, g, b, a;
        for (bool more = codec.ReadFirstPoint(x, y, z, i, r, g, b, a); more && points < most;
             more = codec.ReadNextPoint(x, y, z, i, r, g, b, a)) {
            sum += std::uint64_t{r} + g + b;
            ++points;
        }
    }
};

void colour(benchmark::State& state, bool readAhead, double most) {
    const JobMemory memory;
    const auto codec = colourCodec(readAhead);
    if (!codec->Open(station().c_str())) state.SkipWithError("the station does not open");
    Colours colours;
    for (auto _ : state)
        colours.read(*codec, most);
    if (colours.sum == 0) state.SkipWithError("no point has a colour");
    report(state, memory, colours.points, static_cast<double>(colours.sum));
}

void openColouriser(benchmark::State& state) {
    constexpr double kPhotos = 60;
    const JobMemory memory;
    const auto codec = colourCodec(false);
    // Once before, as the reference does: a virtual machine may have to ask its host for memory that
    // is touched for the first time, which takes longer than all the rest.
    bool open = codec->Open(station().c_str());
    codec->Close();
    for (auto _ : state) {
        open = open && codec->Open(station().c_str());
        state.PauseTiming();
        codec->Close();
        state.ResumeTiming();
    }
    if (!open) state.SkipWithError("the station does not open");
    report(state, memory, kPhotos, 0);
}

}  // namespace

void addJobs() {
    // One at a time: as many points as the reference has; reading ahead takes the scan's all.
    addJob("colour-one", colour, false, 400'000.0);
    addJob("colour-ahead", colour, true, 1e18);
    addJob("colour-open", openColouriser);
}

}  // namespace brisko::bench
