#pragma once

#include "input.h"

#include "support/scan_bytes.h"

/// A scan of 3 x 2 cells in two tiles, with three points and an alignment, for seeds.
namespace brisko::fuzz {

inline Bytes smallScan() {
    const test::TestPoint a{1.5, -2, 0.25, 1100, 1, 2, 3, 0, 0}, b{0, 0, -7, 0, 0, 0, 0, 0, 0};
    return test::ByteWriter()
        .bytes(test::cl3Header(2))
        .bytes(test::cl3Block({a, b}))
        .bytes(test::cl3Block({b}));
}

inline Bytes smallAlignment() {
    return toBytes("CL3_ALG_0.1\n0 -1 0 10\n1 0 0 0\n0 0 1 2.5\n0 0 0 1\n");
}

inline Bytes smallIndex() {
    return test::ByteWriter()
        .bytes(test::ijHeader(3, 2, 2))
        .bytes(test::ijTile(0, 0, {0, 1, 2, 0}))
        .bytes(test::ijTile(1, 0, {0, 0, 1, 0}));
}

}  // namespace brisko::fuzz
