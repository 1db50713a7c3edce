// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace kestro {

inline constexpr const char* kVersion = "1.1.0.307039";

}  // namespace kestro
