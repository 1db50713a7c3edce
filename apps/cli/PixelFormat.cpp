// SPDX-License-Identifier: Apache-2.0
#include "PixelFormat.h"

#include <array>
#include <cstdio>

namespace kestrocli {
namespace {

struct NamedFormat {
    std::uint32_t code;
    const char* name;
};

constexpr std::array kFormats = {
    NamedFormat{kMono8, "Mono8"},
    NamedFormat{0x01100003, "Mono10"},
    NamedFormat{0x010C0004, "Mono10Packed"},
    NamedFormat{0x010A0046, "Mono10p"},
    NamedFormat{0x01100005, "Mono12"},
    NamedFormat{0x010C0006, "Mono12Packed"},
    NamedFormat{0x010C0047, "Mono12p"},
    NamedFormat{0x01100025, "Mono14"},
    NamedFormat{kMono16, "Mono16"},
    NamedFormat{0x01080008, "BayerGR8"},
    NamedFormat{0x01080009, "BayerRG8"},
    NamedFormat{0x0108000A, "BayerGB8"},
    NamedFormat{0x0108000B, "BayerBG8"},
    NamedFormat{0x0110000C, "BayerGR10"},
    NamedFormat{0x0110000D, "BayerRG10"},
    NamedFormat{0x0110000E, "BayerGB10"},
    NamedFormat{0x0110000F, "BayerBG10"},
    NamedFormat{0x01100010, "BayerGR12"},
    NamedFormat{0x01100011, "BayerRG12"},
    NamedFormat{0x01100012, "BayerGB12"},
    NamedFormat{0x01100013, "BayerBG12"},
    NamedFormat{kRgb8, "RGB8"},
    NamedFormat{kBgr8, "BGR8"},
    NamedFormat{0x02200016, "RGBa8"},
    NamedFormat{0x02200017, "BGRa8"},
    NamedFormat{0x0210001F, "YUV422_8_UYVY"},
    NamedFormat{0x02100032, "YUV422_8"},
};

}  // namespace

std::string pixelFormatName(std::uint32_t code) {
    for (const NamedFormat& format : kFormats) {
        if (format.code == code) return format.name;
    }
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", code);
    return text.data();
}

}  // namespace kestrocli
