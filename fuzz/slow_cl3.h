#pragma once

#include "same_points.h"

#include <cstring>
#include <optional>

namespace brisko::fuzz {

template <class Number>
Number numberAt(ByteSpan bytes, std::uint64_t at) {
    Number number{};
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

/// The bytes of a file item by item, as a reader sees them whose header claims more items than there
/// are: what the file lacks stays as it was at that place of the batch.
class SlowItems {
public:
    static constexpr std::uint64_t kBatch = 65'536;
    static constexpr std::uint64_t kMostStale = 1'048'576;

    SlowItems(ByteSpan bytes, std::uint64_t at) : m_bytes(bytes), m_at(at) {}

    bool atEnd() const { return m_ended || m_at >= m_bytes.size(); }
    /// As much of a piece before the items as there is.
    ByteSpan takeFront(std::size_t size) {
        if (atEnd()) return {};
        const ByteSpan front =
            m_bytes.subspan(m_at).first(std::min<std::size_t>(size, m_bytes.size() - m_at));
        m_at += front.size();
        if (front.size() < size) m_ended = true;
        return front;
    }
    /// The n-th item of its block; nothing when the pass must end.
    std::optional<ByteSpan> take(std::uint64_t n, std::size_t size) {
        const std::size_t place = (n % kBatch) * size;
        if (m_items.size() < place + size) m_items.resize(place + size);
        const auto item = std::span(m_items).subspan(place, size);
        if (!atEnd() && m_bytes.size() - m_at >= size) {
            std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at), size, item.begin());
            m_at += size;
        } else {
            m_ended = true;
            if (m_stale++ == kMostStale) return std::nullopt;
        }
        return item;
    }

private:
    ByteSpan m_bytes;
    std::uint64_t m_at;
    bool m_ended = false;
    std::uint64_t m_stale = 0;
    Bytes m_items;
};

/// The cells of a grid index, one present entry after the other.
class SlowIndex {
public:
    explicit SlowIndex(ByteSpan bytes) : m_items(bytes, 48) {
        const auto field = [&](std::size_t at) {
            return bytes.size() >= at + 4 ? numberAt<std::uint32_t>(bytes, at) : 0;
        };
        const std::uint64_t columns = field(36), rows = field(40);
        m_edge = field(44);
        if (m_edge == 0 || m_edge > 65'535) return;
        m_rowTiles = (rows + m_edge - 1) / m_edge;
        m_tiles = (columns + m_edge - 1) / m_edge * m_rowTiles;
    }

    bool isWalkable() const { return m_edge != 0; }

    Slow next(test::TestPoint& point) {
        while (m_steps++ < 70'000) {
            if (m_entry == m_edge * m_edge || !m_inTile) {
                if (m_tile == m_tiles) return Slow::End;
                if (m_inTile && ++m_tile == m_tiles) return Slow::End;
                m_items.takeFront(12);
                m_entry = 0;
                m_inTile = true;
            }
            const auto item = m_items.take(m_entry, 4);
            if (!item) return Slow::End;
            const std::uint64_t entry = m_entry++;
            if (numberAt<std::uint32_t>(*item, 0) == 0) continue;
            point.column =
                static_cast<std::uint32_t>(m_tile / m_rowTiles * m_edge + entry / m_edge);
            point.row = static_cast<std::uint32_t>(m_tile % m_rowTiles * m_edge + entry % m_edge);
            return Slow::Point;
        }
        return Slow::Enough;
    }

private:
    SlowItems m_items;
    std::uint64_t m_edge = 0, m_rowTiles = 0, m_tiles = 0, m_tile = 0, m_entry = 0;
    bool m_inTile = false;
    int m_steps = 0;
};

/// Reads a CL3 scan from its bytes, slowly and by the description of the format. Shares nothing with
/// the library's reader. Gives up with Enough where a file asks for many records.
class SlowCl3 {
public:
    SlowCl3(ByteSpan scan, std::optional<SlowIndex> index, const double (&matrix)[16])
        : m_items(scan, 115), m_index(std::move(index)) {
        std::copy(std::begin(matrix), std::end(matrix), std::begin(m_matrix));
        if (scan.size() >= 114) m_blocks = numberAt<std::uint32_t>(scan, 110);
        const int format = scan.size() >= 115 ? scan[114] : 0;
        if (format > 1) m_blocks = 0;
        m_size = format == 0 ? 28 : 31;
    }

    Slow next(test::TestPoint& point) {
        while (m_steps++ < 600) {
            if (m_record == m_count) {
                if (m_blocks == 0) return Slow::End;
                --m_blocks;
                const ByteSpan front = m_items.takeFront(5);
                if (front.size() >= 4) m_count = numberAt<std::uint32_t>(front, 0);
                if (front.empty() && m_count == 0) return Slow::End;
                m_record = 0;
                continue;
            }
            const auto bytes = m_items.take(m_record++, m_size);
            if (!bytes) return Slow::End;
            point = {};
            if (m_index) {
                const Slow cell = m_index->next(point);
                if (cell != Slow::Point) return cell;
            }
            if (decode(*bytes, point)) return Slow::Point;
        }
        return Slow::Enough;
    }

private:
    bool decode(ByteSpan bytes, test::TestPoint& p) const {
        p.x = numberAt<double>(bytes, 0);
        p.y = numberAt<double>(bytes, 8);
        p.z = numberAt<double>(bytes, 16);
        p.intensity = numberAt<float>(bytes, 24);
        if (!(p.intensity > 0 || p.x != 0 || p.y != 0 || p.z != 0)) return false;
        if (bytes.size() > 28) {
            p.red = bytes[28];
            p.green = bytes[29];
            p.blue = bytes[30];
        }
        align(m_matrix, p);
        return true;
    }

    SlowItems m_items;
    std::optional<SlowIndex> m_index;
    double m_matrix[16];
    std::uint64_t m_blocks = 0, m_count = 0, m_record = 0;
    std::size_t m_size = 0;
    int m_steps = 0;
};

inline constexpr double kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

}  // namespace brisko::fuzz
