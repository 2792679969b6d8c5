#include "simulator/photo_renderer.h"

#include "simulator/column_bands.h"

#include <algorithm>

namespace brisko::simulator {

namespace {

/// A hazy horizon under a blue sky.
Colour skyTowards(const Vector3& direction) {
    const double height = std::clamp(direction.z, 0.0, 1.0);
    const auto channel = [height](double horizon, double zenith) {
        return static_cast<std::uint8_t>(horizon + (zenith - horizon) * height);
    };
    return {channel(205, 70), channel(220, 125), channel(235, 200)};
}

Colour notBlack(const Colour& colour) {
    const bool isBlack = (colour.red | colour.green | colour.blue) == 0;
    return isBlack ? Colour{1, 1, 1} : colour;
}

struct Pixel {
    std::uint32_t column, row;
};

/// The pixel of the upright photo that a stored one holds.
Pixel uprightPixel(StoredTurn turn, const PhotoSize& stored, const Pixel& pixel) {
    switch (turn) {
        case StoredTurn::Quarter:
            return {pixel.row, stored.columns - 1 - pixel.column};
        case StoredTurn::Half:
            return {stored.columns - 1 - pixel.column, stored.rows - 1 - pixel.row};
        case StoredTurn::Upright:
            break;
    }
    return pixel;
}

class PhotoRenderer {
public:
    PhotoRenderer(const PhotoPlan& plan, const PhotoCamera& camera, const Station& station)
        : m_turn(plan.rig.turn),
          m_stored(plan.stored()),
          m_camera(camera),
          m_station(station),
          m_eye(station.pose.origin + station.pose.axes * camera.place()) {}

    std::vector<std::uint8_t> renderRows(std::uint32_t first, std::uint32_t end) const {
        std::vector<std::uint8_t> pixels;
        pixels.reserve(std::size_t{3} * m_stored.columns * (end - first));
        for (std::uint32_t row = first; row < end; ++row) {
            for (std::uint32_t column = 0; column < m_stored.columns; ++column) {
                const Colour colour = colourOf(uprightPixel(m_turn, m_stored, {column, row}));
                pixels.insert(pixels.end(), {colour.red, colour.green, colour.blue});
            }
        }
        return pixels;
    }

private:
    Colour colourOf(const Pixel& pixel) const {
        const Vector3 ray = m_station.pose.axes * m_camera.direction(pixel.column, pixel.row);
        const Hit hit = m_station.scene.cast(m_eye, ray);
        return hit ? notBlack(hit.colour) : skyTowards(ray);
    }

    StoredTurn m_turn;
    PhotoSize m_stored;
    const PhotoCamera& m_camera;
    const Station& m_station;
    Vector3 m_eye;  // metres, world frame
};

/// Bands of about 16,000 pixels: even a small photo has some for every core.
std::uint32_t rowsOfBand(std::uint32_t columns) {
    return std::max(1u, 16384u / std::max(1u, columns));
}

}  // namespace

RenderedPhoto renderPhoto(const PhotoPlan& plan, const PhotoCamera& camera, const Station& station,
                          const ReportPixels& report) {
    const PhotoRenderer renderer(plan, camera, station);
    RenderedPhoto photo{plan.stored(), {}};
    photo.pixels.reserve(3 * photo.size.pixels());
    // A photo is walked row by row, as a scan is column by column.
    forEachBand(
        photo.size.rows, rowsOfBand(photo.size.columns),
        [&](ColumnBand band) { return renderer.renderRows(band.first, band.end); },
        [&](ColumnBand band, const std::vector<std::uint8_t>& rows) {
            photo.pixels.insert(photo.pixels.end(), rows.begin(), rows.end());
            report(std::uint64_t{band.end} * photo.size.columns);
        });
    return photo;
}

}  // namespace brisko::simulator
