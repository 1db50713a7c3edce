// SPDX-License-Identifier: Apache-2.0
#include "StreamSource.h"

#include "BufferPool.h"
#include "FakeStreamCamera.h"
#include "LastError.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/capability.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

namespace {

using namespace Vorda::Gige;
using kestro::test::Bytes;
using kestro::test::content;
using kestro::test::FakeStreamCamera;
using kestro::test::RecordingLogger;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Vorda::GenICam::CFrame;
using Vorda::GenICam::FrameBinding;
using Vorda::GenICam::IStreamSource;

constexpr std::uint32_t kLongMs = 10000;

/** Waits for what another thread does; false when it does not happen. */
template <typename Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

Error lastError() { return static_cast<Error>(Vorda::Infra::getLastError()); }

Bytes bytesOf(const CFrame& frame) {
    const auto* bytes = static_cast<const std::uint8_t*>(frame.getImage());
    return {bytes, bytes + frame.getImageSize()};
}

std::size_t countEntries(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/** An application's object with a frame handler. */
struct Application {
    void onFrame(const CFrame& frame) {
        std::unique_lock lock(mutex);
        ids.push_back(frame.getBlockId());
        threadName.resize(16);
        pthread_getname_np(pthread_self(), threadName.data(), threadName.size());
        changed.notify_all();
        changed.wait(lock, [this] { return !blocked; });
        const auto then = onFrameThen;
        lock.unlock();
        if (then) then();
        lock.lock();
        ++finished;
        changed.notify_all();
    }
    bool waitForFrames(std::size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10),
                                [&] { return ids.size() >= count; });
    }
    bool waitForFinished(std::size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return finished >= count; });
    }
    void block(bool on) {
        const std::lock_guard lock(mutex);
        blocked = on;
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::uint64_t> ids;
    std::size_t finished = 0;
    bool blocked = false;
    std::string threadName;
    std::function<void()> onFrameThen;
};

class StreamSource : public testing::Test {
 protected:
    StreamSource() {
        RecordingLogger::instance().reset();
        std::thread([] {}).join();  // with the first one a sanitizer starts one of its own
    }

    void start(std::uint32_t buffers = 8) {
        ASSERT_TRUE(source->setBufferCount(buffers));
        ASSERT_TRUE(source->startGrabbing(0, 0)) << lastErrorMessage();
    }
    [[nodiscard]] FrameBinding handler() const {
        return FrameBinding::toMember<&Application::onFrame>(application);
    }
    /** The block id of the next frame; 0 when none comes. */
    std::uint64_t nextId(std::uint32_t timeoutMs = kLongMs) {
        CFrame frame;
        return source->getFrame(frame, timeoutMs) ? frame.getBlockId() : 0;
    }
    /** As the camera does it that is back. */
    bool resume() { return camera->stream.lock()->resume(); }
    bool waitForComplete(std::uint64_t count) {
        return eventually([&] { return counters->completeFrames.get() >= count; });
    }

    std::shared_ptr<FakeStreamCamera> camera = std::make_shared<FakeStreamCamera>();
    std::shared_ptr<StreamCounters> counters = std::make_shared<StreamCounters>();
    std::shared_ptr<Application> application = std::make_shared<Application>();
    std::shared_ptr<IStreamSource> source = makeStreamSource(camera, counters);
};

TEST_F(StreamSource, GivesFramesToAPollingApplication) {
    start();
    EXPECT_TRUE(source->isGrabbing());
    const Bytes image = content(3500, 1);
    camera->send(image);
    camera->send({});
    CFrame frame;
    ASSERT_TRUE(source->getFrame(frame, kLongMs));
    EXPECT_TRUE(frame.valid());
    EXPECT_EQ(bytesOf(frame), image);
    EXPECT_EQ(frame.getBlockId(), 1u);
    EXPECT_EQ(frame.getImageWidth(), 4u);
    EXPECT_EQ(frame.getImageHeight(), 3u);
    EXPECT_EQ(frame.getImagePixelFormat(), Vorda::GenICam::EPixelType::Mono8);
    EXPECT_EQ(frame.getImageTimeStamp(), 1u);
    EXPECT_EQ(frame.getChunkCount(), 0u);
    Vorda::GenICam::TVector<CFrame::EPayloadType> types;
    EXPECT_TRUE(frame.getPayLoadTypes(types));
    EXPECT_THAT(types, ElementsAre(Vorda::GenICam::kPayloadImage));
    CFrame empty;
    ASSERT_TRUE(source->getFrame(empty, kLongMs));
    EXPECT_NE(empty.getImage(), nullptr);
    EXPECT_EQ(empty.getImageSize(), 0u);
    EXPECT_EQ(counters->deliveredFrames.get(), 2u);
}

