#pragma once

#include "base/ordered_work.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/threads.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace brisko::scan {

/// What one thread decodes or encodes at a time: enough that taking turns costs nothing, and what belongs to a
/// piece stays in the cache of its processor.
inline constexpr std::size_t kPiecePoints = 1 << 13;
/// Scans of fewer pieces, some 100,000 points, start no thread.
inline constexpr PieceCounts kShortFilesAlone{.alone = 12};

/// Points on their way into a file.
template <class Tally>
struct PointPiece {
    std::span<const CellPoint> points;
    std::vector<CellPoint> own;       // the points, where they are not worked on at once
    std::vector<std::uint8_t> bytes;  // of the file
    Tally tally{};                    // what is to be known of the points
};

/// Divides the points that an output takes into pieces, which the threads of the job encode.
template <class Piece>
class PointPieces {
public:
    using Use = std::function<void(Piece&)>;

    ///   most           points of a piece
    ///   work, deliver  as PiecesBehind takes them
    PointPieces(std::size_t most, Use work, Use deliver)
        : m_most(most),
          m_isAlone(jobThreads() == 1),
          m_pieces(jobThreads(), std::move(work), std::move(deliver), kShortFilesAlone) {}

    /// Throws what the work and the delivery of these or earlier points threw.
    void write(std::span<const CellPoint> points) {
        while (!points.empty()) {
            Piece& piece = open();
            const std::size_t part = std::min(points.size(), m_most - piece.own.size());
            if (m_isAlone) {
                piece.points = points.first(part);
                finish();
            } else {
                piece.own.insert(piece.own.end(), points.begin(),
                                 points.begin() + static_cast<std::ptrdiff_t>(part));
                if (piece.own.size() == m_most) give();
            }
            points = points.subspan(part);
        }
    }
    /// The same for points that the caller needs no more: where they make a piece, they change their place
    /// with it and are not copied.
    void take(std::vector<CellPoint>& points) {
        const bool isPiece = points.size() <= m_most && points.size() > m_most / 2;
        if (m_isAlone || !isPiece || !open().own.empty()) return write(points);
        open().own.swap(points);
        give();
    }
    /// The piece at hand, to put points into `own`.
    Piece& open() {
        if (!m_open) {
            m_open = &m_pieces.free();
            m_open->own.clear();
            m_open->points = {};
            m_open->tally = {};
        }
        return *m_open;
    }
    /// Ends the piece at hand, where it holds something.
    void give() {
        if (!m_open) return;
        if (!m_open->own.empty()) m_open->points = m_open->own;
        if (m_open->points.empty()) return;
        m_open = nullptr;
        m_pieces.give();
    }
    /// Waits until all points that were given are delivered.
    void finish() {
        give();
        m_pieces.finish();
    }

private:
    std::size_t m_most;
    bool m_isAlone;
    Piece* m_open = nullptr;  // the piece that is being filled
    PiecesBehind<Piece> m_pieces;
};

}  // namespace brisko::scan
