#pragma once

/// Cancels, pauses and misuses work inside the library. Returns 0 when every exception arrived as its
/// own type.
extern "C" __attribute__((visibility("default"))) int followProgress();