TEST_F(StreamSource, CountsFromItsStartAndKeepsTheCountAfterItsStop) {
    const auto buffers = [this] {
        const StreamBuffers::Count count = counters->buffers.count();
        return std::vector<std::uint64_t>{count.announced, count.free, count.waiting};
    };
    EXPECT_THAT(buffers(), ElementsAre(0, 0, 0));
    start(4);
    camera->send(content(3500, 1));
    ASSERT_TRUE(waitForComplete(1));
    EXPECT_TRUE(eventually([&] { return counters->buffers.count().waiting == 1; }));
    EXPECT_EQ(4u, counters->buffers.count().announced);
    EXPECT_GE(3u, counters->buffers.count().free);
    EXPECT_EQ(1u, nextId());
    // A second stream of the camera that does not come to be is no start.
    camera->failOpen = true;
    EXPECT_FALSE(makeStreamSource(camera, counters)->startGrabbing(0, 0));
    camera->failOpen = false;
    EXPECT_EQ(1u, counters->deliveredFrames.get());
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_EQ(1u, counters->deliveredFrames.get());
    EXPECT_THAT(buffers(), ElementsAre(4, 4, 0));
    start(4);
    EXPECT_EQ(0u, counters->deliveredFrames.get());
}

TEST_F(StreamSource, TellsWhyThereIsNoFrame) {
    CFrame frame;
    EXPECT_FALSE(source->getFrame(frame, 0));
    EXPECT_EQ(lastError(), Error::notGrabbing);
    EXPECT_FALSE(source->clearFrameBuffer());
    EXPECT_EQ(lastError(), Error::notGrabbing);
    EXPECT_FALSE(source->stopGrabbing());
    EXPECT_EQ(lastError(), Error::notGrabbing);
    start();
    EXPECT_FALSE(source->startGrabbing(0, 0));
    EXPECT_EQ(lastError(), Error::alreadyGrabbing);
    EXPECT_FALSE(source->getFrame(frame, 0));
    EXPECT_EQ(lastError(), Error::timeout);
    EXPECT_FALSE(source->getFrame(frame, 20));
    EXPECT_EQ(lastError(), Error::timeout);
    camera->online = false;  // a lost camera is no reason to stop
    EXPECT_TRUE(source->isGrabbing());
    EXPECT_FALSE(source->getFrame(frame, 1));
    EXPECT_EQ(lastError(), Error::timeout);
    camera->failStop = true;
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_FALSE(source->isGrabbing());
    EXPECT_FALSE(frame.valid());
}

TEST_F(StreamSource, StopEndsAWait) {
    start();
    Error error = Error::none;
    std::thread waiter([&] {
        CFrame frame;
        EXPECT_FALSE(source->getFrame(frame, 600000));
        error = lastError();
    });
    EXPECT_TRUE(source->stopGrabbing());
    waiter.join();
    EXPECT_EQ(error, Error::notGrabbing);
}

TEST_F(StreamSource, AnAttachedHandlerTakesEveryFrame) {
    EXPECT_FALSE(source->attachGrabbing({}));
    EXPECT_EQ(lastError(), Error::invalidArgument);
    EXPECT_TRUE(source->attachGrabbing(handler()));  // recorded for the start
    start();
    EXPECT_TRUE(source->attachGrabbing(handler()));  // the same binding: nothing changes
    for (int i = 0; i < 3; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFinished(3));
    EXPECT_EQ(application->threadName.c_str(), std::string("kst-deliver"));
    CFrame frame;
    EXPECT_FALSE(source->getFrame(frame, 0));
    EXPECT_EQ(lastError(), Error::timeout);
    EXPECT_TRUE(source->detachGrabbing(handler()));
    EXPECT_TRUE(source->detachGrabbing(handler()));
    camera->send(content(2500, 1));
    EXPECT_EQ(nextId(), 4u);
    EXPECT_TRUE(waitForComplete(4));
    camera->send(content(2500, 1));
    ASSERT_TRUE(waitForComplete(5));  // waits for whoever comes: here a handler
    EXPECT_TRUE(source->attachGrabbing(handler()));
    ASSERT_TRUE(application->waitForFrames(4));
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_THAT(application->ids, ElementsAre(1u, 2u, 3u, 5u));
}

