#pragma once

#include "base/private_folder.h"
#include "common/message.h"
#include "common/results_channel.h"

#include <brisko_scan/scan_error.h>

#include <memory>
#include <string>

namespace brisko::tool {

/// "-" for a scan: standard input or standard output. Readers go back and forth in a file, and an output
/// is checked before anything of it is sent: so both wait as files in a private folder, which goes with
/// the object.
class PipedScans {
public:
    /// Makes the folder. beside: a path in the folder that it lies in.
    /// Throws ScanError(NotWritten).
    explicit PipedScans(const std::string& beside);

    /// Takes all of standard input. extension: of its format, ".e57".
    /// Returns: where it lies. Throws ScanError: Damaged where it cannot be read, NotWritten where it
    /// cannot be kept, Cancelled.
    std::string takeInput(const std::string& extension);

    /// Where to write what becomes standard output.
    std::string outputPath(const std::string& extension);
    /// Sends it. Where it could not be sent, `results` knows why.
    ExitCode sendOutput(ResultsChannel& results) const;

    /// A text in which the two are named "standard input.e57" and "standard output.e57".
    std::string shown(std::string text) const;
    scan::ScanError shown(const scan::ScanError& error) const;

private:
    std::string add(const std::string& name, const std::string& extension);

    std::string m_beside;
    std::shared_ptr<PrivateFolder> m_folder;
    std::string m_output;
};

/// A path in the folder for files that do not stay: that of TMPDIR, or /tmp.
std::string placeForTemporaries();

}  // namespace brisko::tool
