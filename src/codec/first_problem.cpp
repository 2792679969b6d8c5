#include "codec/first_problem.h"

#include "base/companion_path.h"
#include "codec/aligned_reader.h"

namespace brisko {

namespace {

const char* textOf(ReadProblemKind kind) {
    switch (kind) {
        case ReadProblemKind::None:
            return "";
        case ReadProblemKind::Unreadable:
            return "it cannot be read, or memory ran out";
        case ReadProblemKind::CutShort:
            return "the file ends before what it announces";
        case ReadProblemKind::LeftOver:
            return "the file goes on after what it announces";
        case ReadProblemKind::BadHeader:
            return "the header describes nothing that can be read";
        case ReadProblemKind::BadIndex:
            return "the entries of the index are not those of the scan's points";
        case ReadProblemKind::BadPiece:
            return "a compressed piece does not hold its points";
    }
    return "";
}

}  // namespace

ReadProblem FirstProblem::describe(const std::string& scanPath) const {
    if (m_kind == ReadProblemKind::None) return {};
    const bool inIndex = m_file == File::Index;
    return {m_kind, inIndex ? companionForReading(scanPath, ".ij") : scanPath, m_offset,
            textOf(m_kind)};
}

ReadProblem getReadProblem(const BriskoCodec& codec) {
    const auto* const reader = dynamic_cast<const AlignedReader*>(&codec);
    return reader ? reader->readProblem() : ReadProblem{};
}

}  // namespace brisko
