// SPDX-License-Identifier: Apache-2.0
#define ZX_USE_UTF8 1
#include <ZXing/ReadBarcode.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

#include "Scene.h"
#include "SceneParts.h"
#include "Symbologies.h"

namespace kestrosim {
namespace {

using ZXing::BarcodeFormat;

SceneOptions optionsOf(std::uint64_t seed, std::uint32_t difficulty = 0) {
    SceneOptions options;
    options.seed = seed;
    options.difficulty = difficulty;
    return options;
}

struct Vector {
    double x = 0;
    double y = 0;
};

Vector between(const PixelPoint& from, const PixelPoint& to) {
    return {static_cast<double>(to.x - from.x), static_cast<double>(to.y - from.y)};
}

double lengthOf(const Vector& v) { return std::hypot(v.x, v.y); }

double cross(const Vector& a, const Vector& b) { return a.x * b.y - a.y * b.x; }

/** Clockwise as one sees it, from -180 to 180. */
double degreesOf(const SceneCode& code) {
    const Vector top = between(code.corners[0], code.corners[1]);
    return std::atan2(top.y, top.x) * 180 / 3.14159265;
}

/** How far the point lies outside the code, at least; negative inside. */
double distanceTo(const SceneCode& code, const PixelPoint& point) {
    double most = -1e9;
    for (std::size_t i = 0; i < 4; ++i) {
        const PixelPoint& from = code.corners[i];
        const Vector side = between(from, code.corners[(i + 1) % 4]);
        most = std::max(most, -cross(side, between(from, point)) / lengthOf(side));
    }
    return most;
}

/** A code seen as it would lie upright and flat. */
class Upright {
 public:
    Upright(const Scene& scene, const SceneCode& code) : scene_(scene), corners_(code.corners) {
        const Vector left = between(corners_[1], corners_[0]);
        const Vector right = between(corners_[2], corners_[3]);
        const Vector bend{left.x - right.x, left.y - right.y};
        const Vector up = between(corners_[2], corners_[1]);
        bendAcross_ = cross(bend, right) / cross(up, right);
        bendDown_ = cross(up, bend) / cross(up, right);
    }

    [[nodiscard]] double width() const { return lengthOf(across_); }
    [[nodiscard]] double height() const { return lengthOf(down_); }

    /** Pixels to the right of the upper left corner and below it; between pixels, a mixture. */
    [[nodiscard]] double at(double right, double below) const {
        const Vector place = placeOf(right / width(), below / height());
        const double x = place.x - 0.5;
        const double y = place.y - 0.5;
        const double fx = x - std::floor(x);
        const double fy = y - std::floor(y);
        const auto left = static_cast<std::size_t>(x);
        const auto top = static_cast<std::size_t>(y);
        return (grey(left, top) * (1 - fx) + grey(left + 1, top) * fx) * (1 - fy) +
               (grey(left, top + 1) * (1 - fx) + grey(left + 1, top + 1) * fx) * fy;
    }

    /** The darkest grey along each side, that many pixels inside. */
    [[nodiscard]] std::array<double, 4> darkestAlongSides(double inside) const {
        std::array<double, 4> darkest{255, 255, 255, 255};
        for (int i = 0; i <= 200; ++i) {
            const double x = inside + (width() - 2 * inside) * i / 200;
            const double y = inside + (height() - 2 * inside) * i / 200;
            const std::array<double, 4> here{at(x, inside), at(width() - inside, y),
                                             at(x, height() - inside), at(inside, y)};
            for (std::size_t j = 0; j < 4; ++j) darkest[j] = std::min(darkest[j], here[j]);
        }
        return darkest;
    }

    /** Twice as large with white all round. */
    [[nodiscard]] ZXing::Result read(BarcodeFormat format) const {
        constexpr int kWhite = 60;
        const int columns = static_cast<int>(std::round(2 * width()));
        const int rows = static_cast<int>(std::round(2 * height()));
        const int stride = columns + 2 * kWhite;
        std::vector<std::uint8_t> pixels(
            static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows + 2 * kWhite), 255);
        for (int i = 0; i < columns * rows; ++i) {
            const int x = i % columns;
            const int y = i / columns;
            const double value = at((x + 0.5) / 2, (y + 0.5) / 2);
            pixels[static_cast<std::size_t>((y + kWhite) * stride + x + kWhite)] =
                static_cast<std::uint8_t>(value);
        }
        const ZXing::ImageView view(pixels.data(), stride, rows + 2 * kWhite,
                                    ZXing::ImageFormat::Lum);
        return ZXing::ReadBarcode(view, ZXing::DecodeHints()
                                            .setFormats(format)
                                            .setTryRotate(false)
                                            .setTryDownscale(false)
                                            .setReturnCodabarStartEnd(true)
                                            .setMaxNumberOfSymbols(1));
    }

