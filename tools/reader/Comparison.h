// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scene.h"

#include <cstddef>
#include <vector>

namespace readerreport {

/** What became of one code; the names are those of the records. */
enum class Outcome {
    read,    ///< drawn and reported
    missed,  ///< drawn only
    wrong,   ///< reported only: nothing of this kind and text was drawn
    twice    ///< reported once more than it was drawn
};

/** One code, of a picture's drawn and reported ones; null is the side that it is not on. */
struct Compared {
    Outcome outcome;
    const kestrosim::SceneCode* drawn = nullptr;
    const kestrosim::SceneCode* read = nullptr;
};

/**
 * Finds for each code that the reader reported the one that was drawn: of the same kind and text,
 * and of several such the nearest. Equal labels are several codes. Borrows from the scene.
 */
[[nodiscard]] std::vector<Compared> compare(const kestrosim::Scene& scene);

/** How far the reported corners are from the drawn ones of the same number, in pixels. */
[[nodiscard]] std::vector<double> cornerErrors(const Compared& code);

}  // namespace readerreport
