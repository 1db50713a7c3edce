// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "LabelDrawing.h"
#include "Scene.h"
#include "SeededRandom.h"

namespace kestrosim {

/** Puts labels on the parcel, one at a time, never one near another. */
class LabelSheet {
 public:
    /** @param tiltPercent  how much labels are tilted, of the most that they are. */
    LabelSheet(Canvas& canvas, const Box& room, int tiltPercent, SeededRandom& random)
        : canvas_(canvas), room_(room), tiltPercent_(tiltPercent), random_(random) {}

    /**
     * Draws one more label of that kind, smaller or shorter where room is scarce, upright at the
     * last, if it fits. Its text is none that the scene has.
     */
    bool add(std::string_view symbology);
    /** Draws one that says the same as the one before it. */
    bool addEqual();

    [[nodiscard]] std::vector<SceneCode> takeCodes() { return std::move(codes_); }

 private:
    struct Attempt {
        int module;
        bool isBrief;
        bool isUpright;
    };

    [[nodiscard]] std::vector<Attempt> attempts();
    bool tryAdd(const LabelText& said, const Attempt& attempt);
    [[nodiscard]] bool isTooLarge(const Label& label) const;
    [[nodiscard]] LabelPose poseOf(const Label& label, bool isUpright);
    [[nodiscard]] bool findPlace(const Label& label, LabelPose& pose);
    [[nodiscard]] Box centresFor(const Outline& outline) const;
    [[nodiscard]] bool isFree(const Outline& outline) const;
    void draw(const Label& label, const LabelPose& pose);

    Canvas& canvas_;
    Box room_;
    int tiltPercent_;
    SeededRandom& random_;
    std::vector<Outline> taken_;
    std::set<std::string> texts_;
    std::vector<SceneCode> codes_;
};

}  // namespace kestrosim
