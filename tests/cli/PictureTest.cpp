// SPDX-License-Identifier: Apache-2.0
#include "Fakes.h"
#include "Picture.h"

#include <gtest/gtest.h>

// libjpeg's header wants size_t and FILE to be there.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

using namespace kestrocli;
using kestrotest::FakeFrame;
using Bytes = std::vector<std::uint8_t>;

namespace {

struct Raw {
    std::uint32_t format;
    Bytes image;
    Bytes rgb;
};

class RawPicture : public testing::TestWithParam<Raw> {};

INSTANTIATE_TEST_SUITE_P(, RawPicture,
                         testing::Values(Raw{0x01080001, {1, 200}, {1, 1, 1, 200, 200, 200}},
                                         // little-endian: the second byte is the high one
                                         Raw{0x01100007, {9, 1, 9, 200}, {1, 1, 1, 200, 200, 200}},
                                         Raw{0x02180014, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}},
                                         Raw{0x02180015, {1, 2, 3, 4, 5, 6}, {3, 2, 1, 6, 5, 4}}));

TEST_P(RawPicture, BecomesRgb) {
    FakeFrame frame;
    frame.width = 2;
    frame.height = 1;
    frame.pixelFormat = GetParam().format;
    frame.image = GetParam().image;
    frame.image.push_back(77);  // more than the picture needs, as a larger one left it
    const DecodedPicture picture = decodePicture(frame);
    ASSERT_TRUE(picture.raster) << picture.problem;
    EXPECT_EQ(picture.raster->rgb(), GetParam().rgb);
    frame.image.resize(GetParam().image.size() - 1);
    EXPECT_FALSE(decodePicture(frame).raster);
}

FakeFrame greyJpeg(std::uint32_t width, std::uint32_t height, std::uint8_t value) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* file = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &file, &size);
    jpeg.image_width = width;
    jpeg.image_height = height;
    jpeg.input_components = 1;
    jpeg.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    Bytes row(width, value);
    JSAMPROW rows = row.data();
    while (jpeg.next_scanline < height) jpeg_write_scanlines(&jpeg, &rows, 1);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    FakeFrame frame;
    frame.jpeg = true;
    frame.image.assign(file, file + size);
    std::free(file);
    return frame;
}

TEST(JpegPicture, BecomesRgb) {
    const DecodedPicture picture = decodePicture(greyJpeg(40, 30, 120));
    ASSERT_TRUE(picture.raster) << picture.problem;
    EXPECT_EQ(picture.raster->width(), 40U);
    EXPECT_EQ(picture.raster->height(), 30U);
    for (const std::uint8_t value : picture.raster->rgb()) EXPECT_NEAR(value, 120, 2);
}

TEST(JpegPicture, ThatIsCutOrDamagedOrHugeIsNone) {
    const FakeFrame good = greyJpeg(40, 30, 120);
    for (std::size_t size = 1; size < good.image.size(); ++size) {
        FakeFrame cut = good;
        cut.image.resize(size);
        EXPECT_FALSE(decodePicture(cut).raster) << size;
    }
    FakeFrame huge = good;
    const Bytes startOfFrame = {0xFF, 0xC0};
    auto size =
        std::search(huge.image.begin(), huge.image.end(), startOfFrame.begin(), startOfFrame.end());
    ASSERT_NE(size, huge.image.end());
    size += 5;  // past marker, length and depth: height, width
    std::fill(size, size + 4, std::uint8_t{0xFE});
    EXPECT_FALSE(decodePicture(huge).raster);
}

}  // namespace
