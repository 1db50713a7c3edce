// SPDX-License-Identifier: Apache-2.0
#include "Imaging.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <tuple>
#include <vector>

#include "Unevenness.h"

namespace kestrosim {
namespace {

/** How bad a picture is. */
struct Quality {
    int contrastPercent;
    int unevenLight;     // of kLightUnit, either way
    int blurHundredths;  // sigma, hundredths of a pixel
    int motionQuarters;  // of a pixel along the row, while the shutter is open
    int noiseQuarters;   // sigma, quarters of a grey level
};

/** Pictures of one difficulty differ: a lens is more or less out of focus, a belt fast or slow. */
Quality qualityOf(int difficulty, SeededRandom& random) {
    const int focusPercent = random.between(15, 100);
    const int motionPercent = random.between(0, 100);
    return {100 - 5 * difficulty, 7 * difficulty,
            (45 - difficulty) * difficulty * focusPercent / 100, difficulty * motionPercent / 100,
            16 + 3 * difficulty};
}

/** Ink and paper come nearer to this grey. */
constexpr int kMiddleGrey = 128;
constexpr int kLightUnit = 256;

/** Brings ink and paper nearer, lights it here and darkens it there. */
void applyLight(Canvas& canvas, const Quality& quality, SeededRandom& random) {
    const int uneven = quality.unevenLight;
    Unevenness<8> lobes(canvas.width(), canvas.height(), uneven, random);
    const Slope slopeX(random.between(-uneven, uneven), canvas.width());
    const Slope slopeY(random.between(-uneven, uneven), canvas.height());
    for (int y = 0; y < canvas.height(); ++y) {
        lobes.goToRow(y);
        const int rowLight = kLightUnit - uneven / 2 + slopeY.at(y - canvas.height() / 2);
        std::uint8_t* const row = &canvas.at(0, y);
        for (int x = 0; x < canvas.width(); ++x) {
            const int light = rowLight + slopeX.at(x - canvas.width() / 2) + lobes.at(x);
            const int flat = kMiddleGrey + (row[x] - kMiddleGrey) * quality.contrastPercent / 100;
            row[x] = static_cast<std::uint8_t>(std::clamp(flat * light / kLightUnit, 0, 255));
        }
    }
}

constexpr std::size_t kReach = 8;  // pixels that blur carries to either side
constexpr int kWeightUnit = 4096;

/** Weights of the pixels around one and, in the middle, of itself; of kWeightUnit. */
using Kernel = std::array<int, 2 * kReach + 1>;

/** e to the minus x, x >= 0: a mathematics library's need not be the same everywhere. */
double decay(double x) {
    double term = 1;
    double sum = 1;
    for (int i = 1; i < 60; ++i) {
        term = term * x / i;
        sum += term;
    }
    return 1 / sum;
}

/** A bell, smeared over that many quarters of a pixel. */
Kernel kernelOf(int sigmaHundredths, int smearQuarters) {
    std::array<double, std::tuple_size_v<Kernel>> weights{};
    for (std::size_t i = 0; i < weights.size(); ++i) {
        for (int part = 0; part <= smearQuarters; ++part) {
            const double offset = static_cast<double>(i) - static_cast<double>(kReach) +
                                  (part - smearQuarters / 2.0) / 4;
            weights[i] += decay(5000 * offset * offset / (sigmaHundredths * sigmaHundredths));
        }
    }
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    Kernel kernel{};
    std::transform(weights.begin(), weights.end(), kernel.begin(), [total](double weight) {
        return static_cast<int>(weight / total * kWeightUnit);
    });
    kernel[kReach] += kWeightUnit - std::accumulate(kernel.begin(), kernel.end(), 0);
    return kernel;
}

/** A row of the picture; `pixelsOf` gives the row of pixels that a weight of the kernel counts for.
 */
template <typename PixelsOf>
void blurRow(std::vector<std::uint8_t>& row, const Kernel& kernel, PixelsOf pixelsOf) {
    std::vector<int> sums(row.size(), kWeightUnit / 2);
    for (std::size_t i = 0; i < kernel.size(); ++i) {
        if (kernel[i] == 0) continue;
        const std::uint8_t* const from = pixelsOf(i);
        for (std::size_t x = 0; x < row.size(); ++x) sums[x] += kernel[i] * from[x];
    }
    for (std::size_t x = 0; x < row.size(); ++x) {
        row[x] = static_cast<std::uint8_t>(sums[x] / kWeightUnit);
    }
}

void blurAcross(Canvas& canvas, const Kernel& kernel) {
    const auto width = static_cast<std::size_t>(canvas.width());
    std::vector<std::uint8_t> wide(width + 2 * kReach);
    std::vector<std::uint8_t> row(width);
    for (int y = 0; y < canvas.height(); ++y) {
        std::uint8_t* const line = &canvas.at(0, y);
        std::fill_n(wide.begin(), kReach, line[0]);
        std::copy_n(line, width, wide.begin() + kReach);
        std::fill_n(wide.rbegin(), kReach, line[width - 1]);
        blurRow(row, kernel, [&wide](std::size_t i) { return &wide[i]; });
        std::copy(row.begin(), row.end(), line);
    }
}

void blurDown(Canvas& canvas, const Kernel& kernel) {
    const auto width = static_cast<std::size_t>(canvas.width());
    const auto height = static_cast<std::size_t>(canvas.height());
    std::uint8_t* const first = &canvas.at(0, 0);
    const std::vector<std::uint8_t> before(first, first + width * height);
    std::vector<std::uint8_t> row(width);
    for (std::size_t y = 0; y < height; ++y) {
        blurRow(row, kernel, [&](std::size_t i) {
            const std::size_t from = std::clamp(y + i, kReach, height - 1 + kReach) - kReach;
            return &before[from * width];
        });
        std::copy(row.begin(), row.end(), first + y * width);
    }
}

/** Sums of eight die throws, scaled: near enough to a bell and portable. */
std::array<std::int8_t, 4096> noiseTable(int sigmaQuarters, SeededRandom& random) {
    std::array<std::int8_t, 4096> table{};
    for (std::int8_t& value : table) {
        int sum = 0;
        for (int i = 0; i < 8; ++i) sum += random.between(-40, 40);
        // Of sigma 4: sigma 23.4 * sqrt(8) * 0.06.
        value = static_cast<std::int8_t>(std::clamp(sum * 6 * sigmaQuarters / 1600, -127, 127));
    }
    return table;
}

void addNoise(Canvas& canvas, int sigmaQuarters, SeededRandom& random) {
    const auto table = noiseTable(sigmaQuarters, random);
    constexpr int kDrawsPerNumber = 5;  // of 12 bits out of 64
    std::uint64_t bits = 0;
    int left = 0;
    std::uint8_t* const begin = &canvas.at(0, 0);
    std::uint8_t* const end = begin + std::ptrdiff_t{canvas.width()} * canvas.height();
    for (std::uint8_t* pixel = begin; pixel != end; ++pixel) {
        if (left == 0) {
            bits = random.next();
            left = kDrawsPerNumber;
        }
        *pixel = static_cast<std::uint8_t>(std::clamp(*pixel + table[bits & 0xFFF], 0, 255));
        bits >>= 12;
        --left;
    }
}

}  // namespace

void takePicture(Canvas& canvas, int difficulty, SeededRandom& random) {
    const Quality quality = qualityOf(std::clamp(difficulty, 0, 10), random);
    if (difficulty > 0) {
        applyLight(canvas, quality, random);
        blurAcross(canvas, kernelOf(quality.blurHundredths, quality.motionQuarters));
        blurDown(canvas, kernelOf(quality.blurHundredths, 0));
    }
    addNoise(canvas, quality.noiseQuarters, random);
}

}  // namespace kestrosim
