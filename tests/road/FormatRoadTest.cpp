// SPDX-License-Identifier: Apache-2.0
//
// Pictures and results in each of the camera's formats, over the network.
#include "RoadFixture.h"

#include <gmock/gmock.h>

#include <cstdio>  // jpeglib.h needs it and does not include it
#include <cstdlib>
#include <map>
#include <tuple>

#include <jpeglib.h>

namespace kestro::test {
namespace {

using testing::FloatNear;
using testing::IsEmpty;
using testing::Not;
using testing::Pointwise;

constexpr std::uint64_t kScenes = 4;
constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kUnknownFormat = 0xffffffff;

using Bytes = std::vector<std::uint8_t>;
using Corners = std::vector<std::pair<int, int>>;

/** All of a frame that the camera's format must not change. */
struct Reading {
    std::vector<std::tuple<std::string, std::string, Corners>> codes;
    std::vector<float> pixelsPerModule;
    std::uint32_t status = 0;
};

Reading readingOf(const Frame& frame) {
    Reading reading;
    reading.status = frame.getStatus();
    for (const auto& info : frame.getBarcodes()) {
        Corners corners;
        for (const Point& point : info->getPoints()) corners.emplace_back(point.x, point.y);
        reading.codes.emplace_back(info->getCodeTypeName(), info->getCodeData(), corners);
        reading.pixelsPerModule.push_back(info->getPPM());
    }
    return reading;
}

Bytes imageOf(const Frame& frame) {
    return {frame.getImageData(), frame.getImageData() + frame.getImageSize()};
}

using Frames = std::map<std::uint64_t, std::shared_ptr<Frame>>;

/** A frame of each of the camera's scenes, by the scene's number. */
Frames framesAs(const std::shared_ptr<Camera>& camera, const std::string& format) {
    Frames frames;
    if (!ParameterEnum(camera, "ResultFormat").setValue(format) || !camera->startGrabbing(0)) {
        return frames;
    }
    std::uint64_t last = 0;
    while (frames.size() < kScenes) {
        auto frame = camera->getFrame(5000);
        if (!frame) break;
        if (format != "None") {
            EXPECT_GT(frame->getTimestamp(), last) << format;
        }
        last = frame->getTimestamp();
        frames[(frame->getBlockId() - 1) % kScenes] = std::move(frame);
    }
    camera->stopGrabbing();
    return frames;
}

/** The pixels of a grey JPEG file; libjpeg ends the program when it is none. */
Bytes pixelsOf(const Bytes& file, std::uint32_t width, std::uint32_t height) {
    jpeg_decompress_struct job{};
    jpeg_error_mgr errors{};
    job.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&job);
    jpeg_mem_src(&job, file.data(), file.size());
    jpeg_read_header(&job, TRUE);
    jpeg_start_decompress(&job);
    EXPECT_EQ(job.output_components, 1);
    EXPECT_EQ(job.output_width, width);
    EXPECT_EQ(job.output_height, height);
    Bytes pixels(std::size_t{job.output_width} * job.output_height);
    while (job.output_scanline < job.output_height) {
        JSAMPROW row = &pixels[std::size_t{job.output_scanline} * job.output_width];
        jpeg_read_scanlines(&job, &row, 1);
    }
    jpeg_destroy_decompress(&job);
    return pixels;
}

double meanDifference(const Bytes& one, const Bytes& other) {
    EXPECT_EQ(one.size(), other.size());
    double sum = 0;
    for (std::size_t i = 0; i < std::min(one.size(), other.size()); ++i) {
        sum += std::abs(int{one[i]} - int{other[i]});
    }
    return sum / static_cast<double>(one.size());
}

enum class Picture { pixels, jpeg, none };

void expectPicture(const Frame& frame, Picture picture, const Bytes& pixels) {
    const bool isThere = picture != Picture::none;
    EXPECT_EQ(frame.getPayloadFlag(), picture == Picture::jpeg);
    EXPECT_EQ(frame.getWidth(), isThere ? 640U : 0U);
    EXPECT_EQ(frame.getHeight(), isThere ? 480U : 0U);
    EXPECT_EQ(frame.getPixelFormat(), isThere ? kMono8 : kUnknownFormat);
    const Bytes image = imageOf(frame);
    if (picture == Picture::pixels) {
        EXPECT_EQ(image, pixels);
    }
    if (picture != Picture::jpeg) return;
    EXPECT_EQ(Bytes(image.end() - 2, image.end()), (Bytes{0xff, 0xd9})) << "more than the file";
    EXPECT_LT(meanDifference(pixelsOf(image, 640, 480), pixels), 4);
}

TEST(ResultFormats, AllTellTheSameOfAScene) {
    kestrosim::CameraOptions options = roadOptions();
    options.scenes = kScenes;
    Road road(options);
    ASSERT_TRUE(road.camera());
    const Frames reference = framesAs(road.camera(), "Container");
    ASSERT_EQ(reference.size(), kScenes);
    for (const auto& [format, picture] :
         std::vector<std::pair<const char*, Picture>>{{"ContainerJpeg", Picture::jpeg},
                                                      {"Chunk", Picture::pixels},
                                                      {"Jpeg", Picture::jpeg},
                                                      {"Raw", Picture::pixels},
                                                      {"ChunkOnly", Picture::none},
                                                      {"Container", Picture::pixels}}) {
        const Frames frames = framesAs(road.camera(), format);
        ASSERT_EQ(frames.size(), kScenes) << format;
        for (const auto& [scene, frame] : frames) {
            SCOPED_TRACE(std::string(format) + ", scene " + std::to_string(scene));
            const Reading expected = readingOf(*reference.at(scene));
            const Reading reading = readingOf(*frame);
            EXPECT_THAT(reading.codes, Not(IsEmpty()));
            EXPECT_EQ(reading.codes, expected.codes);
            EXPECT_THAT(reading.pixelsPerModule,
                        Pointwise(FloatNear(0.0005F), expected.pixelsPerModule));
            EXPECT_NE(reading.status, 0U);
            EXPECT_EQ(reading.status, expected.status);
            expectPicture(*frame, picture, imageOf(*reference.at(scene)));
        }
    }
    for (const auto& [scene, frame] : framesAs(road.camera(), "None")) {
        EXPECT_THAT(frame->getBarcodes(), IsEmpty());
        EXPECT_EQ(frame->getStatus(), 0U);
        expectPicture(*frame, Picture::pixels, imageOf(*reference.at(scene)));
    }
    EXPECT_THAT(RecordingLogger::instance().lines(300, 400), IsEmpty());
}

}  // namespace
}  // namespace kestro::test