 private:
    [[nodiscard]] double grey(std::size_t x, std::size_t y) const {
        return scene_.pixels.at(y * scene_.width + x);
    }

    /** Of shares of the width and of the height: where a camera sees that, tilted. */
    [[nodiscard]] Vector placeOf(double s, double t) const {
        const auto& [a, b, c, d] = corners_;
        const double scale = 1 + s * bendAcross_ + t * bendDown_;
        return {
            (a.x + s * (across_.x + bendAcross_ * b.x) + t * (down_.x + bendDown_ * d.x)) / scale,
            (a.y + s * (across_.y + bendAcross_ * b.y) + t * (down_.y + bendDown_ * d.y)) / scale};
    }

    const Scene& scene_;
    std::array<PixelPoint, 4> corners_;
    Vector across_ = between(corners_[0], corners_[1]);
    Vector down_ = between(corners_[0], corners_[3]);
    double bendAcross_ = 0;  // 0: the far side is as long as the near one
    double bendDown_ = 0;
};

/** In the order of kSymbologies. */
constexpr std::array<BarcodeFormat, kSymbologies.size()> kFormats{
    BarcodeFormat::Code128,    BarcodeFormat::QRCode, BarcodeFormat::Code39,
    BarcodeFormat::EAN13,      BarcodeFormat::ITF,    BarcodeFormat::Codabar,
    BarcodeFormat::DataMatrix, BarcodeFormat::PDF417};

std::string expectedText(const SceneCode& code) {
    if (code.type.size() != 9) return code.text;
    return code.type[7] + code.text + code.type[8];  // CODABARAB
}

/** Of a number with a check digit: the digits, from the right weighted 1 and 3 in turn. */
int weightedSum(const std::string& digits) {
    int sum = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        sum += (digits[digits.size() - 1 - i] - '0') * (i % 2 == 0 ? 1 : 3);
    }
    return sum;
}

bool isOfBars(const SceneCode& code) {
    const std::size_t kind = symbologyOf(code.type);
    return !kSymbologies.at(kind).isMatrix;
}

TEST(SceneDrawing, DependsOnSeedAndNumberAlone) {
    const Scene scene = drawScene(optionsOf(42, 3), 3);
    const Scene again = drawScene(optionsOf(42, 3), 3);
    EXPECT_EQ(scene.pixels, again.pixels);
    EXPECT_EQ(truthLine("", 3, scene), truthLine("", 3, again));
    EXPECT_NE(scene.pixels, drawScene(optionsOf(42, 3), 4).pixels);
    EXPECT_NE(scene.pixels, drawScene(optionsOf(43, 3), 3).pixels);
}