/** An application's object that keeps the bytes of every frame. */
struct Keeper {
    void onFrame(const CFrame& frame) {
        const auto* bytes = static_cast<const std::uint8_t*>(frame.getImage());
        seen.push_back(bytesOf(frame));
        const auto given = frame.giveBuffer(frame.getImageSize());
        gaveUp.push_back(given && given.get() == bytes && !frame.valid());
        ++count;
    }
    std::vector<Bytes> seen;
    std::vector<bool> gaveUp;
    std::atomic<std::size_t> count{0};
};

TEST_F(StreamSource, GivesAFrameAwayToAHandlerThatIsTheOnlyOne) {
    const std::shared_ptr<Keeper> keepers[] = {std::make_shared<Keeper>(),
                                               std::make_shared<Keeper>()};
    start();
    std::vector<Bytes> images;
    for (std::uint32_t i = 0; i < 2; ++i) {
        const auto& newest = *keepers[i];
        ASSERT_TRUE(source->attachGrabbing(FrameBinding::toMember<&Keeper::onFrame>(keepers[i])));
        images.push_back(content(FakeStreamCamera::kPayloadBytes, i));
        camera->send(images.back());
        ASSERT_TRUE(eventually([&] { return newest.count == 1; }));
    }
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_EQ(keepers[0]->seen, images);
    EXPECT_THAT(keepers[0]->gaveUp, ElementsAre(true, false));
    EXPECT_THAT(keepers[1]->seen, ElementsAre(images[1]));  // whole, though the first one asked
    EXPECT_THAT(keepers[1]->gaveUp, ElementsAre(false));
}

TEST_F(StreamSource, DetachAndStopWaitForARunningHandler) {
    const std::function<void()> endings[] = {
        [&] { EXPECT_TRUE(source->detachGrabbing(handler())); },
        [&] { EXPECT_TRUE(source->stopGrabbing()); }, [&] { source.reset(); }};
    for (const auto& end : endings) {
        if (!source->isGrabbing()) start();
        application->block(true);
        const std::size_t before = application->ids.size();
        ASSERT_TRUE(source->attachGrabbing(handler()));
        camera->send(content(2500, 1));
        ASSERT_TRUE(application->waitForFrames(before + 1));
        std::atomic<bool> ended{false};
        std::thread ender([&] {
            end();
            EXPECT_EQ(application->finished, application->ids.size());
            ended = true;
        });
        EXPECT_FALSE(ended);
        application->block(false);
        ender.join();
        EXPECT_EQ(application->ids.size(), before + 1);
    }
}

