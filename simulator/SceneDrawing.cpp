// SPDX-License-Identifier: Apache-2.0
#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <utility>

#include "Canvas.h"
#include "LabelTexts.h"
#include "SceneGround.h"
#include "SceneParts.h"
#include "SeededRandom.h"

namespace kestrosim {
namespace {

constexpr int kUnit = 64;  // lengths on the module grid are in 1/64 pixel
constexpr int kSmallestModule = kUnit * 5 / 2;
constexpr int kLargestModule = kUnit * 5;
constexpr int kLinearQuietModules = 12;
constexpr int kMatrixQuietModules = 6;
constexpr int kScarceQuietModules = 4;  // the least that a QR code asks for
constexpr int kLabelGapPixels = 22;
constexpr std::uint8_t kInk = 28;
constexpr std::uint8_t kPaper = 226;

/** One label before it has a place: the code's modules and the sizes in pixels. */
struct Label {
    std::string type;
    std::string text;
    ZXing::BitMatrix modules;
    int module = kSmallestModule;
    int codeWidth = 0;
    int codeHeight = 0;
    int quiet = 0;         // left and right of the code
    int above = 0;         // from the label's edge down to the code
    int caption = 0;       // dots of the caption's letters; 0: no caption
    int captionSpace = 0;  // from the code down to the label's edge

    [[nodiscard]] int width() const { return codeWidth + 2 * quiet; }
    [[nodiscard]] int height() const { return above + codeHeight + captionSpace; }
};

int pixels(int modules, int module) { return (modules * module + kUnit / 2) / kUnit; }

bool isAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

ZXing::BitMatrix linearModules(const std::string& text) {
    return ZXing::MultiFormatWriter(ZXing::BarcodeFormat::Code128).setMargin(0).encode(text, 0, 1);
}

ZXing::BitMatrix matrixModules(const std::string& text) {
    ZXing::MultiFormatWriter writer(ZXing::BarcodeFormat::QRCode);
    writer.setMargin(0).setEccLevel(4);
    // Named only where needed: it costs twelve bits and can cost a size.
    if (!isAscii(text)) writer.setEncoding(ZXing::CharacterSet::UTF8);
    return writer.encode(text, 0, 0);
}

Label linearLabel(const std::string& text, int module, SeededRandom& random) {
    Label label;
    label.type = "CODE128";
    label.text = text;
    label.modules = linearModules(text);
    label.module = module;
    label.codeWidth = pixels(label.modules.width(), module);
    label.codeHeight = std::max(label.codeWidth * random.between(18, 34) / 100, 30);
    label.quiet = pixels(kLinearQuietModules, module);
    label.above = label.quiet / 2;
    label.caption = std::clamp(module / kUnit, 2, 3);
    label.captionSpace = label.above + (Canvas::kLetterHeight + 4) * label.caption;
    return label;
}

Label matrixLabel(const std::string& text, int module, int quietModules) {
    Label label;
    label.type = "QR";
    label.text = text;
    label.modules = matrixModules(text);
    label.module = module;
    label.codeWidth = pixels(label.modules.width(), module);
    label.codeHeight = label.codeWidth;
    label.quiet = pixels(quietModules, module);
    label.above = label.quiet;
    label.captionSpace = label.quiet;
    return label;
}

/** Pixel by pixel, how much of it lies in which module: an index and the share of the next one. */
struct Share {
    int index = 0;
    int next = 0;  // of kUnit
};

std::vector<Share> sharesOf(int pixelCount, int module) {
    std::vector<Share> shares(static_cast<std::size_t>(pixelCount));
    for (int i = 0; i < pixelCount; ++i) {
        const int begin = i * kUnit;
        const int index = begin / module;
        const int over = begin + kUnit - (index + 1) * module;
        shares[static_cast<std::size_t>(i)] = {index, std::clamp(over, 0, kUnit)};
    }
    return shares;
}

/** Module (x, y), paper outside; a linear code's one row of modules counts for all rows. */
int inkAt(const ZXing::BitMatrix& modules, int x, int y) {
    if (x >= modules.width()) return 0;
    if (modules.height() == 1) return modules.get(x, 0) ? 1 : 0;
    return y < modules.height() && modules.get(x, y) ? 1 : 0;
}

/** Each pixel as dark as the share of it that ink covers, as a sensor sees it. */
void drawCode(Canvas& canvas, const Label& label, int left, int top) {
    const bool linear = label.modules.height() == 1;
    const auto columns = sharesOf(label.codeWidth, label.module);
    const auto rows = linear ? std::vector<Share>(static_cast<std::size_t>(label.codeHeight))
                             : sharesOf(label.codeHeight, label.module);
    for (std::size_t y = 0; y < rows.size(); ++y) {
        for (std::size_t x = 0; x < columns.size(); ++x) {
            const auto [column, right] = columns[x];
            const auto [row, below] = rows[y];
            const auto& m = label.modules;
            const int upper =
                inkAt(m, column, row) * (kUnit - right) + inkAt(m, column + 1, row) * right;
            const int lower =
                inkAt(m, column, row + 1) * (kUnit - right) + inkAt(m, column + 1, row + 1) * right;
            const int ink = upper * (kUnit - below) + lower * below;
            canvas.at(left + static_cast<int>(x), top + static_cast<int>(y)) =
                static_cast<std::uint8_t>(kPaper - (kPaper - kInk) * ink / (kUnit * kUnit));
        }
    }
}

void drawShadow(Canvas& canvas, const Box& label) {
    for (int step = 0; step < 4; ++step) {
        const Box shadow = label.grownBy(-step);
        canvas.darken({shadow.left + 5, shadow.top + 5, shadow.right + 6, shadow.bottom + 6}, 90);
    }
}

SceneCode drawLabel(Canvas& canvas, const Label& label, const Box& place) {
    drawShadow(canvas, place);
    canvas.fill(place, kPaper);
    canvas.frame(place, 1, kPaper - 46);
    const int left = place.left + label.quiet;
    const int top = place.top + label.above;
    const int right = left + label.codeWidth;
    const int bottom = top + label.codeHeight;
    drawCode(canvas, label, left, top);
    if (label.caption > 0) {
        const int advance = Canvas::kLetterAdvance * label.caption;
        const int length = static_cast<int>(label.text.size()) * advance - label.caption;
        canvas.write(left + (label.codeWidth - length) / 2, bottom + 4 * label.caption, label.text,
                     label.caption, kInk + 20);
    }
    return {label.type,
            label.text,
            {{{left, top}, {right, top}, {right, bottom}, {left, bottom}}},
            static_cast<float>(label.module) / static_cast<float>(kUnit),
            0};
}

/** Puts labels on the parcel, one at a time, never one over another. */
class LabelSheet {
 public:
    LabelSheet(Canvas& canvas, const Box& room, SeededRandom& random)
        : canvas_(canvas), room_(room), random_(random) {}

