// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LastError.h"
#include "RegisterPort.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

namespace kestro::test {

/** A camera's memory without a camera; 64-bit addresses, bytes that were never set are 0. */
class MemoryPort final : public Vorda::Gige::RegisterPort {
 public:
    void set(std::uint64_t address, std::string_view bytes) {
        for (const char byte : bytes) bytes_[address++] = static_cast<std::uint8_t>(byte);
    }
    /** A number of `size` bytes, in network order. */
    void setNumber(std::uint64_t address, std::uint64_t value, int size = 4) {
        for (int i = size; i-- > 0; value >>= 8)
            bytes_[address + static_cast<std::uint64_t>(i)] = static_cast<std::uint8_t>(value);
    }
    [[nodiscard]] std::uint64_t number(std::uint64_t address, int size = 4) const {
        std::uint64_t value = 0;
        while (size-- > 0) value = value << 8 | at(address++);
        return value;
    }
    /** Every access fails with this error from now on. */
    void fail(Vorda::Gige::Error error) { error_ = error; }

    [[nodiscard]] int registerReads() const { return registerReads_; }
    [[nodiscard]] std::size_t bytesRead() const { return bytesRead_; }
    /** The accesses of both kinds since the last call. */
    [[nodiscard]] int takeAccesses() { return std::exchange(accesses_, 0); }
    [[nodiscard]] int writes() const { return writes_; }

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        ++registerReads_;
        value = static_cast<std::uint32_t>(number(address));
        return succeed();
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        ++writes_;
        setNumber(address, value);
        return succeed();
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        bytesRead_ += data.size();
        for (std::uint8_t& byte : data) byte = at(address++);
        return succeed();
    }
    bool writeMemory(std::uint64_t address, Vorda::Gige::ByteView data) override {
        ++writes_;
        for (const std::uint8_t byte : data) bytes_[address++] = byte;
        return succeed();
    }

 private:
    [[nodiscard]] std::uint8_t at(std::uint64_t address) const {
        const auto byte = bytes_.find(address);
        return byte == bytes_.end() ? std::uint8_t{0} : byte->second;
    }
    [[nodiscard]] bool succeed() {
        ++accesses_;
        if (error_ == Vorda::Gige::Error::none) return true;
        return Vorda::Gige::fail(error_, "scripted");
    }

    std::map<std::uint64_t, std::uint8_t> bytes_;
    Vorda::Gige::Error error_ = Vorda::Gige::Error::none;
    int registerReads_ = 0;
    std::size_t bytesRead_ = 0;
    int accesses_ = 0;
    int writes_ = 0;
};

/** Another port, behind something that happens at each access. */
class ForwardingPort : public Vorda::Gige::RegisterPort {
 public:
    explicit ForwardingPort(std::shared_ptr<RegisterPort> port) : port_(std::move(port)) {}

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        return mayPass() && port_->readRegister(address, value);
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        return mayPass() && port_->writeRegister(address, value);
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        return mayPass() && port_->readMemory(address, data);
    }
    bool writeMemory(std::uint64_t address, Vorda::Gige::ByteView data) override {
        return mayPass() && port_->writeMemory(address, data);
    }

 private:
    virtual bool mayPass() = 0;

    const std::shared_ptr<RegisterPort> port_;
};

}  // namespace kestro::test
