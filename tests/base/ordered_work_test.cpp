#include "base/ordered_work.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <vector>

namespace brisko {
namespace {

constexpr int kNever = -1;

/// The numbers 0 to count - 1, squared apart; a step throws at the number given for it.
class Squares {
public:
    Squares(std::size_t threads, int count, int failingFetch, int failingWork)
        : m_pieces(
              threads,
              [=, this](Piece& piece) {
                  if (m_next == failingFetch) throw std::out_of_range("fetch");
                  piece.number = m_next;
                  return m_next++ < count;
              },
              [=](Piece& piece) {
                  if (piece.number == failingWork) throw std::out_of_range("work");
                  piece.square = piece.number * piece.number;
              }) {}

    /// Takes squares up to a failure: how many came, each checked.
    int takeAll() {
        int taken = 0;
        try {
            while (const Piece* piece = m_pieces.next()) {
                EXPECT_EQ(piece->square, taken * taken);
                ++taken;
            }
        } catch (const std::out_of_range&) {
            EXPECT_THROW(m_pieces.next(), std::out_of_range);  // and again
        }
        return taken;
    }
    void takeSome() {
        for (int i = 0; i < 3; ++i)
            m_pieces.next();
    }
    void rewind() {
        m_pieces.rewind();
        m_next = 0;
    }

private:
    struct Piece {
        int number = 0, square = 0;
    };
    int m_next = 0;
    PiecesAhead<Piece> m_pieces;
};

TEST(OrderedWork, BringsPiecesInOrderUpToTheFirstFailure) {
    for (const std::size_t threads : {0U, 1U, 2U, 9U}) {
        for (const int count : {0, 1, 3, 2000}) {
            Squares squares(threads, count, kNever, kNever);
            EXPECT_EQ(squares.takeAll(), count);
            squares.rewind();
            squares.takeSome();
            squares.rewind();
            EXPECT_EQ(squares.takeAll(), count);
            EXPECT_EQ(Squares(threads, count, count / 2, kNever).takeAll(), count / 2);
            if (count > 0) {
                EXPECT_EQ(Squares(threads, count, count - 1, count / 2).takeAll(), count / 2);
            }
        }
        Squares(threads, 1'000'000'000, kNever, kNever).takeSome();  // and leaves the rest
    }
}

TEST(OrderedWork, DeliversPiecesInOrderUpToTheFirstFailure) {
    struct Piece {
        int number = 0, square = 0;
    };
    for (const std::size_t threads : {0U, 1U, 2U, 9U}) {
        for (const int count : {0, 1, 3, 2000}) {
            for (const int failingWork : {kNever, count / 2}) {
                for (const int failingDelivery : {kNever, count / 3, count - 1}) {
                    const bool fails =
                        count > 0 && (failingWork != kNever || failingDelivery != kNever);
                    std::vector<int> delivered;
                    PiecesBehind<Piece> pieces(
                        threads,
                        [&](Piece& piece) {
                            if (piece.number == failingWork) throw std::out_of_range("work");
                            piece.square = piece.number * piece.number;
                        },
                        [&](Piece& piece) {
                            if (piece.number == failingDelivery) throw std::out_of_range("full");
                            delivered.push_back(piece.square);
                        });
                    const auto giveAll = [&] {
                        for (int i = 0; i < count; ++i) {
                            pieces.free().number = i;
                            pieces.give();
                        }
                        pieces.finish();
                    };
                    if (fails) {
                        EXPECT_THROW(giveAll(), std::out_of_range);
                        EXPECT_THROW(pieces.finish(), std::out_of_range);
                    } else {
                        giveAll();
                    }
                    const auto first = [&] {
                        int least = count;
                        for (const int at : {failingWork, failingDelivery})
                            if (at != kNever) least = std::min(least, at);
                        return least;
                    };
                    ASSERT_EQ(delivered.size(), static_cast<std::size_t>(first()));
                    for (int i = 0; i < first(); ++i)
                        EXPECT_EQ(delivered[static_cast<std::size_t>(i)], i * i);
                }
            }
        }
    }
}

}  // namespace
}  // namespace brisko
