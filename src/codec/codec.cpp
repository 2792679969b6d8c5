#include <brisko_codec/codec.h>

#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/clr_codec.h>

#include "codec/actual_cl3_no_ij_codec.h"
#include "codec/actual_clr_codec.h"

const float BriskoCodec::i_range = 2200.0F;

BriskoCodec::~BriskoCodec() = default;
BriskoGridCodec::~BriskoGridCodec() = default;
CL3Codec::~CL3Codec() = default;
CL3GridCodec::~CL3GridCodec() = default;
CLRCodec::~CLRCodec() = default;
CLRGridCodec::~CLRGridCodec() = default;

std::int64_t BriskoCodec::GetPointCount() {
    double bound = 0;
    std::int64_t count = 0;
    GetBounds(bound, bound, bound, bound, bound, bound, count);
    return count;
}

void BriskoCodec::Destroy(BriskoCodec* codec) {
    delete codec;
}

void BriskoGridCodec::GetGridResolution(unsigned& columns, unsigned& rows, unsigned& tileSize) {
    std::size_t wideColumns = 0, wideRows = 0;
    GetGridSize(wideColumns, wideRows, tileSize);
    columns = static_cast<unsigned>(wideColumns);
    rows = static_cast<unsigned>(wideRows);
}

namespace {

template <class Reader>
Reader* createOrNull() {
    try {
        return new Reader;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

CL3Codec* CL3Codec::Create() {
    return createOrNull<brisko::ActualCL3NoIjCodec>();
}
CL3GridCodec* CL3GridCodec::Create() {
    return createOrNull<brisko::ActualCL3Codec>();
}
CLRCodec* CLRCodec::Create() {
    return createOrNull<brisko::ActualCLRCodec>();
}
CLRGridCodec* CLRGridCodec::Create() {
    return createOrNull<brisko::ActualCLRCodec>();
}

CLRGridCodec* brisko::createCLRSeriesCodec(const std::vector<std::string>& later) {
    try {
        auto codec = std::make_unique<ActualCLRCodec>();
        codec->addLaterFiles(later);
        return codec.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
