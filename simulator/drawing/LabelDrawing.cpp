// SPDX-License-Identifier: Apache-2.0
#include "LabelDrawing.h"

#include <algorithm>
#include <array>

namespace kestrosim {
namespace {

constexpr double kCameraPixels = 1000;  // from the camera to the labels, for those that are tilted
constexpr int kShadowPixels = 5;        // to the right and down
constexpr int kSamples = 4;             // a pixel's side; one lies on each quarter
constexpr int kStep = 256;              // parts of a quarter that samples are placed in

/**
 * What tilting does to a label around its middle. The nearest corner keeps its size, so that a
 * tilted label lies wholly where it would lie untilted.
 */
Homography tilted(const Label& label, const LabelPose& pose) {
    const double across = sineOf(pose.tiltAcross) / kCameraPixels;
    const double down = sineOf(pose.tiltDown) / kCameraPixels;
    const auto magnitude = [](double value) { return value < 0 ? -value : value; };
    const double depth =
        (magnitude(across) * label.width + magnitude(down) * label.height) / (2 * kFine);
    return Homography(
        {cosineOf(pose.tiltAcross), 0, 0, 0, cosineOf(pose.tiltDown), 0, across, down, 1 + depth});
}

Box boundsOf(const Outline& quad) {
    const auto [left, right] = std::minmax({quad[0].x, quad[1].x, quad[2].x, quad[3].x});
    const auto [top, bottom] = std::minmax({quad[0].y, quad[1].y, quad[2].y, quad[3].y});
    return {static_cast<int>(left) - 1, static_cast<int>(top) - 1, static_cast<int>(right) + 2,
            static_cast<int>(bottom) + 2};
}

/** A pixel's middle on the face, and what one pixel to the right and one down make there. */
struct Spot {
    Point at;
    Point right;
    Point down;
};

Spot spotOf(const std::array<double, 9>& m, double x, double y) {
    const double factor = 1 / (m[6] * x + m[7] * y + m[8]);
    const double u = (m[0] * x + m[1] * y + m[2]) * factor;
    const double v = (m[3] * x + m[4] * y + m[5]) * factor;
    return {{u, v},
            {(m[0] - u * m[6]) * factor, (m[3] - v * m[6]) * factor},
            {(m[1] - u * m[7]) * factor, (m[4] - v * m[7]) * factor}};
}

/** Sees a label's face through the pixels of the picture. */
class FaceSampler {
 public:
    explicit FaceSampler(const Label& label)
        : width_(label.width), height_(label.height), face_(drawFace(label)) {}

    /** Quarters from the face's nearest edge; negative outside. */
    [[nodiscard]] double depthAt(const Point& at) const {
        return std::min(std::min(at.x, width_ - at.x), std::min(at.y, height_ - at.y));
    }

    /** Sum of kSamples * kSamples samples of the pixel, those off the face being the ground's. */
    [[nodiscard]] int sumOver(const Spot& spot, int ground) const {
        const bool isInside = depthAt(spot.at) > kPixelReach;
        const int ux = fixed(spot.right.x / kSamples);
        const int vx = fixed(spot.right.y / kSamples);
        const int uy = fixed(spot.down.x / kSamples);
        const int vy = fixed(spot.down.y / kSamples);
        // The first sample lies one and a half steps to the left of the middle and above it.
        const int u0 = fixed(spot.at.x) - (ux + uy) * (kSamples - 1) / 2;
        const int v0 = fixed(spot.at.y) - (vx + vy) * (kSamples - 1) / 2;
        int sum = 0;
        for (int i = 0; i < kSamples; ++i) {
            for (int j = 0; j < kSamples; ++j) {
                const int u = (u0 + j * ux + i * uy) >> 8;
                const int v = (v0 + j * vx + i * vy) >> 8;
                sum += isInside || contains(u, v) ? at(u, v) : ground;
            }
        }
        return sum;
    }

    static constexpr int kPixelReach = 4 * kFine;  ///< from a pixel's middle to what it covers

 private:
    [[nodiscard]] static int fixed(double quarters) { return static_cast<int>(quarters * kStep); }
    [[nodiscard]] bool contains(int u, int v) const {
        return u >= 0 && u < width_ && v >= 0 && v < height_;
    }
    [[nodiscard]] int at(int u, int v) const {
        return face_[static_cast<std::size_t>(v) * static_cast<std::size_t>(width_) +
                     static_cast<std::size_t>(u)];
    }

    int width_;
    int height_;
    std::vector<std::uint8_t> face_;
};

/** The ground's grey where the label takes the light from it, softly at the shadow's edge. */
int shadowed(int ground, const FaceSampler& face, const Spot& spot) {
    static constexpr std::array<int, 4> kPercentLeft{90, 81, 73, 66};
    const Point shade{spot.at.x - kShadowPixels * (spot.right.x + spot.down.x),
                      spot.at.y - kShadowPixels * (spot.right.y + spot.down.y)};
    const double depth = face.depthAt(shade);
    if (depth < 0) return ground;
    const int step = std::min(static_cast<int>(depth) / kFine, 3);
    return ground * kPercentLeft[static_cast<std::size_t>(step)] / 100;
}

}  // namespace

Homography pictureOf(const Label& label, const LabelPose& pose) {
    return Homography::moving(pose.centre.x, pose.centre.y)
        .after(Homography::turning(pose.degrees))
        .after(tilted(label, pose))
        .after(Homography::scaling(1.0 / kFine))
        .after(Homography::moving(-label.width / 2.0, -label.height / 2.0));
}

Outline quadOf(const Box& box, const Homography& picture) {
    const double left = box.left;
    const double top = box.top;
    const double right = box.right;
    const double bottom = box.bottom;
    return picture.at(Outline{{{left, top}, {right, top}, {right, bottom}, {left, bottom}}});
}

Outline outlineOf(const Label& label, const LabelPose& pose, int growPixels) {
    const Box face{0, 0, label.width, label.height};
    return quadOf(face.grownBy(growPixels * kFine), pictureOf(label, pose));
}

void drawLabel(Canvas& canvas, const Label& label, const Homography& picture) {
    const FaceSampler face(label);
    const auto rows = picture.inverse().rows();
    const Box outline = boundsOf(quadOf({0, 0, label.width, label.height}, picture));
    const Box box = outline.grownBy(kShadowPixels).clippedTo(canvas.width(), canvas.height());
    constexpr double kNothingToSee = -2.0 * (kShadowPixels + 1) * kFine;
    for (int y = box.top; y < box.bottom; ++y) {
        for (int x = box.left; x < box.right; ++x) {
            const Spot spot = spotOf(rows, x + 0.5, y + 0.5);
            const double depth = face.depthAt(spot.at);
            if (depth < kNothingToSee) continue;
            std::uint8_t& pixel = canvas.at(x, y);
            const int ground = depth > FaceSampler::kPixelReach ? 0 : shadowed(pixel, face, spot);
            pixel = static_cast<std::uint8_t>(face.sumOver(spot, ground) / (kSamples * kSamples));
        }
    }
}

}  // namespace kestrosim
