// A CL3 scan without companions reads as a slow reader of the format reads it.

#include "scan_folder.h"
#include "slow_cl3.h"

namespace brisko::fuzz {

namespace {

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.write("scan.cl3", input);
    const std::string path = folder / "scan.cl3";
    const auto codec = test::openScan<CL3Codec>(path);
    expect(codec != nullptr);
    expectPoints(*codec, readSlowly(SlowCl3(input, std::nullopt, kIdentity)), 7);
    expect(!test::openScan<CL3GridCodec>(path));
}

std::vector<Bytes> seeds() {
    const test::TestPoint a{1.5, -2, 0.25, 1100, 1, 2, 3, 0, 0}, none,
        b{0, 0, -7, 0, 0, 0, 0, 0, 0};
    return {test::ByteWriter()
                .bytes(test::cl3Header(2))
                .bytes(test::cl3Block({a, none, b}))
                .bytes(test::cl3Block({b})),
            test::ByteWriter().bytes(test::cl3Header(3)).bytes(test::cl3Block({a, b}, 5)),
            test::ByteWriter()
                .bytes(test::cl3Header(2, 0))
                .bytes(test::cl3Block({}))
                .u32(1)
                .u8(0)
                .f64(1)
                .f64(2)
                .f64(3)
                .f32(4)};
}

const Registered registered({"cl3", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
