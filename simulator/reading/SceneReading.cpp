// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cmath>

#include "CodeRegions.h"
#include "FoundCode.h"
#include "GreyMap.h"
#include "SceneParts.h"

namespace kestrosim {
namespace {

using Clock = std::chrono::steady_clock;

std::uint32_t millisecondsSince(Clock::time_point begin) {
    const auto taken = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - begin);
    return static_cast<std::uint32_t>(taken.count());
}

/** Whether it has the shape of a code that a camera can see; what was measured wrongly has not. */
bool isPlausible(const FoundCode& code) {
    constexpr double kLeastModule = 1;  // pixels
    constexpr double kLeastSide = 6;
    for (std::size_t i = 0; i < 4; ++i) {
        const Point side = code.corners[(i + 1) % 4] - code.corners[i];
        const Point next = code.corners[(i + 2) % 4] - code.corners[(i + 1) % 4];
        const double turn = cross(side, next);
        if (length(side) < kLeastSide || turn < length(side) * length(next) / 2) return false;
    }
    return code.pixelsPerModule >= kLeastModule;
}

/** Reads a picture from the easy codes to the hard ones, then ever smaller for the large ones. */
class CodeReader {
 public:
    CodeReader(const Scene& scene, Clock::time_point begin, std::stop_token stop)
        : width_(scene.width),
          height_(scene.height),
          picture_(static_cast<int>(scene.width), static_cast<int>(scene.height)),
          begin_(begin),
          stop_(std::move(stop)) {
        picture_.pixels = scene.pixels;
    }

    [[nodiscard]] std::vector<SceneCode> read() {
        constexpr int kLeastSide = 500;  // of a picture that is looked at in half its size as well
        readRegions(Effort::plain);
        readRegions(Effort::more);
        while (std::min(picture_.width, picture_.height) >= kLeastSide && !stop_.stop_requested()) {
            picture_ = halved(picture_.view());
            scale_ *= 2;
            readRegions(Effort::plain);
        }
        sortDownwards();
        return std::move(codes_);
    }

 private:
    void readRegions(Effort effort) {
        for (const CodeRegion& region : findCodeRegions(picture_.view())) {
            if (stop_.stop_requested()) return;
            readRegion(region, effort);
        }
    }

    /** What is left of the region when something in it was read is a region of the next round. */
    void readRegion(const CodeRegion& region, Effort effort) {
        constexpr double kMostlyBars = 0.5;
        const bool barsFirst = region.oneWay > kMostlyBars;
        if (barsFirst && readBars(region, effort)) return;
        if (stop_.stop_requested()) return;
        const UprightCut cut(picture_.view(), region);
        if (keep(readQrCodes(cut)) || keep(readDataMatrixCodes(cut)) ||
            keep(readStackedCodes(cut, effort))) {
            return;
        }
        if (!barsFirst) (void)readBars(region, effort);
    }

    [[nodiscard]] bool readBars(const CodeRegion& region, Effort effort) {
        return keep(readLinearCodes(picture_.view(), region, effort, stop_));
    }

    /** Whether there was something new among them. */
    bool keep(const std::vector<FoundCode>& found) {
        const std::size_t before = codes_.size();
        for (const FoundCode& code : found) {
            if (!isPlausible(code)) continue;
            blank(code);
            FoundCode full = code;
            for (Point& corner : full.corners) corner = corner * scale_;
            full.pixelsPerModule *= scale_;
            if (isKnown(full)) continue;
            codes_.push_back(resultOf(full));
            found_.push_back(std::move(full));
        }
        return codes_.size() > before;
    }

    /** Of a code at the picture's very edge the measured corner can lie a little beside it. */
    [[nodiscard]] PixelPoint pixelOf(const Point& place) const {
        return {static_cast<std::int32_t>(std::lround(std::clamp(place.x, 0.0, width_))),
                static_cast<std::int32_t>(std::lround(std::clamp(place.y, 0.0, height_)))};
    }

