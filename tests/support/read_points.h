#pragma once

#include <brisko_codec/brisko_codec.h>

#include "support/scan_bytes.h"

#include <memory>
#include <ostream>

namespace brisko::test {

struct Destroyer {
    void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
};
template <class Codec>
using CodecPtr = std::unique_ptr<Codec, Destroyer>;

/// A new codec that has the scan open.
template <class Codec>
CodecPtr<Codec> openScan(const std::string& path) {
    CodecPtr<Codec> codec(Codec::Create());
    if (!codec->Open(path.c_str())) codec.reset();
    return codec;
}

/// A pass, whole or of so many points at most. Plain codecs give column and row 0.
std::vector<TestPoint> readAll(BriskoCodec& codec, std::size_t most = SIZE_MAX);
/// The same through the batch interface, so many points at a time.
std::vector<TestPoint> readAllBatched(BriskoCodec& codec, std::size_t capacity,
                                      std::size_t most = SIZE_MAX);

/// One call of the codec into a point; false leaves what the call left.
bool readFirst(BriskoCodec& codec, TestPoint& point);
bool readNext(BriskoCodec& codec, TestPoint& point);

template <class Codec>
std::vector<TestPoint> readScan(const std::string& path) {
    const auto codec = openScan<Codec>(path);
    return codec ? readAll(*codec) : std::vector<TestPoint>{};
}

std::ostream& operator<<(std::ostream& out, const TestPoint& point);

}  // namespace brisko::test
