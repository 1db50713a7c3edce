// SPDX-License-Identifier: Apache-2.0
//
// Frames whose bytes are given away: by whom, how many, and what becomes of their memory.
#include "BufferPool.h"

#include "ReceivedFrame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <set>
#include <thread>

namespace {

using namespace Vorda::Gige;
using Given = std::shared_ptr<const void>;
using Vorda::GenICam::CFrame;

constexpr std::size_t kBuffers = 3;
constexpr std::uint32_t kCapacity = 10000;

/** A frame of nothing but `mark`; empty when no buffer is left. */
CFrame receive(BufferPool& pool, std::uint8_t mark) {
    FrameBuffer* const buffer = pool.take();
    if (!buffer) return CFrame();
    std::memset(buffer->data, mark, buffer->capacity);
    FrameInfo info;
    info.sizeBytes = info.content.imageBytes = kCapacity;
    info.content.image.width = 40;
    return CFrame(pool.makeFrame(*buffer, info));
}

bool holds(const void* bytes, std::uint8_t mark) {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    return std::all_of(first, first + kCapacity, [&](std::uint8_t byte) { return byte == mark; });
}

class GivenFrame : public testing::Test {
 protected:
    std::shared_ptr<BufferPool> pool = BufferPool::create(kBuffers, kCapacity);
};

TEST_F(GivenFrame, IsEmptyAndItsBytesStay) {
    const CFrame frame = receive(*pool, 1);
    const void* const image = frame.getImage();
    const Given given = frame.giveBuffer(kCapacity / 2);
    ASSERT_EQ(given.get(), image);
    EXPECT_FALSE(frame.valid());
    EXPECT_EQ(frame.getImage(), nullptr);
    EXPECT_EQ(frame.getImageSize(), 0u);
    EXPECT_EQ(frame.getImageWidth(), 0u);
    Vorda::GenICam::TVector<CFrame::EPayloadType> types;
    EXPECT_FALSE(frame.getPayLoadTypes(types));
    EXPECT_EQ(frame.giveBuffer(kCapacity), nullptr);
    for (std::uint8_t mark = 2; mark < 10; ++mark) EXPECT_TRUE(receive(*pool, mark).valid());
    EXPECT_TRUE(holds(image, 1));
}

TEST_F(GivenFrame, StaysWholeWhereItIsNotGiven) {
    const CFrame frame = receive(*pool, 1);
    ASSERT_EQ(frame.giveBuffer(kCapacity / 2 - 1), nullptr);
    {
        const CFrame copy = frame;
        ASSERT_EQ(frame.giveBuffer(kCapacity), nullptr);
        ASSERT_EQ(copy.giveBuffer(kCapacity), nullptr);
    }
    EXPECT_TRUE(holds(frame.getImage(), 1));
    EXPECT_EQ(frame.getImageWidth(), 40u);
    EXPECT_NE(frame.giveBuffer(kCapacity), nullptr);
}

TEST_F(GivenFrame, TakesNoBufferFromTheStreamAndBoundedMemory) {
    std::set<const void*> memory;
    std::vector<Given> kept;
    for (std::uint8_t i = 0; i < 100; ++i) {
        const CFrame frame = receive(*pool, i);
        memory.insert(frame.getImage());
        if (Given given = frame.giveBuffer(kCapacity)) kept.push_back(std::move(given));
        EXPECT_EQ(pool->freeCount(), kBuffers - (frame.valid() ? 1 : 0));
    }
    ASSERT_EQ(kept.size(), BufferPool::kMostGiven);
    std::vector<CFrame> all(kBuffers);
    for (CFrame& frame : all) EXPECT_TRUE((frame = receive(*pool, 0xff)).valid());
    all.clear();
    for (std::uint8_t i = 0; i < kept.size(); ++i) EXPECT_TRUE(holds(kept[i].get(), i));
    for (int round = 0; round < 100; ++round) {
        kept.clear();
        for (std::size_t i = 0; i < BufferPool::kMostGiven; ++i) {
            const CFrame frame = receive(*pool, 0);
            memory.insert(frame.getImage());
            kept.push_back(frame.giveBuffer(kCapacity));
            EXPECT_NE(kept.back(), nullptr);
        }
    }
    EXPECT_LE(memory.size(), kBuffers + BufferPool::kMostGiven);
}

// The next frame has begun when one is used. Its memory was in use just before, and is still in a
// cache.
TEST_F(GivenFrame, TakesTurnsWithOneOtherHoweverManyMemoriesThereAre) {
    for (const bool isGiven : {false, true}) {
        std::set<const void*> memory;
        CFrame used = receive(*pool, 0);
        for (std::uint8_t i = 1; i < 20; ++i) {
            const CFrame next = receive(*pool, i);
            memory.insert(next.getImage());
            EXPECT_EQ(used.giveBuffer(isGiven ? kCapacity : 0) != nullptr, isGiven);
            used = next;
        }
        EXPECT_EQ(memory.size(), 2u);
    }
}

TEST_F(GivenFrame, OutlivesItsPoolWithoutKeepingIt) {
    const Given given = receive(*pool, 1).giveBuffer(kCapacity);
    const std::weak_ptr<BufferPool> observed = pool;
    pool.reset();
    EXPECT_TRUE(observed.expired());
    EXPECT_TRUE(holds(given.get(), 1));
}

TEST_F(GivenFrame, IsNobodyElsesUntilItsEndOnAnotherThread) {
    constexpr int kRounds = 2000;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::pair<CFrame, std::uint8_t>> waiting;
    std::thread application([&] {
        std::deque<std::pair<Given, std::uint8_t>> kept;
        for (int i = 0; i < kRounds; ++i) {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return !waiting.empty(); });
            const auto [frame, mark] = std::move(waiting.front());
            waiting.pop_front();
            lock.unlock();
            if (kept.size() == BufferPool::kMostGiven) {
                EXPECT_TRUE(holds(kept.front().first.get(), kept.front().second));
                kept.pop_front();
            }
            kept.emplace_back(frame.giveBuffer(kCapacity), mark);
            EXPECT_NE(kept.back().first, nullptr);
        }
    });
    for (int i = 0; i < kRounds;) {
        const auto mark = static_cast<std::uint8_t>(i);
        std::this_thread::yield();  // the application may have all of them
        const std::lock_guard lock(mutex);
        waiting.emplace_back(receive(*pool, mark), mark);
        if (waiting.back().first.valid()) {
            changed.notify_one();
            ++i;
        } else {
            waiting.pop_back();
        }
    }
    application.join();
}

}  // namespace
