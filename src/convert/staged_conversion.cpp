#include "convert/staged_conversion.h"

#include "base/companion_path.h"
#include "base/file.h"

namespace brisko {

StagedConversion::StagedConversion(const std::string& output, const std::string& input,
                                   ReadErrors& errors) {
    if (resolveLinks(output) == resolveLinks(input) || isSameFile(output, input, &errors)) return;
    if (!m_output.create(output, StagedOutput::Companions::ByExtension)) return;
    // The alignment of the input is the user's: an output that shares its ALG file has the same
    // alignment by that. Where the input has none yet, the output brings one.
    if (isSameFile(m_output.alignmentTarget(), companionForReading(input, ".alg"), &errors)) {
        m_output.leaveAlignment();
    }
    // A plain output has no ALG file of its own; one of its name is that of a raw scan.
    m_output.keepOlderAlignment();
}

}  // namespace brisko
