#include "rvx_scan_colorizer/fallback_decoder.h"

#include "rvx_scan_colorizer/fallback/decoder_interface.h"

#include <dlfcn.h>
#include <cstring>

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

void receive(void* context, const std::uint8_t* pixels, std::size_t rowStride, int width,
             int height) {
    try {
        DecodedImage image(width, height);
        const std::size_t rowSize = 3 * static_cast<std::size_t>(width);
        for (int row = 0; row < height; ++row) {
            std::memcpy(image.row(row), pixels + static_cast<std::size_t>(row) * rowStride,
                        rowSize);
        }
        *static_cast<DecodedImage*>(context) = std::move(image);
    } catch (const std::bad_alloc&) {
        return;  // the image stays empty
    }
}

DecodedImage decodeWith(FallbackDecode decode, std::span<const std::uint8_t> bytes) {
    DecodedImage image;
    if (decode) decode(bytes.data(), bytes.size(), &receive, &image);
    return image;
}

}  // namespace

DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes) {
    static const FallbackDecode decode = loadModule(ownFolder());
    return decodeWith(decode, bytes);
}

DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes, const std::string& folder) {
    return decodeWith(loadModule(folder), bytes);
}

}  // namespace brisko
