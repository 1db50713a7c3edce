// SPDX-License-Identifier: Apache-2.0
#include "ImageBufferPool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using kestro::ImageBufferPool;

TEST(ImageBufferPool, GivesOutTheBufferThatCameBackLastAgain) {
    ImageBufferPool pool;
    std::uint8_t* first = pool.take(5'000'000);
    std::uint8_t* second = pool.take(5'000'000);
    ASSERT_NE(first, second);
    pool.giveBack(first);
    pool.giveBack(second);
    EXPECT_EQ(pool.take(5'000'000), second);
    EXPECT_EQ(pool.take(5'000'000), first);
    EXPECT_EQ(pool.inUseCount(), 2U);
    EXPECT_EQ(pool.freeCount(), 0U);
}

TEST(ImageBufferPool, FitsSizesOfOneClassAndNoOthers) {
    ImageBufferPool pool;
    std::uint8_t* buffer = pool.take(1'000'000);
    pool.giveBack(buffer);
    EXPECT_NE(pool.take(500'000), buffer);
    EXPECT_NE(pool.take(920'000), buffer);  // more than an eighth of 2^19 would be lost
    EXPECT_NE(pool.take(2'000'000), buffer);
    EXPECT_EQ(pool.take(1'000'100), buffer);  // a JPEG file is never as large as the last
}

TEST(ImageBufferPool, EveryBufferIsAsLargeAsAskedFor) {
    ImageBufferPool pool;
    for (const std::size_t size : {0U, 1U, 4096U, 4097U, 65536U, 65537U, 72000U, 131071U}) {
        std::uint8_t* buffer = pool.take(size);
        ASSERT_NE(buffer, nullptr);
        std::memset(buffer, 0x55, size);  // the sanitizer sees a byte too few
        pool.giveBack(buffer);
    }
}

TEST(ImageBufferPool, FreesTheOldestBeyondItsBound) {
    ImageBufferPool pool;
    std::vector<std::uint8_t*> buffers;
    for (std::size_t i = 0; i < ImageBufferPool::kMostFree + 2; ++i) {
        buffers.push_back(pool.take(10'000));
    }
    for (std::uint8_t* buffer : buffers) pool.giveBack(buffer);
    EXPECT_EQ(pool.freeCount(), ImageBufferPool::kMostFree);
    std::vector<std::uint8_t*> again;
    for (std::size_t i = 0; i < ImageBufferPool::kMostFree; ++i) again.push_back(pool.take(10'000));
    EXPECT_TRUE(std::equal(again.rbegin(), again.rend(), buffers.begin() + 2));
}

TEST(ImageBufferPool, IgnoresWhatIsNotInUse) {
    ImageBufferPool pool;
    std::uint8_t* buffer = pool.take(100);
    pool.giveBack(buffer);
    pool.giveBack(buffer);
    pool.giveBack(nullptr);
    EXPECT_EQ(pool.freeCount(), 1U);
}

TEST(ImageBufferPool, GivesEveryBufferToOneThreadAtATime) {
    ImageBufferPool pool;
    const auto work = [&pool](std::uint8_t mark) {
        for (int i = 0; i < 2000; ++i) {
            std::uint8_t* buffer = pool.take(512);
            std::memset(buffer, mark, 512);
            const bool isOurs = std::all_of(buffer, buffer + 512,
                                            [mark](std::uint8_t byte) { return byte == mark; });
            ASSERT_TRUE(isOurs);
            pool.giveBack(buffer);
        }
    };
    std::vector<std::thread> threads;
    for (std::uint8_t mark = 1; mark <= 4; ++mark) threads.emplace_back(work, mark);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(pool.inUseCount(), 0U);
}

}  // namespace