TEST(SceneDrawing, ShowsEveryKindInTwelveScenesOfWhichTheFirstIsOfBars) {
    for (std::uint64_t seed = 1; seed <= 2; ++seed) {
        std::set<std::size_t> kinds;
        for (std::uint32_t number = 0; number < 12; ++number) {
            const Scene scene = drawScene(optionsOf(seed), number);
            ASSERT_FALSE(scene.drawn.empty());
            EXPECT_LE(scene.drawn.size(), 6U);
            EXPECT_EQ(isOfBars(scene.drawn.front()), number % 2 == 0);
            for (const SceneCode& code : scene.drawn) {
                kinds.insert(symbologyOf(code.type));
                EXPECT_GE(code.pixelsPerModule, 2.5F);
                EXPECT_LE(code.pixelsPerModule, 5.0F);
            }
        }
        EXPECT_THAT(kinds, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
    }
}

TEST(SceneDrawing, RepeatsOneLabelInSomeScenesAndNoOther) {
    int scenesWithEqual = 0;
    for (std::uint32_t number = 0; number < 25; ++number) {
        std::map<std::string, std::vector<std::string>> typesOfText;
        for (const SceneCode& code : drawScene(optionsOf(6), number).drawn) {
            typesOfText[code.text].push_back(code.type);
        }
        int equal = 0;
        for (const auto& [text, types] : typesOfText) {
            ASSERT_LE(types.size(), 2U) << text;
            EXPECT_EQ(types.front(), types.back());
            equal += types.size() == 2 ? 1 : 0;
        }
        EXPECT_LE(equal, 1);
        scenesWithEqual += equal;
    }
    EXPECT_GE(scenesWithEqual, 2);
    EXPECT_LE(scenesWithEqual, 12);
}

class SceneDrawingOf : public testing::TestWithParam<std::uint32_t> {};

TEST_P(SceneDrawingOf, HasCornersClockwiseInThePictureApartFromOthers) {
    // Tilted, the sides of a label turn a little towards each other.
    const double mostDegrees = GetParam() == 0 ? 31 : 45;
    SceneOptions options = optionsOf(5, GetParam());
    options.width = 800;  // so that labels crowd
    options.height = 600;
    for (std::uint32_t number = 0; number < 12; ++number) {
        const Scene scene = drawScene(options, number);
        for (const SceneCode& code : scene.drawn) {
            SCOPED_TRACE(code.type + ' ' + code.text + " of scene " + std::to_string(number));
            const bool isAnyWayRound = code.type == "QR" || code.type == "DM";
            EXPECT_LE(std::abs(degreesOf(code)), isAnyWayRound ? 180 : mostDegrees);
            for (std::size_t i = 0; i < 4; ++i) {
                const PixelPoint& corner = code.corners[i];
                EXPECT_TRUE(corner.x >= 0 && corner.x <= 800 && corner.y >= 0 && corner.y <= 600);
                const PixelPoint& next = code.corners[(i + 1) % 4];
                EXPECT_GT(cross(between(corner, next), between(next, code.corners[(i + 2) % 4])),
                          0);
                // Both quiet zones, and more between their labels.
                for (const SceneCode& other : scene.drawn) {
                    EXPECT_TRUE(&other == &code || distanceTo(other, corner) > 50);
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Difficulties, SceneDrawingOf, testing::Values(0U, 10U));

TEST(SceneDrawing, ShowsCodesExactlyWhereItSaysTheyAre) {
    std::set<std::size_t> kinds;
    bool isAnyUpsideDown = false;
    for (std::uint32_t number = 0; number < 12; ++number) {
        const Scene scene = drawScene(optionsOf(8, 2), number);
        for (const SceneCode& code : scene.drawn) {
            SCOPED_TRACE(code.type + ' ' + code.text + " of scene " + std::to_string(number));
            const Upright upright(scene, code);
            const std::size_t kind = symbologyOf(code.type);
            const auto result = upright.read(kFormats.at(kind));
            EXPECT_EQ(result.text(), expectedText(code));
            EXPECT_EQ(code.text.size(), code.type == "ITF25" ? 14 : code.text.size());
            const bool isChecked = code.type == "ITF25" || code.type == "EAN13";
            EXPECT_EQ(isChecked ? weightedSum(code.text) % 10 : 0, 0);
            EXPECT_LE(std::abs(result.orientation()), 5);
            EXPECT_THAT(upright.darkestAlongSides(1.5), testing::Each(testing::Lt(110)));
            EXPECT_THAT(upright.darkestAlongSides(-3), testing::Each(testing::Gt(150)));
            kinds.insert(kind);
            isAnyUpsideDown = isAnyUpsideDown || std::abs(degreesOf(code)) > 135;
        }
    }
    EXPECT_EQ(kinds.size(), kSymbologies.size());
    EXPECT_TRUE(isAnyUpsideDown);
}

/** From the darkest tenth of what codes cover to the brightest one. */
int contrastOf(const Scene& scene) {
    std::vector<int> greys;
    for (std::size_t i = 0; i < scene.pixels.size(); i += 3) {
        const PixelPoint at{static_cast<int>(i % scene.width), static_cast<int>(i / scene.width)};
        if (std::any_of(scene.drawn.begin(), scene.drawn.end(),
                        [&at](const SceneCode& code) { return distanceTo(code, at) < 0; })) {
            greys.push_back(scene.pixels[i]);
        }
    }
    std::sort(greys.begin(), greys.end());
    return greys.at(greys.size() * 9 / 10) - greys.at(greys.size() / 10);
}

/** The median step from pixel to pixel, which labels have little part in. */
int noiseOf(const Scene& scene) {
    std::vector<int> steps;
    for (std::size_t i = 1; i < scene.pixels.size(); ++i) {
        steps.push_back(std::abs(scene.pixels[i] - scene.pixels[i - 1]));
    }
    std::nth_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2),
                     steps.end());
    return steps[steps.size() / 2];
}

TEST(SceneDrawing, GetsWorseWithDifficultyButShowsTheSame) {
    const Scene easy = drawScene(optionsOf(1, 0), 0);
    const Scene hard = drawScene(optionsOf(1, 5), 0);
    const Scene hardest = drawScene(optionsOf(1, 10), 0);
    EXPECT_GT(contrastOf(easy), contrastOf(hard) + 20);
    EXPECT_GT(contrastOf(hard), contrastOf(hardest) + 20);
    EXPECT_LT(noiseOf(easy), noiseOf(hard));
    EXPECT_LT(noiseOf(hard), noiseOf(hardest));
    ASSERT_EQ(easy.drawn.size(), hardest.drawn.size());
    for (std::size_t i = 0; i < easy.drawn.size(); ++i) {
        EXPECT_EQ(easy.drawn[i].text, hardest.drawn[i].text);
        EXPECT_GT(easy.drawn[i].pixelsPerModule, hardest.drawn[i].pixelsPerModule);
    }
}

}  // namespace
}  // namespace kestrosim
