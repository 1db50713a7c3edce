// SPDX-License-Identifier: Apache-2.0
#include "LabelSheet.h"

#include <algorithm>
#include <cmath>

namespace kestrosim {
namespace {

constexpr int kLabelGapPixels = 24;
constexpr int kMostDegrees = 30;  // that codes of bars and stacked ones are turned either way
constexpr int kMostTilt = 35;     // degrees
constexpr int kPlaceUnit = 16;    // labels lie on sixteenths of a pixel

bool isReadAnyWayRound(const std::string& type) { return type == "QR" || type == "DM"; }

double side(const Point& from, const Point& to, const Point& point) {
    return (to.x - from.x) * (point.y - from.y) - (to.y - from.y) * (point.x - from.x);
}

/** Whether one side of the quad has all of these points beyond it. */
bool parts(const Outline& quad, const Outline& points) {
    for (std::size_t i = 0; i < quad.size(); ++i) {
        const Point& from = quad[i];
        const Point& to = quad[(i + 1) % quad.size()];
        if (std::all_of(points.begin(), points.end(),
                        [&](const Point& point) { return side(from, to, point) < 0; })) {
            return true;
        }
    }
    return false;
}

double distance(const Point& a, const Point& b) {
    return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
}

/** Of the code's narrowest element, as drawn: the mean along the code, of a matrix both ways. */
double pixelsPerModule(const Label& label, const Outline& code) {
    const double across = (distance(code[0], code[1]) + distance(code[3], code[2])) / 2;
    const double perColumn = across / label.modules.width();
    if (!isReadAnyWayRound(label.said.type)) return perColumn;
    const double down = (distance(code[0], code[3]) + distance(code[1], code[2])) / 2;
    return (perColumn + down / label.modules.height()) / 2;
}

std::int32_t rounded(double value) { return static_cast<std::int32_t>(std::floor(value + 0.5)); }

}  // namespace

bool LabelSheet::add(std::string_view symbology) {
    const auto all = attempts();
    return std::any_of(all.begin(), all.end(), [this, symbology](const Attempt& attempt) {
        const LabelText said = labelText(symbology, attempt.isBrief, random_);
        return !texts_.contains(said.text) && tryAdd(said, attempt);
    });
}

bool LabelSheet::addEqual() {
    if (codes_.empty()) return false;
    const LabelText said{codes_.back().type, codes_.back().text};
    const auto all = attempts();
    return std::any_of(all.begin(), all.end(),
                       [this, &said](const Attempt& attempt) { return tryAdd(said, attempt); });
}

std::vector<LabelSheet::Attempt> LabelSheet::attempts() {
    const int module = random_.between(kSmallestModule, kLargestModule);
    return {{module, false, false},          {(module + kSmallestModule) / 2, false, false},
            {kSmallestModule, false, false}, {kSmallestModule, false, false},
            {kSmallestModule, true, false},  {kSmallestModule, true, true}};
}

bool LabelSheet::tryAdd(const LabelText& said, const Attempt& attempt) {
    const auto label = layOut(said, {attempt.module, random_.between(18, 34), attempt.isBrief});
    if (!label || isTooLarge(*label)) return false;
    LabelPose pose = poseOf(*label, attempt.isUpright);
    if (!findPlace(*label, pose)) return false;
    texts_.insert(said.text);
    draw(*label, pose);
    return true;
}

/** Large modules are for codes that leave room for others. */
bool LabelSheet::isTooLarge(const Label& label) const {
    return label.module > kSmallestModule && label.width > room_.width() * kFine / 2;
}

LabelPose LabelSheet::poseOf(const Label& label, bool isUpright) {
    const bool isAny = isReadAnyWayRound(label.said.type);
    const int degrees =
        isAny ? random_.between(0, 359) : random_.between(-kMostDegrees, kMostDegrees);
    const int across = random_.between(-kMostTilt, kMostTilt) * tiltPercent_ / 100;
    const int down = random_.between(-kMostTilt, kMostTilt) * tiltPercent_ / 100;
    return {{}, isUpright ? 0 : degrees, across, down};
}

/** The place is the untilted label's, so that the same labels lie there however they are tilted. */
bool LabelSheet::findPlace(const Label& label, LabelPose& pose) {
    const auto centres = centresFor(outlineOf(label, {{}, pose.degrees, 0, 0}, 0));
    if (centres.left > centres.right || centres.top > centres.bottom) return false;
    constexpr int kTries = 80;
    for (int i = 0; i < kTries; ++i) {
        const double x = random_.between(centres.left, centres.right);
        const double y = random_.between(centres.top, centres.bottom);
        const LabelPose flat{{x / kPlaceUnit, y / kPlaceUnit}, pose.degrees, 0, 0};
        if (!isFree(outlineOf(label, flat, kLabelGapPixels))) continue;
        taken_.push_back(outlineOf(label, flat, 0));
        pose.centre = flat.centre;
        return true;
    }
    return false;
}

/** Where the middle of such an outline may lie, in units of places, both ends included. */
Box LabelSheet::centresFor(const Outline& outline) const {
    const int edge = std::min({10, room_.width() / 40, room_.height() / 40});
    const Box room = room_.grownBy(-edge);
    const auto [left, right] =
        std::minmax({outline[0].x, outline[1].x, outline[2].x, outline[3].x});
    const auto [top, bottom] =
        std::minmax({outline[0].y, outline[1].y, outline[2].y, outline[3].y});
    return {rounded((room.left - left) * kPlaceUnit), rounded((room.top - top) * kPlaceUnit),
            rounded((room.right - right) * kPlaceUnit),
            rounded((room.bottom - bottom) * kPlaceUnit)};
}

bool LabelSheet::isFree(const Outline& outline) const {
    return std::all_of(taken_.begin(), taken_.end(), [&outline](const Outline& label) {
        return parts(outline, label) || parts(label, outline);
    });
}

void LabelSheet::draw(const Label& label, const LabelPose& pose) {
    const Homography picture = pictureOf(label, pose);
    drawLabel(canvas_, label, picture);
    const Outline code = quadOf(label.code, picture);
    SceneCode truth{label.said.type, label.said.text, {}, 0, 0};
    for (std::size_t i = 0; i < code.size(); ++i) {
        truth.corners[i] = {rounded(code[i].x), rounded(code[i].y)};
    }
    truth.pixelsPerModule = static_cast<float>(rounded(pixelsPerModule(label, code) * 1000)) / 1000;
    codes_.push_back(std::move(truth));
}

}  // namespace kestrosim
