// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Gvcp.h"
#include "RegisterPort.h"

#include <atomic>
#include <memory>
#include <utility>

namespace Vorda::Gige {

/**
 * A camera's registers as the application reaches them, through features and by their addresses:
 * notes when it has decided the packet size of the stream. Threads: any.
 */
class ApplicationPort final : public RegisterPort {
 public:
    explicit ApplicationPort(std::shared_ptr<RegisterPort> camera) : camera_(std::move(camera)) {}

    [[nodiscard]] bool hasSetPacketSize() const { return hasSetPacketSize_; }

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        return camera_->readRegister(address, value);
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        return camera_->writeRegister(address, value) && note(address, sizeof value);
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        return camera_->readMemory(address, data);
    }
    bool writeMemory(std::uint64_t address, ByteView data) override {
        return camera_->writeMemory(address, data) && note(address, data.size());
    }

 private:
    [[nodiscard]] bool note(std::uint64_t address, std::uint64_t bytes) {
        constexpr std::uint64_t kBegin = Gvcp::Register::kStreamPacketSize;
        if (address < kBegin + 4 && address + bytes > kBegin) hasSetPacketSize_ = true;
        return true;
    }

    const std::shared_ptr<RegisterPort> camera_;
    std::atomic<bool> hasSetPacketSize_{false};
};

}  // namespace Vorda::Gige
