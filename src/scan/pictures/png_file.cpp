#include "scan/pictures/png_file.h"

#include <brisko_codec/threads.h>
#include <brisko_scan/scan_error.h>

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <iterator>
#include <new>
#include <vector>

namespace brisko::scan {
namespace {

// Pictures of scans are noisy: trying harder takes five times as long and saves a tenth.
constexpr int kCompression = 2;  // of 9
constexpr std::uint8_t kStreamHeader[] = {0x78, 0x5e};
constexpr std::uint32_t kStripeBytes = 1 << 18;
constexpr std::uint8_t kSubFilter = 1;  // each byte less the one of the pixel to its left

/// A stream of the packing library's own, without header and trailer.
class Deflater {
public:
    Deflater() {
        if (deflateInit2(&m_stream, kCompression, Z_DEFLATED, -MAX_WBITS, 8, Z_FILTERED) != Z_OK)
            throw std::bad_alloc();
    }
    ~Deflater() { deflateEnd(&m_stream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// Adds the bytes, packed, to others. What is not the last part ends at a byte, so that parts which were
    /// packed apart follow each other.
    void pack(std::vector<std::uint8_t>& bytes, bool isLast, std::vector<std::uint8_t>& out) {
        const std::size_t before = out.size();
        constexpr std::size_t kRoomForFlush = 64;
        out.resize(before + deflateBound(&m_stream, static_cast<uLong>(bytes.size())) +
                   kRoomForFlush);
        m_stream.next_in = bytes.data();
        m_stream.avail_in = static_cast<uInt>(bytes.size());
        m_stream.next_out = out.data() + before;
        m_stream.avail_out = static_cast<uInt>(out.size() - before);
        deflate(&m_stream, isLast ? Z_FINISH : Z_SYNC_FLUSH);
        out.resize(before + m_stream.total_out);
        deflateReset(&m_stream);
    }

private:
    z_stream m_stream{};
};

}  // namespace

struct PngFile::Stripe {
    std::uint32_t rows = 0;
    bool isFirst = false, isLast = false;
    std::vector<std::uint8_t> pixels;    // as they came
    std::vector<std::uint8_t> filtered;  // as the format wants them
    std::vector<std::uint8_t> packed;
    std::uint32_t checksum = 1;  // of the filtered ones
    std::unique_ptr<Deflater> deflater;
};

// libpng reports errors by a jump back to the last setjmp. The functions that call it have no objects
// of their own that the jump would pass over.

PngFile::PngFile(const std::string& path, const std::string& shownPath)
    : m_shownPath(shownPath), m_file(std::fopen(path.c_str(), "wb")) {
    if (!m_file) fail(std::strerror(errno));
    m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, keepError,
                                    [](png_structp, png_const_charp) {});
    if (m_png) m_info = png_create_info_struct(m_png);
    if (m_info) return;
    png_destroy_write_struct(&m_png, nullptr);
    std::fclose(m_file);
    throw std::bad_alloc();
}

PngFile::~PngFile() {
    m_stripes.reset();
    png_destroy_write_struct(&m_png, &m_info);
    if (m_file) std::fclose(m_file);
}

void PngFile::keepError(png_structp png, png_const_charp message) {
    static_cast<PngFile*>(png_get_error_ptr(png))->m_reason =
        errno != 0 ? std::strerror(errno) : message;
    png_longjmp(png, 1);
}

void PngFile::fail(const std::string& reason) const {
    throw ScanError(ErrorKind::NotWritten, m_shownPath, "cannot be written: " + reason);
}

void PngFile::begin(const PictureShape& shape) {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_init_io(m_png, m_file);
    png_set_IHDR(m_png, m_info, shape.width, shape.height, shape.format.is16Bit ? 16 : 8,
                 shape.format.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(m_png, m_info);
    m_format = shape.format;
    m_rowBytes = static_cast<std::uint32_t>(shape.format.bytesOf(shape.width));
    m_rowsInStripe = std::max(kStripeBytes / std::max(m_rowBytes, 1U), 1U);
    m_height = shape.height;
    m_stripes = std::make_unique<PiecesBehind<Stripe>>(
        jobThreads(), [this](Stripe& stripe) { pack(stripe); },
        [this](Stripe& stripe) { deliver(stripe); });
}

void PngFile::writeRow(const std::uint8_t* row) {
    if (!m_stripe) {
        m_stripe = &m_stripes->free();
        m_stripe->isFirst = m_rowsWritten == 0;
        m_stripe->rows = 0;
        m_stripe->pixels.resize(std::size_t{m_rowsInStripe} * m_rowBytes);
    }
    std::memcpy(m_stripe->pixels.data() + std::size_t{m_stripe->rows++} * m_rowBytes, row,
                m_rowBytes);
    ++m_rowsWritten;
    m_stripe->isLast = m_rowsWritten == m_height;
    if (m_stripe->rows < m_rowsInStripe && !m_stripe->isLast) return;
    m_stripes->give();
    m_stripe = nullptr;
}

void PngFile::pack(Stripe& stripe) const {
    const std::size_t pixel = m_format.bytesOf(1);
    // The format has the larger byte first.
    const std::size_t turn = m_format.is16Bit && std::endian::native == std::endian::little ? 1 : 0;
    stripe.filtered.resize(stripe.rows * (std::size_t{m_rowBytes} + 1));
    std::uint8_t* out = stripe.filtered.data();
    for (std::uint32_t row = 0; row < stripe.rows; ++row) {
        const std::uint8_t* const in = stripe.pixels.data() + std::size_t{row} * m_rowBytes;
        *out++ = kSubFilter;
        for (std::size_t i = 0; i < std::min<std::size_t>(pixel, m_rowBytes); ++i)
            *out++ = in[i ^ turn];
        for (std::size_t i = pixel; i < m_rowBytes; ++i)
            *out++ = static_cast<std::uint8_t>(in[i ^ turn] - in[(i ^ turn) - pixel]);
    }
    const auto size = static_cast<uInt>(stripe.filtered.size());
    stripe.checksum =
        static_cast<std::uint32_t>(adler32(adler32(0, nullptr, 0), stripe.filtered.data(), size));
    stripe.packed.clear();
    if (stripe.isFirst) stripe.packed.assign(std::begin(kStreamHeader), std::end(kStreamHeader));
    if (!stripe.deflater) stripe.deflater = std::make_unique<Deflater>();
    stripe.deflater->pack(stripe.filtered, stripe.isLast, stripe.packed);
}

void PngFile::deliver(Stripe& stripe) {
    m_checksum = static_cast<std::uint32_t>(
        adler32_combine(m_checksum, stripe.checksum, static_cast<z_off_t>(stripe.filtered.size())));
    for (int shift = 24; stripe.isLast && shift >= 0; shift -= 8)
        stripe.packed.push_back(static_cast<std::uint8_t>(m_checksum >> shift));
    writeChunk("IDAT", stripe.packed.data(), stripe.packed.size());
}

void PngFile::writeChunk(const char* name, const std::uint8_t* bytes, std::size_t size) {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_write_chunk(m_png, reinterpret_cast<png_const_bytep>(name), bytes, size);
}

void PngFile::close() {
    m_stripes->finish();
    writeChunk("IEND", nullptr, 0);
    std::FILE* const file = m_file;
    m_file = nullptr;
    if (std::fclose(file) != 0) fail(std::strerror(errno));
}

}  // namespace brisko::scan
