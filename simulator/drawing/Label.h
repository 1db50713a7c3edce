// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ZXing/BitMatrix.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Canvas.h"
#include "LabelTexts.h"

namespace kestrosim {

/** Labels are laid out in quarters of a pixel. */
constexpr int kFine = 4;

constexpr int kSmallestModule = 5 * kFine / 2;
constexpr int kLargestModule = 5 * kFine;

/** A printed label as it lies before one flat; lengths in quarters of a pixel. */
struct Label {
    LabelText said;
    ZXing::BitMatrix modules;
    int module = kSmallestModule;
    int width = 0;
    int height = 0;
    Box code;         ///< where on the label its modules are
    int caption = 0;  ///< of a dot of the letters below the code; 0: no caption
};

/** What a label's maker may choose. */
struct LabelMeasure {
    int module = kSmallestModule;  ///< quarters of a pixel, of the narrowest element
    int barHeightPercent = 25;     ///< of the length of a code of bars
    bool hasScarceQuietZone = false;
};

/** Empty if no code of that kind can say so in a form that lines print. */
[[nodiscard]] std::optional<Label> layOut(const LabelText& said, const LabelMeasure& measure);

/** The label's face, Mono8, one pixel a quarter. */
[[nodiscard]] std::vector<std::uint8_t> drawFace(const Label& label);

}  // namespace kestrosim
