// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"
#include "Gvcp.h"
#include "RegisterPort.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

namespace Vorda::Gige {

/**
 * A camera's registers as the application reaches them, through features and by their addresses:
 * notes when it has decided the packet size of the stream, and which. Threads: any.
 */
class ApplicationPort final : public RegisterPort {
 public:
    explicit ApplicationPort(std::shared_ptr<RegisterPort> camera) : camera_(std::move(camera)) {}

    [[nodiscard]] bool hasSetPacketSize() const { return hasSetPacketSize_; }
    /** Takes over what was decided on an earlier connection, to a camera that may have forgotten
     * it.
     */
    void carryOver(const ApplicationPort& earlier) {
        hasSetPacketSize_ = earlier.hasSetPacketSize();
        packetSize_ = earlier.packetSize_.load();
        if (packetSize_ == 0) return;
        static_cast<void>(camera_->writeRegister(Gvcp::Register::kStreamPacketSize, packetSize_));
    }

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        return camera_->readRegister(address, value);
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        return camera_->writeRegister(address, value) && note(address, sizeof value, value);
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        return camera_->readMemory(address, data);
    }
    bool writeMemory(std::uint64_t address, ByteView data) override {
        const std::uint64_t before = kPacketSize - std::min(address, kPacketSize);
        BigEndianReader word(data);
        word.seek(before);
        const std::uint32_t value = word.u32();
        return camera_->writeMemory(address, data) &&
               note(address, data.size(), word.ok() && address <= kPacketSize ? value : 0);
    }

 private:
    static constexpr std::uint64_t kPacketSize = Gvcp::Register::kStreamPacketSize;

    /** `value` is the register's when all of it was written, else 0. */
    [[nodiscard]] bool note(std::uint64_t address, std::uint64_t bytes, std::uint32_t value) {
        if (address >= kPacketSize + 4 || address + bytes <= kPacketSize) return true;
        hasSetPacketSize_ = true;
        packetSize_ = value & Gvcp::kPacketSizeMask;
        return true;
    }

    const std::shared_ptr<RegisterPort> camera_;
    std::atomic<bool> hasSetPacketSize_{false};
    std::atomic<std::uint32_t> packetSize_{0};
};

}  // namespace Vorda::Gige
