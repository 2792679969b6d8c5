#include <brisko_codec/version.h>

std::string briskoCodecVersion() {
    return BRISKO_CODEC_VERSION;
}
