#pragma once

#include <brisko_codec/export.h>

#include <string>

/// The version of the library that is running, for example "1.3.0".
BRISKO_CODEC_EXPORT std::string briskoCodecVersion();
