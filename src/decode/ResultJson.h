// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CodeValues.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestro::decode {

struct JsonPipeline {
    std::int32_t timestampHigh = 0;
    std::int32_t timestampLow = 0;
};

struct JsonScale {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct JsonReadings {
    std::string_view status;
    std::int32_t time = 0;
    std::vector<CodeValues> codes;
};

/**
 * What a result text holds; a document that is absent or no object is not there, members that are
 * absent or of another type are 0 or empty.
 */
struct ResultJson {
    std::optional<JsonPipeline> pipeline;
    std::optional<JsonScale> scale;
    std::optional<JsonReadings> barcodes;
    std::optional<JsonReadings> qrCodes;
    std::string error;              ///< what is wrong with the text, and where; empty when nothing
    std::unique_ptr<char[]> bytes;  ///< what the texts look at
};

/**
 * Reads a result text.
 *
 * Any bytes may stand in its strings. The last of several members of one name counts. Numbers of
 * any size are read; whole ones keep the low 32 bits of their value. Texts nested deeper than
 * 200 levels are errors, and so is anything but blanks behind the document, a NUL included.
 */
[[nodiscard]] ResultJson parseResultJson(std::string_view text);

}  // namespace kestro::decode
