// SPDX-License-Identifier: Apache-2.0
#include "LabelTexts.h"

#include <array>

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

std::string parcelNumber(SeededRandom& random) {
    return "KST-" + decimal(random, 6) + "-" + hexadecimal(random, 2);
}

std::string placeName(SeededRandom& random) {
    static constexpr std::array<const char*, 6> kPlaces{"Köln", "Ærø",  "Göteborg",
                                                        "Łódź", "北京", "Σύρος"};
    return kPlaces[static_cast<std::size_t>(random.between(0, 5))];
}

}  // namespace

std::string linearText(SeededRandom& random) {
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

std::string shortLinearText(SeededRandom& random) { return decimal(random, 6); }

std::string matrixText(SeededRandom& random) {
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

std::string shortMatrixText(SeededRandom& random) { return decimal(random, 6); }

}  // namespace kestrosim
