#pragma once

#include <brisko_codec/codec.h>

#include <memory>

namespace brisko {

struct CodecDestroyer {
    void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
};

/// A codec that goes with the wrapper that was given it.
using OwnedCodec = std::unique_ptr<BriskoCodec, CodecDestroyer>;

}  // namespace brisko
