// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <span>

namespace Vorda::Gige {

/**
 * The registers and the memory of a camera. Operations answer false with the thread's last error
 * set. Threads: any.
 */
class RegisterPort {
 public:
    virtual ~RegisterPort() = default;
    [[nodiscard]] virtual bool readRegister(std::uint64_t address, std::uint32_t& value) = 0;
    [[nodiscard]] virtual bool writeRegister(std::uint64_t address, std::uint32_t value) = 0;
    /** Any address and size; a failure leaves `data` undefined. */
    [[nodiscard]] virtual bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) = 0;
    /**
     * Any address and size. Cameras are written in words of 4 bytes: of a word that is only partly
     * covered, the rest is read and written back.
     */
    [[nodiscard]] virtual bool writeMemory(std::uint64_t address, ByteView data) = 0;
};

}  // namespace Vorda::Gige