TEST_F(StreamSource, ASlowApplicationLosesTheOldestFrames) {
    start(3);
    for (int i = 0; i < 10; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(waitForComplete(10));
    EXPECT_EQ(nextId(), 8u);
    EXPECT_EQ(nextId(), 9u);
    EXPECT_EQ(nextId(), 10u);
    EXPECT_EQ(nextId(0), 0u);
    EXPECT_EQ(counters->droppedOldest.get(), 7u);
    EXPECT_EQ(counters->lostFrames.get(), 0u);
}

TEST_F(StreamSource, ASlowHandlerDoesNotHoldUpTheReceiver) {
    start(4);
    application->block(true);
    EXPECT_TRUE(source->attachGrabbing(handler()));
    camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFrames(1));
    for (int i = 0; i < 20; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(waitForComplete(21));
    application->block(false);
    ASSERT_TRUE(application->waitForFinished(4));
    EXPECT_TRUE(source->detachGrabbing(handler()));
    EXPECT_THAT(application->ids, ElementsAre(1u, 19u, 20u, 21u));
}

TEST_F(StreamSource, HeldFramesKeepTheirBuffersAndTheirBytes) {
    start(2);
    const Bytes image = content(4000, 5);
    camera->send(image);
    camera->send(image);
    CFrame first;
    CFrame second;
    ASSERT_TRUE(source->getFrame(first, kLongMs));
    ASSERT_TRUE(source->getFrame(second, kLongMs));
    camera->send(content(4000, 6));
    ASSERT_TRUE(eventually([&] { return counters->noBuffer.get() == 1; }));
    CFrame copy = second;
    second = CFrame();
    camera->send(content(4000, 7));
    ASSERT_TRUE(eventually([&] { return counters->noBuffer.get() == 2; }));
    copy = CFrame();
    camera->send(content(4000, 8));
    EXPECT_EQ(nextId(), 5u);
    source.reset();
    EXPECT_EQ(bytesOf(first), image);
}

TEST_F(StreamSource, HasAsManyBuffersAsWereAskedFor) {
    for (const std::uint32_t bad : {0u, 1025u, 0xffffffffu}) {
        EXPECT_FALSE(source->setBufferCount(bad));
        EXPECT_EQ(lastError(), Error::invalidArgument);
    }
    start(1);
    EXPECT_FALSE(source->setBufferCount(2));
    EXPECT_EQ(lastError(), Error::alreadyGrabbing);
    for (int i = 0; i < 3; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(waitForComplete(3));
    EXPECT_EQ(nextId(), 3u);
    EXPECT_TRUE(source->stopGrabbing());
    start(1024);
    EXPECT_TRUE(source->stopGrabbing());
}

TEST(BufferPool, TouchesItsMemoryBeforeTheFirstFrame) {
    constexpr std::size_t kBytes = std::size_t{64} << 20;  // fresh from the kernel at this size
    const auto pool = BufferPool::create(1, kBytes);
    ASSERT_TRUE(pool);
    FrameBuffer* buffer = pool->take();
    ASSERT_TRUE(buffer);
    std::vector<unsigned char> resident(kBytes / static_cast<std::size_t>(::getpagesize()));
    ASSERT_EQ(::mincore(buffer->data, kBytes, resident.data()), 0);
    EXPECT_THAT(resident, testing::Each(testing::Ne(0)));
    pool->giveBack(*buffer);
}

TEST_F(StreamSource, StopsAfterTheImagesThatWereAskedFor) {
    ASSERT_TRUE(source->startGrabbing(2, 0));
    for (int i = 0; i < 5; ++i) camera->send(content(2500, 1));
    EXPECT_EQ(nextId(), 1u);
    EXPECT_EQ(nextId(), 2u);
    ASSERT_TRUE(waitForComplete(5));
    EXPECT_EQ(nextId(0), 0u);
    EXPECT_TRUE(source->isGrabbing());
}

TEST_F(StreamSource, ClearsWhatWaits) {
    start();
    for (int i = 0; i < 3; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(waitForComplete(3));
    EXPECT_TRUE(source->clearFrameBuffer());
    EXPECT_EQ(nextId(0), 0u);
    camera->send(content(2500, 1));
    EXPECT_EQ(nextId(), 4u);
}

TEST_F(StreamSource, GetsLostPacketsAgain) {
    start();
    const Bytes image = content(4000, 3);
    camera->send(image, {2});
    camera->send(image, {0, 5});
    camera->send(image);
    CFrame frame;
    for (std::uint64_t id = 1; id <= 3; ++id) {
        ASSERT_TRUE(source->getFrame(frame, kLongMs));
        EXPECT_EQ(frame.getBlockId(), id);
        EXPECT_EQ(bytesOf(frame), image);
    }
    EXPECT_GE(camera->resendRequests, 3);
    EXPECT_EQ(counters->lostFrames.get(), 0u);
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_THAT(RecordingLogger::instance().lines(0, 400), Not(Contains(HasSubstr(" lost "))));
    EXPECT_THAT(RecordingLogger::instance().lines(700, 700), ElementsAre(HasSubstr("delivered 3")));
}

// The receiver gets no processor for longer than a frame waits for its packets. What it lacks came
// meanwhile, but lies behind more than is taken at once.
TEST_F(StreamSource, GivesNothingUpForWhatWaitsInTheSocket) {
    start();
    const Bytes image = content(4000, 3);
    constexpr std::uint64_t kBehind = 6;
    camera->onResendRequest = [&] {
        for (std::uint64_t i = 0; i < kBehind; ++i) camera->send(image);
        std::this_thread::sleep_for(FrameAssembler::kRetention + std::chrono::milliseconds(20));
    };
    camera->send(image, {2});
    for (std::uint64_t id = 1; id <= 1 + kBehind; ++id) ASSERT_EQ(nextId(), id);
    EXPECT_EQ(counters->lostFrames.get(), 0u);
}

TEST_F(StreamSource, TakesPacketsOfItsCameraOnly) {
    start();
    const kestro::test::TestSocket stranger("127.0.0.2");
    for (const Bytes& packet : kestro::test::PacketWriter{.stride = 1000}.block(content(2500, 9)))
        stranger.sendTo(camera->hostPort(), packet);
    stranger.sendTo(camera->hostPort(), Bytes(60000, 1));
    const Bytes image = content(2500, 1);
    camera->send(image);
    CFrame frame;
    ASSERT_TRUE(source->getFrame(frame, kLongMs));
    EXPECT_EQ(bytesOf(frame), image);
    EXPECT_EQ(counters->strayPackets.get(), 6u);
    EXPECT_EQ(counters->packets.get(), 5u);
}

TEST_F(StreamSource, FollowsACameraToItsNewAddress) {
    start();
    camera->address = 0x7f000002;
    const kestro::test::TestSocket moved("127.0.0.2");
    const Bytes image = content(2500, 9);
    for (const Bytes& packet : kestro::test::PacketWriter{.stride = 1000}.block(image))
        moved.sendTo(camera->hostPort(), packet);
    CFrame frame;
    ASSERT_TRUE(source->getFrame(frame, kLongMs));
    EXPECT_EQ(bytesOf(frame), image);
}

TEST_F(StreamSource, GivesTheSameFramesInBatchesAndPacketByPacket) {
    for (const bool inBatches : {true, false}) {
        SCOPED_TRACE(inBatches);
        camera->inBatches = inBatches;
        start();
        const Bytes image = content(3900, 2);  // its last packet ends a batch early
        const auto packets = kestro::test::PacketWriter{.stride = 1000}.block(image);
        const std::uint16_t port = camera->hostPort();
        camera->socket().sendTo(port, packets[0]);
        const std::vector<Bytes> payload(packets.begin() + 1, packets.end() - 1);
        if (!camera->socket().sendTogether(port, payload))
            GTEST_SKIP() << "no UDP segmentation here";
        camera->socket().sendTo(port, packets.back());
        CFrame frame;
        ASSERT_TRUE(source->getFrame(frame, kLongMs));
        EXPECT_EQ(bytesOf(frame), image);
        EXPECT_EQ(counters->packets.get(), packets.size());
        EXPECT_EQ(counters->batches.get(), inBatches ? 1u : 0u);
        EXPECT_TRUE(source->stopGrabbing());
    }
}

// Of the second frame on, batches are taken one by one, and the later ones of a frame in place.
TEST_F(StreamSource, TakesLargePacketsInTheirPlaces) {
    camera->payloadBytes = 60000;
    start();
    constexpr std::size_t kStride = 3000;
    for (std::uint64_t id = 1; id <= 3; ++id) {
        const Bytes image = content(59000, static_cast<std::uint32_t>(id));
        const auto packets =
            kestro::test::PacketWriter{.blockId = id, .stride = kStride, .timestamp = id}.block(
                image);
        const std::uint16_t port = camera->hostPort();
        camera->socket().sendTo(port, packets[0]);
        const auto at = [&](std::size_t i) {
            return packets.begin() + static_cast<std::ptrdiff_t>(i);
        };
        for (std::size_t i = 1; i < packets.size() - 1; i += 5)
            if (!camera->socket().sendTogether(port,
                                               {at(i), at(std::min(i + 5, packets.size() - 1))}))
                GTEST_SKIP() << "no UDP segmentation here";
        camera->socket().sendTo(port, packets.back());
        CFrame frame;
        ASSERT_TRUE(source->getFrame(frame, kLongMs));
        EXPECT_EQ(bytesOf(frame), image);
        EXPECT_EQ(counters->packets.get(), id * packets.size());
    }
}

/** Takes away this thread's right to exceed the system's limits, until it ends. */
void giveUpNetworkAdministration() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    data[0].effective &= ~(1u << CAP_NET_ADMIN);
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

TEST_F(StreamSource, WarnsOnceOfASmallReceiveBuffer) {
    std::uint64_t limit = 0;
    std::ifstream("/proc/sys/net/core/rmem_max") >> limit;
    camera->payloadBytes = 10'000'000;
    if (limit >= 32u << 20) GTEST_SKIP() << "this machine allows any buffer";
    std::thread([&] {
        giveUpNetworkAdministration();
        for (int i = 0; i < 2; ++i) {
            start(1);
            EXPECT_TRUE(source->stopGrabbing());
        }
    }).join();
    EXPECT_THAT(RecordingLogger::instance().lines(0, 400),
                ElementsAre(HasSubstr("sysctl net.core.rmem_max")));
}

TEST_F(StreamSource, WarnsOfLostFramesAtTheEnd) {
    start();
    camera->send(content(4001, 1));
    ASSERT_TRUE(eventually([&] { return counters->tooBig.get() == 1; }));
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_THAT(RecordingLogger::instance().lines(400, 400), Contains(HasSubstr("too big 1")));
}

TEST_F(StreamSource, AFailedStartLeavesNothingBehind) {
    const std::size_t threads = countEntries("/proc/self/task");
    const std::size_t files = countEntries("/proc/self/fd");
    const auto failsWith = [&](Error error, const char* text) {
        EXPECT_FALSE(source->startGrabbing(0, 0));
        EXPECT_EQ(lastError(), error);
        EXPECT_THAT(lastErrorMessage(), HasSubstr(text));
        EXPECT_FALSE(source->isGrabbing());
        EXPECT_EQ(camera->channelsOpen, 0);
        EXPECT_EQ(camera->acquiring, 0);
        EXPECT_TRUE(eventually([&] { return countEntries("/proc/self/task") == threads; }));
        EXPECT_EQ(countEntries("/proc/self/fd"), files);
    };
    EXPECT_FALSE(source->startGrabbing(0, 3));
    EXPECT_EQ(lastError(), Error::notSupported);
    camera->failOpen = true;
    failsWith(Error::refused, "open refused");
    camera->failOpen = false;
    camera->failStart = true;
    failsWith(Error::refused, "start refused");
    camera->failStart = false;
    camera->onStart = [] { throw std::bad_alloc(); };
    failsWith(Error::system, "start of the stream");
    camera->onStart = nullptr;
    camera->host = 0xc0000201;  // 192.0.2.1, which no machine has
    failsWith(Error::notReachable, "192.0.2.1");
    camera->host = 0x7f000001;
    for (const std::uint32_t payload : {0u, 0xffffffffu}) {
        camera->payloadBytes = payload;
        failsWith(Error::badAnswer, "payload");
    }
    ASSERT_TRUE(source->setBufferCount(1024));
    camera->payloadBytes = 1u << 30;
    failsWith(Error::system, "more than this machine can spare");
    camera->payloadBytes = FakeStreamCamera::kPayloadBytes;
    start();
}

TEST_F(StreamSource, AHandlerMayStopAStreamThatFailsToStart) {
    ASSERT_TRUE(source->attachGrabbing(handler()));
    bool stopped = true;
    application->onFrameThen = [&] { stopped = source->stopGrabbing(); };
    camera->failStart = true;
    camera->onStart = [&] {
        camera->send(content(10, 1));
        EXPECT_TRUE(application->waitForFrames(1));
    };
    EXPECT_FALSE(source->startGrabbing(0, 0));
    EXPECT_TRUE(application->waitForFinished(1));
    EXPECT_FALSE(stopped);
    EXPECT_EQ(camera->channelsOpen, 0);
}

TEST_F(StreamSource, ARefusedStopIsReportedAndStillStops) {
    start();
    camera->failStop = true;
    EXPECT_FALSE(source->stopGrabbing());
    EXPECT_EQ(lastErrorMessage(), "stop refused");
    EXPECT_FALSE(source->isGrabbing());
    EXPECT_EQ(camera->channelsOpen, 0);
}

TEST_F(StreamSource, AHandlerThatThrowsCostsOneLine) {
    start();
    int call = 0;
    application->onFrameThen = [&] {
        if (++call == 1) throw std::runtime_error("no %s today");
        if (call == 2) throw 5;
    };
    ASSERT_TRUE(source->attachGrabbing(handler()));
    for (int i = 0; i < 3; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFinished(1));
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_THAT(RecordingLogger::instance().lines(0, 300),
                ElementsAre(HasSubstr("no %s today"), HasSubstr("unknown")));
}

TEST_F(StreamSource, AHandlerMayStopAndStartItsStream) {
    start();
    application->onFrameThen = [&] {
        EXPECT_TRUE(source->stopGrabbing());
        EXPECT_TRUE(source->detachGrabbing(handler()));
        EXPECT_FALSE(source->stopGrabbing());
        EXPECT_TRUE(source->startGrabbing(0, 0));
    };
    ASSERT_TRUE(source->attachGrabbing(handler()));
    camera->send(content(2500, 1));
    camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFinished(1));
    EXPECT_THAT(application->ids, ElementsAre(1u));
    camera->send(content(1500, 1));
    std::uint64_t id = nextId();
    if (id == 2) id = nextId();  // it was sent after the new start
    EXPECT_EQ(id, 1u);
}

TEST_F(StreamSource, AHandlerMayDropTheLastReference) {
    const std::size_t threads = countEntries("/proc/self/task");
    start();
    application->onFrameThen = [&] {
        source.reset();
        EXPECT_EQ(camera->channelsOpen, 0);
    };
    ASSERT_TRUE(source->attachGrabbing(handler()));
    for (int i = 0; i < 3; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFinished(1));
    // A thread of an earlier test that was counted may have ended, too.
    EXPECT_TRUE(eventually([&] { return countEntries("/proc/self/task") <= threads; }));
    EXPECT_EQ(camera.use_count(), 1);
    EXPECT_THAT(application->ids, ElementsAre(1u));
}

TEST_F(StreamSource, TheHandlersObjectMayDieWithTheStreamInsideAHandler) {
    const std::size_t threads = countEntries("/proc/self/task");
    start();
    // The object owns the stream; the binding's own hold on it is the last one.
    std::shared_ptr<IStreamSource> owned = std::move(source);
    std::atomic<bool> released{false};
    application->onFrameThen = [&, stream = owned] {
        while (!released) std::this_thread::yield();
    };
    ASSERT_TRUE(owned->attachGrabbing(handler()));
    camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFrames(1));
    owned.reset();
    application.reset();
    released = true;
    EXPECT_TRUE(eventually([&] { return countEntries("/proc/self/task") == threads; }));
    EXPECT_EQ(camera->channelsOpen, 0);
    EXPECT_EQ(camera.use_count(), 1);
}

TEST_F(StreamSource, GoesOnWhereItWasWhenItsCameraIsBack) {
    ASSERT_TRUE(source->attachGrabbing(handler()));
    start();
    for (int i = 0; i < 3; ++i) camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFrames(3));
    const std::uint16_t port = camera->hostPort();
    // The frame that was under way when the cable went out.
    camera->socket().sendTo(
        port, kestro::test::PacketWriter{.blockId = 4, .stride = 1000}.block(content(2500, 1))[0]);
    ASSERT_TRUE(eventually([&] { return counters->packets.get() == 3 * 5 + 1; }));
    ASSERT_TRUE(resume()) << lastErrorMessage();
    EXPECT_NE(port, camera->hostPort());
    EXPECT_TRUE(source->isGrabbing());
    camera->send(content(2500, 1));
    ASSERT_TRUE(application->waitForFrames(4));
    EXPECT_THAT(application->ids, ElementsAre(1, 2, 3, 1));
    EXPECT_EQ(counters->lostFrames.get(), 1u);
    EXPECT_EQ(counters->reconnects.get(), 1u);
}

