#include "rvx_scan_colorizer/jpeg_file.h"

#include "base/file.h"
#include "rvx_scan_colorizer/fallback/decoder_interface.h"
#include "rvx_scan_colorizer/jpeg_decoder.h"

#include <dlfcn.h>
#include <turbojpeg.h>
#include <boost/throw_exception.hpp>

#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <vector>

namespace brisko {

namespace {

/// The folder of the binary that holds this very code: the shared library, as a rule. Empty when the
/// system does not know it.
std::string ownFolder() {
    static const char anchor = 0;
    Dl_info info{};
    if (!dladdr(&anchor, &info) || !info.dli_fname) return {};
    const std::string path = info.dli_fname;
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

/// The module's function, null when there is no module. What was loaded is never unloaded.
FallbackDecode loadModule(const std::string& folder) {
    if (folder.empty()) return nullptr;  // never from the current folder
    void* const module =
        dlopen((folder + "/" + kFallbackModule).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!module) return nullptr;
    return reinterpret_cast<FallbackDecode>(dlsym(module, kFallbackSymbol));
}

/// What the second decoder is asked for, and what it gave.
struct Request {
    Turn turn;
    DecodedImage image;
};

void receive(void* context, const std::uint8_t* pixels, std::size_t rowStride, int width,
             int height) {
    Request& request = *static_cast<Request*>(context);
    try {
        PhotoRows photo(width, height, request.turn);
        photo.takeAll(pixels, rowStride);
        request.image = photo.image();
    } catch (const std::bad_alloc&) {
        return;  // the image stays empty
    }
}

DecodedImage decodeWith(FallbackDecode decode, std::span<const std::uint8_t> bytes, Turn turn) {
    Request request{turn, {}};
    if (decode) decode(bytes.data(), bytes.size(), &receive, &request);
    return std::move(request.image);
}

}  // namespace

DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes, Turn turn) {
    static const FallbackDecode decode = loadModule(ownFolder());
    return decodeWith(decode, bytes, turn);
}

DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes, const std::string& folder) {
    return decodeWith(loadModule(folder), bytes, Turn::None);
}

namespace {

[[noreturn]] void raise(const std::string& text, const char* function, unsigned line) {
    boost::throw_exception(std::runtime_error(text),
                           boost::source_location(jpeg_text::kFile, line, function));
}

struct DecompressorCloser {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using Decompressor = std::unique_ptr<void, DecompressorCloser>;

using FileBytes = std::vector<std::uint8_t>;

FileBytes readWhole(std::FILE* file, const char* function) {
    const std::uint64_t length = fileLength(file);
    if (length > kMaxJpegBytes) raise(jpeg_text::kUnreadable, function, __LINE__);
    FileBytes bytes(static_cast<std::size_t>(length));
    bytes.resize(readAt(file, 0, bytes.data(), bytes.size()));
    return bytes;
}

/// How often a scan starts. Progressive files may repeat scans for hours of decoding.
int countScans(std::span<const std::uint8_t> bytes) {
    constexpr std::uint8_t kMarker = 0xFF, kStartOfScan = 0xDA;
    int scans = 0;
    const std::uint8_t* at = bytes.data();
    const std::uint8_t* const end = at + bytes.size();
    while ((at = static_cast<const std::uint8_t*>(
                std::memchr(at, kMarker, static_cast<std::size_t>(end - at)))) &&
           ++at < end) {
        scans += *at == kStartOfScan;
    }
    return scans;
}

/// A JPEG in memory and the decoder that looks at it.
class JpegReader {
public:
    JpegReader(const std::string& path, const char* function) : m_function(function) {
        const FilePtr file = openFile(path.c_str(), "rb");
        if (!file) throw std::exception();
        m_bytes = readWhole(file.get(), function);
        m_decompressor.reset(tjInitDecompress());
        if (!m_decompressor) raise(jpeg_text::kNoHandle, function, __LINE__);
    }

