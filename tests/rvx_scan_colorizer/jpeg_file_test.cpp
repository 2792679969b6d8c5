#include "rvx_scan_colorizer/jpeg_file.h"

#include "rvx_scan_colorizer/fallback_decoder.h"
#include "support/photo_station.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>
#include <boost/exception/get_error_info.hpp>
#include <boost/throw_exception.hpp>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <typeinfo>

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

constexpr Rgb kRed = {200, 20, 30}, kGreen = {20, 180, 40}, kBlue = {30, 40, 220},
              kGrey = {90, 90, 90};

/// 48 x 32 with a colour in each quarter: red, green above blue, grey.
Bytes quarters() {
    return jpegBytes(48, 32, [](int column, int row) {
        return row < 16 ? (column < 24 ? kRed : kGreen) : (column < 24 ? kBlue : kGrey);
    });
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

TEST_F(JpegFile, PhotosAreTurnedAsTheirCamerasAskFor) {
    const std::string path = write(quarters());
    const ImageSize size = getImageDimention(path);
    EXPECT_EQ(size.width, 48);
    EXPECT_EQ(size.height, 32);

    const DecodedImage plain = readImage(path, Turn::None);
    expectNear(colourAt(plain, 8, 8), kRed);
    expectNear(colourAt(plain, 40, 8), kGreen);
    expectNear(colourAt(plain, 8, 24), kBlue);

    const DecodedImage quarter = readImage(path, turnOfCameraType(0));
    expectNear(colourAt(quarter, 8, 8), kGreen);  // what was on the right comes to the top
    for (const int type : {1, 2})
        expectNear(colourAt(readImage(path, turnOfCameraType(type)), 8, 8), kGrey);
    EXPECT_TRUE(readImage(path, turnOfCameraType(3)).empty());
}

constexpr const char* kSizePlace =
    " | void __cdecl ImageData::getImageDimention(int &,int &) | rvx_scan_colorizer/src/ImageData";
constexpr const char* kDecodePlace =
    " | void __cdecl ImageData::setImage(int,bool) | rvx_scan_colorizer/src/ImageData";

TEST_F(JpegFile, WhatIsNoJpegIsReportedWithItsPlace) {
    const Bytes good = quarters();
    Bytes huge = good;  // the header's height and width, which follow FF C0, a length and a depth
    const std::uint8_t startOfFrame[] = {0xFF, 0xC0};
    const auto frame =
        std::search(huge.begin(), huge.end(), std::begin(startOfFrame), std::end(startOfFrame));
    ASSERT_NE(frame, huge.end());
    for (const int place : {5, 7})
        frame[place] = 0x80;  // 32,768 and some
    Bytes claimed = huge;
    for (const int place : {5, 7})
        claimed[static_cast<std::size_t>(frame - huge.begin() + place)] = 0x20;  // 8,192 and some
    const struct {
        Bytes bytes;
        std::string text;
    } cases[] = {
        {{}, ""},
        {Bytes(1000, 7), ""},
        {cutTo(good, 20), ""},
        {huge, "Unable to read JPEG!"},
        {claimed, "Unable to read JPEG!"},
    };
    for (const auto& [bytes, text] : cases) {
        const std::string path = write(bytes);
        const std::string size = failureOf([&] { getImageDimention(path); });
        EXPECT_TRUE(size.ends_with(kSizePlace)) << size;
        EXPECT_FALSE(size.starts_with(" |")) << "the decoder's own text";
        const std::string decode = failureOf([&] { readImage(path, Turn::None); });
        EXPECT_TRUE(decode.ends_with(kDecodePlace)) << decode;
        EXPECT_FALSE(jpegFault(path).empty());
        if (!text.empty()) {
            EXPECT_EQ(size, text + kSizePlace);
            EXPECT_EQ(decode, text + kDecodePlace);
        }
    }
}

TEST_F(JpegFile, WhatCannotBeOpenedHasNoText) {
    EXPECT_EQ(failureOf([&] { getImageDimention(m_folder / "none.jpg"); }), "std::exception");
    EXPECT_EQ(failureOf([&] { readImage(m_folder / "none.jpg", Turn::None); }), "std::exception");
    EXPECT_EQ(failureOf([&] { getImageDimention(m_folder.path().string()); }), "std::exception");
}

TEST_F(JpegFile, FilesThatWouldTakeAllMemoryOrTimeAreRefused) {
    const std::string path = write(quarters());
    std::filesystem::resize_file(path, (std::uintmax_t{256} << 20) + 1);
    EXPECT_EQ(failureOf([&] { getImageDimention(path); }),
              std::string("Unable to read JPEG!") + kSizePlace);
    Bytes scans = quarters();
    for (int i = 0; i < 500; ++i)
        scans.insert(scans.end(), {0xFF, 0xDA});
    write(scans);
    EXPECT_EQ(failureOf([&] { readImage(path, Turn::None); }),
              std::string("Unable to read JPEG!") + kDecodePlace);
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

TEST_F(JpegFile, WhatTurboJpegCannotDecodeIsLeftToTheOtherDecoder) {
    const Bytes inks = fourInkJpeg();
    const DecodedImage image = readImage(write(inks), Turn::None);
    ASSERT_EQ(image.columns(), 64) << "as it is stored";
    ASSERT_EQ(image.rows(), 48);
    expectNear(colourAt(image, 30, 30), {64, 64, 64});
    EXPECT_FALSE(image.isMended()) << "there is nothing wrong with it";
    EXPECT_TRUE(decodeWithFallback(inks, m_folder.path().string()).empty())
        << "the module is looked for in its folder alone";
    EXPECT_TRUE(decodeWithFallback(Bytes(100, 1)).empty());
}

TEST_F(JpegFile, ACutPhotoKeepsItsUpperPartOrFailsWithoutText) {
    Bytes cut = jpegBytes(256, 256, [](int column, int row) {
        const auto grey = static_cast<std::uint8_t>(128 + ((column * 7 + row * 13) & 63));
        return Rgb{grey, grey, grey};
    });
    const DecodedImage whole = readImage(write(cut), Turn::None);
    EXPECT_FALSE(whole.isMended());
    cut.resize(cut.size() / 2);
    const std::string path = write(cut);
    const std::string failure = failureOf([&] {
        const DecodedImage image = readImage(path, Turn::None);
        ASSERT_EQ(image.columns(), 256);
        EXPECT_TRUE(image.isMended());
        EXPECT_TRUE(readImage(path, Turn::Quarter).isMended());
        // The other decoder reckons more exactly.
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
