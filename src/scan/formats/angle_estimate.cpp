#include "scan/formats/angle_estimate.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kMostBins = 4096;
constexpr double kDegrees = 180 / std::numbers::pi;

std::size_t binCount(std::uint32_t cells) {
    return std::clamp(cells, 1u, kMostBins);
}

std::size_t binOf(std::uint32_t place, std::uint32_t cells, std::size_t bins) {
    if (place >= cells) return bins - 1;  // padding of the last tile
    if (bins == cells) return place;      // nearly always, and a division is slow
    return static_cast<std::size_t>(std::uint64_t{place} * bins / cells);
}

/// To -180 up to 180 degrees.
double wrapped(double degrees) {
    return std::remainder(degrees, 360.0);
}

/// A measured angle at a place that need not be whole.
struct Sample {
    double place;
    double angle;
    double weight;
};

/// The step that most neighbours agree on: their median.
double typicalStep(const std::vector<Sample>& samples) {
    std::vector<double> steps;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        steps.push_back(wrapped(samples[i].angle - samples[i - 1].angle) /
                        (samples[i].place - samples[i - 1].place));
    }
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return *middle;
}

/// Lets the angle run on where it jumps by a full turn, over gaps of any width.
void unwrap(std::vector<Sample>& samples) {
    const double step = typicalStep(samples);
    for (std::size_t i = 1; i < samples.size(); ++i) {
        const Sample& last = samples[i - 1];
        const double expected = last.angle + step * (samples[i].place - last.place);
        samples[i].angle = expected + wrapped(samples[i].angle - expected);
    }
}

AngleStep fitLine(const std::vector<Sample>& samples) {
    double weight = 0, place = 0, angle = 0;
    for (const Sample& sample : samples) {
        weight += sample.weight;
        place += sample.weight * sample.place;
        angle += sample.weight * sample.angle;
    }
    place /= weight;
    angle /= weight;
    double above = 0, below = 0;
    for (const Sample& sample : samples) {
        const double offset = sample.place - place;
        above += sample.weight * offset * (sample.angle - angle);
        below += sample.weight * offset * offset;
    }
    AngleStep fit;
    fit.step = above / below;
    fit.start = angle - fit.step * place;
    fit.known = true;
    return fit;
}

}  // namespace

AngleEstimate::AngleEstimate(std::uint32_t columns, std::uint32_t rows)
    : m_columns(columns), m_rows(rows), m_columnBins(binCount(columns)), m_rowBins(binCount(rows)) {
}

void AngleEstimate::add(std::span<const CellPoint> points, std::size_t every) {
    for (std::size_t i = 0; i < points.size(); i += every) {
        const CellPoint& point = points[i];
        const double flat = point.x * point.x + point.y * point.y;
        const double range = std::sqrt(flat + point.z * point.z);
        if (!(range > 0) || !std::isfinite(range)) continue;
        // Sums of unit vectors, without an angle for each point. Points near the zenith, whose azimuth means
        // little, count little.
        Bin& column = m_columnBins[binOf(point.column, m_columns, m_columnBins.size())];
        column.count += 1;
        column.place += point.column;
        column.a += point.x / range;
        column.b += point.y / range;
        Bin& row = m_rowBins[binOf(point.row, m_rows, m_rowBins.size())];
        row.count += 1;
        row.place += point.row;
        row.a += point.z / range;
        row.b += std::sqrt(flat) / range;
    }
}

AngleStep AngleEstimate::azimuth() const {
    std::vector<Sample> samples;
    for (const Bin& bin : m_columnBins) {
        const double weight = std::hypot(bin.a, bin.b);
        if (!(weight > 0)) continue;
        samples.push_back({bin.place / bin.count, std::atan2(bin.b, bin.a) * kDegrees, weight});
    }
    if (samples.empty()) return {};
    if (samples.size() > 1) {
        unwrap(samples);
        AngleStep fit = fitLine(samples);
        fit.start -= 360 * std::floor(fit.start / 360);
        return fit;
    }
    const double start = samples.front().angle;
    return {start < 0 ? start + 360 : start, 0, false};
}

AngleStep AngleEstimate::zenith() const {
    std::vector<Sample> samples;
    for (const Bin& bin : m_rowBins) {
        if (bin.count == 0) continue;
        samples.push_back({bin.place / bin.count, std::atan2(bin.b, bin.a) * kDegrees, bin.count});
    }
    if (samples.empty()) return {};
    if (samples.size() > 1) return fitLine(samples);
    return {samples.front().angle, 0, false};
}

}  // namespace brisko::scan
