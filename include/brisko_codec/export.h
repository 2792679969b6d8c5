#pragma once

/// BRISKO_CODEC_EXPORT marks what a host may use. The library is built with hidden visibility, so
/// nothing else leaves it; type information of marked classes leaves with them, and exceptions can
/// be caught outside. BRISKO_CODEC_LOCAL keeps in what belongs to a marked class but not to hosts.
#if defined(_WIN32)
#if defined(BRISKO_CODEC_BUILDING)
#define BRISKO_CODEC_EXPORT __declspec(dllexport)
#else
#define BRISKO_CODEC_EXPORT __declspec(dllimport)
#endif
#define BRISKO_CODEC_LOCAL
#else
#define BRISKO_CODEC_EXPORT __attribute__((visibility("default")))
#define BRISKO_CODEC_LOCAL __attribute__((visibility("hidden")))
#endif
