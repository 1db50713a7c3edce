// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "Canvas.h"
#include "FoundCode.h"
#include "GreyMap.h"
#include "MatrixGrid.h"
#include "SymbolDecoder.h"

namespace kestrosim {
namespace {

constexpr int kLeastSide = 8 * 3;  // modules of three samples
constexpr std::size_t kMostPieces = 6;

struct Size {
    int columns;
    int rows;
};

constexpr std::array<Size, 30> kSizes{
    {{10, 10}, {12, 12}, {14, 14}, {16, 16}, {18, 18},   {20, 20},   {22, 22},   {24, 24},
     {26, 26}, {32, 32}, {36, 36}, {40, 40}, {44, 44},   {48, 48},   {52, 52},   {64, 64},
     {72, 72}, {80, 80}, {88, 88}, {96, 96}, {104, 104}, {120, 120}, {132, 132}, {144, 144},
     {18, 8},  {32, 8},  {26, 12}, {36, 12}, {36, 16},   {48, 16}}};

/** Ink that hangs together. */
struct Piece {
    Box box;
    int area = 0;
};

class PieceSearch {
 public:
    explicit PieceSearch(const GreyMap& ink) : ink_(ink), open_(ink.pixels) {}

    [[nodiscard]] std::vector<Piece> search() {
        std::vector<Piece> pieces;
        for (int y = 0; y < ink_.height; ++y) {
            for (int x = 0; x < ink_.width; ++x) {
                if (!isOpen(x, y)) continue;
                const Piece piece = take(x, y);
                if (canBeCode(piece)) pieces.push_back(piece);
            }
        }
        std::sort(pieces.begin(), pieces.end(),
                  [](const Piece& a, const Piece& b) { return a.area > b.area; });
        if (pieces.size() > kMostPieces) pieces.resize(kMostPieces);
        return pieces;
    }

 private:
    [[nodiscard]] static bool canBeCode(const Piece& piece) {
        const int wide = piece.box.width();
        const int high = piece.box.height();
        return wide >= kLeastSide && high >= kLeastSide && wide <= 5 * high && high <= 5 * wide;
    }

    [[nodiscard]] std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(ink_.width) +
               static_cast<std::size_t>(x);
    }
    [[nodiscard]] bool isOpen(int x, int y) const {
        return ink_.contains(x, y) && open_[index(x, y)] == kInkValue;
    }

    void push(int x, int y) {
        if (!isOpen(x, y)) return;
        open_[index(x, y)] = kPaperValue;
        stack_.emplace_back(x, y);
    }

    [[nodiscard]] Piece take(int left, int top) {
        Piece piece{{left, top, left + 1, top + 1}, 0};
        push(left, top);
        while (!stack_.empty()) {
            const auto [x, y] = stack_.back();
            stack_.pop_back();
            ++piece.area;
            piece.box = {std::min(piece.box.left, x), std::min(piece.box.top, y),
                         std::max(piece.box.right, x + 1), std::max(piece.box.bottom, y + 1)};
            push(x - 1, y);
            push(x + 1, y);
            push(x, y - 1);
            push(x, y + 1);
        }
        return piece;
    }

    const GreyMap& ink_;
    std::vector<std::uint8_t> open_;
    std::vector<std::pair<int, int>> stack_;
};

/** depth = at + slope * along: one side of a piece, seen from outside. */
struct Side {
    double at = 0;
    double slope = 0;
    double solid = 0;  // share of it that is ink
};

/** The line that the ink's outermost points lie on. */
Side sideOf(const std::vector<Point>& points) {
    Side side;
    std::vector<Point> used = points;
    constexpr int kRounds = 10;
    for (int round = 0; round < kRounds; ++round) {
        Point mean;
        for (const Point& point : used) mean = mean + point;
        mean = mean * (1.0 / static_cast<double>(used.size()));
        double xx = 0;
        double xy = 0;
        for (const Point& point : used) {
            xx += (point.x - mean.x) * (point.x - mean.x);
            xy += (point.x - mean.x) * (point.y - mean.y);
        }
        side.slope = xx > 0 ? xy / xx : 0;
        side.at = mean.y - side.slope * mean.x;
        std::vector<Point> near;
        for (const Point& point : used) {
            if (point.y - side.at - side.slope * point.x <= 1) near.push_back(point);
        }
        if (near.size() == used.size() || near.size() < 4) break;
        used = std::move(near);
    }
    const auto solid = std::count_if(points.begin(), points.end(), [&side](const Point& point) {
        return point.y - side.at - side.slope * point.x <= 2.5;
    });
    side.solid =
        static_cast<double>(solid) / static_cast<double>(std::max<std::size_t>(1, points.size()));
    return side;
}

class DataMatrixReader {
 public:
    explicit DataMatrixReader(const UprightCut& cut) : cut_(cut) {}

    [[nodiscard]] std::vector<FoundCode> read() {
        for (const Piece& piece : PieceSearch(cut_.ink).search()) readPiece(piece);
        return std::move(codes_);
    }