    [[nodiscard]] SceneCode resultOf(const FoundCode& code) const {
        SceneCode result{code.type, code.text, {}, 0, millisecondsSince(begin_)};
        for (std::size_t i = 0; i < 4; ++i) result.corners[i] = pixelOf(code.corners[i]);
        // To a thousandth of a pixel: what a result document shows is then the very value.
        result.pixelsPerModule = static_cast<float>(std::round(code.pixelsPerModule * 1000) / 1000);
        return result;
    }

    /** Regions overlap, so a code can come twice; equal labels lie side by side. */
    [[nodiscard]] bool isKnown(const FoundCode& code) const {
        return std::any_of(found_.begin(), found_.end(), [&code](const FoundCode& known) {
            return contains(known.corners, middleOf(code.corners)) ||
                   contains(code.corners, middleOf(known.corners));
        });
    }

    /** Paints paper over a code, so that it is not in the way of what is still to be read. */
    void blank(const FoundCode& code) {
        const Point middle = middleOf(code.corners);
        const double out = 1 + 2 * code.pixelsPerModule / length(code.corners[0] - middle);
        Outline grown;
        for (std::size_t i = 0; i < 4; ++i) grown[i] = between(middle, code.corners[i], out);
        const auto [left, right] = std::minmax({grown[0].x, grown[1].x, grown[2].x, grown[3].x});
        const auto [top, bottom] = std::minmax({grown[0].y, grown[1].y, grown[2].y, grown[3].y});
        const std::uint8_t paper = paperAround(grown);
        const int endY = std::clamp(static_cast<int>(bottom) + 1, 0, picture_.height);
        const int endX = std::clamp(static_cast<int>(right) + 1, 0, picture_.width);
        for (int y = std::clamp(static_cast<int>(top), 0, picture_.height); y < endY; ++y) {
            for (int x = std::clamp(static_cast<int>(left), 0, picture_.width); x < endX; ++x) {
                if (!contains(grown, {x + 0.5, y + 0.5})) continue;
                picture_.row(y)[x] = paper;
            }
        }
    }

    [[nodiscard]] std::uint8_t paperAround(const Outline& quad) const {
        double sum = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            sum += greyAt(picture_.view(), between(quad[i], quad[(i + 1) % 4], 0.5));
        }
        return static_cast<std::uint8_t>(std::lround(sum / 4));
    }

    void sortDownwards() {
        std::sort(codes_.begin(), codes_.end(), [](const SceneCode& a, const SceneCode& b) {
            const auto middle = [](const SceneCode& code) {
                return std::pair(code.corners[0].y + code.corners[2].y,
                                 code.corners[0].x + code.corners[2].x);
            };
            return middle(a) < middle(b);
        });
    }

    double width_;  // of the scene
    double height_;
    GreyMap picture_;   // what was read is blank in it
    double scale_ = 1;  // of the scene's pixels, of each of its own
    Clock::time_point begin_;
    std::stop_token stop_;
    std::vector<FoundCode> found_;
    std::vector<SceneCode> codes_;
};

/** Whether each code that was drawn was read, equal ones as often as they were drawn. */
bool isAllRead(const Scene& scene) {
    std::vector<const SceneCode*> open;
    for (const SceneCode& code : scene.read) open.push_back(&code);
    return std::all_of(scene.drawn.begin(), scene.drawn.end(), [&open](const SceneCode& drawn) {
        const auto match = std::find_if(open.begin(), open.end(), [&drawn](const SceneCode* read) {
            return read->type == drawn.type && read->text == drawn.text;
        });
        if (match == open.end()) return false;
        open.erase(match);
        return true;
    });
}

ReadStatus statusOf(const Scene& scene) {
    if (scene.read.empty()) return ReadStatus::noRead;
    return isAllRead(scene) ? ReadStatus::complete : ReadStatus::partial;
}

}  // namespace

void readScene(Scene& scene, const std::stop_token& stop) {
    const auto begin = Clock::now();
    scene.read = CodeReader(scene, begin, stop).read();
    scene.status = statusOf(scene);
    scene.readMilliseconds = millisecondsSince(begin);
}

}  // namespace kestrosim
