// SPDX-License-Identifier: Apache-2.0
#include "CodeMeasure.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace kestrosim {
namespace {

/** The bars of a linear code: which columns are dark, learnt from rows known to cross it. */
class BarPattern {
 public:
    BarPattern(const PictureView& picture, int left, int right, int top, int bottom)
        : picture_(picture), left_(left), dark_(static_cast<std::size_t>(right - left)) {
        std::vector<int> means;
        for (int x = left; x < right; ++x) {
            int sum = 0;
            for (int y = top; y < bottom; ++y) sum += picture.at(x, y);
            means.push_back(sum / (bottom - top));
        }
        const auto [darkest, brightest] = std::minmax_element(means.begin(), means.end());
        threshold_ = (*darkest + *brightest) / 2;
        for (std::size_t i = 0; i < dark_.size(); ++i) dark_[i] = means[i] < threshold_;
    }

    /** Whether the row shows these bars; on paper or in other print about half of it agrees. */
    [[nodiscard]] bool crosses(int y) const {
        std::size_t agreeing = 0;
        for (std::size_t i = 0; i < dark_.size(); ++i) {
            const bool dark = picture_.at(left_ + static_cast<int>(i), y) < threshold_;
            agreeing += dark == dark_[i] ? 1 : 0;
        }
        return agreeing * 100 >= dark_.size() * 85;
    }

    [[nodiscard]] int barCount() const {
        int bars = 0;
        for (std::size_t i = 0; i < dark_.size(); ++i) {
            if (dark_[i] && (i == 0 || !dark_[i - 1])) ++bars;
        }
        return bars;
    }

 private:
    const PictureView& picture_;
    int left_;
    std::vector<bool> dark_;
    int threshold_ = 0;
};

/** Three bars and eleven modules a symbol; the stop has one bar and two modules more. */
double code128Module(int length, int bars) {
    const int modules = (bars - 1) / 3 * 11 + 2;
    return static_cast<double>(length) / modules;
}

/** A unit square's point (u, v), laid onto the quadrilateral, as the pixel that it falls in. */
struct Square {
    const Corners& corners;

    [[nodiscard]] PixelPoint at(double u, double v) const {
        const auto mix = [u, v](double a, double b, double c, double d) {
            return static_cast<std::int32_t>(
                std::floor((a * (1 - u) + b * u) * (1 - v) + (d * (1 - u) + c * u) * v));
        };
        return {mix(corners[0].x, corners[1].x, corners[2].x, corners[3].x),
                mix(corners[0].y, corners[1].y, corners[2].y, corners[3].y)};
    }
};

/** The finder at the code's upper left, as its eighth row and column, white, close it. */
bool finderIsDark(int column, int row) {
    const int ring = std::max(std::abs(column - 3), std::abs(row - 3));
    return ring != 2 && ring != 4;
}

/** Holds one assumed size against the picture. */
class MatrixFit {
 public:
    MatrixFit(const PictureView& picture, const Corners& corners, int threshold, int modules)
        : picture_(picture), square_{corners}, threshold_(threshold), modules_(modules) {}

    /** The share of the finder at upper left and of both timing lines that is as it must be. */
    [[nodiscard]] double share() {
        for (int row = 0; row < 8; ++row) {
            for (int column = 0; column < 8; ++column) {
                expect(column, row, finderIsDark(column, row));
            }
        }
        for (int i = 8; i < modules_ - 8; ++i) {
            expect(i, 6, i % 2 == 0);
            expect(6, i, i % 2 == 0);
        }
        return static_cast<double>(agreeing_) / looked_;
    }

 private:
    void expect(int column, int row, bool dark) {
        const auto [x, y] = square_.at((column + 0.5) / modules_, (row + 0.5) / modules_);
        const bool seen = picture_.contains(x, y) && picture_.at(x, y) < threshold_;
        agreeing_ += seen == dark ? 1 : 0;
        ++looked_;
    }

    const PictureView& picture_;
    Square square_;
    int threshold_;
    int modules_;
    int agreeing_ = 0;
    int looked_ = 0;
};

/** Halfway between ink and paper along the code's diagonal. */
int thresholdOf(const PictureView& picture, const Corners& corners) {
    int darkest = 255;
    int brightest = 0;
    constexpr int kSteps = 256;
    for (int i = 0; i < kSteps; ++i) {
        const double along = (i + 0.5) / kSteps;
        const auto [x, y] = Square{corners}.at(along, along);
        if (!picture.contains(x, y)) continue;
        darkest = std::min(darkest, picture.at(x, y));
        brightest = std::max(brightest, picture.at(x, y));
    }
    return (darkest + brightest) / 2;
}

int matrixModules(const PictureView& picture, const Corners& corners) {
    const int threshold = thresholdOf(picture, corners);
    int best = 21;
    double bestShare = 0;
    for (int modules = 21; modules <= 177; modules += 4) {
        const double share = MatrixFit(picture, corners, threshold, modules).share();
        if (share <= bestShare) continue;
        best = modules;
        bestShare = share;
    }
    return best;
}

double distance(const PixelPoint& a, const PixelPoint& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

}  // namespace

Measured measureLinear(const PictureView& picture, const Corners& rows) {
    const auto [left, right] = std::minmax(rows[0].x, rows[1].x);
    const auto [first, last] = std::minmax(rows[0].y, rows[3].y);
    int top = std::clamp(first, 0, picture.height() - 1);
    int bottom = std::clamp(last + 1, top + 1, picture.height());
    const int from = std::clamp(left, 0, picture.width() - 1);
    const int to = std::clamp(right, from + 1, picture.width());

    const BarPattern bars(picture, from, to, top, bottom);
    while (top > 0 && bars.crosses(top - 1)) --top;
    while (bottom < picture.height() && bars.crosses(bottom)) ++bottom;

    Measured measured;
    measured.corners = {{{from, top}, {to, top}, {to, bottom}, {from, bottom}}};
    // Read upside down, the code's own upper left is the picture's lower right.
    if (rows[0].x > rows[1].x) {
        std::rotate(measured.corners.begin(), measured.corners.begin() + 2, measured.corners.end());
    }
    measured.pixelsPerModule = code128Module(to - from, bars.barCount());
    return measured;
}

Measured measureMatrix(const PictureView& picture, const Corners& corners) {
    double around = 0;
    for (std::size_t i = 0; i < 4; ++i) around += distance(corners[i], corners[(i + 1) % 4]);
    return {corners, around / 4 / matrixModules(picture, corners)};
}

}  // namespace kestrosim
