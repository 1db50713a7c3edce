// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>

#include "FoundCode.h"
#include "GreyMap.h"
#include "MatrixGrid.h"
#include "SymbolDecoder.h"

namespace kestrosim {
namespace {

constexpr int kRowStep = 2;
constexpr int kLeastModules = 21;
constexpr int kMostModules = 177;
constexpr std::size_t kMostFinders = 24;

/** One of the three squares in a code's corners; samples. */
struct Finder {
    Point middle;
    double module = 0;
    int seen = 1;  // times
};

using Runs = std::array<int, 5>;

/** Dark, light, dark, light, dark as 1:1:3:1:1, roughly. */
bool looksLikeFinder(const Runs& runs) {
    const int sum = runs[0] + runs[1] + runs[2] + runs[3] + runs[4];
    const double module = sum / 7.0;
    const double most = std::max(1.2, module * 0.6);
    return sum >= 7 && std::abs(runs[0] - module) <= most && std::abs(runs[1] - module) <= most &&
           std::abs(runs[2] - 3 * module) <= 2 * most && std::abs(runs[3] - module) <= most &&
           std::abs(runs[4] - module) <= most;
}

/** Finds finders where rows and columns of ink cross them. */
class FinderSearch {
 public:
    explicit FinderSearch(const GreyMap& ink) : ink_(ink) {}

    [[nodiscard]] std::vector<Finder> search() {
        constexpr int kRowsAtOnce = 32;
        for (int y = 0; y < ink_.height; y += kRowStep) {
            if (y % kRowsAtOnce == 0) closeAbove(y);
            searchRow(y);
        }
        closeAbove(std::numeric_limits<int>::max());
        std::sort(closed_.begin(), closed_.end(),
                  [](const Finder& a, const Finder& b) { return a.seen > b.seen; });
        if (closed_.size() > kMostFinders) closed_.resize(kMostFinders);
        return std::move(closed_);
    }

 private:
    /** Those too far above to be seen again; noise would make ever more of them to look through. */
    void closeAbove(int y) {
        const auto open = [y](const Finder& finder) {
            return finder.middle.y + 8 * finder.module >= y;
        };
        for (const Finder& finder : finders_) {
            if (!open(finder) && finder.seen >= 2) closed_.push_back(finder);
        }
        std::erase_if(finders_, std::not_fn(open));
    }

    void searchRow(int y) {
        Runs runs{};
        int run = 0;
        const std::uint8_t* const line = ink_.row(y);
        for (int x = 0; x < ink_.width; ++x) {
            ++run;
            if (x + 1 < ink_.width && line[x + 1] == line[x]) continue;
            std::rotate(runs.begin(), runs.begin() + 1, runs.end());
            runs[4] = run;
            run = 0;
            if (line[x] == kInkValue && looksLikeFinder(runs)) check(x + 1, y, runs);
        }
    }

    /** The runs through that sample, up and down or left and right; where their middle one lies. */
    [[nodiscard]] std::optional<double> across(const Point& middle, const Point& step, int most,
                                               double* module) const {
        Runs runs{};
        double begin = 0;
        for (const int way : {-1, 1}) {
            int at = way < 0 ? 0 : 1;
            for (std::size_t ring = 0; ring < 3; ++ring) {
                const std::size_t place = way < 0 ? 2 - ring : 2 + ring;
                const bool dark = ring != 1;
                while (isInk(middle + step * (at * way)) == dark && runs[place] < most) {
                    ++runs[place];
                    ++at;
                    if (!isInside(middle + step * (at * way))) break;
                }
                if (ring == 0 && way < 0) begin = -at;
            }
        }
        if (!looksLikeFinder(runs)) return std::nullopt;
        *module = (runs[0] + runs[1] + runs[2] + runs[3] + runs[4]) / 7.0;
        return begin + 1 + runs[2] / 2.0;
    }

    [[nodiscard]] bool isInside(const Point& point) const {
        return ink_.contains(static_cast<int>(std::floor(point.x)),
                             static_cast<int>(std::floor(point.y)));
    }
    [[nodiscard]] bool isInk(const Point& point) const {
        return isInside(point) && ink_.isInk(static_cast<int>(point.x), static_cast<int>(point.y));
    }

