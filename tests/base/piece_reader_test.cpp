#include "layouts/compressed_lines.h"

#include "base/file.h"
#include "base/input_window.h"
#include "support/scan_bytes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

using namespace test;

// Three points with one byte a value, and the byte after the last of them.
constexpr char kThree[] = "00 0101010101 00 0101010101 00 0101010101 00";

TEST(PieceReader, SaysHowEachPieceWasFoundAndWhichPointsItHolds) {
    const struct {
        const char* name;
        std::string bytes;
        PieceState state;
        std::size_t points, skipped;
    } cases[] = {
        {"sound", std::string("13000000") + kThree, PieceState::Sound, 3, 23},
        {"without the last byte", std::string("12000000") + kThree, PieceState::Sound, 3, 22},
        {"too short for its points", std::string("0d000000") + kThree, PieceState::BadStream, 2,
         17},
        {"too long for its points", std::string("14000000") + kThree + "00", PieceState::BadStream,
         3, 24},
        {"empty", "00000000", PieceState::BadStream, 0, 4},
        {"impossible length", std::string("89130000") + kThree, PieceState::BadLength, 0, 4},
        {"cut in a point", "13000000 00 0101010101 00 0101", PieceState::CutShort, 1, 13},
        {"cut in the length", "1300", PieceState::CutShort, 0, 2},
        {"no byte", "", PieceState::CutShort, 0, 0},
    };
    const TempFolder folder;
    for (const auto& [name, bytes, state, points, skipped] : cases) {
        SCOPED_TRACE(name);
        writeFile(folder / "in", fromHex("aabb" + bytes));
        const FilePtr file = openFile((folder / "in").c_str(), "rb");
        // In place, and with nothing that may be read after the piece.
        for (const std::size_t slack : {kPieceBuffer, std::size_t{0}}) {
            InputWindow source(file.get(), kMostPieceBytes, slack);
            source.jumpTo(2);
            Piece piece = findPiece(source);
            EXPECT_EQ(source.position(), 2U) << "looking does not move";
            EXPECT_EQ(piece.offset, 2U);
            RawRecord out[3] = {{9, 9, 9, 9, 9}, {9, 9, 9, 9, 9}, {9, 9, 9, 9, 9}};
            EXPECT_EQ(decodePiece(piece, 3, out, slack), points);
            EXPECT_EQ(piece.state, state);
            EXPECT_EQ(piece.bytes.size(), skipped);
            for (std::size_t i = 0; i < points; ++i)
                EXPECT_EQ(out[i].z, static_cast<std::int32_t>(i) + 1);
        }
    }
}

}  // namespace
}  // namespace brisko
