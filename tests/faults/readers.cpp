#include "faults/readers.h"

#include "faults/jobs.h"
#include "support/photo_station.h"

#include <ostream>

namespace brisko::test {

namespace {

template <class Codec>
BriskoCodec* createReader() {
    return Codec::Create();
}

template <class Wrap>
BriskoCodec* createWrapper(const Wrap& wrap) {
    CL3GridCodec* const codec = CL3GridCodec::Create();
    if (!codec) return nullptr;
    BriskoCodec* const wrapper = wrap(codec);
    if (!wrapper) BriskoCodec::Destroy(codec);
    return wrapper;
}

template <bool readAhead>
BriskoCodec* createColourReader() {
    return createWrapper([](BriskoGridCodec* codec) {
        return ColorCodecCreator::CreateGridCodec(codec, readAhead);
    });
}
BriskoCodec* createReaderOfDepths() {
    BriskoCodec* const codec = createColourReader<false>();
    if (codec) setPhotoOcclusion(*codec, true);
    return codec;
}
BriskoCodec* createSkipReader() {
    return createWrapper(&SkipCodecCreator::CreateValidGridCodec);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Reader& reader) {
    return out << reader.name;
}

const Reader kReaders[] = {
    {"Cl3", &createReader<CL3Codec>, "grid.cl3"},
    {"Cl3Grid", &createReader<CL3GridCodec>, "grid.cl3"},
    {"ClrBlocks", &createReader<CLRGridCodec>, "five.clr"},
    {"ClrCompressed", &createReader<CLRGridCodec>, "packed.clr"},
    {"Skip", &createSkipReader, "grid.cl3"},
    {"Colour", &createColourReader<false>, "grid.cl3"},
    {"ColourAhead", &createColourReader<true>, "grid.cl3"},
    {"ColourSeen", &createReaderOfDepths, "grid.cl3"},
};

const std::string& readersFolder() {
    static const ClassicStation station;
    static const std::string folder = [] {
        station.addPhoto("p", jpegBytes(120, 160, grey(90)));
        writeGridScan(station.inScan("grid.cl3"));
        writeFile(station.inScan("five.clr"), rawScan({.blocks = 5}));
        writeFile(station.inScan("packed.clr"), rawScan({.format = 2}));
        return station.scanFolder();
    }();
    return folder;
}

}  // namespace brisko::test