    void check(int end, int y, const Runs& runs) {
        Point middle{end - runs[4] - runs[3] - runs[2] / 2.0, y + 0.5};
        const int most = runs[0] + runs[1] + runs[2] + runs[3] + runs[4];
        double down = 0;
        double right = 0;
        const auto offset = across({std::floor(middle.x) + 0.5, middle.y}, {0, 1}, most, &down);
        if (!offset) return;
        middle.y = std::floor(middle.y) + *offset;
        const auto side =
            across({std::floor(middle.x) + 0.5, std::floor(middle.y) + 0.5}, {1, 0}, most, &right);
        if (!side) return;
        middle.x = std::floor(middle.x) + *side;
        if (down > 1.6 * right || right > 1.6 * down) return;
        remember({middle, (down + right) / 2});
    }

    void remember(const Finder& finder) {
        for (Finder& known : finders_) {
            if (length(known.middle - finder.middle) > 2 * known.module) continue;
            const double share = 1.0 / (known.seen + 1);
            known.middle = between(known.middle, finder.middle, share);
            known.module += (finder.module - known.module) * share;
            ++known.seen;
            return;
        }
        finders_.push_back(finder);
    }

    const GreyMap& ink_;
    std::vector<Finder> finders_;  // that rows may still cross
    std::vector<Finder> closed_;
};

/** The dark and light rings of a finder as the code's eighth row and column, light, close them. */
bool finderIsDark(int column, int row) {
    const int ring = std::max(std::abs(column - 3), std::abs(row - 3));
    return ring != 2 && ring != 4;
}

class QrReader {
 public:
    explicit QrReader(const UprightCut& cut) : cut_(cut) {}

    [[nodiscard]] std::vector<FoundCode> read() {
        const std::vector<Finder> finders = FinderSearch(cut_.ink).search();
        std::vector<bool> used(finders.size());
        for (std::size_t corner = 0; corner < finders.size(); ++corner) {
            for (std::size_t right = 0; right < finders.size(); ++right) {
                for (std::size_t low = 0; low < finders.size(); ++low) {
                    tryThree(finders, {corner, right, low}, used);
                }
            }
        }
        return std::move(codes_);
    }

 private:
    void tryThree(const std::vector<Finder>& finders, const std::array<std::size_t, 3>& three,
                  std::vector<bool>& used) {
        const auto [corner, right, low] = three;
        if (corner == right || corner == low || right == low) return;
        if (used[corner] || used[right] || used[low]) return;
        if (!canBeOne(finders[corner], finders[right], finders[low])) return;
        if (!readAt(finders[corner], finders[right], finders[low])) return;
        used[corner] = used[right] = used[low] = true;
    }

    [[nodiscard]] static bool canBeOne(const Finder& corner, const Finder& right,
                                       const Finder& low) {
        const Point across = right.middle - corner.middle;
        const Point down = low.middle - corner.middle;
        const double wide = length(across);
        const double high = length(down);
        const auto [least, most] = std::minmax({corner.module, right.module, low.module});
        const double modules = (wide + high) / 2 / ((least + most) / 2) + 7;
        return cross(across, down) > 0 && wide < 1.35 * high && high < 1.35 * wide &&
               std::abs(dot(across, down)) < 0.3 * wide * high && most < 1.5 * least &&
               modules > kLeastModules * 0.85 && modules < kMostModules * 1.1;
    }

    [[nodiscard]] bool readAt(const Finder& corner, const Finder& right, const Finder& low) {
        const double module = (corner.module + right.module + low.module) / 3;
        const double span =
            (length(right.middle - corner.middle) + length(low.middle - corner.middle)) / 2;
        const int guess = static_cast<int>(std::lround((span / module + 7 - 17) / 4)) * 4 + 17;
        for (const int modules : {guess, guess + 4, guess - 4}) {
            if (modules < kLeastModules || modules > kMostModules) continue;
            if (readAs(modules, corner, right, low)) return true;
        }
        return false;
    }

    [[nodiscard]] bool readAs(int modules, const Finder& corner, const Finder& right,
                              const Finder& low) {
        const double far = modules - 3.5;
        const Outline middles{cut_.toPicture(corner.middle), cut_.toPicture(right.middle),
                              cut_.toPicture(right.middle + low.middle - corner.middle),
                              cut_.toPicture(low.middle)};
        const Outline places{{{3.5, 3.5}, {far, 3.5}, {far, far}, {3.5, far}}};
        const auto plain = Perspective::between(places, middles);
        if (!plain) return false;
        MatrixGrid grid(cut_.picture, cornersOf(*plain, modules), modules, modules);
        if (timingFit(grid) < 0.5) return false;
        if (modules > kLeastModules) {
            const Point mark = alignmentMark(grid);
            Outline better = places;
            better[2] = {modules - 6.5, modules - 6.5};
            const Outline seen{middles[0], middles[1], mark, middles[3]};
            const auto bent = Perspective::between(better, seen);
            if (bent) grid = MatrixGrid(cut_.picture, cornersOf(*bent, modules), modules, modules);
        }
        if (accept(grid)) return true;
        grid.refine(2);
        if (accept(grid)) return true;
        grid.refineAll();
        return accept(grid);
    }

