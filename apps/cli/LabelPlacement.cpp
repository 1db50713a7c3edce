// SPDX-License-Identifier: Apache-2.0
#include "LabelPlacement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace kestrocli {
namespace {

bool overlap(const Rect& a, const Rect& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

/** How much of a rectangle another one covers, from 0 to 1. */
double shareCovered(const Rect& rect, const Rect& by) {
    if (!overlap(rect, by)) return 0;
    const double width = std::min(rect.right, by.right) - std::max(rect.left, by.left);
    const double height = std::min(rect.bottom, by.bottom) - std::max(rect.top, by.top);
    return width * height / (rect.width() * rect.height());
}

std::array<Spot, 4> cornersOf(const Rect& rect) {
    return {Spot{rect.left, rect.top}, Spot{rect.right, rect.top}, Spot{rect.right, rect.bottom},
            Spot{rect.left, rect.bottom}};
}

template <typename Spots>
std::pair<double, double> extentAlong(Spot axis, const Spots& spots) {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    for (const Spot& spot : spots) {
        const double along = spot.x * axis.x + spot.y * axis.y;
        low = std::min(low, along);
        high = std::max(high, along);
    }
    return {low, high};
}

double distanceBetween(const Rect& rect, Spot spot) {
    const double dx = std::max({rect.left - spot.x, spot.x - rect.right, 0.0});
    const double dy = std::max({rect.top - spot.y, spot.y - rect.bottom, 0.0});
    return std::hypot(dx, dy);
}

/** From a rectangle to the point of an outline that is nearest to its middle. */
double distanceFromMiddle(const Rect& rect, const Outline& outline) {
    return distanceBetween(
        rect, nearestPoint(outline, {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2}));
}

/** Between a rectangle and an outline beside it: one of the two is nearest with a corner. */
double clearance(const Rect& rect, const Outline& outline) {
    double least = std::numeric_limits<double>::max();
    for (const Spot& corner : outline) least = std::min(least, distanceBetween(rect, corner));
    for (const Spot& corner : cornersOf(rect)) {
        const Spot spot = nearestPoint(outline, corner);
        least = std::min(least, std::hypot(spot.x - corner.x, spot.y - corner.y));
    }
    return least;
}

Rect grown(const Rect& rect, double by) {
    return {rect.left - by, rect.top - by, rect.right + by, rect.bottom + by};
}

/** The rectangle moved, by no more than it must be, to where it lies within the picture. */
Rect movedInto(const Rect& picture, Rect rect) {
    const double width = rect.width();
    const double height = rect.height();
    rect.left = std::clamp(rect.left, picture.left, picture.right - width);
    rect.top = std::clamp(rect.top, picture.top, picture.bottom - height);
    return {rect.left, rect.top, rect.left + width, rect.top + height};
}

/** The part of a code that the picture shows; of one beside it, the edge that is nearest. */
Rect shownPart(const Rect& picture, const Rect& bounds) {
    const auto across = [&](double x) { return std::clamp(x, picture.left, picture.right); };
    const auto down = [&](double y) { return std::clamp(y, picture.top, picture.bottom); };
    return {across(bounds.left), down(bounds.top), across(bounds.right), down(bounds.bottom)};
}

/** Places around a code, those that are liked best first. */
std::vector<Rect> placesAround(const Rect& code, double width, double height, double gap) {
    std::vector<Rect> places;
    const auto add = [&](double left, double top) {
        places.push_back({left, top, left + width, top + height});
    };
    const double centred = (code.left + code.right - width) / 2;
    const double middle = (code.top + code.bottom - height) / 2;
    const double across = (code.left + code.right) / 2;
    for (const double left : {centred, code.left, code.right - width, across, across - width}) {
        add(left, code.bottom + gap);
        add(left, code.top - gap - height);
    }
    for (const double top : {middle, code.top, code.bottom - height}) {
        add(code.right + gap, top);
        add(code.left - gap - width, top);
    }
    return places;
}

/** The labels of one picture, as far as they have places. */
class Placement {
 public:
    Placement(const Rect& room, const std::vector<Outline>& codes)
        : room_(room), codes_(codes), labels_(codes.size()) {
        for (const Outline& code : codes) bounds_.push_back(boundsOf(code));
    }

    /** Gives a label, which may have had another place before, the best place that there is. */
    void place(std::size_t code, const LabelSize& size) {
        constexpr int kRings = 8;
        labels_[code] = {};
        const Rect around = shownPart(room_, bounds_[code]);
        Rect best;
        double least = std::numeric_limits<double>::max();
        for (int ring = 0; ring < kRings; ++ring) {
            const double gap = size.height * (0.4 + ring * 0.8);
            double liked = 0;
            for (const Rect& wish : placesAround(around, size.width, size.height, gap)) {
                const Rect place = movedInto(room_, wish);
                const double cost = costOf(place, code, least - liked) + liked;
                liked += 0.02;
                if (cost >= least) continue;
                least = cost;
                best = place;
            }
        }
        labels_[code] = best;
    }

    [[nodiscard]] const std::vector<Rect>& labels() const { return labels_; }

 private:
    /** Not less than the limit, and no more exact than that, where the cost is not below it. */
    [[nodiscard]] double costOf(const Rect& label, std::size_t code, double limit) const {
        // Touching counts by itself: a code that is covered a little is not to be seen whole.
        constexpr double kTouching = 3;
        constexpr double kOverCode = 10;
        constexpr double kOverLabel = 20;
        constexpr double kNearerToAnother = 1;
        double cost = distanceFromMiddle(label, codes_[code]) / label.height();
        for (std::size_t i = 0; i < codes_.size(); ++i) {
            if (overlap(label, bounds_[i]) && kestrocli::overlap(label, codes_[i])) {
                cost += kTouching + kOverCode * shareCovered(label, bounds_[i]);
            }
        }
        for (const Rect& other : labels_) {
            if (overlap(label, other)) cost += kTouching + kOverLabel * shareCovered(label, other);
        }
        // Last, for among very many codes it is the dearest question.
        if (cost < limit && isNearerToAnother(label, code)) cost += kNearerToAnother;
        return cost;
    }

    /** Such a label would seem to be that of the other code. */
    [[nodiscard]] bool isNearerToAnother(const Rect& label, std::size_t code) const {
        const double own = clearance(label, codes_[code]);
        const Rect around = grown(label, own);
        for (std::size_t i = 0; i < codes_.size(); ++i) {
            if (i == code || !overlap(around, bounds_[i])) continue;
            if (clearance(label, codes_[i]) < own) return true;
        }
        return false;
    }

    Rect room_;
    const std::vector<Outline>& codes_;
    std::vector<Rect> bounds_;
    std::vector<Rect> labels_;  // empty ones are not placed yet
};

}  // namespace

Rect boundsOf(const Outline& outline) {
    const auto [left, right] = extentAlong({1, 0}, outline);
    const auto [top, bottom] = extentAlong({0, 1}, outline);
    return {left, top, right, bottom};
}

bool overlap(const Rect& rect, const Outline& outline) {
    if (!overlap(rect, boundsOf(outline))) return false;
    // Two convex shapes are apart exactly when they are so seen along some side of one of them.
    const auto corners = cornersOf(rect);
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const Spot& from = outline[i];
        const Spot& to = outline[(i + 1) % outline.size()];
        const Spot across{from.y - to.y, to.x - from.x};
        const auto [low, high] = extentAlong(across, outline);
        const auto [lowest, highest] = extentAlong(across, corners);
        if (low != high && (highest <= low || lowest >= high)) return false;
    }
    return true;
}

