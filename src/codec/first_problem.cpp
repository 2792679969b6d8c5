#include "codec/first_problem.h"

#include "base/companion_path.h"
#include "codec/alignment.h"

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
            return "a compressed piece is not as long as its points are";
    }
    return "";
}

}  // namespace

ReadProblem FirstProblem::describe(const std::string& scanPath,
                                   const std::vector<std::string>& later) const {
    if (m_kind == ReadProblemKind::None) return {};
    ReadProblem problem{m_kind, scanPath, m_offset, textOf(m_kind)};
    if (m_file == kIndex) {
        problem.file = companionForReading(scanPath, ".ij");
    } else if (m_file != kScan) {
        problem.file = later[m_file - 1];
    }
    return problem;
}

ReadProblem getReadProblem(const BriskoCodec& codec) {
    const auto* const reader = dynamic_cast<const AlignedReader*>(&codec);
    return reader ? reader->readProblem() : ReadProblem{};
}

}  // namespace brisko
