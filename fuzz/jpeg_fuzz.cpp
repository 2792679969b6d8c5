// Photos: a decoded one has the size that its header gives, and its turned forms hold the same pixels.

#include "scan_folder.h"

#include "support/photo_station.h"

#include "rvx_scan_colorizer/jpeg_file.h"

#include <exception>
#include <optional>

namespace brisko::fuzz {

namespace {

std::optional<DecodedImage> decode(const std::string& path, Turn turn) {
    try {
        return readImage(path, turn);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void expectTurned(const DecodedImage& image, const DecodedImage& half,
                  const DecodedImage& quarter) {
    const int columns = image.columns(), rows = image.rows();
    expect(half.columns() == columns && half.rows() == rows);
    expect(quarter.columns() == rows && quarter.rows() == columns);
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const std::uint8_t* const here = image.pixel(column, row);
            expect(std::equal(here, here + 3, half.pixel(columns - 1 - column, rows - 1 - row)));
            expect(std::equal(here, here + 3, quarter.pixel(row, columns - 1 - column)));
        }
    }
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.write("photo.jpg", input);
    const std::string path = folder / "photo.jpg";
    ImageSize size;
    try {
        size = getImageDimention(path);
    } catch (const std::exception&) {
        expect(!decode(path, Turn::None));
        return;
    }
    if (std::int64_t{size.width} * size.height > 40'000) return;  // takes its time
    const auto image = decode(path, Turn::None);
    const auto half = decode(path, Turn::Half);
    expect(image.has_value() == half.has_value());
    if (!image) return;
    expect(image->columns() == size.width && image->rows() == size.height);
    expectTurned(*image, *half, decode(path, Turn::Quarter).value());
}

std::vector<Bytes> seeds() {
    const auto paint = [](int column, int row) {
        return test::Rgb{static_cast<std::uint8_t>(9 * column), static_cast<std::uint8_t>(5 * row),
                         7};
    };
    return {test::jpegBytes(200, 130, paint), test::jpegBytes(20, 13, paint),
            test::jpegBytes(8, 8, test::grey(90))};
}

const Registered registered({"jpeg", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
