#pragma once

#include <brisko_codec/export.h>

#include <string>

/// Converts a NUL-terminated UTF-16 text to UTF-8, as paths are passed to this library.
/// Takes:   UTF-16 units in wchar_t of any width; where wchar_t has 32 bits a unit above U+FFFF
///          counts as that code point. A null pointer counts as an empty text.
/// Returns: the UTF-8 text. Malformed units (a surrogate without its partner, a unit above
///          U+10FFFF) are left out. Throws nothing but std::bad_alloc.
BRISKO_CODEC_EXPORT std::string toUTF8(const wchar_t* text);
