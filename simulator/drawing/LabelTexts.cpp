// SPDX-License-Identifier: Apache-2.0
#include "LabelTexts.h"

#include <algorithm>
#include <array>

#include "Symbologies.h"

namespace kestrosim {
namespace {

constexpr std::string_view kHexadecimal = "0123456789ABCDEF";

/**
 * The pattern with a decimal digit for each '#' and a hexadecimal one for each '$': drawn from left
 * to right, while the operands of a + may be drawn in any order.
 */
std::string filled(std::string_view pattern, SeededRandom& random) {
    std::string text;
    for (const char character : pattern) {
        const bool isDigit = character == '#' || character == '$';
        const int last = character == '#' ? 9 : 15;
        text +=
            isDigit ? kHexadecimal[static_cast<std::size_t>(random.between(0, last))] : character;
    }
    return text;
}

template <std::size_t kCount>
std::string anyOf(const std::array<const char*, kCount>& patterns, SeededRandom& random) {
    const int last = static_cast<int>(kCount) - 1;
    return filled(patterns[static_cast<std::size_t>(random.between(0, last))], random);
}

/** The digit that makes the weighted sum, 3 and 1 in turn from the right, a multiple of ten. */
std::string withCheckDigit(const std::string& digits) {
    int sum = 0;
    int weight = digits.size() % 2 == 0 ? 1 : 3;
    for (const char digit : digits) {
        sum += (digit - '0') * weight;
        weight = 4 - weight;
    }
    return digits + static_cast<char>('0' + (10 - sum % 10) % 10);
}

std::string sixDigits(SeededRandom& random) { return filled("######", random); }

std::string fourDigits(SeededRandom& random) { return filled("####", random); }

/** "2" begins the article numbers that a company gives out for itself. */
std::string articleNumber(SeededRandom& random) {
    return withCheckDigit(filled("2###########", random));
}

/** A carton's number: one digit says how it is packed, the others are the article's. */
std::string cartonNumber(SeededRandom& random) {
    static constexpr std::array<const char*, 3> kPackings{"12###########", "22###########",
                                                          "52###########"};
    return withCheckDigit(anyOf(kPackings, random));
}

std::string code128Text(SeededRandom& random) {
    static constexpr std::array<const char*, 5> kTexts{
        "LOT######", "00##################", "BOX ##/###", "KST-######-$$", "KST-######-$$"};
    return anyOf(kTexts, random);
}

std::string code39Text(SeededRandom& random) {
    static constexpr std::array<const char*, 3> kTexts{"BIN $##-##", "P####.##", "KST-####"};
    return anyOf(kTexts, random);
}

/** A book's or a blood bag's number. */
std::string codabarText(SeededRandom& random) {
    static constexpr std::array<const char*, 4> kTexts{"####-#####", "#######", "#########",
                                                       "###########"};
    return anyOf(kTexts, random);
}

std::string qrText(SeededRandom& random) {
    static constexpr std::array<const char*, 14> kTexts{"https://parcel.example/t/$$$$$$$$",
                                                        "https://parcel.example/t/$$$$$$$$",
                                                        "LOT ######; QTY ##",
                                                        "LOT ######; QTY ##",
                                                        "KST-######-$$\nBatch $$$$\n############",
                                                        "KST-######-$$\nBatch $$$$\n############",
                                                        "KST-######-$$",
                                                        "KST-######-$$",
                                                        "Köln #####",
                                                        "Ærø #####",
                                                        "Göteborg #####",
                                                        "Łódź #####",
                                                        "北京 #####",
                                                        "Σύρος #####"};
    return anyOf(kTexts, random);
}

std::string dataMatrixText(SeededRandom& random) {
    static constexpr std::array<const char*, 4> kTexts{"SN ########", "P/N ####-## LOT $$$$$$",
                                                       "02##################$$$$",
                                                       "KST-######-$$; QTY ##"};
    return anyOf(kTexts, random);
}

std::string pdf417Text(SeededRandom& random) {
    static constexpr std::array<const char*, 3> kTexts{
        "KST-######-$$\n##### HARBOUR ROAD ##\n##.# KG", "ORDER ########; BOX #/#",
        "KST-######-$$\nROUTE $$"};
    return anyOf(kTexts, random);
}

struct Writer {
    std::string_view symbology;
    std::string (*text)(SeededRandom&);
    std::string (*briefText)(SeededRandom&);
};

constexpr std::array<Writer, kSymbologies.size()> kWriters{{{"CODE128", code128Text, sixDigits},
                                                            {"QR", qrText, sixDigits},
                                                            {"CODE39", code39Text, fourDigits},
                                                            {"EAN13", articleNumber, articleNumber},
                                                            {"ITF25", cartonNumber, cartonNumber},
                                                            {"CODABAR", codabarText, sixDigits},
                                                            {"DM", dataMatrixText, sixDigits},
                                                            {"PDF417", pdf417Text, sixDigits}}};

}  // namespace

LabelText labelText(std::string_view symbology, bool isBrief, SeededRandom& random) {
    const auto* const writer =
        std::find_if(kWriters.begin(), kWriters.end(),
                     [symbology](const Writer& any) { return any.symbology == symbology; });
    LabelText label{std::string(symbology), {}};
    if (writer == kWriters.end()) return label;
    if (symbology == "CODABAR") {
        constexpr std::string_view kLetters = "ABCD";
        for (int i = 0; i < 2; ++i) {
            label.type += kLetters[static_cast<std::size_t>(random.between(0, 3))];
        }
    }
    label.text = isBrief ? writer->briefText(random) : writer->text(random);
    return label;
}

}  // namespace kestrosim