Spot nearestPoint(const Outline& outline, Spot to) {
    Spot nearest = outline.front();
    double least = std::numeric_limits<double>::max();
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const Spot& from = outline[i];
        const Spot along{outline[(i + 1) % outline.size()].x - from.x,
                         outline[(i + 1) % outline.size()].y - from.y};
        const double length2 = along.x * along.x + along.y * along.y;
        const double share =
            length2 > 0 ? ((to.x - from.x) * along.x + (to.y - from.y) * along.y) / length2 : 0;
        const double there = std::clamp(share, 0.0, 1.0);
        const Spot spot{from.x + there * along.x, from.y + there * along.y};
        const double distance = std::hypot(spot.x - to.x, spot.y - to.y);
        if (distance >= least) continue;
        least = distance;
        nearest = spot;
    }
    return nearest;
}

std::vector<Rect> placeLabels(const Rect& room, const std::vector<Outline>& codes,
                              const std::vector<LabelSize>& sizes) {
    // Labels that came first give way to later ones in the second and third round; among very many
    // there is no room for that.
    const int rounds = codes.size() > 64 ? 1 : 3;
    Placement placement(room, codes);
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < codes.size(); ++i) placement.place(i, sizes[i]);
    }
    return placement.labels();
}

}  // namespace kestrocli
