// SPDX-License-Identifier: Apache-2.0
#include "Overlay.h"

#include "LabelPlacement.h"
#include "Lettering.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

namespace kestrocli {
namespace {

constexpr std::size_t kMostCodes = 256;
constexpr std::size_t kMostPoints = 16;
constexpr Colour kGround{18, 22, 28};
constexpr Colour kInk{255, 255, 255};

/** One for a kind of code, so that the kinds can be told apart; all are seen well on kGround. */
Colour colourOf(std::int32_t codeType) {
    constexpr Colour kYellow{250, 230, 80};
    constexpr Colour kTurquoise{120, 235, 225};
    constexpr Colour kGreen{61, 224, 135};
    constexpr Colour kOrange{255, 176, 46};
    constexpr Colour kCoral{255, 116, 96};
    // In the order of their numbers: EAN, Code 39 and 93, Code 128, UPC, 2 of 5, Codabar, Code 128.
    constexpr std::array<Colour, 12> kOfLinearCodes = {kYellow, kYellow, kTurquoise, kTurquoise,
                                                       kGreen,  kYellow, kYellow,    kOrange,
                                                       kCoral,  kGreen,  kGreen,     kGreen};
    constexpr std::array<Colour, 4> kOfMatrixCodes = {
        {{80, 196, 255}, {255, 120, 214}, {184, 164, 255}, kOrange}};
    constexpr std::uint32_t kFirstMatrixCode = 100;
    const auto type = static_cast<std::uint32_t>(codeType);
    return type < kFirstMatrixCode ? kOfLinearCodes[type % kOfLinearCodes.size()]
                                   : kOfMatrixCodes[type % kOfMatrixCodes.size()];
}

/** The text as it appears in a label, without what no label has room for. */
std::string shown(std::string_view text) { return visible(text.substr(0, 1000)); }

struct Label {
    std::string type;
    std::string text;
    int typeWidth = 0;
    int width = 0;
};

/** Draws the codes of one picture. */
class Drawing {
 public:
    Drawing(Raster& picture, const Codes& codes)
        : picture_(picture),
          codes_(codes),
          lettering_(sizeFor(picture, codes.size())),
          size_(lettering_.size()) {
        for (std::size_t i = 0; i < std::min(codes.size(), kMostCodes); ++i) {
            outlines_.push_back(outlineOf(*codes[i]));
        }
    }

    void draw() {
        for (std::size_t i = 0; i < outlines_.size(); ++i) drawOutline(i);
        // All lines before all labels, so that no line crosses a text.
        const std::vector<Placed> labels = placedLabels();
        for (const Placed& label : labels) drawLeader(label);
        for (const Placed& label : labels) drawLabel(label);
        if (codes_.size() > kMostCodes) drawCountOfRest();
    }

 private:
    struct Placed {
        Label label;
        Rect rect;
        std::size_t code = 0;
    };

    /** Smaller where many codes share a picture. */
    static int sizeFor(const Raster& picture, std::size_t codes) {
        const double side = std::sqrt(static_cast<double>(picture.width()) * picture.height());
        const double crowd = codes > 24 ? 1.5 : codes > 12 ? 1.25 : 1;
        return static_cast<int>(std::lround(std::clamp(side / 240 / crowd, 3.0, 16.0)));
    }

    static Outline outlineOf(const kestro::BarcodeInfo& code) {
        Outline outline;
        for (const kestro::Point& point : code.getPoints()) {
            if (outline.size() == kMostPoints) break;
            outline.push_back({point.x + 0.5, point.y + 0.5});
        }
        if (outline.empty()) outline.push_back({0.5, 0.5});
        return outline;
    }

    [[nodiscard]] int padding() const { return (3 * size_ + 1) / 2; }
    [[nodiscard]] int labelHeight() const { return lettering_.capHeight() + 2 * padding(); }
    [[nodiscard]] double lineWidth() const { return std::round(size_ * 0.6); }
    [[nodiscard]] double edgeWidth() const { return std::max(1.0, std::round(size_ * 0.2)); }
    [[nodiscard]] Colour colour(std::size_t code) const {
        return colourOf(codes_[code]->getCodeType());
    }
    /** Where labels may be. */
    [[nodiscard]] Rect room() const {
        const double margin = std::min<double>(size_, 4);
        return {margin, margin, picture_.width() - margin, picture_.height() - margin};
    }

    /** A line that shows on any ground: bright between dark edges. */
    void drawLines(const Outline& spots, bool isClosed, Colour colour) {
        const std::size_t lines = spots.size() - (isClosed ? 0 : 1);
        for (const bool isEdge : {true, false}) {
            for (std::size_t i = 0; i < lines; ++i) {
                picture_.line(spots[i], spots[(i + 1) % spots.size()],
                              lineWidth() + (isEdge ? 2 * edgeWidth() : 0),
                              isEdge ? kGround : colour);
            }
        }
    }

