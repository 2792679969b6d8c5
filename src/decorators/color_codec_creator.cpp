#include <brisko_codec/color_codec.h>

#include "decorators/actual_color_codec1.h"
#include "decorators/actual_color_codec8.h"

#include <new>

using brisko::ActualColorCodec1;
using brisko::ActualColorCodec8;
using brisko::ActualColorGridCodec1;
using brisko::ActualColorGridCodec8;

BriskoCodec* ColorCodecCreator::CreateCodec(BriskoCodec* codec, bool readAhead) {
    if (readAhead) return new (std::nothrow) ActualColorCodec8<BriskoCodec>(codec);
    return new (std::nothrow) ActualColorCodec1<BriskoCodec>(codec);
}

BriskoGridCodec* ColorCodecCreator::CreateGridCodec(BriskoGridCodec* codec, bool readAhead) {
    if (readAhead) return new (std::nothrow) ActualColorGridCodec8<BriskoGridCodec>(codec);
    return new (std::nothrow) ActualColorGridCodec1(codec);
}

namespace {

/// A new reader in a new wrapper, or null when there is no memory for both.
template <class Wrapper, class Reader>
Wrapper* wrapped(Reader* reader) {
    if (!reader) return nullptr;
    auto* const wrapper = new (std::nothrow) Wrapper(reader);
    if (!wrapper) BriskoCodec::Destroy(reader);
    return wrapper;
}

}  // namespace

CL3Codec* ColorCodecCreator::CreateCL3Codec() {
    return wrapped<ActualColorCodec8<CL3Codec>>(CL3Codec::Create());
}
CL3GridCodec* ColorCodecCreator::CreateCL3GridCodec() {
    return wrapped<ActualColorGridCodec8<CL3GridCodec>>(CL3GridCodec::Create());
}
CLRCodec* ColorCodecCreator::CreateCLRCodec() {
    return wrapped<ActualColorCodec8<CLRCodec>>(CLRCodec::Create());
}
CLRGridCodec* ColorCodecCreator::CreateCLRGridCodec() {
    return wrapped<ActualColorGridCodec8<CLRGridCodec>>(CLRGridCodec::Create());
}
