#pragma once

namespace QelPcpLib {

/// Formats a diagnostic, in the "C" locale and at any length, and writes it to standard output in
/// one go. Nothing that goes wrong there is reported, and a closed pipe does not harm the host.
__attribute__((format(printf, 1, 2))) void TraceOut(const char* format, ...);

}  // namespace QelPcpLib
