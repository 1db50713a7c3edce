// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

namespace kestro::decode {

/** The number of a code type's name, as BarcodeInfo::getCodeType() lists them; -1 when unknown. */
[[nodiscard]] std::int32_t codeTypeFromName(std::string_view name);
/** The number of a pipeline status' name, as Frame::getStatus() lists them; 0 when unknown. */
[[nodiscard]] std::uint32_t statusFromName(std::string_view name);

}  // namespace kestro::decode
