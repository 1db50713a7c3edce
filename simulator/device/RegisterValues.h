// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrosim {

/** The bytes of all registers: bootstrap registers and features have an area of 4 KiB each. */
class RegisterValues {
 public:
    static constexpr std::size_t kAreaBytes = 0x1000;

    [[nodiscard]] std::uint8_t* at(std::uint32_t address);
    [[nodiscard]] const std::uint8_t* at(std::uint32_t address) const;
    [[nodiscard]] std::uint32_t word(std::uint32_t address) const;
    [[nodiscard]] double real(std::uint32_t address) const;
    void setWord(std::uint32_t address, std::uint32_t value);
    void setReal(std::uint32_t address, double value);
    void setText(std::uint32_t address, std::size_t bytes, std::string_view text);

 private:
    std::array<std::uint8_t, kAreaBytes> bootstrap_{};
    std::array<std::uint8_t, kAreaBytes> features_{};
};

}  // namespace kestrosim
