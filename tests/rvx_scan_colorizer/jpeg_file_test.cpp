#include "rvx_scan_colorizer/jpeg_file.h"

#include "support/photo_station.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>
#include <boost/exception/get_error_info.hpp>
#include <boost/throw_exception.hpp>

#include <filesystem>
#include <stdexcept>
#include <string>

#ifdef __SANITIZE_THREAD__
// The other decoder brings a library that takes two locks of its own in both orders.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "deadlock:libgdal.so";
}
#endif

namespace brisko {
namespace {

using namespace test;

Rgb colourAt(const DecodedImage& image, int column, int row) {
    const std::uint8_t* const pixel = image.pixel(column, row);
    return {pixel[2], pixel[1], pixel[0]};
}
void expectNear(const Rgb& seen, const Rgb& expected) {
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(seen[i], expected[i], 3);
}

class JpegFile : public testing::Test {
protected:
    std::string write(const Bytes& bytes) const {
        writeFile(m_folder / "photo.jpg", bytes);
        return m_folder / "photo.jpg";
    }
    TempFolder m_folder;
};

/// The text, the function and the file that an operation's exception carries; "std::exception" when
/// it is one without a text.
template <class Operation>
std::string failureOf(Operation operation) {
    try {
        operation();
    } catch (const std::runtime_error& error) {
        const char* const* const function = boost::get_error_info<boost::throw_function>(error);
        const char* const* const file = boost::get_error_info<boost::throw_file>(error);
        const int* const line = boost::get_error_info<boost::throw_line>(error);
        if (!function || !file || !line || *line <= 0) return "no place";
        return std::string(error.what()) + " | " + *function + " | " + *file;
    } catch (const std::exception& error) {
        return error.what();
    }
    return "none";
}

/// 48 x 32 in one colour.
Bytes smallJpeg() {
    return jpegBytes(48, 32, Rgb{200, 20, 30});
}

constexpr const char* kSizePlace =
    " | void __cdecl ImageData::getImageDimention(int &,int &) | rvx_scan_colorizer/src/ImageData";
constexpr const char* kDecodePlace =
    " | void __cdecl ImageData::setImage(int,bool) | rvx_scan_colorizer/src/ImageData";

constexpr const char* kUnreadable = "Unable to read JPEG!";

/// A photo whose header claims both its sizes to be 256 times `high` and some.
Bytes claiming(std::uint8_t high) {
    Bytes jpeg = smallJpeg();
    const std::uint8_t startOfFrame[] = {0xFF,
                                         0xC0};  // a length and a depth follow, then the sizes
    const auto frame =
        std::search(jpeg.begin(), jpeg.end(), std::begin(startOfFrame), std::end(startOfFrame));
    frame[5] = frame[7] = high;
    return jpeg;
}

TEST_F(JpegFile, WhatIsNoJpegIsReportedWithItsPlace) {
    Bytes scans = smallJpeg();
    for (int i = 0; i < 500; ++i)
        scans.insert(scans.end(), {0xFF, 0xDA});
    const std::pair<Bytes, const char*> cases[] = {{{}, ""},
                                                   {Bytes(1000, 7), ""},
                                                   {cutTo(smallJpeg(), 20), ""},
                                                   {claiming(0x80), kUnreadable},
                                                   {claiming(0x20), kUnreadable}};
    for (const auto& [bytes, text] : cases) {
        const std::string path = write(bytes);
        const std::string size = failureOf([&] { getImageDimention(path); });
        const std::string decode = failureOf([&] { readImage(path, Turn::None); });
        EXPECT_TRUE(size.starts_with(text) && size.ends_with(kSizePlace)) << size;
        EXPECT_FALSE(size.starts_with(" |")) << "the decoder's own text";
        EXPECT_TRUE(decode.starts_with(text) && decode.ends_with(kDecodePlace)) << decode;
        EXPECT_FALSE(jpegFault(path).empty());
    }
    const std::string path = write(scans);
    EXPECT_EQ(failureOf([&] { readImage(path, Turn::None); }),
              std::string(kUnreadable) + kDecodePlace);
    std::filesystem::resize_file(path, (std::uintmax_t{256} << 20) + 1);
    EXPECT_EQ(failureOf([&] { getImageDimention(path); }), std::string(kUnreadable) + kSizePlace);
    // What cannot be opened has no text.
    for (const std::string& none : {m_folder / "none.jpg", m_folder.path().string()})
        EXPECT_EQ(failureOf([&] { getImageDimention(none); }), "std::exception");
    EXPECT_EQ(failureOf([&] { readImage(m_folder / "none.jpg", Turn::None); }), "std::exception");
}

/// Four inks, 64 x 48: TurboJPEG does not turn them into red, green and blue. A tag asks to show the
/// photo turned by a quarter.
Bytes fourInkJpeg() {
    const Bytes inks(std::size_t{64} * 48 * 4, 128);
    const tjhandle compressor = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    tjCompress2(compressor, inks.data(), 64, 0, 48, TJPF_CMYK, &out, &size, TJSAMP_444, 95, 0);
    Bytes jpeg(out, out + size);
    tjFree(out);
    tjDestroy(compressor);
    const Bytes turned = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0,    'M', 'M',
                          0,    42,   0, 0,  0,   8,   0,   1,   1, 0x12, 0,   3,
                          0,    0,    0, 1,  0,   6,   0,   0,   0, 0,    0,   0};
    jpeg.insert(jpeg.begin() + 2, turned.begin(), turned.end());
    return jpeg;
}

/// Sizes below, at and above those of the blocks of pixels, and some rows at a time.
TEST_F(JpegFile, TurnedPhotosHaveTheSamePixels) {
    for (const auto& [columns, rows] : {std::pair{1, 1}, {4, 16}, {5, 17}, {33, 64}, {70, 37}}) {
        const std::string path = write(jpegBytes(columns, rows, [](int column, int row) {
            return Rgb{static_cast<std::uint8_t>(3 * column), static_cast<std::uint8_t>(3 * row),
                       7};
        }));
        const DecodedImage image = readImage(path, Turn::None), half = readImage(path, Turn::Half),
                           quarter = readImage(path, Turn::Quarter);
        ASSERT_EQ(std::pair(quarter.columns(), quarter.rows()), std::pair(rows, columns));
        for (int column = 0; column < columns; ++column) {
            for (int row = 0; row < rows; ++row) {
                const Rgb colour = colourAt(image, column, row);
                EXPECT_NEAR(colour[0], 3 * column, 24);
                EXPECT_NEAR(colour[1], 3 * row, 24);
                ASSERT_EQ(colourAt(half, columns - 1 - column, rows - 1 - row), colour);
                ASSERT_EQ(colourAt(quarter, row, columns - 1 - column), colour);
            }
        }
    }
}

TEST_F(JpegFile, WhatTurboJpegCannotDecodeIsLeftToTheOtherDecoder) {
    const Bytes inks = fourInkJpeg();
    const DecodedImage image = readImage(write(inks), Turn::None);
    ASSERT_EQ(image.columns(), 64) << "as it is stored";
    ASSERT_EQ(image.rows(), 48);
    expectNear(colourAt(image, 30, 30), {64, 64, 64});
    EXPECT_EQ(readImage(write(inks), Turn::Quarter).columns(), 48);
    EXPECT_FALSE(image.isMended()) << "there is nothing wrong with it";
    EXPECT_TRUE(decodeWithFallback(inks, m_folder.path().string()).empty())
        << "the module is looked for in its folder alone";
    EXPECT_TRUE(decodeWithFallback(Bytes(100, 1)).empty());
}

TEST_F(JpegFile, DecodingEndsBetweenRowsWhereItIsNotWanted) {
    const std::string path = write(jpegBytes(64, 2048, grey(9)));
    int asked = 0;
    EXPECT_THROW(readImage(path, Turn::None, [&] { return ++asked < 3; }), WorkStopped);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(readImage(path, Turn::Quarter, [] { return true; }).columns(), 2048);
}

TEST_F(JpegFile, ACutPhotoKeepsItsUpperPartOrFailsWithoutText) {
    Bytes cut = jpegBytes(
        256, 256, [](int column, int row) { return grey(128 + ((column * 7 + row * 13) & 63)); });
    const DecodedImage whole = readImage(write(cut), Turn::None);
    EXPECT_FALSE(whole.isMended());
    cut.resize(cut.size() / 2);
    const std::string path = write(cut);
    const std::string failure = failureOf([&] {
        const DecodedImage image = readImage(path, Turn::None);
        ASSERT_EQ(image.columns(), 256);
        EXPECT_TRUE(image.isMended());
        EXPECT_TRUE(readImage(path, Turn::Quarter).isMended());
        // The other decoder computes more exactly.
        int difference = 0;
        for (int column = 0; column < 256; ++column) {
            difference =
                std::max(difference, std::abs(*image.pixel(column, 20) - *whole.pixel(column, 20)));
        }
        EXPECT_LT(difference, 12);
    });
    EXPECT_TRUE(failure == "none" || failure == "std::exception") << failure;
}

}  // namespace
}  // namespace brisko
