// SPDX-License-Identifier: Apache-2.0
#include "Crop.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

namespace readerreport {
namespace {

using Corners = std::array<kestrosim::PixelPoint, 4>;

constexpr double kMargin = 0.1;

struct Place {
    double x = 0;
    double y = 0;
};

double distance(const kestrosim::PixelPoint& a, const kestrosim::PixelPoint& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

/** From the unit square to the four corners, as a plane is seen. */
class Projection {
 public:
    explicit Projection(const Corners& c) : origin_{1.0 * c[0].x, 1.0 * c[0].y} {
        const double dx1 = c[1].x - c[2].x;
        const double dx2 = c[3].x - c[2].x;
        const double dy1 = c[1].y - c[2].y;
        const double dy2 = c[3].y - c[2].y;
        const double sx = c[0].x - c[1].x + c[2].x - c[3].x;
        const double sy = c[0].y - c[1].y + c[2].y - c[3].y;
        const double area = dx1 * dy2 - dx2 * dy1;
        if (area != 0) {
            g_ = (sx * dy2 - dx2 * sy) / area;
            h_ = (dx1 * sy - sx * dy1) / area;
        }
        right_ = {c[1].x - c[0].x + g_ * c[1].x, c[1].y - c[0].y + g_ * c[1].y};
        down_ = {c[3].x - c[0].x + h_ * c[3].x, c[3].y - c[0].y + h_ * c[3].y};
    }

    [[nodiscard]] Place operator()(double u, double v) const {
        const double w = 1 + g_ * u + h_ * v;
        return {(origin_.x + right_.x * u + down_.x * v) / w,
                (origin_.y + right_.y * u + down_.y * v) / w};
    }

 private:
    Place origin_;
    Place right_;
    Place down_;
    double g_ = 0;
    double h_ = 0;
};

int pixelAt(const kestrosim::Scene& scene, int x, int y) {
    const int column = std::clamp(x, 0, static_cast<int>(scene.width) - 1);
    const int row = std::clamp(y, 0, static_cast<int>(scene.height) - 1);
    return scene
        .pixels[static_cast<std::size_t>(row) * scene.width + static_cast<std::size_t>(column)];
}

/** Between the four pixels whose centres lie round the place; outside, the picture's edge. */
double lightAt(const kestrosim::Scene& scene, const Place& place) {
    constexpr double kFar = 1e6;
    const double x = std::clamp(place.x - 0.5, -kFar, kFar);
    const double y = std::clamp(place.y - 0.5, -kFar, kFar);
    const int left = static_cast<int>(std::floor(x));
    const int top = static_cast<int>(std::floor(y));
    const double right = x - left;
    const double below = y - top;
    const double upper =
        pixelAt(scene, left, top) * (1 - right) + pixelAt(scene, left + 1, top) * right;
    const double lower =
        pixelAt(scene, left, top + 1) * (1 - right) + pixelAt(scene, left + 1, top + 1) * right;
    return upper * (1 - below) + lower * below;
}

int sideOf(double a, double b, double scale) {
    const double side = scale * (1 + 2 * kMargin) * (a + b) / 2;
    return std::max(1, static_cast<int>(std::lround(side)));
}

}  // namespace

Crop cropOf(const kestrosim::Scene& scene, const Corners& corners, double scale) {
    Crop crop;
    crop.width = sideOf(distance(corners[0], corners[1]), distance(corners[3], corners[2]), scale);
    crop.height = sideOf(distance(corners[0], corners[3]), distance(corners[1], corners[2]), scale);
    const Projection projection(corners);
    const auto along = [](int i, int count) {
        return (i + 0.5) / count * (1 + 2 * kMargin) - kMargin;
    };
    for (int y = 0; y < crop.height; ++y) {
        for (int x = 0; x < crop.width; ++x) {
            const Place place = projection(along(x, crop.width), along(y, crop.height));
            crop.pixels.push_back(static_cast<std::uint8_t>(std::lround(lightAt(scene, place))));
        }
    }
    return crop;
}

void write(const Crop& crop, const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    file << "P5\n" << crop.width << ' ' << crop.height << "\n255\n";
    file.write(reinterpret_cast<const char*>(crop.pixels.data()),
               static_cast<std::streamsize>(crop.pixels.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace readerreport
