#pragma once

#include <brisko_codec/codec.h>

#include <string>
#include <vector>

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

namespace brisko {

/// A reader for a scan that lies in several files, such as a_000.clr, a_001.clr and so on:
/// the blocks of all files are merged as if they stood in one.
///   later  the files after the one that Open is given, in their order, UTF-8; they are opened with it.
///          All must have its grid and point format, and plain records or compressed lines like it.
/// Source:  header and alignment are those of the file that Open is given.
/// Returns: a new reader, or null when memory runs out. Free it with BriskoCodec::Destroy.
///          Where the files do not fit together its first-point calls answer false, and
///          getReadProblem names the file.
BRISKO_CODEC_EXPORT CLRGridCodec* createCLRSeriesCodec(const std::vector<std::string>& later);

}  // namespace brisko
