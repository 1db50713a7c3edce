// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "SeededRandom.h"

namespace kestrosim {

/** What a shipping label's Code 128 says: capitals, digits and "-/." only. */
[[nodiscard]] std::string linearText(SeededRandom& random);

/** A shorter one, for small pictures. */
[[nodiscard]] std::string shortLinearText(SeededRandom& random);

/** What a QR code says, UTF-8: a link, a lot, now and then a place with foreign letters. */
[[nodiscard]] std::string matrixText(SeededRandom& random);

/** A few digits, so that the smallest QR code holds them. */
[[nodiscard]] std::string shortMatrixText(SeededRandom& random);

}  // namespace kestrosim
