#pragma once

#include "base/ordered_work.h"
#include "scan/pictures/picture_file.h"

#include <png.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace brisko::scan {

/// Rows are packed in stripes, by several threads; how they are cut depends on the picture alone.
class PngFile : public PictureFile {
public:
    PngFile(const std::string& path, const std::string& shownPath);
    ~PngFile() override;
    PngFile(const PngFile&) = delete;
    PngFile& operator=(const PngFile&) = delete;

    void begin(const PictureShape& shape) override;
    void writeRow(const std::uint8_t* row) override;
    void close() override;

private:
    struct Stripe;

    void pack(Stripe& stripe) const;
    void deliver(Stripe& stripe);
    void writeChunk(const char* name, const std::uint8_t* bytes, std::size_t size);
    [[noreturn]] static void keepError(png_structp png, png_const_charp message);
    [[noreturn]] void fail(const std::string& reason) const;

    std::string m_shownPath;
    std::string m_reason;
    std::FILE* m_file;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    PixelFormat m_format;
    std::uint32_t m_rowBytes = 0;
    std::uint32_t m_rowsInStripe = 1;
    std::uint32_t m_height = 0;
    std::uint32_t m_rowsWritten = 0;
    std::uint32_t m_checksum = 1;  // of what was packed, as its trailer has it
    Stripe* m_stripe = nullptr;    // that is being filled
    std::unique_ptr<PiecesBehind<Stripe>>
        m_stripes;  // the last member: it stops before the others go
};

}  // namespace brisko::scan
