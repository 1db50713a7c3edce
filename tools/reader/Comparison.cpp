// SPDX-License-Identifier: Apache-2.0
#include "Comparison.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace readerreport {
namespace {

using kestrosim::SceneCode;

struct Pair {
    std::size_t drawn = 0;
    std::size_t read = 0;
    double distance = 0;
};

bool saysTheSame(const SceneCode& a, const SceneCode& b) {
    return a.type == b.type && a.text == b.text;
}

/** All pairs that may be one code, the nearest first. */
std::vector<Pair> possiblePairs(const kestrosim::Scene& scene) {
    std::vector<Pair> pairs;
    for (std::size_t d = 0; d < scene.drawn.size(); ++d) {
        for (std::size_t r = 0; r < scene.read.size(); ++r) {
            if (!saysTheSame(scene.drawn[d], scene.read[r])) continue;
            const auto errors = cornerErrors({Outcome::read, &scene.drawn[d], &scene.read[r]});
            pairs.push_back({d, r, std::accumulate(errors.begin(), errors.end(), 0.0)});
        }
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& a, const Pair& b) { return a.distance < b.distance; });
    return pairs;
}

}  // namespace

std::vector<double> cornerErrors(const Compared& code) {
    std::vector<double> errors;
    for (std::size_t i = 0; i < code.drawn->corners.size(); ++i) {
        const auto& drawn = code.drawn->corners[i];
        const auto& read = code.read->corners[i];
        errors.push_back(std::hypot(drawn.x - read.x, drawn.y - read.y));
    }
    return errors;
}

std::vector<Compared> compare(const kestrosim::Scene& scene) {
    std::vector<const SceneCode*> readOf(scene.drawn.size());
    std::vector<bool> isFound(scene.read.size());
    for (const Pair& pair : possiblePairs(scene)) {
        if (readOf[pair.drawn] || isFound[pair.read]) continue;
        readOf[pair.drawn] = &scene.read[pair.read];
        isFound[pair.read] = true;
    }
    std::vector<Compared> codes;
    for (std::size_t d = 0; d < scene.drawn.size(); ++d) {
        codes.push_back({readOf[d] ? Outcome::read : Outcome::missed, &scene.drawn[d], readOf[d]});
    }
    for (std::size_t r = 0; r < scene.read.size(); ++r) {
        if (isFound[r]) continue;
        const bool wasDrawn =
            std::any_of(scene.drawn.begin(), scene.drawn.end(),
                        [&](const SceneCode& drawn) { return saysTheSame(drawn, scene.read[r]); });
        codes.push_back({wasDrawn ? Outcome::twice : Outcome::wrong, nullptr, &scene.read[r]});
    }
    return codes;
}

}  // namespace readerreport
