#pragma once

#include <brisko_codec/codec.h>

/// Reads CL3 scans, with or without a grid index beside them.
class BRISKO_CODEC_EXPORT CL3Codec : public virtual BriskoCodec {
protected:
    ~CL3Codec() override;

public:
    CL3Codec();
    CL3Codec(const CL3Codec&);
    CL3Codec(CL3Codec&&) noexcept;
    CL3Codec& operator=(const CL3Codec&);
    CL3Codec& operator=(CL3Codec&&) noexcept;

    /// A new reader, or null when memory runs out. Free it with BriskoCodec::Destroy.
    /// When an ".ij" index lies beside the scan the reader walks it in step and ends where it ends.
    static CL3Codec* Create();
};

/// Reads indexed CL3 scans as a grid. Open answers false when no ".ij" index lies beside the scan.
class BRISKO_CODEC_EXPORT CL3GridCodec : public CL3Codec, public virtual BriskoGridCodec {
protected:
    ~CL3GridCodec() override;

public:
    CL3GridCodec();
    CL3GridCodec(const CL3GridCodec&);
    CL3GridCodec(CL3GridCodec&&) noexcept;
    CL3GridCodec& operator=(const CL3GridCodec&);
    CL3GridCodec& operator=(CL3GridCodec&&) noexcept;

    /// A new reader, or null when memory runs out. Free it with BriskoCodec::Destroy.
    static CL3GridCodec* Create();
};
