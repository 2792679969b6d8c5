#include "scan/files/named_output.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/version.h>

#include <bit>
#include <cstring>

namespace brisko::scan {
namespace {

static_assert(std::endian::native == std::endian::little, "vertices are copied as they stand");

/// A vertex, without padding.          // offset  size
constexpr std::size_t kX = 0;           //      0     8  double, metres
constexpr std::size_t kY = 8;           //      8     8
constexpr std::size_t kZ = 16;          //     16     8
constexpr std::size_t kRed = 24;        //     24     1  uchar
constexpr std::size_t kGreen = 25;      //     25     1
constexpr std::size_t kBlue = 26;       //     26     1
constexpr std::size_t kIntensity = 27;  //     27     4  float, 0 to 2200
constexpr std::size_t kColumn = 31;     //     31     4  uint
constexpr std::size_t kRow = 35;        //     35     4
constexpr std::size_t kVertex = 39;

void encodeVertex(const CellPoint& point, char* out) {
    std::memcpy(out + kX, &point.x, sizeof point.x);
    std::memcpy(out + kY, &point.y, sizeof point.y);
    std::memcpy(out + kZ, &point.z, sizeof point.z);
    std::memcpy(out + kRed, &point.red, sizeof point.red);
    std::memcpy(out + kGreen, &point.green, sizeof point.green);
    std::memcpy(out + kBlue, &point.blue, sizeof point.blue);
    std::memcpy(out + kIntensity, &point.intensity, sizeof point.intensity);
    std::memcpy(out + kColumn, &point.column, sizeof point.column);
    std::memcpy(out + kRow, &point.row, sizeof point.row);
}

/// The same length for every count, so that it can be replaced once the points are counted.
std::string headerFor(std::uint64_t points) {
    constexpr std::size_t kMostDigits = 20;
    const std::string count = std::to_string(points);
    return "ply\n"
           "format binary_little_endian 1.0\n"
           "comment brisko " +
           briskoCodecVersion() +
           "\n"
           "comment metres; intensity 0 to 2200; " +
           std::string(kMostDigits - count.size(), '.') +
           "\n"
           "element vertex " +
           count +
           "\n"
           "property double x\n"
           "property double y\n"
           "property double z\n"
           "property uchar red\n"
           "property uchar green\n"
           "property uchar blue\n"
           "property float intensity\n"
           "property uint column\n"
           "property uint row\n"
           "end_header\n";
}

/// A binary little-endian point cloud.
class PlyOutput : public ScanOutput {
public:
    explicit PlyOutput(const OutputTarget& target) : m_file(target.path, target.shownPath) {
        m_file.write(headerFor(0));
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& point : points) {
            encodeVertex(point, m_file.reserve(kVertex));
            count(point);
        }
        m_file.require();
    }

    void finish() override {
        m_file.overwrite(0, headerFor(m_points));
        m_file.close();
    }

private:
    NamedOutput m_file;
};

}  // namespace

std::unique_ptr<ScanOutput> createPlyOutput(const OutputTarget& target) {
    return std::make_unique<PlyOutput>(target);
}

}  // namespace brisko::scan
