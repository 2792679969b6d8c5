#pragma once

/// BRISKO_SCAN_EXPORT marks what a program may use; everything else stays inside the library.
#if defined(_WIN32)
#if defined(BRISKO_SCAN_BUILDING)
#define BRISKO_SCAN_EXPORT __declspec(dllexport)
#else
#define BRISKO_SCAN_EXPORT __declspec(dllimport)
#endif
#else
#define BRISKO_SCAN_EXPORT __attribute__((visibility("default")))
#endif
