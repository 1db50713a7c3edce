// SPDX-License-Identifier: Apache-2.0
#include "Label.h"

#include <ZXing/MultiFormatWriter.h>

#include <algorithm>
#include <array>
#include <exception>

#include "Symbologies.h"

namespace kestrosim {
namespace {

constexpr std::uint8_t kInk = 28;
constexpr std::uint8_t kPaper = 226;
constexpr int kLeastBarHeight = 30 * kFine;

/** How a kind is printed: the quiet zone is in modules, at the left and the right. */
struct Print {
    ZXing::BarcodeFormat format;
    bool isOfBars;
    int quietModules;
    int scarceQuietModules;  // the least that readers ask for
};

/** In the order of kSymbologies. */
constexpr std::array<Print, kSymbologies.size()> kPrints{{
    {ZXing::BarcodeFormat::Code128, true, 12, 12},
    {ZXing::BarcodeFormat::QRCode, false, 6, 4},
    {ZXing::BarcodeFormat::Code39, true, 12, 12},
    {ZXing::BarcodeFormat::EAN13, true, 12, 12},
    {ZXing::BarcodeFormat::ITF, true, 12, 12},
    {ZXing::BarcodeFormat::Codabar, true, 12, 12},
    {ZXing::BarcodeFormat::DataMatrix, false, 6, 4},
    {ZXing::BarcodeFormat::PDF417, false, 8, 6},
}};

bool isAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

/** What the writer wants to be told: Codabar's letters, else the text. */
std::string encodedText(const LabelText& said) {
    constexpr std::string_view kCodabar = "CODABAR";
    if (said.type.size() != kCodabar.size() + 2) return said.text;
    return said.type[kCodabar.size()] + said.text + said.type.back();
}

ZXing::BitMatrix modulesOf(const LabelText& said, const Print& print) {
    ZXing::MultiFormatWriter writer(print.format);
    writer.setMargin(0);
    if (print.format == ZXing::BarcodeFormat::QRCode) writer.setEccLevel(4);
    // Named only where needed: it costs twelve bits and can cost a size.
    if (!isAscii(said.text)) writer.setEncoding(ZXing::CharacterSet::UTF8);
    return writer.encode(encodedText(said), 0, print.isOfBars ? 1 : 0);
}

/** A Data Matrix is printed square: few lines read the oblong ones. */
bool isPrintable(const ZXing::BitMatrix& modules, const Print& print) {
    return print.format != ZXing::BarcodeFormat::DataMatrix || modules.width() == modules.height();
}

Label layOut(const LabelText& said, const LabelMeasure& measure, const Print& print) {
    Label label;
    label.said = said;
    label.modules = modulesOf(said, print);
    label.module = measure.module;
    const int width = label.modules.width() * measure.module;
    const int height = print.isOfBars
                           ? std::max(width * measure.barHeightPercent / 100, kLeastBarHeight)
                           : label.modules.height() * measure.module;
    const int quiet = measure.module *
                      (measure.hasScarceQuietZone ? print.scarceQuietModules : print.quietModules);
    const int above = print.isOfBars ? quiet / 2 : quiet;
    label.caption = print.isOfBars ? std::clamp(measure.module / kFine, 2, 3) * kFine : 0;
    const int below = above + (print.isOfBars ? (Canvas::kLetterHeight + 4) * label.caption : 0);
    label.code = {quiet, above, quiet + width, above + height};
    label.width = width + 2 * quiet;
    label.height = above + height + below;
    return label;
}

/** A code of bars has one row of modules, which counts for its whole height. */
void drawModules(Canvas& canvas, const Label& label) {
    const auto& modules = label.modules;
    const bool isOfBars = modules.height() == 1;
    for (int row = 0; row < modules.height(); ++row) {
        const int top = label.code.top + row * label.module;
        const int bottom = isOfBars ? label.code.bottom : top + label.module;
        for (int column = 0; column < modules.width(); ++column) {
            if (!modules.get(column, row)) continue;
            const int left = label.code.left + column * label.module;
            canvas.fill({left, top, left + label.module, bottom}, kInk);
        }
    }
}

void drawCaption(Canvas& canvas, const Label& label) {
    const int advance = Canvas::kLetterAdvance * label.caption;
    const int length = static_cast<int>(label.said.text.size()) * advance - label.caption;
    canvas.write(label.code.left + (label.code.width() - length) / 2,
                 label.code.bottom + 4 * label.caption, label.said.text, label.caption, kInk + 20);
}

}  // namespace

std::optional<Label> layOut(const LabelText& said, const LabelMeasure& measure) {
    const std::size_t symbology = symbologyOf(said.type);
    if (symbology == kPrints.size()) return std::nullopt;
    const Print& print = kPrints[symbology];
    try {
        Label label = layOut(said, measure, print);
        if (!isPrintable(label.modules, print)) return std::nullopt;
        return label;
    } catch (const std::exception&) {
        return std::nullopt;  // the kind has no such character, or not so many
    }
}

std::vector<std::uint8_t> drawFace(const Label& label) {
    std::vector<std::uint8_t> face(
        static_cast<std::size_t>(label.width) * static_cast<std::size_t>(label.height), kPaper);
    Canvas canvas(label.width, label.height, face);
    canvas.frame({0, 0, label.width, label.height}, kFine, kPaper - 46);
    drawModules(canvas, label);
    if (label.caption > 0) drawCaption(canvas, label);
    return face;
}

}  // namespace kestrosim
