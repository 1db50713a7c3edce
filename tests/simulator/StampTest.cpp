// SPDX-License-Identifier: Apache-2.0
#include "Stamp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ImageStamp.h"
#include "RawStream.h"

namespace rawclient {
namespace {

using kestro::test::crc32cOf;
using kestro::test::slowCrc32c;
using kestro::test::stampProblem;
using kestrosim::CameraOptions;
using kestrosim::ResultFormat;

// The check value of the catalogue of CRCs, and the examples of RFC 3720, B.4.
TEST(Crc32c, IsCastagnolis) {
    Bytes ascending(32);
    for (std::size_t i = 0; i < ascending.size(); ++i) ascending[i] = static_cast<std::uint8_t>(i);
    const Bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    const std::pair<Bytes, std::uint32_t> examples[] = {{digits, 0xe3069283},
                                                        {Bytes(32, 0x00), 0x8a9136aa},
                                                        {Bytes(32, 0xff), 0x62a8ab43},
                                                        {ascending, 0x46dd794e},
                                                        {{}, 0}};
    for (const auto& [bytes, sum] : examples) {
        EXPECT_EQ(kestrosim::crc32c(bytes), sum);
        EXPECT_EQ(crc32cOf(bytes.data(), bytes.size()), sum);
        EXPECT_EQ(slowCrc32c(bytes.data(), bytes.size()), sum);
    }
}

Bytes stampedImage(std::size_t bytes, std::uint64_t blockId) {
    Bytes image(bytes, 0x5a);
    EXPECT_EQ(kestrosim::stampImage(image, blockId), bytes >= 16);
    return image;
}

TEST(ImageStamp, ShowsAnyOtherByteAndAnyOtherBlock) {
    EXPECT_EQ(stampedImage(15, 1), Bytes(15, 0x5a));
    for (const std::size_t bytes : {16U, 17U, 200U}) {
        Bytes image = stampedImage(bytes, 0x0102030405060708);
        EXPECT_EQ(stampProblem(image.data(), bytes, 0x0102030405060708), "");
        EXPECT_NE(stampProblem(image.data(), bytes, 0x0102030405060709), "");
        for (std::uint8_t& byte : image) {
            byte ^= 0x10;
            EXPECT_NE(stampProblem(image.data(), bytes, 0x0102030405060708), "");
            byte ^= 0x10;
        }
    }
    const Bytes wrapped = stampedImage(64, 3);
    EXPECT_EQ(stampProblem(wrapped.data(), 64, 65535 + 3), "") << "16-bit ids, counted on";
}

class StampedFormat : public Stream, public testing::WithParamInterface<ResultFormat> {};

TEST_P(StampedFormat, HasAStampInEachImageAndTheSceneBeforeIt) {
    CameraOptions options = TestCamera::small();
    options.format = GetParam();
    options.scenes = 1;
    options.stampsImages = true;
    open(options);
    set({{kStart, 1}});
    constexpr std::size_t kImageBytes = std::size_t{320} * 240;
    const bool isContainer =
        GetParam() == ResultFormat::container || GetParam() == ResultFormat::raw;
    for (std::uint64_t block = 1; block <= 3; ++block) {
        const Bytes payload = nextFrame().payload();
        const Bytes image = isContainer ? imageOf(payload) : payload;
        ASSERT_GE(image.size(), kImageBytes);
        EXPECT_EQ(stampProblem(image.data(), kImageBytes, block), "");
        EXPECT_EQ(std::memcmp(image.data(), scene(0)->pixels.data(), kImageBytes - 16), 0);
    }
    set({{kStop, 1}});
    const auto statistics = camera_->camera->statistics();
    EXPECT_EQ(statistics.framesStamped, statistics.framesSent);
}

INSTANTIATE_TEST_SUITE_P(Formats, StampedFormat,
                         testing::Values(ResultFormat::none, ResultFormat::container,
                                         ResultFormat::chunk, ResultFormat::raw));

TEST_F(Stream, CarriesNoStampInAJpegFile) {
    CameraOptions options = TestCamera::small();
    options.format = ResultFormat::containerJpeg;
    options.stampsImages = true;
    open(options);
    set({{kStart, 1}});
    const Bytes file = imageOf(nextFrame().payload());
    EXPECT_EQ(Bytes(file.end() - 2, file.end()), (Bytes{0xff, 0xd9})) << "the file's own end";
    set({{kStop, 1}});
    EXPECT_EQ(camera_->camera->statistics().framesStamped, 0U);
}

}  // namespace
}  // namespace rawclient
