// SPDX-License-Identifier: Apache-2.0
#include "Failure.h"
#include "Fakes.h"
#include "ImageFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <fstream>

using namespace kestrocli;
using kestrotest::FakeFrame;
using kestrotest::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

FakeFrame picture(std::uint32_t format, std::vector<std::uint8_t> bytes) {
    FakeFrame frame;
    frame.pixelFormat = format;
    frame.width = 2;
    frame.height = 2;
    frame.image = std::move(bytes);
    return frame;
}

/** What libpng's own simplified reader makes of the file, in the format asked for. */
std::vector<std::uint8_t> decoded(const std::vector<std::uint8_t>& file, png_uint_32 format) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_memory(&image, file.data(), file.size()), 0);
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.height, 2U);
    image.format = format;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
    return pixels;
}

TEST(Picture, OfMono8AndRgb8IsAPngOfTheSamePixels) {
    const std::vector<std::uint8_t> grey = {0, 1, 128, 255};
    const EncodedImage mono = encodeImage(picture(0x01080001, grey));
    EXPECT_EQ(mono.extension, "png");
    EXPECT_EQ(decoded(mono.bytes, PNG_FORMAT_GRAY), grey);

    const std::vector<std::uint8_t> coloured = {255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3};
    const EncodedImage rgb = encodeImage(picture(0x02180014, coloured));
    EXPECT_EQ(rgb.extension, "png");
    EXPECT_EQ(decoded(rgb.bytes, PNG_FORMAT_RGB), coloured);
}

TEST(Picture, OfMono16KeepsWhichByteIsTheHighOne) {
    const std::vector<std::uint8_t> values = {0xFF, 0x00, 0x00, 0xFF, 0, 0, 0x34, 0x12};
    const EncodedImage mono = encodeImage(picture(0x01100007, values));
    EXPECT_EQ(mono.extension, "png");
    // libpng hands out 16-bit values in the host's order, which is the camera's: little-endian.
    EXPECT_EQ(decoded(mono.bytes, PNG_FORMAT_LINEAR_Y), values);
}

TEST(Picture, ThatIsNoneOfTheseIsKeptByteForByte) {
    FakeFrame jpeg = picture(0x01080001, {0xFF, 0xD8, 0xFF, 0xD9});
    jpeg.jpeg = true;
    EXPECT_EQ(encodeImage(jpeg).extension, "jpg");
    EXPECT_EQ(encodeImage(jpeg).bytes, jpeg.image);

    FakeFrame huge = picture(0x01080001, {1, 2, 3, 4});
    huge.width = 0xFFFFFFFF;
    huge.height = 0xFFFFFFFF;
    FakeFrame empty = picture(0x01080001, {1});
    empty.width = 0;
    for (const FakeFrame& frame :
         {picture(0x01080009, {1, 2, 3, 4}), picture(0x01080001, {1, 2, 3}),
          picture(0xFFFFFFFF, {1}), huge, empty}) {
        EXPECT_EQ(encodeImage(frame).extension, "raw");
        EXPECT_EQ(encodeImage(frame).bytes, frame.image);
    }
}

TEST(ImageFolder, NamesPicturesBySerialAndBlock) {
    const TemporaryFolder parent;
    ImageFolder folder(parent.path() + "/new");
    EXPECT_EQ(folder.save(picture(0x01080001, {1, 2, 3, 4}), "S/../1", 42), "S_.._1-00000042.png");
    EXPECT_EQ(folder.save(FakeFrame(), "S", 43), "") << "results without a picture";
    EXPECT_THAT(parent.names(), ElementsAre("new"));
    EXPECT_TRUE(std::filesystem::exists(parent.path() + "/new/S_.._1-00000042.png"));
}

TEST(ImageFolder, SaysOnceThatAFormatIsSavedRaw) {
    const TemporaryFolder parent;
    ImageFolder folder(parent.path());
    testing::internal::CaptureStderr();
    EXPECT_EQ(folder.save(picture(0x01080009, {1, 2, 3, 4}), "S", 1), "S-00000001.raw");
    EXPECT_EQ(folder.save(picture(0x01080009, {1, 2, 3, 4}), "S", 2), "S-00000002.raw");
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("BayerRG8"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

TEST(ImageFolder, RefusesWhatIsNoFolder) {
    const TemporaryFolder parent;
    const std::string file = parent.path() + "/file";
    std::ofstream(file) << "x";
    for (const std::string& path :
         {file, file + "/below", parent.path() + "/no/parent", std::string("/proc/nowhere")}) {
        try {
            const ImageFolder folder(path);
            ADD_FAILURE() << path;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::failure);
            EXPECT_THAT(failure.what(), HasSubstr(path));
        }
    }
}

TEST(WholeFile, LeavesTheOldOneAndNothingElseWhenItFails) {
    const TemporaryFolder folder;
    // A folder stands where the file should go: the very last step fails.
    std::filesystem::create_directories(folder.path() + "/name/inside");
    const std::vector<std::uint8_t> bytes(100, 7);
    EXPECT_THROW(writeWhole(folder.path() + "/name", bytes), Failure);
    EXPECT_THAT(folder.names(), ElementsAre("name"));
}

TEST(WholeFile, ReplacesNeitherALinkNorWhatIsNoFile) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path() + "/pipe";
    const std::string link = folder.path() + "/link";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink(folder.path() + "/file", link);
    std::ofstream(folder.path() + "/file") << "old";
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    const std::vector<std::uint8_t> bytes = {'n', 'e', 'w'};
    for (const std::string& path : {pipe, link}) writeWhole(path, bytes);
    std::array<char, 8> read{};
    EXPECT_EQ(::read(reader, read.data(), read.size()), 3);
    close(reader);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(std::filesystem::file_size(folder.path() + "/file"), 3);
    EXPECT_THAT(folder.names(), UnorderedElementsAre("file", "link", "pipe"));
}

TEST(FileNamePart, NeverLeavesTheFolder) {
    EXPECT_EQ(fileNamePart("SIM-001_a.b"), "SIM-001_a.b");
    EXPECT_EQ(fileNamePart("../../etc"), "_._.._etc");
    EXPECT_EQ(fileNamePart(""), "camera");
    EXPECT_EQ(fileNamePart(std::string("a\0\n\xFF", 4)), "a___");
}

}  // namespace
