// SPDX-License-Identifier: Apache-2.0
#include "MatrixGrid.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::size_t kUnknowns = 8;
using Equations = std::array<std::array<double, kUnknowns + 1>, kUnknowns>;

/** Gauss with the largest pivot; false when the equations do not tell the unknowns. */
bool solve(Equations& lines, std::array<double, kUnknowns>& result) {
    for (std::size_t i = 0; i < kUnknowns; ++i) {
        const auto best = std::max_element(
            lines.begin() + static_cast<std::ptrdiff_t>(i), lines.end(),
            [i](const auto& a, const auto& b) { return std::abs(a[i]) < std::abs(b[i]); });
        if (std::abs((*best)[i]) < 1e-9) return false;
        std::swap(lines[i], *best);
        for (std::size_t j = 0; j < kUnknowns; ++j) {
            if (j == i) continue;
            const double factor = lines[j][i] / lines[i][i];
            for (std::size_t k = i; k <= kUnknowns; ++k) lines[j][k] -= factor * lines[i][k];
        }
    }
    for (std::size_t i = 0; i < kUnknowns; ++i) result[i] = lines[i][kUnknowns] / lines[i][i];
    return true;
}

Outline gridOf(int columns, int rows) {
    const auto right = static_cast<double>(columns);
    const auto bottom = static_cast<double>(rows);
    return {{{0, 0}, {right, 0}, {right, bottom}, {0, bottom}}};
}

}  // namespace

std::optional<Perspective> Perspective::between(const Outline& from, const Outline& to) {
    Equations lines{};
    for (std::size_t i = 0; i < 4; ++i) {
        const auto [x, y] = from[i];
        lines[2 * i] = {x, y, 1, 0, 0, 0, -x * to[i].x, -y * to[i].x, to[i].x};
        lines[2 * i + 1] = {0, 0, 0, x, y, 1, -x * to[i].y, -y * to[i].y, to[i].y};
    }
    Perspective perspective;
    if (!solve(lines, perspective.p_)) return std::nullopt;
    return perspective;
}

MatrixGrid::MatrixGrid(const PictureView& picture, const Outline& corners, int columns, int rows)
    : picture_(picture),
      corners_(corners),
      columns_(columns),
      rows_(rows),
      perspective_(Perspective::between(gridOf(columns, rows), corners).value_or(Perspective())) {}

double MatrixGrid::pixelsPerModule() const {
    const double across = length(corners_[1] - corners_[0]) + length(corners_[2] - corners_[3]);
    const double down = length(corners_[3] - corners_[0]) + length(corners_[2] - corners_[1]);
    return (across / columns_ + down / rows_) / 4;
}

double MatrixGrid::greyAt(double column, double row) const {
    return kestrosim::greyAt(picture_, perspective_.at({column + 0.5, row + 0.5}));
}

GreyMap MatrixGrid::modules() const {
    GreyMap grey(columns_, rows_);
    for (int row = 0; row < rows_; ++row) {
        for (int column = 0; column < columns_; ++column) {
            grey.row(row)[column] = static_cast<std::uint8_t>(std::lround(greyAt(column, row)));
        }
    }
    constexpr int kReach = 6;  // modules; farther than any code is of one colour
    return inkOf(grey, kReach, kReach, 1);
}

double MatrixGrid::sharpness(const Outline& corners) const {
    const auto perspective = Perspective::between(gridOf(columns_, rows_), corners);
    if (!perspective) return 0;
    // Some hundred modules tell as well as all of a large code.
    const int step = std::max(1, static_cast<int>(std::sqrt(columns_ * rows_ / 500.0)));
    double sum = 0;
    double squares = 0;
    int count = 0;
    for (int row = 0; row < rows_; row += step) {
        for (int column = (row / step) % 2; column < columns_; column += step) {
            const double grey =
                kestrosim::greyAt(picture_, perspective->at({column + 0.5, row + 0.5}));
            sum += grey;
            squares += grey * grey;
            ++count;
        }
    }
    return squares - sum * sum / std::max(1, count);
}

void MatrixGrid::refine(std::size_t corner) {
    double best = sharpness(corners_);
    const double module = pixelsPerModule();
    for (const double share : {0.6, 0.3, 0.15}) {
        for (int round = 0; round < 4; ++round) {
            const Point start = corners_[corner];
            Point better = start;
            for (int way = 0; way < 8; ++way) {
                Outline tried = corners_;
                tried[corner] = start + Point{std::cos(way * 0.785398), std::sin(way * 0.785398)} *
                                            (share * module);
                const double sharp = sharpness(tried);
                if (sharp <= best) continue;
                best = sharp;
                better = tried[corner];
            }
            if (better.x == start.x && better.y == start.y) break;
            corners_[corner] = better;
        }
    }
    perspective_ = Perspective::between(gridOf(columns_, rows_), corners_).value_or(Perspective());
}

void MatrixGrid::refineAll() {
    for (std::size_t corner = 0; corner < 4; ++corner) refine(corner);
}

}  // namespace kestrosim
