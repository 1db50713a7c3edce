// SPDX-License-Identifier: Apache-2.0
#include "Homography.h"

#include <cstddef>

namespace kestrosim {
namespace {

constexpr int kSineUnit = 65536;

constexpr int seriesSine(int degrees) {
    const double x = degrees * 3.14159265358979323846 / 180;
    double term = x;
    double sum = x;
    for (int i = 1; i < 12; ++i) {
        term = -term * x * x / (2.0 * i * (2.0 * i + 1));
        sum += term;
    }
    return (static_cast<int>(2 * sum * kSineUnit) + 1) / 2;
}

/** Of 0 to 90 degrees; made by the compiler. */
constexpr std::array<int, 91> sineTable() {
    std::array<int, 91> table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = seriesSine(static_cast<int>(i));
    return table;
}

constexpr std::array<int, 91> kSines = sineTable();

}  // namespace

double sineOf(int degrees) {
    const int turned = (degrees % 360 + 360) % 360;
    const int half = turned % 180;
    const int sine = kSines[static_cast<std::size_t>(half <= 90 ? half : 180 - half)];
    return static_cast<double>(turned < 180 ? sine : -sine) / kSineUnit;
}

double cosineOf(int degrees) { return sineOf(degrees + 90); }

Homography Homography::after(const Homography& other) const {
    std::array<double, 9> product{};
    for (std::size_t i = 0; i < product.size(); ++i) {
        const std::size_t row = i / 3 * 3;
        const std::size_t column = i % 3;
        product[i] = rows_[row] * other.rows_[column] + rows_[row + 1] * other.rows_[column + 3] +
                     rows_[row + 2] * other.rows_[column + 6];
    }
    return Homography(product);
}

Homography Homography::inverse() const {
    const auto& m = rows_;
    const std::array<double, 9> adjugate{
        m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
        m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
        m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
    return Homography(adjugate);  // a common factor changes nothing
}

Homography Homography::scaling(double factor) {
    return Homography({factor, 0, 0, 0, factor, 0, 0, 0, 1});
}

Homography Homography::moving(double x, double y) {
    return Homography({1, 0, x, 0, 1, y, 0, 0, 1});
}

Homography Homography::turning(int degrees) {
    const double sine = sineOf(degrees);
    const double cosine = cosineOf(degrees);
    return Homography({cosine, -sine, 0, sine, cosine, 0, 0, 0, 1});
}

}  // namespace kestrosim
