// SPDX-License-Identifier: Apache-2.0
#include "CHandles.h"
#include "CScene.h"

#include <atomic>
#include <latch>
#include <new>
#include <set>
#include <stdexcept>

namespace kestro::test {
namespace {

using CFrames = CInterface;
using CCallbacks = CInterface;

class CodeDouble final : public BarcodeInfo {
 public:
    explicit CodeDouble(int points) : data_("code of " + std::to_string(points)) {
        for (int i = 1; i <= points; ++i) points_.push_back({10 * i, 10 * i + 1});
    }
    std::int32_t getCodeType() const override { return 101; }
    const std::string& getCodeTypeName() const override { return name_; }
    float getPPM() const override { return 2.5F; }
    const std::vector<Point>& getPoints() const override { return points_; }
    const std::string& getCodeData() const override { return data_; }

 private:
    std::vector<Point> points_;
    std::string name_ = "DM";
    std::string data_;
};

/** A frame in which every number differs; its codes have 2, 4 and 7 points. */
class FrameOfDoubles final : public Frame {
 public:
    const std::uint8_t* getImageData() const override { return image_.data(); }
    std::uint32_t getImageSize() const override { return 3; }
    std::uint32_t getWidth() const override { return 11; }
    std::uint32_t getHeight() const override { return 12; }
    std::uint32_t getPixelFormat() const override { return 0xFFFFFFFF; }
    bool getPayloadFlag() const override { return true; }
    std::uint64_t getBlockId() const override { return 0x1111111122222222; }
    std::uint64_t getTimestamp() const override { return 0x3333333344444444; }
    std::uint32_t getDetectTime() const override { return 13; }
    std::uint32_t getStatus() const override { return 9; }
    std::vector<std::shared_ptr<BarcodeInfo>> getBarcodes() const override {
        if (beforeCodes) beforeCodes();
        return codes_;
    }

    std::function<void()> beforeCodes;

