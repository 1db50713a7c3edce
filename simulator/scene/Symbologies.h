// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace kestrosim {

/** A kind of code that can be drawn and read. */
struct Symbology {
    std::string_view name;  ///< as results name it; Codabar's name has its two letters behind it
    bool isMatrix;          ///< told in the QR reader's results instead of the bar code reader's
};

/** In the order of their selector. */
inline constexpr std::array<Symbology, 8> kSymbologies{{{"CODE128", false},
                                                        {"QR", true},
                                                        {"CODE39", false},
                                                        {"EAN13", false},
                                                        {"ITF25", false},
                                                        {"CODABAR", false},
                                                        {"DM", true},
                                                        {"PDF417", true}}};

/** The place in kSymbologies of a code's type, "CODABARAB" among them; their number for none. */
[[nodiscard]] constexpr std::size_t symbologyOf(std::string_view type) {
    constexpr std::string_view kCodabar = "CODABAR";
    const std::string_view name = type.substr(0, kCodabar.size()) == kCodabar ? kCodabar : type;
    std::size_t place = 0;
    while (place < kSymbologies.size() && kSymbologies[place].name != name) ++place;
    return place;
}

}  // namespace kestrosim
