#pragma once

#include "scan/files/named_output.h"
#include "scan/formats/point_pieces.h"
#include "scan/formats/scan_output.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

namespace brisko::scan {

/// A file of points one after the other, each encoded by itself.
///
///   Encoder::kLongest                  bytes of a point, at most
///   encoder.put(point, out)            encodes a point; returns its end. Called by several threads at once
///   encoder.takes(point, leftOut)      whether a point is stored; counts it where it is not. The same
///   encoder.place(point)               moves a point to the frame of the file. The same
///   encoder.moves()                    whether it does
///   encoder.head(points)               what comes before so many points: of the same length for any number
///   encoder.setStation(station)        of the points that come next
///   encoder.remark()                   as outputs have it
template <class Encoder>
class EncodedOutput : public ScanOutput {
public:
    EncodedOutput(const OutputTarget& target, Encoder encoder)
        : m_encoder(std::move(encoder)),
          m_file(target.path, target.shownPath),
          m_pieces(
              kPiecePoints, [this](Piece& piece) { encode(piece); },
              [this](const Piece& piece) { deliver(piece); }) {
        m_file.write(m_encoder.head(0));
        m_remark = m_encoder.remark();
    }

    void write(std::span<const CellPoint> points) override { m_pieces.write(points); }
    void take(std::vector<CellPoint>& points) override { m_pieces.take(points); }
    void settle() override { m_pieces.finish(); }
    void nextScan(const OutputTarget& target) override {
        settle();
        m_encoder.setStation(target.station);
    }
    void finish() override {
        settle();
        const std::string head = m_encoder.head(m_points);
        if (!head.empty()) m_file.overwrite(0, head);
        m_file.close();
    }

private:
    struct Stored {
        std::size_t bytes = 0;
        std::uint64_t points = 0, coloured = 0;
        LeftOut leftOut;
    };
    using Piece = PointPiece<Stored>;

    void encode(Piece& piece) const {
        if (m_encoder.moves()) {
            if (piece.own.empty()) piece.own.assign(piece.points.begin(), piece.points.end());
            for (CellPoint& point : piece.own)
                m_encoder.place(point);
            piece.points = piece.own;
        }
        const std::size_t room = piece.points.size() * Encoder::kLongest;
        if (piece.bytes.size() < room) piece.bytes.resize(room);
        std::uint8_t* out = piece.bytes.data();
        std::uint64_t points = 0, coloured = 0;
        for (const CellPoint& point : piece.points) {
            if (!m_encoder.takes(point, piece.tally.leftOut)) continue;
            out = m_encoder.put(point, out);
            ++points;
            coloured += (point.red | point.green | point.blue) != 0;
        }
        piece.tally.bytes = static_cast<std::size_t>(out - piece.bytes.data());
        piece.tally.points = points;
        piece.tally.coloured = coloured;
    }

    void deliver(const Piece& piece) {
        m_file.write(piece.bytes.data(), piece.tally.bytes);
        m_points += piece.tally.points;
        m_coloured += piece.tally.coloured;
        addTo(m_leftOut, piece.tally.leftOut);
    }

    Encoder m_encoder;
    NamedOutput m_file;
    PointPieces<Piece> m_pieces;
};

/// What most encoders have in common.
struct UsualEncoder {
    static bool takes(const CellPoint&, LeftOut&) { return true; }
    static void place(CellPoint&) {}
    static bool moves() { return false; }
    static void setStation(std::uint16_t) {}
    static std::string remark() { return {}; }
};

}  // namespace brisko::scan