TEST_F(StreamSource, AWaitForAFrameAndTheImagesAskedForOutlastAnOutage) {
    ASSERT_TRUE(source->startGrabbing(2, 0));
    camera->send(content(2500, 1));
    EXPECT_EQ(nextId(), 1u);
    std::uint64_t id = 0;
    std::thread waiting([&] { id = nextId(); });
    ASSERT_TRUE(resume());
    camera->send(content(2500, 1));
    waiting.join();
    EXPECT_EQ(id, 1u);
    camera->send(content(2500, 1));
    ASSERT_TRUE(waitForComplete(3));
    EXPECT_EQ(nextId(0), 0u);
}

TEST_F(StreamSource, TakesLargerFramesOfACameraThatCameBackOtherwise) {
    start(1);
    CFrame held;
    camera->send(content(4000, 1));
    ASSERT_TRUE(source->getFrame(held, kLongMs));
    camera->payloadBytes = 9000;
    ASSERT_TRUE(resume());
    camera->send(content(9000, 2));
    CFrame frame;
    ASSERT_TRUE(source->getFrame(frame, kLongMs)) << counters->text();
    EXPECT_EQ(bytesOf(frame), content(9000, 2));
    EXPECT_EQ(bytesOf(held), content(4000, 1));
}

TEST_F(StreamSource, ResumesAgainAfterAFailureAndNotOnceItIsStopped) {
    start();
    for (bool* const failure : {&camera->failOpen, &camera->failStart}) {
        *failure = true;
        EXPECT_FALSE(resume());
        EXPECT_EQ(lastError(), Error::refused);
        EXPECT_TRUE(source->isGrabbing());
        *failure = false;
    }
    ASSERT_TRUE(resume());
    camera->send(content(2500, 1));
    EXPECT_EQ(nextId(), 1u);
    camera->failOpen = true;
    EXPECT_FALSE(resume());
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_TRUE(resume());
    EXPECT_FALSE(source->isGrabbing());
    EXPECT_EQ(counters->reconnects.get(), 1u);
}

