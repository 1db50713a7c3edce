// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace kestrosim {

/**
 * The part of the GenICam description that is about the result chunks: for each chunk its port, a
 * category ("BarCodeChunkData" ...) and a feature for each field that ChunkLayout.h lays out.
 */
[[nodiscard]] std::string chunkDescription();

}  // namespace kestrosim