    /// As the header claims. Throws when there is none.
    ImageSize claimedSize() const {
        ImageSize size;
        int subsampling = 0;
        // The decoder's old interface asks for bytes that it may change, but does not change them.
        if (tjDecompressHeader2(m_decompressor.get(), bytes(), length(), &size.width, &size.height,
                                &subsampling) != 0) {
            raise(tjGetErrorStr2(m_decompressor.get()), m_function, __LINE__);
        }
        return size;
    }

    ImageSize size() const {
        const ImageSize size = claimedSize();
        if (!isWithinLimits(size) || !isPlausible(size))
            raise(jpeg_text::kUnreadable, m_function, __LINE__);
        return size;
    }

    /// Empty when the decoder reports an error, be it about a single byte.
    DecodedImage decode(Turn turn, const GoesOn& goesOn) {
        const ImageSize size = this->size();
        if (countScans(m_bytes) > kMaxJpegScans) {
            raise(jpeg_text::kUnreadable, m_function, __LINE__);
        }
        PhotoRows photo(size.width, size.height, turn);
        const JpegOutcome outcome = decodeJpeg(m_bytes, photo, goesOn);
        m_metDamage = outcome.metDamage;
        return outcome.isWhole ? photo.image() : DecodedImage();
    }

    /// Whether the last decoding went on after damage. Photos of kinds that
    /// this decoder does not know are not damaged.
    bool metDamage() const { return m_metDamage; }

    const FileBytes& file() const { return m_bytes; }

    static std::uint64_t pixelsOf(const ImageSize& size) {
        return static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height);
    }
    static bool isWithinLimits(const ImageSize& size) {
        return size.width > 0 && size.height > 0 && pixelsOf(size) <= kMaxJpegPixels;
    }
    bool isPlausible(const ImageSize& size) const {
        const std::uint64_t pixels = pixelsOf(size);
        return pixels <= kAnyJpegPixels || pixels <= kMostPixelsPerByte * m_bytes.size();
    }

private:
    std::uint8_t* bytes() const { return const_cast<std::uint8_t*>(m_bytes.data()); }
    unsigned long length() const { return static_cast<unsigned long>(m_bytes.size()); }

    const char* m_function;
    FileBytes m_bytes;
    Decompressor m_decompressor;
    bool m_metDamage = false;
};

/// Runs one of the two operations. Errors that already have their text pass, others get one.
template <class Operation>
auto withTexts(const char* function, Operation operation) {
    try {
        return operation();
    } catch (const std::runtime_error&) {
        throw;
    } catch (const std::bad_alloc&) {
        raise(jpeg_text::kUnreadable, function, __LINE__);
    }
}

DecodedImage decode(const std::string& path, Turn turn, const GoesOn& goesOn) {
    JpegReader reader(path, jpeg_text::kDecodeFunction);
    const DecodingTurn its(decodingBytes(JpegReader::pixelsOf(reader.size())));
    DecodedImage image = reader.decode(turn, goesOn);
    if (image.empty()) {
        image = decodeWithFallback(reader.file(), turn);
        if (image.empty()) throw std::exception();
        image.setMended(reader.metDamage());
    }
    return image;
}

}  // namespace

ImageSize getImageDimention(const std::string& path) {
    return withTexts(jpeg_text::kSizeFunction,
                     [&path] { return JpegReader(path, jpeg_text::kSizeFunction).size(); });
}

std::string jpegFault(const std::string& path) {
    try {
        const JpegReader reader(path, jpeg_text::kSizeFunction);
        const ImageSize size = reader.claimedSize();
        const std::string claim = "its header claims " + std::to_string(size.width) + " x " +
                                  std::to_string(size.height) + " pixels, more than ";
        if (!JpegReader::isWithinLimits(size)) {
            return claim + "the " + std::to_string(kMaxJpegPixels) + " that are read";
        }
        if (!reader.isPlausible(size)) {
            return claim + "its " + std::to_string(reader.file().size()) + " bytes can hold";
        }
        return {};
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return "cannot be read as JPEG";
    }
}

DecodedImage readImage(const std::string& path, Turn turn, const GoesOn& goesOn) {
    return withTexts(jpeg_text::kDecodeFunction, [&] { return decode(path, turn, goesOn); });
}

}  // namespace brisko