TEST_F(StreamSource, StartsAndStopsAThousandTimes) {
    const std::size_t threads = countEntries("/proc/self/task");
    const std::size_t files = countEntries("/proc/self/fd");
    ASSERT_TRUE(source->attachGrabbing(handler()));
    for (std::size_t i = 0; i < 1000; ++i) {
        ASSERT_TRUE(source->startGrabbing(0, 0)) << lastErrorMessage();
        if (i % 10 == 0) camera->send(content(2500, 1));
        ASSERT_TRUE(source->stopGrabbing());
    }
    EXPECT_EQ(countEntries("/proc/self/task"), threads);
    EXPECT_EQ(countEntries("/proc/self/fd"), files);
    EXPECT_EQ(camera->acquiring, 0);
    start();
    const std::size_t seen = application->ids.size();
    camera->send(content(2500, 1));
    EXPECT_TRUE(application->waitForFrames(seen + 1));
}

TEST_F(StreamSource, EndsCleanlyWhileEveryoneUsesIt) {
    for (int round = 0; round < 20; ++round) {
        start();
        ASSERT_TRUE(source->attachGrabbing(handler()));
        std::thread sender([&] {
            for (int i = 0; i < 50; ++i) camera->send(content(2500, 1));
        });
        std::thread poller([&] {
            CFrame frame;
            while (source->getFrame(frame, 1) || lastError() == Error::timeout) {
            }
        });
        std::thread binder([&] {
            for (int i = 0; i < 20; ++i) {
                EXPECT_TRUE(source->detachGrabbing(handler()));
                EXPECT_TRUE(source->attachGrabbing(handler()));
            }
        });
        std::thread resumer([&, stream = camera->stream.lock()] {
            for (int i = 0; i < 5; ++i) EXPECT_TRUE(stream->resume()) << lastErrorMessage();
        });
        std::thread other([&] { static_cast<void>(source->stopGrabbing()); });
        static_cast<void>(source->stopGrabbing());
        for (std::thread* thread : {&sender, &poller, &binder, &resumer, &other}) thread->join();
        EXPECT_FALSE(source->isGrabbing());
        EXPECT_TRUE(source->detachGrabbing(handler()));
    }
}

}  // namespace
