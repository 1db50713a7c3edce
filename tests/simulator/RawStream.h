// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "RawClient.h"
#include "Scene.h"

namespace rawclient {

inline constexpr std::uint32_t kWriteMemory = 0x0086;
inline constexpr std::uint32_t kResend = 0x0040;
inline constexpr std::uint32_t kWidth = 0x10000;
inline constexpr std::uint32_t kHeight = 0x10004;
inline constexpr std::uint32_t kOffsetX = 0x10008;
inline constexpr std::uint32_t kOffsetY = 0x1000c;
inline constexpr std::uint32_t kAcquisitionMode = 0x10020;
inline constexpr std::uint32_t kFrameCount = 0x10024;
inline constexpr std::uint32_t kStart = 0x10028;
inline constexpr std::uint32_t kStop = 0x1002c;
inline constexpr std::uint32_t kExposure = 0x10038;
inline constexpr std::uint32_t kTriggerMode = 0x10044;
inline constexpr std::uint32_t kTrigger = 0x1004c;

struct Packet {
    std::uint64_t status = 0;
    std::uint64_t block = 0;
    std::uint64_t format = 0;
    std::uint64_t id = 0;
    Bytes content;
    std::size_t datagramBytes = 0;
};

inline Packet parse(const Bytes& bytes) {
    Packet packet;
    packet.status = number(bytes, 0, 2);
    packet.format = bytes.at(4) & 0x7f;
    packet.datagramBytes = bytes.size();
    const bool extended = (bytes.at(4) & 0x80) != 0;
    packet.block = extended ? number(bytes, 8, 8) : number(bytes, 2, 2);
    packet.id = extended ? number(bytes, 16, 4) : number(bytes, 5, 3);
    packet.content.assign(bytes.begin() + (extended ? 20 : 8), bytes.end());
    return packet;
}

inline std::uint64_t littleEndian(const Bytes& from, std::size_t offset, std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes; i-- > 0;) value = value << 8 | from.at(offset + i);
    return value;
}

/** Where a container's table has its image block: the entry with type 0. */
inline std::size_t imageEntry(const Bytes& container) {
    for (std::size_t entry = 24; entry < 24 + 64 * littleEndian(container, 8, 4); entry += 64) {
        if (littleEndian(container, entry, 4) == 0) return entry;
    }
    throw std::runtime_error("no image block");
}

inline Bytes imageOf(const Bytes& container) {
    const std::size_t entry = imageEntry(container);
    const std::size_t offset = littleEndian(container, entry + 4, 4);
    const std::size_t size = littleEndian(container, entry + 8, 4);
    if (offset + size > container.size()) throw std::runtime_error("image block past the end");
    const auto first = container.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}

struct Frame {
    std::vector<Packet> packets;
    [[nodiscard]] const Bytes& leader() const { return packets.front().content; }
    [[nodiscard]] std::uint64_t timestamp() const { return number(leader(), 4, 8); }
    [[nodiscard]] Bytes payload() const {
        Bytes bytes;
        for (const Packet& packet : packets) {
            if (packet.format == 3) bytes = std::move(bytes) + packet.content;
        }
        return bytes;
    }
};

/** A camera under control whose stream channel ends in a socket of the test. */
class Stream : public testing::Test {
 protected:
    void open(const kestrosim::CameraOptions& options = TestCamera::small()) {
        camera_ = std::make_unique<TestCamera>(options);
        client_ = std::make_unique<Client>(camera_->options.address);
        set({{0x0a00, 2}, {0x0938, 60000}});
        set({{0x0d18, addressNumber("127.0.0.1")}, {0x0d00, receiver_.port()}});
    }

    void open(kestrosim::ResultFormat format) {
        kestrosim::CameraOptions options = TestCamera::small();
        options.format = format;
        open(options);
    }

    /** Writes registers, in this order. */
    void set(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& values) {
        for (const auto& [address, value] : values)
            ASSERT_EQ(client_->write(address, value), 0U) << std::hex << address;
    }

    Packet nextPacket() {
        const auto received = receiver_.receive();
        if (!received) throw std::runtime_error("no packet");
        EXPECT_EQ(received->from, camera_->options.address);
        ++packetsReceived_;
        return parse(received->bytes);
    }

    Frame nextFrame() {
        Frame frame;
        do frame.packets.push_back(nextPacket());
        while (frame.packets.back().format != 2);
        return frame;
    }

    void writeReal(std::uint32_t address, double value) {
        const auto bits = std::bit_cast<std::uint64_t>(value);
        const Bytes bytes =
            be32(static_cast<std::uint32_t>(bits >> 32)) + be32(static_cast<std::uint32_t>(bits));
        ASSERT_EQ(client_->command(kWriteMemory, be32(address) + bytes).status, 0U);
    }

    std::shared_ptr<const kestrosim::Scene> scene(std::uint64_t sceneNumber) {
        const kestrosim::CameraOptions& options = camera_->options;
        if (!scenes_) {
            scenes_ = std::make_unique<kestrosim::SceneSet>(kestrosim::SceneOptions{
                options.width, options.height, options.seed, options.scenes, 0, {}});
        }
        return scenes_->scene(sceneNumber);
    }

    void requestResend(std::uint32_t block, std::uint32_t first, std::uint32_t last) {
        client_->sendSilent(0x00, kResend, be16(0) + be16(block) + be32(first) + be32(last));
    }

    Socket receiver_;
    std::uint64_t packetsReceived_ = 0;
    std::unique_ptr<TestCamera> camera_;
    std::unique_ptr<Client> client_;
    std::unique_ptr<kestrosim::SceneSet> scenes_;
};

}  // namespace rawclient
