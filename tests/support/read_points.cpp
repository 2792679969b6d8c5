#include "support/read_points.h"

#include <algorithm>

namespace brisko::test {

namespace {

bool read(BriskoCodec& codec, TestPoint& p, bool first) {
    std::uint8_t alpha = 0;
    if (auto* const grid = dynamic_cast<BriskoGridCodec*>(&codec)) {
        const auto call =
            first ? &BriskoGridCodec::ReadFirstGridPoint : &BriskoGridCodec::ReadNextGridPoint;
        return (grid->*call)(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, alpha, p.column,
                             p.row);
    }
    const auto call = first ? &BriskoCodec::ReadFirstPoint : &BriskoCodec::ReadNextPoint;
    return (codec.*call)(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, alpha);
}

}  // namespace

bool readFirst(BriskoCodec& codec, TestPoint& point) {
    return read(codec, point, true);
}
bool readNext(BriskoCodec& codec, TestPoint& point) {
    return read(codec, point, false);
}

std::vector<TestPoint> readAll(BriskoCodec& codec, std::size_t most) {
    std::vector<TestPoint> points;
    TestPoint point;
    while (points.size() < most && read(codec, point, points.empty()))
        points.push_back(point);
    return points;
}

std::vector<TestPoint> readAllBatched(BriskoCodec& codec, std::size_t capacity, std::size_t most) {
    std::vector<double> positions(3 * capacity);
    std::vector<float> intensities(capacity);
    std::vector<std::uint8_t> colours(3 * capacity);
    std::vector<std::uint32_t> columns(capacity), rows(capacity);
    const PointArrays arrays{positions.data(), intensities.data(), colours.data(), columns.data(),
                             rows.data()};
    PointBatchReader reader(codec);
    std::vector<TestPoint> points;
    while (points.size() < most) {
        const std::size_t wanted = std::min(capacity, most - points.size());
        const std::size_t count =
            points.empty() ? reader.readFirst(arrays, wanted) : reader.readNext(arrays, wanted);
        if (count == 0) break;
        for (std::size_t i = 0; i < count; ++i) {
            points.push_back({positions[3 * i], positions[3 * i + 1], positions[3 * i + 2],
                              intensities[i], colours[3 * i], colours[3 * i + 1],
                              colours[3 * i + 2], columns[i], rows[i]});
        }
    }
    return points;
}

std::ostream& operator<<(std::ostream& out, const TestPoint& p) {
    return out << "(" << p.x << " " << p.y << " " << p.z << " i " << p.intensity << " rgb "
               << int{p.red} << " " << int{p.green} << " " << int{p.blue} << " cell " << p.column
               << " " << p.row << ")";
}

}  // namespace brisko::test
