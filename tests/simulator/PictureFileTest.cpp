// SPDX-License-Identifier: Apache-2.0
#include "PictureFile.h"

#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <jpeglib.h>
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <stdexcept>

namespace kestrosim {
namespace {

using namespace std::string_literals;
using testing::ElementsAreArray;
using testing::HasSubstr;
using Bytes = std::vector<std::uint8_t>;

struct PngKind {
    int colourType;
    int bitDepth;
    Bytes row;   // of two pixels, as the file holds it
    Bytes grey;  // of the two
    std::uint32_t width = 2;
};

void writePng(const std::string& path, const PngKind& kind, int interlace, std::uint32_t height) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    ASSERT_EQ(setjmp(png_jmpbuf(png)), 0);
    png_init_io(png, file);
    png_set_IHDR(png, info, kind.width, height, kind.bitDepth, kind.colourType, interlace,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const png_color palette[] = {{255, 0, 0}, {0, 0, 255}};
    if (kind.colourType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, palette, 2);
    png_write_info(png, info);
    Bytes row = kind.row;
    row.resize(std::max(row.size(), png_get_rowbytes(png, info)));
    std::vector<png_bytep> rows(height, row.data());
    png_write_image(png, rows.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

/** Every pixel has the same channels. */
void writeJpeg(const std::string& path, const Bytes& pixel, J_COLOR_SPACE space, bool progressive,
               PictureSize size) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = size.width;
    jpeg.image_height = size.height;
    jpeg.input_components = static_cast<int>(pixel.size());
    jpeg.in_color_space = space;
    jpeg_set_defaults(&jpeg);
    if (progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    Bytes row;
    for (std::uint32_t x = 0; x < size.width; ++x)
        row.insert(row.end(), pixel.begin(), pixel.end());
    JSAMPROW rows = row.data();
    for (std::uint32_t y = 0; y < size.height; ++y) jpeg_write_scanlines(&jpeg, &rows, 1);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(file);
}

std::string reasonAgainst(const std::string& path) {
    try {
        const Picture picture = loadPicture(path);
        return "no reason against " + std::to_string(picture.pixels.size()) + " pixels";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST(PictureFile, IsKnownByItsEndingInAnyCase) {
    for (const char* name : {"a.png", "a.PNG", "x.y.jpg", "a.Jpeg", "a.pgm"}) {
        EXPECT_TRUE(isPictureName(name)) << name;
    }
    for (const char* name : {"", ".png", "png", "a.png.part", "a.gif", "a.jpe"}) {
        EXPECT_FALSE(isPictureName(name)) << name;
    }
}

TEST(PictureFile, BecomesGreyFromEveryKindOfPng) {
    // Red, green and blue weigh 0.299, 0.587 and 0.114; what is transparent lies over white.
    const PngKind kinds[] = {
        {PNG_COLOR_TYPE_GRAY, 1, {0x40}, {0, 255}},
        {PNG_COLOR_TYPE_GRAY, 4, {0x3c}, {51, 204}},
        {PNG_COLOR_TYPE_GRAY, 8, {7, 250}, {7, 250}},
        {PNG_COLOR_TYPE_GRAY, 16, {0x80, 0x80, 0xff, 0xff}, {128, 255}},
        {PNG_COLOR_TYPE_GRAY_ALPHA, 8, {0, 0, 100, 255}, {255, 100}},
        {PNG_COLOR_TYPE_PALETTE, 2, {0x10}, {76, 29}},
        {PNG_COLOR_TYPE_RGB, 8, {0, 255, 0, 255, 255, 255}, {150, 255}},
        {PNG_COLOR_TYPE_RGB, 16, {0xff, 0xff, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}, {76, 29}},
        {PNG_COLOR_TYPE_RGB_ALPHA, 8, {255, 0, 0, 255, 0, 0, 0, 51}, {76, 204}}};
    const TemporaryFolder folder;
    const std::string path = folder.path("a.png");
    for (const PngKind& kind : kinds) {
        for (const int interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
            SCOPED_TRACE(testing::Message() << kind.colourType << ' ' << kind.bitDepth);
            writePng(path, kind, interlace, 3);
            const Picture picture = loadPicture(path);
            EXPECT_EQ(picture.size.width, 2U);
            EXPECT_EQ(pictureSizeOf(path).height, 3U);
            Bytes grey;
            for (int y = 0; y < 3; ++y) grey.insert(grey.end(), kind.grey.begin(), kind.grey.end());
            EXPECT_THAT(picture.pixels, ElementsAreArray(grey));
        }
    }
}

TEST(PictureFile, BecomesGreyFromEveryKindOfJpeg) {
    const struct {
        Bytes pixel;
        J_COLOR_SPACE space;
        int grey;
    } kinds[] = {{{90}, JCS_GRAYSCALE, 90},
                 {{255, 0, 0}, JCS_RGB, 76},
                 // Inks as programs for printing write them, 255 is none: cyan, and half black.
                 {{0, 255, 255, 255}, JCS_CMYK, 179},
                 {{255, 255, 255, 128}, JCS_CMYK, 128}};
    const TemporaryFolder folder;
    const std::string path = folder.path("a.jpg");
    for (const auto& kind : kinds) {
        for (const bool progressive : {false, true}) {
            writeJpeg(path, kind.pixel, kind.space, progressive, {19, 9});
            const Picture picture = loadPicture(path);
            EXPECT_EQ(pictureSizeOf(path).width, 19U);
            ASSERT_EQ(picture.pixels.size(), 19U * 9);
            EXPECT_NEAR(picture.pixels.front(), kind.grey, 2);
            EXPECT_NEAR(picture.pixels.back(), kind.grey, 2);
        }
    }
}

TEST(PictureFile, BecomesGreyFromEveryKindOfPgm) {
    const TemporaryFolder folder;
    const std::pair<std::string, Bytes> kinds[] = {
        {"P5 3 1 255\n\x01\x80\xff", {1, 128, 255}},
        {"P5\n# a comment\n2\t1\r65535\n"s + "\x80\x80\x00\x01"s, {128, 0}},
        {"P5 2 1 100\n\x32\x64", {128, 255}},
        {"P2 2 2 15\n0 15\n# between\n 3\n5", {0, 255, 51, 85}},
        {"P2#\n1 1#1 1\n1 1", {255}}};
    for (const auto& [text, grey] : kinds) {
        const std::string path = folder.write("a.pgm", text);
        EXPECT_THAT(loadPicture(path).pixels, ElementsAreArray(grey)) << text;
    }
}

TEST(PictureFile, IsRefusedWithNameAndReason) {
    const TemporaryFolder folder;
    const std::pair<std::string, std::string> wrong[] = {
        {"", "empty"},
        {"GIF89a", "neither PNG nor JPEG nor PGM"},
        {"P6 1 1 255\nabc", "neither"},
        {"P5 8193 1 255\n", "8193 x 1 pixels"},
        {"P5 0 1 255\n", "0 x 1 pixels"},
        {"P5 99999999 99999999 255\n", "pixels"},
        {"P5 4294967297 1 255\n", "8 digits"},
        {"P5 -1 1 255\n", "no number"},
        {"P5 1 1 0\n", "largest grey level"},
        {"P5 1 1 65536\n", "largest grey level"},
        {"P5 8192 8192 255\n", "cut off"},
        {"P2 1 1 7\n8", "above the largest"},
        {"P2 1 1 7 # and nothing else", "cut off"}};
    for (const auto& [text, reason] : wrong) {
        const std::string path = folder.write("a.png", text);
        EXPECT_THAT(reasonAgainst(path), testing::AllOf(HasSubstr(path), HasSubstr(reason)))
            << text;
    }
    EXPECT_THAT(reasonAgainst(folder.path("none.png")), HasSubstr("No such file"));
    EXPECT_THAT(reasonAgainst(folder.path("")), HasSubstr("no regular file"));
    writePng(folder.path("a.png"), {PNG_COLOR_TYPE_GRAY, 8, {}, {}, 9000}, PNG_INTERLACE_NONE, 1);
    EXPECT_THAT(reasonAgainst(folder.path("a.png")), HasSubstr("9000 x 1 pixels"));
    writeJpeg(folder.path("a.jpg"), {1}, JCS_GRAYSCALE, false, {9000, 1});
    EXPECT_THAT(reasonAgainst(folder.path("a.jpg")), HasSubstr("9000 x 1 pixels"));
}

TEST(PictureFile, IsRefusedWithMoreScansThanPicturesHave) {
    const TemporaryFolder folder;
    writeJpeg(folder.path("a.jpg"), {90}, JCS_GRAYSCALE, true, {16, 16});
    const std::string whole = folder.read("a.jpg");
    const std::size_t end = whole.size() - 2;  // of the last scan
    const std::size_t begin = whole.rfind("\xff\xda");
    const auto reasonWith = [&](int scans) {
        std::string bytes = whole.substr(0, end);
        for (int i = 0; i < scans; ++i) bytes += whole.substr(begin, end - begin);
        return reasonAgainst(folder.write("a.jpg", bytes + whole.substr(end)));
    };
    EXPECT_THAT(reasonWith(10), HasSubstr("no reason"));
    EXPECT_THAT(reasonWith(200), HasSubstr("scans"));
}

class HostileFile : public testing::TestWithParam<const char*> {
 protected:
    /** A picture of the kind that the parameter names. */
    [[nodiscard]] std::string whole() const {
        const std::string kind = GetParam();
        const PngKind png = {PNG_COLOR_TYPE_RGB, 8, Bytes(60, 99), {}, 20};
        if (kind == "png") writePng(folder_.path("w"), png, PNG_INTERLACE_NONE, 20);
        if (kind == "adam7") writePng(folder_.path("w"), png, PNG_INTERLACE_ADAM7, 20);
        if (kind == "jpeg" || kind == "progressive") {
            writeJpeg(folder_.path("w"), {9, 99, 200}, JCS_RGB, kind != "jpeg", {20, 20});
        }
        if (kind == "p2") return "P2 3 2 15\n1 2 3\n10 11 9";
        if (kind == "p5") return "P5 3 2 255\nabcdef";
        return folder_.read("w");
    }
    const TemporaryFolder folder_;
};

TEST_P(HostileFile, IsRefusedWhereverItIsCutOff) {
    const std::string bytes = whole();
    ASSERT_THAT(reasonAgainst(folder_.write("a.png", bytes)), HasSubstr("no reason"));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::string path = folder_.write("a.png", bytes.substr(0, length));
        EXPECT_THAT(reasonAgainst(path), HasSubstr("cannot read " + path)) << length;
    }
}

TEST_P(HostileFile, IsReadOrRefusedWithAnyByteChanged) {
    const std::string bytes = whole();
    const int changes[] = {0x01, 0x80, 0xff};
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ changes[at % 3]);
        EXPECT_NE(reasonAgainst(folder_.write("a.png", changed)), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, HostileFile,
                         testing::Values("png", "adam7", "jpeg", "progressive", "p2", "p5"));

}  // namespace
}  // namespace kestrosim
