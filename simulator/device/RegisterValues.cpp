// SPDX-License-Identifier: Apache-2.0
#include "RegisterValues.h"

#include "GigeWire.h"
#include "Registers.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace kestrosim {

std::uint8_t* RegisterValues::at(std::uint32_t address) {
    return const_cast<std::uint8_t*>(std::as_const(*this).at(address));
}

const std::uint8_t* RegisterValues::at(std::uint32_t address) const {
    if (address < reg::kBootstrapEnd) return bootstrap_.data() + address;
    return features_.data() + (address - reg::kFeatures);
}

std::uint32_t RegisterValues::word(std::uint32_t address) const { return load32(at(address)); }

double RegisterValues::real(std::uint32_t address) const {
    return std::bit_cast<double>(load64(at(address)));
}

void RegisterValues::setWord(std::uint32_t address, std::uint32_t value) {
    store32(at(address), value);
}

void RegisterValues::setReal(std::uint32_t address, double value) {
    store64(at(address), std::bit_cast<std::uint64_t>(value));
}

void RegisterValues::setText(std::uint32_t address, std::size_t bytes, std::string_view text) {
    std::memset(at(address), 0, bytes);
    std::memcpy(at(address), text.data(), std::min(bytes, text.size()));
}

}  // namespace kestrosim
