// SPDX-License-Identifier: Apache-2.0
#include "SymbolDecoder.h"

#define ZX_USE_UTF8 1
#include <ZXing/ReadBarcode.h>

#include <algorithm>

namespace kestrosim {
namespace {

using ZXing::BarcodeFormat;

constexpr std::size_t kItfDigits = 14;

ZXing::DecodeHints hints(ZXing::BarcodeFormats formats) {
    return ZXing::DecodeHints()
        .setFormats(formats)
        .setBinarizer(ZXing::Binarizer::BoolCast)
        .setTryHarder(true)
        .setTryRotate(false)
        .setTryDownscale(false)
        .setMinLineCount(1)
        .setMaxNumberOfSymbols(1)
        .setValidateITFCheckSum(true)
        .setReturnCodabarStartEnd(true);
}

std::optional<ZXing::Result> decode(const std::uint8_t* pixels, int width, int height,
                                    const ZXing::DecodeHints& how) {
    const ZXing::ImageView view(pixels, width, height, ZXing::ImageFormat::Lum);
    try {
        auto results = ZXing::ReadBarcodes(view, how);
        if (results.empty() || !results.front().isValid()) return std::nullopt;
        return std::move(results.front());
    } catch (const std::exception&) {
        return std::nullopt;  // the library throws on some damaged codes; that one is unread
    }
}

/** The type as results name it; empty for what is not looked for. Takes Codabar's letters off. */
std::string typeOf(BarcodeFormat format, std::string& text) {
    switch (format) {
        case BarcodeFormat::Code128:
            return "CODE128";
        case BarcodeFormat::Code39:
            return "CODE39";
        case BarcodeFormat::EAN13:
            return "EAN13";
        case BarcodeFormat::ITF:
            // Any even number of digits could be a longer code's part.
            return text.size() == kItfDigits ? "ITF25" : "";
        case BarcodeFormat::Codabar: {
            if (text.size() < 3) return "";
            const std::string type = std::string("CODABAR") + text.front() + text.back();
            text = text.substr(1, text.size() - 2);
            return type;
        }
        default:
            return "";
    }
}

/** The modules as a picture with paper around, large enough for the library to count them. */
GreyMap enlarged(const GreyMap& modules) {
    constexpr int kPixels = 3;
    constexpr int kMargin = 2 * kPixels;
    GreyMap large(modules.width * kPixels + 2 * kMargin, modules.height * kPixels + 2 * kMargin);
    for (int y = 0; y < modules.height * kPixels; ++y) {
        for (int x = 0; x < modules.width * kPixels; ++x) {
            large.row(y + kMargin)[x + kMargin] = modules.row(y / kPixels)[x / kPixels];
        }
    }
    return large;
}

std::optional<std::string> decodeGrid(const GreyMap& modules, BarcodeFormat format) {
    const GreyMap large = enlarged(modules);
    const auto result =
        decode(large.pixels.data(), large.width, large.height, hints(format).setIsPure(true));
    if (!result || result->text().empty()) return std::nullopt;
    return result->text();
}

Point pointOf(const ZXing::PointI& point) {
    return {static_cast<double>(point.x), static_cast<double>(point.y)};
}

}  // namespace

std::optional<DecodedLine> decodeLine(const std::vector<std::uint8_t>& line) {
    static const ZXing::DecodeHints kHints =
        hints(BarcodeFormat::Code128 | BarcodeFormat::Code39 | BarcodeFormat::EAN13 |
              BarcodeFormat::ITF | BarcodeFormat::Codabar);
    const auto result = decode(line.data(), static_cast<int>(line.size()), 1, kHints);
    if (!result) return std::nullopt;
    DecodedLine decoded;
    decoded.text = result->text();
    decoded.type = typeOf(result->format(), decoded.text);
    const int first = result->position().topLeft().x;
    const int last = result->position().topRight().x;
    decoded.isReversed = first > last;
    decoded.begin = std::clamp(std::min(first, last), 0, static_cast<int>(line.size()));
    decoded.end =
        std::clamp(std::max(first, last) + 1, decoded.begin, static_cast<int>(line.size()));
    return decoded;
}

std::optional<std::string> decodeQr(const GreyMap& modules) {
    return decodeGrid(modules, BarcodeFormat::QRCode);
}

std::optional<std::string> decodeDataMatrix(const GreyMap& modules) {
    return decodeGrid(modules, BarcodeFormat::DataMatrix);
}

std::optional<DecodedStack> decodeStack(const GreyMap& ink) {
    const auto result =
        decode(ink.pixels.data(), ink.width, ink.height, hints(BarcodeFormat::PDF417));
    if (!result || result->text().empty()) return std::nullopt;
    DecodedStack decoded{result->text(), {}};
    for (std::size_t i = 0; i < 4; ++i) decoded.corners[i] = pointOf(result->position()[i]);
    return decoded;
}

}  // namespace kestrosim
