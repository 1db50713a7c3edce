// SPDX-License-Identifier: Apache-2.0
#define ZX_USE_UTF8 1
#include <ZXing/ReadBarcode.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "Canvas.h"
#include "CodeMeasure.h"
#include "CodeRegions.h"
#include "SceneParts.h"

namespace kestrosim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMostCodesInARegion = 16;

std::uint32_t millisecondsSince(Clock::time_point begin) {
    const auto taken = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - begin);
    return static_cast<std::uint32_t>(taken.count());
}

/**
 * One code at a time and one scale: the reader's library aborts the process when it compares two
 * linear results with equal text, from two places or from two scales.
 */
ZXing::DecodeHints hints(ZXing::Binarizer binarizer) {
    return ZXing::DecodeHints()
        .setFormats(ZXing::BarcodeFormat::Code128 | ZXing::BarcodeFormat::QRCode)
        .setBinarizer(binarizer)
        .setTryHarder(true)
        .setTryRotate(false)
        .setTryDownscale(false)
        .setMaxNumberOfSymbols(1);
}

std::optional<ZXing::Result> readOne(const PictureView& picture, const Box& region,
                                     ZXing::Binarizer binarizer) {
    const ZXing::ImageView whole(picture.data(), picture.width(), picture.height(),
                                 ZXing::ImageFormat::Lum);
    try {
        auto results = ZXing::ReadBarcodes(
            whole.cropped(region.left, region.top, region.width(), region.height()),
            hints(binarizer));
        if (results.empty() || !results.front().isValid()) return std::nullopt;
        return std::move(results.front());
    } catch (const std::exception&) {
        return std::nullopt;  // the library throws on some damaged codes; that one is unread
    }
}

/** Small modules get lost to one way of telling ink from paper or to the other, hardly to both. */
std::optional<ZXing::Result> readOne(const PictureView& picture, const Box& region) {
    auto result = readOne(picture, region, ZXing::Binarizer::LocalAverage);
    return result ? std::move(result) : readOne(picture, region, ZXing::Binarizer::GlobalHistogram);
}

Corners cornersOf(const ZXing::Result& result, const Box& region) {
    Corners corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const auto& point = result.position()[i];
        corners[i] = {point.x + region.left, point.y + region.top};
    }
    return corners;
}

SceneCode codeOf(const ZXing::Result& result, const PictureView& picture, const Box& region) {
    const bool linear = result.format() == ZXing::BarcodeFormat::Code128;
    const Corners corners = cornersOf(result, region);
    const Measured measured =
        linear ? measureLinear(picture, corners) : measureMatrix(picture, corners);
    // To a thousandth of a pixel: what a result document shows is then the very value.
    const double rounded = std::round(measured.pixelsPerModule * 1000) / 1000;
    return {linear ? "CODE128" : "QR", result.text(), measured.corners, static_cast<float>(rounded),
            0};
}

Box boundsOf(const Corners& corners) {
    const auto [left, right] =
        std::minmax({corners[0].x, corners[1].x, corners[2].x, corners[3].x});
    const auto [top, bottom] =
        std::minmax({corners[0].y, corners[1].y, corners[2].y, corners[3].y});
    return {left, top, right, bottom};
}

/**
 * Takes a piece of a linear code, above or below a scratch through its bars, as part of the code
 * that was read from the other side of it; false when the two are not one.
 */
bool join(SceneCode& known, const SceneCode& piece) {
    if (known.type != "CODE128" || known.type != piece.type || known.text != piece.text) {
        return false;
    }
    constexpr int kAlignmentPixels = 8;
    const Box a = boundsOf(known.corners);
    const Box b = boundsOf(piece.corners);
    const bool aligned = std::abs(a.left - b.left) <= kAlignmentPixels &&
                         std::abs(a.right - b.right) <= kAlignmentPixels;
    const int gap = std::max(a.top, b.top) - std::min(a.bottom, b.bottom);
    if (!aligned || gap > a.width() / 2) return false;
    for (PixelPoint& corner : known.corners) {
        corner.y = corner.y == a.top ? std::min(a.top, b.top) : std::max(a.bottom, b.bottom);
    }
    return true;
}

/** The codes of one region, each blanked once it is read so that the next one is found. */
void readRegion(std::vector<std::uint8_t>& pixels, Canvas& canvas, const Box& region,
                Clock::time_point begin, std::vector<SceneCode>& codes) {
    const PictureView picture(pixels.data(), canvas.width(), canvas.height());
    for (int i = 0; i < kMostCodesInARegion; ++i) {
        const auto result = readOne(picture, region);
        if (!result) return;
        SceneCode code = codeOf(*result, picture, region);
        code.readAfterMilliseconds = millisecondsSince(begin);
        canvas.fill(boundsOf(code.corners).grownBy(2), 255);
        const bool joined = std::any_of(codes.begin(), codes.end(),
                                        [&code](SceneCode& known) { return join(known, code); });
        if (!joined) codes.push_back(code);
    }
}

ReadStatus statusOf(const Scene& scene) {
    if (scene.read.empty()) return ReadStatus::noRead;
    const auto wasRead = [&scene](const SceneCode& drawn) {
        return std::any_of(scene.read.begin(), scene.read.end(), [&drawn](const SceneCode& read) {
            return read.type == drawn.type && read.text == drawn.text;
        });
    };
    return std::all_of(scene.drawn.begin(), scene.drawn.end(), wasRead) ? ReadStatus::complete
                                                                        : ReadStatus::partial;
}

}  // namespace

void readScene(Scene& scene) {
    const auto begin = Clock::now();
    scene.read.clear();
    auto pixels = scene.pixels;
    Canvas canvas(static_cast<int>(scene.width), static_cast<int>(scene.height), pixels);
    const PictureView picture(pixels.data(), canvas.width(), canvas.height());
    for (const Box& region : findCodeRegions(picture)) {
        readRegion(pixels, canvas, region, begin, scene.read);
    }
    scene.status = statusOf(scene);
    scene.readMilliseconds = millisecondsSince(begin);
}

}  // namespace kestrosim
