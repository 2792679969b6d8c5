#pragma once

/// Marks what a host may use. The library is built with hidden visibility, so nothing else leaves
/// it; type information of marked classes leaves with them, and exceptions can be caught outside.
#if defined(_WIN32)
#if defined(BRISKO_CODEC_BUILDING)
#define BRISKO_CODEC_EXPORT __declspec(dllexport)
#else
#define BRISKO_CODEC_EXPORT __declspec(dllimport)
#endif
#else
#define BRISKO_CODEC_EXPORT __attribute__((visibility("default")))
#endif
