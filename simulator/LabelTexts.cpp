// SPDX-License-Identifier: Apache-2.0
#include "LabelTexts.h"

#include <algorithm>
#include <array>

#include "Symbologies.h"

namespace kestrosim {
namespace {

std::string ofDigits(SeededRandom& random, int count, const char* digits, int base) {
    std::string text;
    for (int i = 0; i < count; ++i) text += digits[random.between(0, base - 1)];
    return text;
}

std::string decimal(SeededRandom& random, int count) {
    return ofDigits(random, count, "0123456789", 10);
}

std::string hexadecimal(SeededRandom& random, int count) {
    return ofDigits(random, count, "0123456789ABCDEF", 16);
}

std::string sixDigits(SeededRandom& random) { return decimal(random, 6); }

std::string fourDigits(SeededRandom& random) { return decimal(random, 4); }

std::string parcelNumber(SeededRandom& random) {
    return "KST-" + decimal(random, 6) + "-" + hexadecimal(random, 2);
}

/** The digit that makes the weighted sum, 3 and 1 in turn from the right, a multiple of ten. */
std::string withCheckDigit(const std::string& digits) {
    int sum = 0;
    int weight = 3;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        sum += (*digit - '0') * weight;
        weight = 4 - weight;
    }
    return digits + static_cast<char>('0' + (10 - sum % 10) % 10);
}

/** "2" begins the article numbers that a company gives out for itself. */
std::string articleNumber(SeededRandom& random) {
    return withCheckDigit("2" + decimal(random, 11));
}

/** A carton's number: how many of the article it holds, coded, then the article's. */
std::string cartonNumber(SeededRandom& random) {
    return withCheckDigit(std::to_string(random.between(1, 8)) + "2" + decimal(random, 11));
}

std::string placeName(SeededRandom& random) {
    static constexpr std::array<const char*, 6> kPlaces{"Köln", "Ærø",  "Göteborg",
                                                        "Łódź", "北京", "Σύρος"};
    return kPlaces[static_cast<std::size_t>(random.between(0, 5))];
}

std::string code128Text(SeededRandom& random) {
    switch (random.between(0, 4)) {
        case 0:
            return "LOT" + decimal(random, 6);
        case 1:
            return "00" + decimal(random, 18);
        case 2:
            return "BOX " + decimal(random, 2) + "/" + decimal(random, 3);
        default:
            return parcelNumber(random);
    }
}

std::string code39Text(SeededRandom& random) {
    switch (random.between(0, 2)) {
        case 0:
            return "BIN " + hexadecimal(random, 1) + decimal(random, 2) + "-" + decimal(random, 2);
        case 1:
            return "P" + decimal(random, 4) + "." + decimal(random, 2);
        default:
            return "KST-" + decimal(random, 4);
    }
}

/** A book's or a blood bag's number. */
std::string codabarText(SeededRandom& random) {
    if (random.between(0, 2) == 0) return decimal(random, 4) + "-" + decimal(random, 5);
    return decimal(random, random.between(7, 11));
}

std::string qrText(SeededRandom& random) {
    switch (random.between(0, 5)) {
        case 0:
            return "https://parcel.example/t/" + hexadecimal(random, 8);
        case 1:
            return "LOT " + decimal(random, 6) + "; QTY " + decimal(random, 2);
        case 2:
            return placeName(random) + " " + decimal(random, 5);
        case 3:
            return parcelNumber(random) + "\nBatch " + hexadecimal(random, 4) + "\n" +
                   decimal(random, 12);
        default:
            return parcelNumber(random);
    }
}

std::string dataMatrixText(SeededRandom& random) {
    switch (random.between(0, 3)) {
        case 0:
            return "SN " + decimal(random, 8);
        case 1:
            return "P/N " + decimal(random, 4) + "-" + decimal(random, 2) + " LOT " +
                   hexadecimal(random, 6);
        case 2:
            return articleNumber(random) + decimal(random, 6) + hexadecimal(random, 4);
        default:
            return parcelNumber(random) + "; QTY " + decimal(random, 2);
    }
}

std::string pdf417Text(SeededRandom& random) {
    switch (random.between(0, 2)) {
        case 0:
            return parcelNumber(random) + "\n" + decimal(random, 5) + " HARBOUR ROAD " +
                   decimal(random, 2) + "\n" + decimal(random, 2) + "." + decimal(random, 1) +
                   " KG";
        case 1:
            return "ORDER " + decimal(random, 8) + "; BOX " + decimal(random, 1) + "/" +
                   decimal(random, 1);
        default:
            return parcelNumber(random) + "\nROUTE " + hexadecimal(random, 2);
    }
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
        label.type += ofDigits(random, 2, "ABCD", 4);
    }
    label.text = isBrief ? writer->briefText(random) : writer->text(random);
    return label;
}

}  // namespace kestrosim
