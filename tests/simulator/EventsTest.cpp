// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "RawStream.h"

namespace rawclient {
namespace {

constexpr std::uint32_t kMessagePort = 0x0b00;
constexpr std::uint32_t kMessageDestination = 0x0b10;
constexpr std::uint32_t kMessageTimeout = 0x0b14;
constexpr std::uint32_t kMessageRetries = 0x0b18;
constexpr std::uint32_t kMessageSourcePort = 0x0b1c;
constexpr std::uint32_t kNotification = 0x10250;
constexpr int kAcquisitionStart = 0;
constexpr int kAcquisitionEnd = 1;
constexpr int kFrameTrigger = 2;
constexpr int kReadingDone = 3;

/** A client whose message channel ends in a socket of the test. */
class Events : public Stream {
 protected:
    void openChannel(std::uint32_t timeoutMs, std::uint32_t retries) {
        open();
        set({{kMessageDestination, addressNumber("127.0.0.1")},
             {kMessageTimeout, timeoutMs},
             {kMessageRetries, retries},
             {kMessagePort, messages_.port()}});
    }

    void switchOn(std::initializer_list<int> events) {
        for (const int event : events) {
            set({{kNotification + 4 * static_cast<std::uint32_t>(event), 1}});
        }
    }

    Bytes nextMessage() {
        const auto received = messages_.receive();
        if (!received) throw std::runtime_error("no message");
        EXPECT_EQ(received->from, camera_->options.address);
        EXPECT_EQ(number(received->bytes, 4, 2), received->bytes.size() - 8);
        EXPECT_NE(number(received->bytes, 6, 2), 0U);
        return received->bytes;
    }

    void acknowledge(const Bytes& message, const Socket& from, std::uint32_t command = 1,
                     std::uint32_t id = 0) {
        const auto asked = static_cast<std::uint32_t>(number(message, 2, 2));
        const auto itsId = static_cast<std::uint32_t>(number(message, 6, 2));
        from.send(be16(0) + be16(asked + command) + be16(0) + be16(itsId + id),
                  camera_->options.address, client_->read(kMessageSourcePort));
    }

    Socket messages_;
};

TEST_F(Events, AreToldInOrder) {
    openChannel(5000, 0);
    switchOn({kAcquisitionStart, kAcquisitionEnd, kFrameTrigger, kReadingDone});
    set({{kAcquisitionMode, 1}, {kFrameCount, 2}, {kStart, 1}});
    const std::uint64_t expected[] = {0x9001, 0x9003, 0x9004, 0x9003, 0x9004, 0x9002};
    std::uint64_t before = 0;
    std::uint64_t block = 0;
    Frame frame;
    for (const std::uint64_t event : expected) {
        const Bytes message = nextMessage();
        const bool hasData = event == 0x9004;
        EXPECT_EQ(number(message, 0, 4), hasData ? 0x420100c2U : 0x420100c0U);
        ASSERT_EQ(number(message, 10, 2), event);
        EXPECT_GE(number(message, 16, 8), before);
        before = number(message, 16, 8);
        if (event == 0x9003) {
            frame = nextFrame();
            EXPECT_EQ(before, frame.timestamp());
            ++block;
        }
        const bool isAboutAFrame = event == 0x9003 || event == 0x9004;
        EXPECT_EQ(number(message, 12, 4), isAboutAFrame ? block : 0xffff0000U);
        ASSERT_EQ(message.size(), hasData ? 40U : 24U);
        if (hasData) {
            const auto reader = scene(block - 1);
            EXPECT_EQ(number(message, 24, 8), block);
            EXPECT_EQ(number(message, 32, 4), reader->read.size());
            const bool isWhole = reader->read.size() == reader->drawn.size();
            EXPECT_EQ(number(message, 36, 4), isWhole ? 2U : reader->read.empty() ? 3U : 4U);
        }
        EXPECT_FALSE(messages_.receive(0)) << "the next one waits for the acknowledge";
        acknowledge(message, messages_);
    }
    set({{kStop, 1}});
    EXPECT_FALSE(messages_.receive(60)) << "it had ended";
    EXPECT_EQ(camera_->camera->statistics().eventsSent, 6U);
}

TEST_F(Events, AreRepeatedUntilTheyAreAcknowledged) {
    openChannel(20, 255);
    switchOn({kAcquisitionStart, kAcquisitionEnd});
    set({{kStart, 1}});
    const Bytes start = nextMessage();
    EXPECT_EQ(nextMessage(), start);
    acknowledge(start, messages_);
    set({{kMessageRetries, 3}, {kStop, 1}});
    Bytes end = nextMessage();
    while (end == start) end = nextMessage();
    EXPECT_NE(number(end, 6, 2), number(start, 6, 2));

    // Those of strangers, of other commands and of other messages count for nothing.
    acknowledge(end, Socket());
    acknowledge(end, messages_, 3);
    acknowledge(end, messages_, 1, 1);
    for (int retry = 1; retry <= 3; ++retry) EXPECT_EQ(nextMessage(), end) << retry;
    EXPECT_FALSE(messages_.receive(200)) << "given up";
    const auto statistics = camera_->camera->statistics();
    EXPECT_EQ(statistics.eventsSent, 2U);
    EXPECT_EQ(statistics.eventsAcknowledged, 1U);
}

TEST_F(Events, AreNotToldUnlessSwitchedOn) {
    openChannel(20, 0);
    set({{kStart, 1}});
    nextFrame();
    EXPECT_FALSE(messages_.receive(60));
    switchOn({kReadingDone});
    EXPECT_EQ(number(nextMessage(), 10, 2), 0x9004U);
}

TEST_F(Events, WaitForNoAcknowledgeWithoutATimeout) {
    openChannel(0, 3);
    switchOn({kFrameTrigger});
    set({{kStart, 1}});
    for (std::uint64_t block = 1; block <= 3; ++block) {
        const Bytes message = nextMessage();
        EXPECT_EQ(number(message, 0, 4), 0x420000c0U);
        EXPECT_EQ(number(message, 14, 2), block);
    }
}

TEST_F(Events, EndWithTheControl) {
    openChannel(20, 255);
    switchOn({kAcquisitionStart});
    set({{kStart, 1}});
    const Bytes message = nextMessage();
    set({{0x0a00, 0}});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(4);
    while (messages_.receive(200))
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "still repeated";
}

}  // namespace
}  // namespace rawclient
