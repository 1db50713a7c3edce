// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "RawStream.h"
#include "SceneParts.h"
#include "Symbologies.h"

namespace rawclient {
namespace {

using kestrosim::CameraOptions;
using kestrosim::ResultFormat;
using kestrosim::SceneCode;

constexpr std::uint32_t kReverseX = 0x1006c;
constexpr std::uint32_t kGain = 0x10070;
constexpr std::uint32_t kBlackLevel = 0x10074;
constexpr std::uint32_t kSymbologyEnable = 0x10290;
constexpr std::uint32_t kExpectedCount = 0x102e0;
constexpr std::uint32_t kTimeout = 0x102e4;
constexpr std::uint32_t kRegionEnable = 0x102e8;
constexpr std::uint32_t kLastReading = 0x102fc;
constexpr std::uint32_t kRegionX = 0x102ec;

struct Reading {
    std::set<std::string> texts;  // first lines
    std::string status;
    std::uint64_t milliseconds = 0;
};

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/** What follows `"name":{"value":` in a result document, up to its end. */
std::string valueOf(const std::string& document, const std::string& name) {
    const std::string begin = "\"" + name + "\":{\"value\":";
    const std::size_t at = document.find(begin);
    if (at == std::string::npos) throw std::runtime_error("no " + name);
    return document.substr(at + begin.size(), document.find('}', at) - at - begin.size());
}

/** A camera that makes a frame when the test wants one. */
class Reader : public Stream {
 protected:
    /** A scene with codes of both kinds, all of which are read. */
    void openWithBothKinds() {
        CameraOptions options = TestCamera::small();
        options.width = 800;
        options.height = 600;
        options.scenes = 1;
        options.format = ResultFormat::container;
        for (options.seed = 1; !hasBothKinds(options); ++options.seed) ASSERT_LT(options.seed, 99U);
        openTriggered(options);
    }

    void openTriggered(const CameraOptions& options) {
        open(options);
        set({{kTriggerMode, 1}, {kStart, 1}});
    }

    Bytes triggeredPayload() {
        EXPECT_EQ(client_->write(kTrigger, 1), 0U);
        return nextFrame().payload();
    }

    Reading read() {
        const Bytes payload = triggeredPayload();
        const std::string text(payload.begin(), payload.end());
        Reading reading{{}, valueOf(text, "Status"), std::stoull(valueOf(text, "Time"))};
        for (const SceneCode& code : scene(0)->read) {
            const std::string line = firstLine(code.text);
            if (text.find('"' + line) != std::string::npos) reading.texts.insert(line);
        }
        return reading;
    }

    std::set<std::string> textsOf(const std::string& type) {
        std::set<std::string> texts;
        for (const SceneCode& code : scene(0)->read) {
            if (code.type == type) texts.insert(firstLine(code.text));
        }
        return texts;
    }

    void lookOnlyFor(std::string_view symbology) {
        std::uint32_t address = kSymbologyEnable;
        for (const auto& [name, isMatrix] : kestrosim::kSymbologies) {
            set({{address, name == symbology ? 1U : 0U}});
            address += 4;
        }
    }

    void setRegion(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) {
        Bytes words;
        for (const std::int32_t word : {x, y, width, height}) {
            words = words + be32(static_cast<std::uint32_t>(word));
        }
        ASSERT_EQ(client_->command(kWriteMemory, be32(kRegionX) + words).status, 0U);
    }

