// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "GreyMap.h"

namespace kestrosim {

/**
 * What the library for codes makes of ink and paper that were told apart already.
 *
 * The library ends the process where an assertion of its own fails, and ordinary pictures make its
 * search for codes do that: lines of two equal bar codes, matrix codes half seen. So it is given
 * single lines and clean grids of modules, which it need not search, and no picture.
 */
struct DecodedLine {
    std::string type;
    std::string text;
    int begin = 0;            ///< samples, of the first bar as the line runs
    int end = 0;              ///< just behind the last bar
    bool isReversed = false;  ///< read from end to begin
};

/** The first bar code along a line of kInkValue and kPaperValue. */
[[nodiscard]] std::optional<DecodedLine> decodeLine(const std::vector<std::uint8_t>& line);

/** The text of a QR code's modules, a pixel each. */
[[nodiscard]] std::optional<std::string> decodeQr(const GreyMap& modules);

/** The text of a Data Matrix code's modules, a pixel each. */
[[nodiscard]] std::optional<std::string> decodeDataMatrix(const GreyMap& modules);

struct DecodedStack {
    std::string text;
    Outline corners;  ///< samples
};

/** The first PDF417 code with upright bars; its part of the library searches without assertions. */
[[nodiscard]] std::optional<DecodedStack> decodeStack(const GreyMap& ink);

}  // namespace kestrosim
