#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/clr_codec.h>
#include <brisko_codec/codec.h>
#include <brisko_codec/dictionary.h>
#include <brisko_codec/version.h>

#include "codec/actual_cl3_codec.h"
#include "codec/actual_clr_codec.h"

const float BriskoCodec::i_range = 2200.0F;

// Copies and moves are here, not in the headers: hosts find them in the library. There is nothing to
// assign; and a defaulted assignment would reach virtual bases twice.
BriskoCodec::BriskoCodec() = default;
BriskoCodec::BriskoCodec(const BriskoCodec&) = default;
BriskoCodec::BriskoCodec(BriskoCodec&&) noexcept = default;
BriskoCodec& BriskoCodec::operator=(const BriskoCodec&) {
    return *this;
}
BriskoCodec& BriskoCodec::operator=(BriskoCodec&&) noexcept {
    return *this;
}
BriskoCodec::~BriskoCodec() = default;

BriskoGridCodec::BriskoGridCodec() = default;
BriskoGridCodec::BriskoGridCodec(const BriskoGridCodec&) = default;
BriskoGridCodec::BriskoGridCodec(BriskoGridCodec&&) noexcept = default;
BriskoGridCodec& BriskoGridCodec::operator=(const BriskoGridCodec&) {
    return *this;
}
BriskoGridCodec& BriskoGridCodec::operator=(BriskoGridCodec&&) noexcept {
    return *this;
}
BriskoGridCodec::~BriskoGridCodec() = default;

CL3Codec::CL3Codec() = default;
CL3Codec::CL3Codec(const CL3Codec&) = default;
CL3Codec::CL3Codec(CL3Codec&&) noexcept = default;
CL3Codec& CL3Codec::operator=(const CL3Codec&) {
    return *this;
}
CL3Codec& CL3Codec::operator=(CL3Codec&&) noexcept {
    return *this;
}
CL3Codec::~CL3Codec() = default;

CL3GridCodec::CL3GridCodec() = default;
CL3GridCodec::CL3GridCodec(const CL3GridCodec&) = default;
CL3GridCodec::CL3GridCodec(CL3GridCodec&&) noexcept = default;
CL3GridCodec& CL3GridCodec::operator=(const CL3GridCodec&) {
    return *this;
}
CL3GridCodec& CL3GridCodec::operator=(CL3GridCodec&&) noexcept {
    return *this;
}
CL3GridCodec::~CL3GridCodec() = default;

CLRCodec::CLRCodec() = default;
CLRCodec::CLRCodec(const CLRCodec&) = default;
CLRCodec::CLRCodec(CLRCodec&&) noexcept = default;
CLRCodec& CLRCodec::operator=(const CLRCodec&) {
    return *this;
}
CLRCodec& CLRCodec::operator=(CLRCodec&&) noexcept {
    return *this;
}
CLRCodec::~CLRCodec() = default;

CLRGridCodec::CLRGridCodec() = default;
CLRGridCodec::CLRGridCodec(const CLRGridCodec&) = default;
CLRGridCodec::CLRGridCodec(CLRGridCodec&&) noexcept = default;
CLRGridCodec& CLRGridCodec::operator=(const CLRGridCodec&) {
    return *this;
}
CLRGridCodec& CLRGridCodec::operator=(CLRGridCodec&&) noexcept {
    return *this;
}
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

BriskoCodecDictionary::BriskoCodecDictionary() = default;
BriskoCodecDictionary::BriskoCodecDictionary(const BriskoCodecDictionary&) = default;
BriskoCodecDictionary::BriskoCodecDictionary(BriskoCodecDictionary&&) noexcept = default;
BriskoCodecDictionary& BriskoCodecDictionary::operator=(const BriskoCodecDictionary&) = default;
BriskoCodecDictionary& BriskoCodecDictionary::operator=(BriskoCodecDictionary&&) noexcept = default;
BriskoCodecDictionary::~BriskoCodecDictionary() = default;

namespace {

BriskoCodecDictionary theDictionary;

}  // namespace

BriskoCodecDictionary* getBriskoCodecDictionary() {
    return &theDictionary;
}

std::string briskoCodecVersion() {
    return BRISKO_CODEC_VERSION;
}
