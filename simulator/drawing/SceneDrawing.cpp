// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <string_view>

#include "Canvas.h"
#include "Imaging.h"
#include "LabelSheet.h"
#include "SceneGround.h"
#include "SceneParts.h"
#include "SeededRandom.h"
#include "Symbologies.h"

namespace kestrosim {
namespace {

constexpr std::array<std::string_view, 5> kBarKinds{"CODE128", "EAN13", "CODE39", "ITF25",
                                                    "CODABAR"};
constexpr std::array<std::string_view, 3> kFieldKinds{"QR", "DM", "PDF417"};

/** Mixes so that neighbouring seeds and scene numbers share nothing that one would see. */
std::uint64_t mixed(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

/** One to six labels, more where the picture is larger than usual. */
int labelCount(const SceneOptions& options, SeededRandom& random) {
    constexpr std::uint64_t kUsualPixels = std::uint64_t{1280} * 1024;
    constexpr int kMost = 16;
    const std::uint64_t pixels = std::uint64_t{options.width} * options.height;
    const int usual = random.between(1, 6);
    if (pixels <= kUsualPixels) return usual;
    return std::min(static_cast<int>(static_cast<std::uint64_t>(usual) * pixels / kUsualPixels),
                    kMost);
}

/** Takes turns, so that two scenes in a row show both sorts and a dozen shows every kind. */
std::string_view firstKind(std::uint64_t seed, std::uint32_t number) {
    const std::uint64_t turn = mixed(seed) % 15 + number / 2;
    return number % 2 == 0 ? kBarKinds[turn % kBarKinds.size()]
                           : kFieldKinds[turn % kFieldKinds.size()];
}

/** Where the kind does not fit, one that needs less room: at the last the smallest of all. */
bool addFirst(LabelSheet& sheet, std::string_view kind, bool isOfBars) {
    return sheet.add(kind) || (isOfBars && sheet.add("CODE128")) || sheet.add("QR") ||
           sheet.add("DM");
}

void addLabels(LabelSheet& sheet, const SceneOptions& options, std::uint32_t number,
               SeededRandom& random) {
    const bool hasEqual = random.between(0, 4) == 0;
    const int labels = labelCount(options, random) - (hasEqual ? 1 : 0);
    if (!addFirst(sheet, firstKind(options.seed, number), number % 2 == 0)) return;
    if (hasEqual) sheet.addEqual();
    for (int i = 1; i < labels; ++i) {
        const auto kind = static_cast<std::size_t>(random.between(0, kSymbologies.size() - 1));
        sheet.add(kSymbologies[kind].name);
    }
}

}  // namespace

Scene drawScene(const SceneOptions& options, std::uint32_t number) {
    SeededRandom random(mixed(mixed(options.seed) ^ number));
    Scene scene;
    scene.width = options.width;
    scene.height = options.height;
    scene.pixels.resize(std::size_t{options.width} * options.height);
    if (scene.pixels.empty()) return scene;

    const int difficulty = static_cast<int>(std::min(options.difficulty, 10U));
    Canvas canvas(static_cast<int>(options.width), static_cast<int>(options.height), scene.pixels);
    LabelSheet sheet(canvas, drawGround(canvas, random), 10 * difficulty, random);
    addLabels(sheet, options, number, random);
    scene.drawn = sheet.takeCodes();
    takePicture(canvas, difficulty, random);
    return scene;
}

}  // namespace kestrosim
