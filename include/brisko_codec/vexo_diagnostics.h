#pragma once

#include <brisko_codec/export.h>

/// Whether and where the library logs. The library emits its few records through Boost.Log, on the
/// channel "info_channel"; before each one it asks the two functions below.
///
/// They are an interface: a host with a logging set-up of its own defines both functions itself, and
/// its definitions take the place of the library's when the program is linked. The library's own
/// definitions say that nothing is wanted, until switchLoggingOn is called.
namespace brisko::vexo {

/// How much a record matters; 7 is the only one that the library uses.
enum BRISKO_CODEC_EXPORT LogSeverityEnum : int {
    kTrace = 0,
    kDebug = 1,
    kDetail = 2,
    kNotice = 3,
    kWarning = 4,
    kError = 5,
    kFatal = 6,
    kInformation = 7,
};

class BRISKO_CODEC_EXPORT VexoLogSetup {
public:
    /// Whether records are wanted at all. Asked first, for every record.
    static bool isLoggingEnabled();
    /// Makes sure that records have somewhere to go; asked only when they are wanted. Returns false
    /// when they have not: the record is then dropped.
    static bool ensureLoggingInitialized();
};

/// Lets records through, in programs that use the library's own VexoLogSetup. The first record that
/// follows installs a sink that writes one line a record to standard error; records of other channels
/// do not go there. May be called at any time, from any thread.
BRISKO_CODEC_EXPORT void switchLoggingOn();
/// Stops records again and removes the sink.
BRISKO_CODEC_EXPORT void switchLoggingOff();

}  // namespace brisko::vexo