    void drawOutline(std::size_t code) {
        const Outline& outline = outlines_[code];
        drawLines(outline, true, colour(code));
        if (outline.size() > 1) drawArrow(outline[0], outline[1], colour(code));
        const double radius = 1.5 * lineWidth();
        picture_.disc(outline[0], radius + edgeWidth(), kGround);
        picture_.disc(outline[0], radius, colour(code));
        picture_.disc(outline[0], radius - lineWidth() * 0.75, kInk);
    }

    /** An arrow head in the middle of a line that is long enough for one. */
    void drawArrow(Spot from, Spot to, Colour colour) {
        const double length = std::hypot(to.x - from.x, to.y - from.y);
        const double size = 2.5 * lineWidth();
        if (length < 4 * size) return;
        const Spot ahead{(to.x - from.x) / length * size, (to.y - from.y) / length * size};
        const Spot tip{(from.x + to.x) / 2 + ahead.x / 2, (from.y + to.y) / 2 + ahead.y / 2};
        const Spot left{tip.x - ahead.x + ahead.y * 0.8, tip.y - ahead.y - ahead.x * 0.8};
        const Spot right{tip.x - ahead.x - ahead.y * 0.8, tip.y - ahead.y + ahead.x * 0.8};
        drawLines({left, tip, right}, false, colour);
    }

    /** The labels that fit into the picture, each at its place. */
    [[nodiscard]] std::vector<Placed> placedLabels() const {
        std::vector<Placed> labels;
        std::vector<Outline> outlines;
        std::vector<LabelSize> sizes;
        for (std::size_t i = 0; i < outlines_.size(); ++i) {
            const auto label = labelOf(*codes_[i]);
            // All are of one height: none fits, or those that have something to say.
            if (!label) continue;
            labels.push_back({*label, {}, i});
            outlines.push_back(outlines_[i]);
            sizes.push_back({static_cast<double>(label->width), labelHeight() + 0.0});
        }
        const std::vector<Rect> places = placeLabels(room(), outlines, sizes);
        for (std::size_t i = 0; i < labels.size(); ++i) labels[i].rect = places[i];
        return labels;
    }

    /** The label as far as the picture has room for it. */
    [[nodiscard]] std::optional<Label> labelOf(const kestro::BarcodeInfo& code) const {
        const int picture = static_cast<int>(std::min(room().width(), 1e6));
        const int most =
            std::min(picture, std::max(picture * 2 / 5, (codes_.size() > 3 ? 50 : 70) * size_)) -
            2 * padding();
        const int gap = 2 * size_;
        if (labelHeight() > room().height()) return std::nullopt;
        Label label;
        label.type = lettering_.cut(shown(code.getCodeTypeName()), most);
        label.typeWidth = lettering_.widthOf(label.type);
        label.text = lettering_.cut(shown(code.getCodeData()), most - label.typeWidth - gap);
        if (label.type.empty() && label.text.empty()) return std::nullopt;
        label.width = 2 * padding() - size_ + label.typeWidth;
        if (!label.text.empty()) {
            label.width += (label.typeWidth > 0 ? gap : 0) + lettering_.widthOf(label.text);
        }
        return label;
    }

    /** To a label that stands farther off, a line from its code. */
    void drawLeader(const Placed& label) {
        const Spot middle{(label.rect.left + label.rect.right) / 2,
                          (label.rect.top + label.rect.bottom) / 2};
        const Spot nearest = nearestPoint(outlines_[label.code], middle);
        const double reach = std::max(std::abs(nearest.x - middle.x) - label.rect.width() / 2,
                                      std::abs(nearest.y - middle.y) - label.rect.height() / 2);
        if (reach > labelHeight()) drawLines({nearest, middle}, false, colour(label.code));
    }

    void drawLabel(const Placed& label) {
        const double radius = size_;
        const double edge = edgeWidth();
        const Rect rect{std::floor(label.rect.left), std::floor(label.rect.top),
                        std::floor(label.rect.left) + label.label.width,
                        std::floor(label.rect.top) + labelHeight()};
        picture_.roundedRect(rect, radius, colour(label.code));
        picture_.roundedRect(
            {rect.left + edge, rect.top + edge, rect.right - edge, rect.bottom - edge},
            radius - edge, kGround);
        const int left = static_cast<int>(rect.left) + padding();
        const int top = static_cast<int>(rect.top) + padding();
        const int textLeft =
            left + (label.label.typeWidth > 0 ? label.label.typeWidth + 2 * size_ : 0);
        lettering_.draw(picture_, left, top, label.label.type, colour(label.code));
        lettering_.draw(picture_, textLeft, top, label.label.text, kInk);
    }

    void drawCountOfRest() {
        const std::string text = std::to_string(codes_.size() - kMostCodes) + " more";
        const Rect rect{0, 0, static_cast<double>(lettering_.widthOf(text) + 2 * padding()),
                        static_cast<double>(labelHeight())};
        picture_.roundedRect(rect, 0, kGround);
        lettering_.draw(picture_, padding(), padding(), text, kInk);
    }

    Raster& picture_;
    const Codes& codes_;
    Lettering lettering_;
    int size_;
    std::vector<Outline> outlines_;
};

}  // namespace

void drawOverlay(Raster& picture, const Codes& codes) { Drawing(picture, codes).draw(); }

}  // namespace kestrocli