    [[nodiscard]] static Outline cornersOf(const Perspective& perspective, int modules) {
        const double end = modules;
        return {perspective.at({0, 0}), perspective.at({end, 0}), perspective.at({end, end}),
                perspective.at({0, end})};
    }

    /** From 1, as it must be, to -1: the lines of alternating modules between the finders. */
    [[nodiscard]] static double timingFit(const MatrixGrid& grid) {
        double dark = 0;
        double light = 0;
        double deviation = 0;
        int count = 0;
        for (int i = 8; i < grid.columns() - 8; ++i) {
            for (const double grey : {grid.greyAt(i, 6), grid.greyAt(6, i)}) {
                (i % 2 == 0 ? dark : light) += grey;
                ++count;
            }
        }
        const double darkCount = (count / 2 + 1) / 2 * 2;
        dark /= darkCount;
        light /= count - darkCount;
        for (int i = 8; i < grid.columns() - 8; ++i) {
            for (const double grey : {grid.greyAt(i, 6), grid.greyAt(6, i)}) {
                deviation += std::abs(grey - (dark + light) / 2);
            }
        }
        return deviation > 0 ? (light - dark) / 2 / (deviation / count) : 0;
    }

    /** The middle of the small square near the code's fourth corner. */
    [[nodiscard]] Point alignmentMark(const MatrixGrid& grid) const {
        const double middle = grid.columns() - 7;
        Point best{middle, middle};
        double bestFit = -1e9;
        constexpr double kStep = 0.25;
        const int reach = static_cast<int>(2.5 / kStep);
        for (int dy = -reach; dy <= reach; ++dy) {
            for (int dx = -reach; dx <= reach; ++dx) {
                const Point at{middle + dx * kStep, middle + dy * kStep};
                const double fit = markFit(grid, at) - 0.5 * (std::abs(dx) + std::abs(dy));
                if (fit <= bestFit) continue;
                bestFit = fit;
                best = at;
            }
        }
        const auto perspective = Perspective::between(
            {{{0, 0},
              {static_cast<double>(grid.columns()), 0},
              {static_cast<double>(grid.columns()), static_cast<double>(grid.columns())},
              {0, static_cast<double>(grid.columns())}}},
            grid.corners());
        return perspective ? perspective->at(best + Point{0.5, 0.5}) : grid.corners()[2];
    }

    [[nodiscard]] static double markFit(const MatrixGrid& grid, const Point& at) {
        double fit = 0;
        for (int y = -2; y <= 2; ++y) {
            for (int x = -2; x <= 2; ++x) {
                const int ring = std::max(std::abs(x), std::abs(y));
                const double grey = grid.greyAt(at.x + x, at.y + y);
                // Eight light ones in the ring; sixteen dark ones around and one within.
                fit += ring == 1 ? grey / 8 : -grey / 17;
            }
        }
        return fit;
    }

    [[nodiscard]] bool accept(const MatrixGrid& grid) {
        GreyMap modules = grid.modules();
        // What is known of every code is drawn in: the library counts on it.
        const int last = modules.width - 1;
        for (int row = 0; row < 8; ++row) {
            for (int column = 0; column < 8; ++column) {
                const std::uint8_t value = finderIsDark(column, row) ? kInkValue : kPaperValue;
                modules.row(row)[column] = value;
                modules.row(row)[last - column] = value;
                modules.row(last - row)[column] = value;
            }
        }
        for (int i = 8; i < modules.width - 8; ++i) {
            modules.row(6)[i] = modules.row(i)[6] = i % 2 == 0 ? kInkValue : kPaperValue;
        }
        const auto text = decodeQr(modules);
        if (!text) return false;
        codes_.push_back({"QR", *text, grid.corners(), grid.pixelsPerModule()});
        return true;
    }

    const UprightCut& cut_;
    std::vector<FoundCode> codes_;
};

}  // namespace

std::vector<FoundCode> readQrCodes(const UprightCut& cut) { return QrReader(cut).read(); }

}  // namespace kestrosim
