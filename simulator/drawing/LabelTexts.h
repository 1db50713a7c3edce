// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "SeededRandom.h"

namespace kestrosim {

/** What one code says, UTF-8. */
struct LabelText {
    std::string type;  ///< a name of Symbologies.h, with its start and stop letters for Codabar
    std::string text;  ///< with its check digit where the kind asks for one

    [[nodiscard]] bool operator==(const LabelText&) const = default;
};

/**
 * What the label of a shipping or packing line, or of a library, says in a code of that kind.
 *
 * @param symbology  a name of Symbologies.h.
 * @param isBrief  as short as the kind allows, for small pictures.
 */
[[nodiscard]] LabelText labelText(std::string_view symbology, bool isBrief, SeededRandom& random);

}  // namespace kestrosim
