// SPDX-License-Identifier: Apache-2.0
#include "Ipv4Text.h"

#include <arpa/inet.h>
#include <bit>

namespace kestrocli {

std::optional<std::uint32_t> addressFrom(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

std::string dotted(std::uint32_t address) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += (text.empty() ? "" : ".") + std::to_string((address >> shift) & 0xFFU);
    }
    return text;
}

std::string dotted(std::uint32_t address, std::uint32_t mask) {
    return dotted(address) + "/" + std::to_string(std::popcount(mask));
}

}  // namespace kestrocli
