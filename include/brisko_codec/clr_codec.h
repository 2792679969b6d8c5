#pragma once

#include <brisko_codec/codec.h>

/// Reads CLR scans: point formats 0, 1 and 3 (plain records) and 2 (compressed lines). Where a scan
/// has several blocks, their returns are merged into one point per cell.
class BRISKO_CODEC_EXPORT CLRCodec : public virtual BriskoCodec {
protected:
    ~CLRCodec() override;

public:
    CLRCodec();
    CLRCodec(const CLRCodec&);
    CLRCodec(CLRCodec&&) noexcept;
    CLRCodec& operator=(const CLRCodec&);
    CLRCodec& operator=(CLRCodec&&) noexcept;

    /// A new reader, or null when memory runs out. Free it with BriskoCodec::Destroy.
    static CLRCodec* Create();
};

/// Reads CLR scans as a grid; a CLR file is one by nature, so no companion is needed.
class BRISKO_CODEC_EXPORT CLRGridCodec : public CLRCodec, public virtual BriskoGridCodec {
protected:
    ~CLRGridCodec() override;

public:
    CLRGridCodec();
    CLRGridCodec(const CLRGridCodec&);
    CLRGridCodec(CLRGridCodec&&) noexcept;
    CLRGridCodec& operator=(const CLRGridCodec&);
    CLRGridCodec& operator=(CLRGridCodec&&) noexcept;

    /// A new reader, or null when memory runs out. Free it with BriskoCodec::Destroy.
    static CLRGridCodec* Create();
};