 private:
    /** Where the ink begins, seen from that side of the box: 0 top, 1 right, 2 bottom, 3 left. */
    [[nodiscard]] Side sideOfBox(const Box& box, int which) const {
        const bool upright = which % 2 == 1;
        const int from = upright ? box.top : box.left;
        const int to = upright ? box.bottom : box.right;
        const int depth = upright ? box.width() : box.height();
        std::vector<Point> points;
        for (int along = from; along < to; ++along) {
            int deep = 0;
            while (deep < depth && !isInkFrom(box, which, along, deep)) ++deep;
            if (deep < depth) points.push_back({along + 0.5, static_cast<double>(deep)});
        }
        if (points.size() < 4) return {};
        return sideOf(points);
    }

    [[nodiscard]] bool isInkFrom(const Box& box, int which, int along, int deep) const {
        switch (which) {
            case 0:
                return cut_.ink.isInk(along, box.top + deep);
            case 1:
                return cut_.ink.isInk(box.right - 1 - deep, along);
            case 2:
                return cut_.ink.isInk(along, box.bottom - 1 - deep);
            default:
                return cut_.ink.isInk(box.left + deep, along);
        }
    }

    /** Where an upright side and a lying one meet: x = at + slope y, y = at + slope x. */
    [[nodiscard]] static Point meet(const Side& upright, const Side& lying) {
        const double y = (lying.at + lying.slope * upright.at) / (1 - lying.slope * upright.slope);
        return {upright.at + upright.slope * y, y};
    }

    void readPiece(const Piece& piece) {
        std::array<Side, 4> sides;
        for (int i = 0; i < 4; ++i) {
            sides[static_cast<std::size_t>(i)] = sideOfBox(piece.box, i);
        }
        std::size_t solid = 0;
        for (std::size_t i = 1; i < 4; ++i) {
            if (sides[i].solid + sides[(i + 1) % 4].solid >
                sides[solid].solid + sides[(solid + 1) % 4].solid) {
                solid = i;
            }
        }
        if (sides[solid].solid < 0.75 || sides[(solid + 1) % 4].solid < 0.75) return;
        const Box& box = piece.box;
        const Side top{box.top + sides[0].at, sides[0].slope, 0};
        const Side right{box.right - sides[1].at, -sides[1].slope, 0};
        const Side bottom{box.bottom - sides[2].at, -sides[2].slope, 0};
        const Side left{box.left + sides[3].at, sides[3].slope, 0};
        const Outline seen{meet(left, top), meet(right, top), meet(right, bottom),
                           meet(left, bottom)};
        // The solid sides are the lower and the left one, whichever way the code lies.
        Outline corners;
        for (std::size_t i = 0; i < 4; ++i) {
            corners[i] = cut_.toPicture(seen[(i + solid + 2) % 4]);
        }
        readAt(corners);
    }

    void readAt(const Outline& corners) {
        const double shape = (length(corners[1] - corners[0]) + length(corners[2] - corners[3])) /
                             (length(corners[3] - corners[0]) + length(corners[2] - corners[1]));
        std::optional<MatrixGrid> best;
        double bestFit = 0.55;
        for (const auto& [columns, rows] : kSizes) {
            const double wanted = static_cast<double>(columns) / rows;
            if (shape > 1.25 * wanted || wanted > 1.25 * shape) continue;
            const MatrixGrid grid(cut_.picture, corners, columns, rows);
            const double fit = grid.pixelsPerModule() < 1.2 ? 0 : borderFit(grid);
            if (fit <= bestFit) continue;
            bestFit = fit;
            best = grid;
        }
        if (!best || accept(*best)) return;
        best->refineAll();
        (void)accept(*best);
    }

    /** From 1, as it must be, to -1: the lines of alternating modules above and at the right. */
    [[nodiscard]] static double borderFit(const MatrixGrid& grid) {
        double dark = 0;
        double light = 0;
        std::vector<double> greys;
        const auto add = [&](double grey, bool isDark) {
            (isDark ? dark : light) += grey;
            greys.push_back(grey);
        };
        for (int i = 0; i < grid.columns(); ++i) add(grid.greyAt(i, 0), i % 2 == 0);
        for (int i = 0; i < grid.rows(); ++i) {
            add(grid.greyAt(grid.columns() - 1, i), i % 2 == 1);
        }
        const auto half = static_cast<double>(greys.size()) / 2;
        const double middle = (dark + light) / half / 2;
        double deviation = 0;
        for (const double grey : greys) deviation += std::abs(grey - middle);
        return deviation > 0 ? (light - dark) / half / 2 / (deviation / half / 2) : 0;
    }

    [[nodiscard]] bool accept(const MatrixGrid& grid) {
        GreyMap modules = grid.modules();
        // The border is drawn in: the library counts on it.
        const int right = modules.width - 1;
        const int bottom = modules.height - 1;
        for (int x = 0; x <= right; ++x) {
            modules.row(0)[x] = x % 2 == 0 ? kInkValue : kPaperValue;
            modules.row(bottom)[x] = kInkValue;
        }
        for (int y = 0; y <= bottom; ++y) {
            modules.row(y)[0] = kInkValue;
            modules.row(y)[right] = y % 2 == 1 ? kInkValue : kPaperValue;
        }
        const auto text = decodeDataMatrix(modules);
        if (!text) return false;
        codes_.push_back({"DM", *text, grid.corners(), grid.pixelsPerModule()});
        return true;
    }

    const UprightCut& cut_;
    std::vector<FoundCode> codes_;
};

}  // namespace

std::vector<FoundCode> readDataMatrixCodes(const UprightCut& cut) {
    return DataMatrixReader(cut).read();
}

}  // namespace kestrosim