 private:
    static bool hasBothKinds(const CameraOptions& options) {
        const kestrosim::Scene scene =
            kestrosim::drawScene({options.width, options.height, options.seed, 1, 0, {}}, 0);
        std::set<std::string> types;
        for (const SceneCode& code : scene.drawn) types.insert(code.type);
        return types.contains("CODE128") && types.contains("QR");
    }
};

TEST_F(Reader, LeavesSymbologiesOutThatAreSwitchedOff) {
    openWithBothKinds();
    lookOnlyFor("QR");
    EXPECT_EQ(read().texts, textsOf("QR"));
    EXPECT_EQ(read().status, "\"Complete\"") << "of what is looked for";
    lookOnlyFor("CODE128");
    EXPECT_EQ(read().texts, textsOf("CODE128"));
    lookOnlyFor("");
    EXPECT_EQ(read().texts, std::set<std::string>());
    EXPECT_EQ(read().status, "\"NoRead\"");
}

TEST_F(Reader, ReadsWhatLiesWhollyInItsRegion) {
    openWithBothKinds();
    set({{kRegionEnable, 1}});
    const SceneCode& code = scene(0)->read.front();
    const auto [left, right] =
        std::minmax({code.corners[0].x, code.corners[1].x, code.corners[2].x, code.corners[3].x});
    const auto [top, bottom] =
        std::minmax({code.corners[0].y, code.corners[1].y, code.corners[2].y, code.corners[3].y});
    setRegion(left, top, right - left, bottom - top);
    EXPECT_EQ(read().texts, std::set<std::string>({firstLine(code.text)}));
    setRegion(left, top, right - left - 1, bottom - top);
    EXPECT_EQ(read().texts, std::set<std::string>());
    set({{kRegionEnable, 0}});
    EXPECT_GT(read().texts.size(), 1U);
}

TEST_F(Reader, KeepsItsRegionInsideThePicture) {
    open();
    EXPECT_EQ(client_->write(kRegionX, 1), 0x8002U) << "it is as wide as the picture";
    setRegion(100, 100, 200, 100);
    set({{kWidth, 160}, {kHeight, 80}});
    const Bytes region = client_->readMemory(kRegionX, 16);
    EXPECT_EQ(region, be32(100) + be32(79) + be32(60) + be32(1));
    EXPECT_EQ(client_->write(kRegionX + 8, 61), 0x8002U);
}

TEST_F(Reader, IsCompleteWithTheExpectedCount) {
    openWithBothKinds();
    const auto count = static_cast<std::uint32_t>(scene(0)->read.size());
    const std::pair<std::uint32_t, const char*> expected[] = {
        {count - 1, "\"Complete\""}, {count, "\"Complete\""}, {count + 1, "\"Partial\""}};
    for (const auto& [codes, status] : expected) {
        set({{kExpectedCount, codes}});
        EXPECT_EQ(read().status, status) << codes;
    }
    // The latest reading in short: partial, with so many codes; said once the frame is sent.
    const auto begin = std::chrono::steady_clock::now();
    while (client_->read(kLastReading) >> 16 != (0x100 | count)) {
        ASSERT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    }
}

TEST_F(Reader, EndsAReadingThatTakesTooLong) {
    openWithBothKinds();
    set({{kTimeout, 1}});  // half a million pixels are not even looked at
    const Reading cut = read();
    EXPECT_EQ(cut.status, "\"NoRead\"");
    EXPECT_EQ(cut.milliseconds, 1U);
    EXPECT_EQ(cut.texts, std::set<std::string>());
    EXPECT_EQ(client_->write(kTimeout, 0), 0x8002U);
}

TEST_F(Reader, ShowsMirroredWindowsGainAndBlackLevel) {
    open();
    set({{kTriggerMode, 1}, {kWidth, 100}, {kOffsetX, 40}, {kReverseX, 1}});
    set({{kGain, 60}});  // 6 dB
    set({{kBlackLevel, 7}, {kStart, 1}});
    const Bytes pixels = triggeredPayload();
    ASSERT_EQ(pixels.size(), 100U * 240);
    for (std::size_t y = 0; y < 240; ++y) {
        for (std::size_t x = 0; x < 100; ++x) {
            const double light = scene(0)->pixels[y * 320 + (319 - 40 - x)];
            const double grey = std::min(255.0, light * std::pow(10, 0.3) + 7);
            ASSERT_NEAR(pixels[y * 100 + x], grey, 0.51) << x << ',' << y;
        }
    }
}

TEST_F(Reader, ReportsCodesWhereTheMirroredPictureShowsThem) {
    openWithBothKinds();
    set({{kStop, 1}, {kReverseX, 1}, {kStart, 1}});
    lookOnlyFor("QR");
    const Bytes payload = triggeredPayload();
    const std::string text(payload.begin(), payload.end());
    const auto& codes = scene(0)->read;
    const auto code = std::find_if(codes.begin(), codes.end(),
                                   [](const SceneCode& any) { return any.type == "QR"; });
    EXPECT_EQ(valueOf(text, "Point0_X"), std::to_string(800 - code->corners[1].x));
    EXPECT_EQ(valueOf(text, "Point2_X"), std::to_string(800 - code->corners[3].x));
}

}  // namespace
}  // namespace rawclient
