#include "scan/formats/encoded_output.h"

#include <brisko_codec/version.h>

#include <bit>
#include <cstring>

namespace brisko::scan {
namespace {

static_assert(std::endian::native == std::endian::little, "vertices are copied as they stand");

/// Which numbers a vertex has besides its place and intensity.
struct Layout {
    bool withColour = false;
    bool withCells = false;
    bool withStation = false;
};

/// Longest vertex: x, y, z, colour, intensity, column, row and station.
constexpr std::size_t kLongestVertex = 3 * 8 + 3 + 4 + 3 * 4;

template <class Number>
std::uint8_t* put(std::uint8_t* out, const Number& number) {
    std::memcpy(out, &number, sizeof number);
    return out + sizeof number;
}

/// In the order of the header's properties, without padding; returns its end.
std::uint8_t* encodeVertex(const CellPoint& point, const Layout& layout, std::int32_t station,
                           std::uint8_t* out) {
    out = put(put(put(out, point.x), point.y), point.z);
    if (layout.withColour) out = put(put(put(out, point.red), point.green), point.blue);
    out = put(out, point.intensity);
    if (layout.withCells) out = put(put(out, point.column), point.row);
    if (layout.withStation) out = put(out, station);
    return out;
}

/// The same length for every count, so that it can be replaced once the points are counted: blanks at the end
/// of a comment make up for its digits. The names are those that other programs show as scalar fields.
std::string headerFor(std::uint64_t points, const Layout& layout) {
    constexpr std::size_t kMostDigits = 20;
    const std::string count = std::to_string(points);
    return "ply\n"
           "format binary_little_endian 1.0\n"
           "comment brisko " +
           std::string(briskoCodecVersion()) +
           "\n"
           "comment metres; intensity 0 to 2200" +
           std::string(kMostDigits - count.size(), ' ') +
           "\n"
           "element vertex " +
           count +
           "\n"
           "property double x\n"
           "property double y\n"
           "property double z\n" +
           (layout.withColour ? "property uchar red\n"
                                "property uchar green\n"
                                "property uchar blue\n"
                              : "") +
           "property float scalar_intensity\n" +
           (layout.withCells ? "property int scalar_column\n"
                               "property int scalar_row\n"
                             : "") +
           (layout.withStation ? "property int scalar_station\n" : "") + "end_header\n";
}

/// Of a binary little-endian point cloud.
class PlyEncoder : public UsualEncoder {
public:
    static constexpr std::size_t kLongest = kLongestVertex;

    explicit PlyEncoder(const OutputTarget& target)
        : m_layout{target.withColour, target.columns > 0 && target.rows > 0, target.station > 0},
          m_station(target.station) {}

    void setStation(std::uint16_t station) { m_station = station; }
    std::string head(std::uint64_t points) const { return headerFor(points, m_layout); }
    std::uint8_t* put(const CellPoint& point, std::uint8_t* out) const {
        return encodeVertex(point, m_layout, m_station, out);
    }

private:
    Layout m_layout;
    std::int32_t m_station;
};

}  // namespace

std::unique_ptr<ScanOutput> createPlyOutput(const OutputTarget& target) {
    return std::make_unique<EncodedOutput<PlyEncoder>>(target, PlyEncoder(target));
}

}  // namespace brisko::scan
