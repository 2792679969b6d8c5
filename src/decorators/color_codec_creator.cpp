#include <brisko_codec/color_codec.h>

#include "decorators/actual_color_codec1.h"
#include "decorators/actual_color_codec8.h"

#include <new>

using brisko::ActualColorCodec1;
using brisko::ActualColorCodec8;
using brisko::ActualColorGridCodec1;
using brisko::ActualColorGridCodec8;

using brisko::ReadAhead;

namespace {

/// A wrapper with its buffers, or null when there is no memory for both.
template <class Wrapper>
Wrapper* readingAhead(BriskoCodec* codec) {
    std::unique_ptr<ReadAhead> readAhead(new (std::nothrow) ReadAhead);
    if (!readAhead) return nullptr;
    return new (std::nothrow) Wrapper(codec, std::move(readAhead));
}

/// The same around a new reader.
template <class Wrapper>
Wrapper* readingAheadOf(BriskoCodec* reader) {
    if (!reader) return nullptr;
    Wrapper* const wrapper = readingAhead<Wrapper>(reader);
    if (!wrapper) BriskoCodec::Destroy(reader);
    return wrapper;
}

}  // namespace

ColorCodecCreator& ColorCodecCreator::operator=(const ColorCodecCreator&) = default;
ColorCodecCreator& ColorCodecCreator::operator=(ColorCodecCreator&&) noexcept = default;

BriskoCodec* ColorCodecCreator::CreateCodec(BriskoCodec* codec, bool readAhead) {
    if (readAhead) return readingAhead<ActualColorCodec8<BriskoCodec>>(codec);
    return new (std::nothrow) ActualColorCodec1<BriskoCodec>(codec);
}

BriskoGridCodec* ColorCodecCreator::CreateGridCodec(BriskoGridCodec* codec, bool readAhead) {
    if (readAhead) return readingAhead<ActualColorGridCodec8<BriskoGridCodec>>(codec);
    return new (std::nothrow) ActualColorGridCodec1(codec);
}

CL3Codec* ColorCodecCreator::CreateCL3Codec() {
    return readingAheadOf<ActualColorCodec8<CL3Codec>>(CL3Codec::Create());
}
CL3GridCodec* ColorCodecCreator::CreateCL3GridCodec() {
    return readingAheadOf<ActualColorGridCodec8<CL3GridCodec>>(CL3GridCodec::Create());
}
CLRCodec* ColorCodecCreator::CreateCLRCodec() {
    return readingAheadOf<ActualColorCodec8<CLRCodec>>(CLRCodec::Create());
}
CLRGridCodec* ColorCodecCreator::CreateCLRGridCodec() {
    return readingAheadOf<ActualColorGridCodec8<CLRGridCodec>>(CLRGridCodec::Create());
}

namespace brisko {

bool setPhotoOutlines(BriskoCodec& codec, PhotoOutlines outlines) {
    auto* const chooser = dynamic_cast<OutlineChooser*>(&codec);
    if (chooser) chooser->setOutlines(outlines);
    return chooser != nullptr;
}

}  // namespace brisko
