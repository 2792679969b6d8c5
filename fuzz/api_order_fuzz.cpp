// The calls of a reader in any order, on scans of every format, damaged and whole, bare and wrapped:
// closed readers deliver nothing, and after all of it a reader that is opened again delivers what a new
// one does.

#include "same_points.h"
#include "scan_folder.h"
#include "small_scan.h"

#include "support/conversion_fixture.h"

#include <brisko_codec/brisko_codec.h>

#include <functional>

namespace brisko::fuzz {

namespace {

using Factory = std::function<BriskoCodec*()>;

BriskoGridCodec* validOnly(BriskoGridCodec* codec) {
    return SkipCodecCreator::CreateValidGridCodec(codec);
}

const Factory kFactories[] = {
    [] { return CL3Codec::Create(); },
    [] { return CL3GridCodec::Create(); },
    [] { return CLRCodec::Create(); },
    [] { return CLRGridCodec::Create(); },
    [] { return SkipCodecCreator::CreateCodec(CL3Codec::Create(), 5); },
    [] { return validOnly(CLRGridCodec::Create()); },
    [] {
        return SkipCodecCreator::CreateBbValidatorGridCodec(validOnly(CL3GridCodec::Create()), -2,
                                                            -9, -9, 9, 9, 9);
    },
    [] { return ColorCodecCreator::CreateGridCodec(CLRGridCodec::Create(), false); },
    [] { return ColorCodecCreator::CreateCL3GridCodec(); },
    [] { return ColorCodecCreator::CreateCodec(CLRCodec::Create(), true); },
    [] { return SkipCodecCreator::CreateCodec(nullptr, 5); },
    [] { return ColorCodecCreator::CreateCodec(nullptr, false); },
};

class Calls {
public:
    Calls(BriskoCodec& codec, const ScanFolder& folder) : m_codec(codec), m_folder(folder) {}

    void step(Input& in) {
        const std::uint8_t what = in.u8() % 11;
        if (what <= 1) open(in.u8());
        if (what == 2) close();
        if (what == 3) readOne(test::readFirst);
        if (what == 4) readOne(test::readNext);
        if (what == 5) expectBounds();
        if (what == 6) askGrid();
        if (what == 7) setFrame(m_codec, in.u8() % 2 ? Frame::Aligned : Frame::Scanner);
        if (what == 8) getAlignment(m_codec);
        if (what >= 9) readBatch(in.u8() % 9, what == 9);
    }

private:
    void open(std::uint8_t which) {
        const std::string names[] = {m_folder / "scan.cl3", m_folder / "scan.clr",
                                     m_folder / "missing.cl3", m_folder.path().string(), "\xFF"};
        const std::size_t name = which % 6;
        m_isOpen = m_codec.Open(name < 5 ? names[name].c_str() : nullptr);
        expect(!m_isOpen || name < 2);
    }
    void close() {
        m_codec.Close();
        m_isOpen = false;
    }
    void readOne(bool (&read)(BriskoCodec&, test::TestPoint&)) {
        test::TestPoint point;
        expect(!read(m_codec, point) || m_isOpen);
    }
    void expectBounds() {
        double minimum[3], maximum[3];
        std::int64_t count = -1;
        m_codec.GetBounds(minimum[0], minimum[1], minimum[2], maximum[0], maximum[1], maximum[2],
                          count);
        expect(count >= 0);
    }
    void askGrid() {
        if (auto* const grid = dynamic_cast<BriskoGridCodec*>(&m_codec)) {
            unsigned columns = 0, rows = 0, tile = 0;
            grid->GetGridResolution(columns, rows, tile);
        }
    }
    void readBatch(std::size_t capacity, bool first) {
        PointBatchReader reader(m_codec);
        double positions[27];
        PointArrays arrays;
        arrays.positions = positions;
        const std::size_t count =
            first ? reader.readFirst(arrays, capacity) : reader.readNext(arrays, capacity);
        expect(count <= capacity && (m_isOpen || count == 0));
    }

    BriskoCodec& m_codec;
    const ScanFolder& m_folder;
    bool m_isOpen = false;
};

void expectAsNew(BriskoCodec& used, const Factory& factory, const std::string& path) {
    const test::CodecPtr<BriskoCodec> fresh(factory());
    setFrame(used, Frame::Aligned);
    const bool opens = fresh->Open(path.c_str());
    expect(used.Open(path.c_str()) == opens);
    if (!opens) return;
    const auto expected = test::readAll(*fresh, 100), points = test::readAll(used, 100);
    expect(points.size() == expected.size());
    for (std::size_t i = 0; i < points.size(); ++i)
        expect(isSame(points[i], expected[i]));
}

void run(ByteSpan bytes) {
    static const ScanFolder folder;
    Input in(bytes);
    const Factory& factory = kFactories[in.below(std::size(kFactories))];
    Input calls(in.takePiece());
    folder.writeOrRemove("scan.alg", in.takePiece());
    folder.writeOrRemove("scan.ij", in.takePiece());
    folder.write("scan.cl3", in.takePiece());
    folder.write("scan.clr", in.rest());
    const test::CodecPtr<BriskoCodec> codec(factory());
    Calls caller(*codec, folder);
    for (int steps = 0; steps < 40 && !calls.empty(); ++steps)
        caller.step(calls);
    expectAsNew(*codec, factory, folder / "scan.cl3");
    expectAsNew(*codec, factory, folder / "scan.clr");
}

std::vector<Bytes> seeds() {
    const Bytes clr = test::rawScan({.columns = 2, .rows = 3});
    const Bytes calls = {4, 0, 0, 3, 4, 9, 4, 0, 5, 4, 6, 0, 1,
                         3, 7, 1, 4, 2, 4, 3, 1, 2, 5, 8, 0, 5};
    std::vector<Bytes> all;
    for (std::uint8_t factory = 0; factory < std::size(kFactories); ++factory) {
        all.push_back(
            prefixed(factory, pieces({calls, smallAlignment(), smallIndex(), smallScan(), clr})));
    }
    return all;
}

const Registered registered({"api_order", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
