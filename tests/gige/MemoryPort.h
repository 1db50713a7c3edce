// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LastError.h"
#include "RegisterPort.h"

#include <cstdint>
#include <map>
#include <string_view>

namespace kestro::test {

/** A camera's memory without a camera; 64-bit addresses, bytes that were never set are 0. */
class MemoryPort final : public Vorda::Gige::RegisterPort {
 public:
    void set(std::uint64_t address, std::string_view bytes) {
        for (const char byte : bytes) bytes_[address++] = static_cast<std::uint8_t>(byte);
    }
    /** Every access fails with this error from now on. */
    void fail(Vorda::Gige::Error error) { error_ = error; }
    [[nodiscard]] int registerReads() const { return registerReads_; }
    [[nodiscard]] std::size_t bytesRead() const { return bytesRead_; }

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        ++registerReads_;
        value = 0;
        for (std::uint64_t i = 0; i < 4; ++i) value = value << 8 | at(address + i);
        return succeed();
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        for (int i = 0; i < 4; ++i)
            bytes_[address++] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
        return succeed();
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        bytesRead_ += data.size();
        for (std::uint8_t& byte : data) byte = at(address++);
        return succeed();
    }
    bool writeMemory(std::uint64_t address, Vorda::Gige::ByteView data) override {
        for (const std::uint8_t byte : data) bytes_[address++] = byte;
        return succeed();
    }

 private:
    [[nodiscard]] std::uint8_t at(std::uint64_t address) const {
        const auto byte = bytes_.find(address);
        return byte == bytes_.end() ? std::uint8_t{0} : byte->second;
    }
    [[nodiscard]] bool succeed() const {
        if (error_ == Vorda::Gige::Error::none) return true;
        return Vorda::Gige::fail(error_, "scripted");
    }

    std::map<std::uint64_t, std::uint8_t> bytes_;
    Vorda::Gige::Error error_ = Vorda::Gige::Error::none;
    int registerReads_ = 0;
    std::size_t bytesRead_ = 0;
};

}  // namespace kestro::test
