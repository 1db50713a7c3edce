// SPDX-License-Identifier: Apache-2.0
//
// Registers and memory of a camera by address.
#include "GigeCamera.h"
#include "LastError.h"
#include "VordaGenICam.h"

#include <string>
#include <utility>

namespace Vorda::GenICam {
namespace {

using Gige::Error;
using Gige::GigeCamera;

constexpr std::uint32_t kRegisterBytes = 4;
constexpr std::uint32_t kMostBytes = 512;

constexpr std::uint32_t reversed(std::uint32_t value) {
    return value << 24 | (value & 0xff00) << 8 | (value >> 8 & 0xff00) | value >> 24;
}

bool checkBlock(const void* buffer, std::uint32_t length) {
    if (buffer == nullptr) return Gige::fail(Error::invalidArgument, "there is no buffer");
    if (length >= 1 && length <= kMostBytes) return true;
    return Gige::fail(Error::invalidArgument,
                      "a block of memory has 1 to 512 bytes and not " + std::to_string(length));
}

class Assistant final : public IAssistant {
 public:
    explicit Assistant(std::shared_ptr<GigeCamera> camera) : camera_(std::move(camera)) {}

    bool readReg(std::uint64_t address, std::int64_t& value, std::uint32_t& length) override {
        const auto registers = camera_->registers();
        std::uint32_t held = 0;
        if (!registers || !registers->readRegister(address, held)) return false;
        value = reversed(held);
        length = kRegisterBytes;
        return true;
    }

    bool writeReg(std::uint64_t address, std::int64_t value, std::uint32_t& length) override {
        if (length != kRegisterBytes)
            return Gige::fail(Error::invalidArgument,
                              "a register has 4 bytes and not " + std::to_string(length));
        const auto registers = camera_->registers();
        return registers &&
               registers->writeRegister(address, reversed(static_cast<std::uint32_t>(value)));
    }

    bool readMem(std::uint64_t address, void* buffer, std::uint32_t& length) override {
        if (!checkBlock(buffer, length)) return false;
        const auto registers = camera_->registers();
        return registers &&
               registers->readMemory(address, {static_cast<std::uint8_t*>(buffer), length});
    }

    bool writeMem(std::uint64_t address, const void* buffer, std::uint32_t& length) override {
        if (!checkBlock(buffer, length)) return false;
        const auto registers = camera_->registers();
        return registers &&
               registers->writeMemory(address, {static_cast<const std::uint8_t*>(buffer), length});
    }

 private:
    const std::shared_ptr<GigeCamera> camera_;
};

}  // namespace

TSharedPtr<IAssistant> CInternalAssistantEx::getInstance(const TSharedPtr<ICamera>& camera) {
    auto ours = GigeCamera::from(camera);
    if (ours) return std::make_shared<Assistant>(std::move(ours));
    Gige::setLastError(Error::invalidArgument, "this is no GigE Vision camera");
    return nullptr;
}

}  // namespace Vorda::GenICam