 private:
    std::array<std::uint8_t, 3> image_{};
    std::vector<std::shared_ptr<BarcodeInfo>> codes_{std::make_shared<CodeDouble>(2),
                                                     std::make_shared<CodeDouble>(4),
                                                     std::make_shared<CodeDouble>(7)};
};

void expectRecordOf(const Frame& frame, const kstFrameInfo& info) {
    EXPECT_EQ(info.blockId, 0x1111111122222222U);
    EXPECT_EQ(info.timestamp, 0x3333333344444444U);
    EXPECT_EQ(info.width, 11U);
    EXPECT_EQ(info.height, 12U);
    EXPECT_EQ(info.pixelFormat, 0xFFFFFFFFU);
    EXPECT_EQ(info.status, 9);
    EXPECT_EQ(info.imageSize, 3U);
    EXPECT_EQ(info.imageData, frame.getImageData());
    EXPECT_EQ(info.payloadFlag, 1);
    ASSERT_EQ(info.barcodeCount, 3U);
    const int points[] = {2, 4, 7};
    for (int i = 0; i < 3; ++i) {
        const kstBarcodeInfo& code = info.barcodes[i];
        EXPECT_EQ(code.codeType, 101);
        EXPECT_EQ(code.ppm, 2.5F);
        EXPECT_STREQ(code.codeTypeName, "DM");
        EXPECT_EQ(code.codeData, "code of " + std::to_string(points[i]));
        for (int j = 0; j < 4; ++j) {
            const int x = j < points[i] ? 10 * (j + 1) : 0;
            EXPECT_EQ(code.points[j].x, x);
            EXPECT_EQ(code.points[j].y, x ? x + 1 : 0);
        }
        EXPECT_EQ(othersThan(0, code, 56), 0);
    }
}

/** Adds a handle for a frame that no camera sent. */
class CMadeFrames : public CInterface {
 protected:
    CMadeFrames() { frame = internal::frameHandles().add(made); }
    std::shared_ptr<FrameOfDoubles> made = std::make_shared<FrameOfDoubles>();
};

TEST_F(CMadeFrames, FillTheRecordAndLeaveItsReservedBytes) {
    auto info = untouched<kstFrameInfo>();
    ASSERT_EQ(kstGetFrameInfo(frame, &info), 0);
    expectRecordOf(*made, info);
    EXPECT_EQ(othersThan(kUntouched, info, 57), 0);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(CMadeFrames, GiveTheSamePointersAgainUntilTheLastRelease) {
    kstFrameInfo first;
    kstFrameInfo second;
    EXPECT_EQ(kstGetFrameInfo(frame, &first), 0);
    EXPECT_EQ(internal::frameHandles().add(made), frame);
    EXPECT_EQ(kstGetFrameInfo(frame, &second), 0);
    kstReleaseHandle(frame);
    EXPECT_EQ(kstIsFrameValid(frame), 1);
    EXPECT_EQ(second.barcodes, first.barcodes);
    expectRecordOf(*made, first);
}

TEST_F(CMadeFrames, AreTheSameAndCountedRightInManyThreads) {
    for (int round = 0; round < 20; ++round) {
        const auto shared = std::make_shared<FrameOfDoubles>();
        std::atomic<int> asked{0};
        shared->beforeCodes = [&] {
            ++asked;
            std::this_thread::yield();
        };
        void* const handle = internal::frameHandles().add(shared);
        std::latch start(4);
        const auto use = [&] {
            kstFrameInfo info;
            start.arrive_and_wait();
            for (int again = 0; again < 50; ++again) {
                EXPECT_EQ(internal::frameHandles().add(shared), handle);
                EXPECT_EQ(kstGetFrameInfo(handle, &info), 0);
                EXPECT_EQ(kstIsFrameValid(handle), 1);
                kstReleaseHandle(handle);
            }
            return info.barcodes;
        };
        std::vector<std::future<const kstBarcodeInfo*>> runs;
        for (int run = 0; run < 4; ++run) runs.push_back(std::async(std::launch::async, use));
        std::set<const kstBarcodeInfo*> arrays;
        for (auto& run : runs) arrays.insert(run.get());
        EXPECT_EQ(arrays.size(), 1U);
        EXPECT_EQ(asked, 1);
        kstReleaseHandle(handle);
        EXPECT_EQ(kstIsFrameValid(handle), 0);
    }
}

TEST_F(CMadeFrames, ThatThrowAreAnsweredAndMayBeAskedAgain) {
    made->beforeCodes = [] { throw std::bad_alloc(); };
    auto info = untouched<kstFrameInfo>();
    EXPECT_EQ(kstGetFrameInfo(frame, &info), 2);
    EXPECT_EQ(othersThan(kUntouched, info, 57), 0);
    ASSERT_EQ(log.lines(0, 300).size(), 1U);
    EXPECT_EQ(log.records()[0].function, "kstGetFrameInfo");
    made->beforeCodes = nullptr;
    ASSERT_EQ(kstGetFrameInfo(frame, &info), 0);
    expectRecordOf(*made, info);
}

TEST_F(CMadeFrames, ReleasedDuringACallLetItEndWell) {
    const std::weak_ptr<Frame> watched = made;
    bool isHeld = false;
    made->beforeCodes = [&] {
        kstReleaseHandle(frame);
        made.reset();
        isHeld = !watched.expired();
    };
    kstFrameInfo info;
    EXPECT_EQ(kstGetFrameInfo(frame, &info), 0);
    EXPECT_TRUE(isHeld);
    EXPECT_EQ(kstGetFrameInfo(frame, &info), 20);
}

TEST_F(CFrames, EndOnlyWithTheirOwnRelease) {
    grab();
    void* const next = kstGetFrame(camera, 0);
    ASSERT_TRUE(next);
    EXPECT_NE(next, frame);
    EXPECT_EQ(kstGetFrame(camera, 0), nullptr);
    kstReleaseHandle(camera);
    camera = nullptr;
    kstReleaseHandle(next);
    EXPECT_EQ(kstIsFrameValid(next), 0);
    ASSERT_EQ(kstIsFrameValid(frame), 1);
    kstFrameInfo info;
    ASSERT_EQ(kstGetFrameInfo(frame, &info), 0);
    EXPECT_EQ(info.barcodeCount, 0U);
    EXPECT_EQ(info.payloadFlag, 0);
    EXPECT_EQ(std::vector<int>(info.imageData, info.imageData + info.imageSize),
              (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(lines(), Lines{});
}

/** What a callback saw, and what it does next. */
struct Seen {
    int calls = 0;
    kstFrameInfo info{};
    std::vector<std::string> codes;
    std::vector<std::pair<int, long>> events;  ///< state, reserved bytes that are not 0
    std::vector<std::string> names;
    std::thread::id thread;
    std::function<void()> then;

    static void frame(const kstFrameInfo* info, void* user) {
        Seen& seen = *static_cast<Seen*>(user);
        ++seen.calls;
        seen.info = *info;
        seen.thread = std::this_thread::get_id();
        EXPECT_EQ(othersThan(0, *info, 57), 0);
        for (std::uint32_t i = 0; i < info->barcodeCount; ++i) {
            const kstBarcodeInfo& code = info->barcodes[i];
            EXPECT_EQ(othersThan(0, code, 56), 0);
            seen.codes.push_back(std::to_string(code.codeType) + " " + code.codeTypeName + " " +
                                 code.codeData);
        }
        if (seen.then) seen.then();
    }
    static void connection(const kstConnectionEvent* event, void* user) {
        static_cast<Seen*>(user)->events.emplace_back(event->state, othersThan(0, *event, 4));
    }
    static void name(const char* name, void* user) {
        static_cast<Seen*>(user)->names.emplace_back(name);
    }
};

TEST_F(CCallbacks, AFrameComesAsARecordThatIsWhole) {
    Seen seen;
    grab();
    EXPECT_EQ(kstRegisterFrameCallback(camera, Seen::frame, &seen), 0);
    FrameContent content = image();
    content.blockId = 77;
    content.payloadTypes = {6};
    content.chunks = {{0x80000000,
                       {"BarCodeNum Value:2", "BarCode0_CodeType Value:EAN13",
                        "BarCode0_CodeData Value:4006", "BarCode1_CodeData Value:kestro"}}};
    ASSERT_TRUE(device->deliver(makeFrame(content)));
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.thread, std::this_thread::get_id()) << "called where the frame is delivered";
    EXPECT_EQ(seen.info.blockId, 77U);
    EXPECT_EQ(seen.info.width, 2U);
    EXPECT_EQ(seen.info.imageSize, 4U);
    EXPECT_EQ(seen.info.barcodeCount, 2U);
    EXPECT_EQ(seen.info.payloadFlag, 1);
    EXPECT_EQ(seen.codes, (Lines{"1 EAN13 4006", "-1  kestro"}));
    EXPECT_EQ(kstRegisterFrameCallback(camera, nullptr, &seen), 0);
    ASSERT_TRUE(device->deliver(makeFrame(image())));
    EXPECT_EQ(seen.calls, 1);
}

TEST_F(CCallbacks, AFrameCallbackMayThrowAndMayCallEverything) {
    Seen seen;
    grab();
    seen.then = [&] {
        kstFrameInfo info;
        EXPECT_EQ(kstGetFrameInfo(frame, &info), 0);
        EXPECT_EQ(kstIsGrabbing(camera), 1);
        EXPECT_EQ(kstRegisterFrameCallback(camera, nullptr, nullptr), 0);
        kstReleaseHandle(camera);
        throw std::runtime_error("broken");
    };
    ASSERT_EQ(kstRegisterFrameCallback(camera, Seen::frame, &seen), 0);
    quiet();
    EXPECT_TRUE(device->deliver(makeFrame(image())));
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(log.lines(0, 300), Lines{"300 onFrameEvent: exception in frame callback. [broken]"});
    camera = nullptr;
}

TEST_F(CCallbacks, EventsComeUntilTheirFunctionIsRemoved) {
    Seen first;
    Seen second;
    open();
    EXPECT_EQ(kstRegisterConnectionCallback(camera, Seen::connection, &first), 0);
    EXPECT_EQ(kstRegisterConnectionCallback(camera, Seen::connection, &second), 0);
    EXPECT_EQ(kstRegisterFeatureUpdateCallback(camera, Seen::name, &second), 0);
    ASSERT_TRUE(device->raiseConnect(0));
    ASSERT_TRUE(device->raiseConnect(1));
    ASSERT_TRUE(device->raiseUpdates({"Width", "Gain"}));
    quiet();
    EXPECT_EQ(kstRegisterConnectionCallback(camera, nullptr, nullptr), 0);
    EXPECT_EQ(kstRegisterFeatureUpdateCallback(camera, nullptr, nullptr), 0);
    ASSERT_EQ(lines().size(), 4U);
    EXPECT_EQ(lines()[0],
              "700 kstRegisterConnectionCallback: begin, SerialNumber=[Acme:1001], proc=[" +
                  pointerText(nullptr) + "]");
    ASSERT_TRUE(device->raiseConnect(0));
    ASSERT_TRUE(device->raiseUpdates({"Width"}));
    EXPECT_TRUE(first.events.empty());
    EXPECT_EQ(second.events, (std::vector<std::pair<int, long>>{{0, 0}, {1, 0}}));
    EXPECT_EQ(second.names, (Lines{"Width", "Gain"}));
}

}  // namespace
}  // namespace kestro::test