    /** Draws one more label of that kind, smaller or shorter where room is scarce, if it fits. */
    bool add(bool linear) {
        const int module = random_.between(kSmallestModule, kLargestModule);
        const std::array<std::pair<int, bool>, 4> attempts{{{module, false},
                                                            {(module + kSmallestModule) / 2, false},
                                                            {kSmallestModule, false},
                                                            {kSmallestModule, true}}};
        return std::any_of(attempts.begin(), attempts.end(), [this, linear](const auto& attempt) {
            return tryAdd(linear, attempt.first, attempt.second);
        });
    }

    [[nodiscard]] std::vector<SceneCode> takeCodes() { return std::move(codes_); }

 private:
    bool tryAdd(bool linear, int module, bool brief) {
        const auto label = makeLabel(linear, module, brief);
        const auto place = label ? findPlace(label->width(), label->height()) : std::nullopt;
        if (!place) return false;
        texts_.insert(label->text);
        taken_.push_back(*place);
        codes_.push_back(drawLabel(canvas_, *label, *place));
        return true;
    }

    [[nodiscard]] std::string makeText(bool linear, bool brief) {
        if (linear) return brief ? shortLinearText(random_) : linearText(random_);
        return brief ? shortMatrixText(random_) : matrixText(random_);
    }

    /** Empty when its text is in the scene already: a reader may take equal codes for one. */
    [[nodiscard]] std::optional<Label> makeLabel(bool linear, int module, bool brief) {
        const std::string text = makeText(linear, brief);
        if (texts_.contains(text)) return std::nullopt;
        if (linear) return linearLabel(text, module, random_);
        return matrixLabel(text, module, brief ? kScarceQuietModules : kMatrixQuietModules);
    }

    [[nodiscard]] std::optional<Box> findPlace(int width, int height) {
        const int edge = std::min({10, room_.width() / 40, room_.height() / 40});
        const Box room = room_.grownBy(-edge);
        if (room.width() < width || room.height() < height) return std::nullopt;
        constexpr int kTries = 60;
        for (int i = 0; i < kTries; ++i) {
            const int left = random_.between(room.left, room.right - width);
            const int top = random_.between(room.top, room.bottom - height);
            const Box place{left, top, left + width, top + height};
            if (isFree(place)) return place;
        }
        return std::nullopt;
    }

    [[nodiscard]] bool isFree(const Box& place) const {
        const Box wanted = place.grownBy(kLabelGapPixels);
        return std::none_of(taken_.begin(), taken_.end(),
                            [&wanted](const Box& other) { return wanted.touches(other); });
    }

    Canvas& canvas_;
    Box room_;
    SeededRandom& random_;
    std::vector<Box> taken_;
    std::set<std::string> texts_;
    std::vector<SceneCode> codes_;
};

/** Mixes so that neighbouring seeds and scene numbers share nothing that one would see. */
std::uint64_t mixed(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

}  // namespace

Scene drawScene(const SceneOptions& options, std::uint32_t number) {
    SeededRandom random(mixed(mixed(options.seed) ^ number));
    Scene scene;
    scene.width = options.width;
    scene.height = options.height;
    scene.pixels.resize(std::size_t{options.width} * options.height);
    if (scene.pixels.empty()) return scene;

    Canvas canvas(static_cast<int>(options.width), static_cast<int>(options.height), scene.pixels);
    LabelSheet sheet(canvas, drawGround(canvas, random), random);
    const int labels = random.between(1, 5);
    for (int i = 0; i < labels; ++i) {
        // The first label's kind takes turns, so that any two scenes in a row show both kinds.
        const bool linear = i == 0 ? number % 2 == 0 : random.between(0, 1) == 0;
        if (!sheet.add(linear) && linear) sheet.add(false);
    }
    scene.drawn = sheet.takeCodes();
    addNoise(scene.pixels, random);
    return scene;
}

}  // namespace kestrosim
