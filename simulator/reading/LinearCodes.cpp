// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <numeric>

#include "BarBody.h"
#include "FoundCode.h"
#include "GreyMap.h"
#include "SymbolDecoder.h"

namespace kestrosim {
namespace {

constexpr int kProfile = BarBody::kSamplesAPixel;
constexpr int kBandRows = 8;  // so many rows together make a line: less noise, and no slope in it
constexpr int kBandStep = 6;
constexpr int kThresholdReach = 26;  // pixels; beyond the widest space of a code
constexpr int kMostCodesInALine = 6;
constexpr int kMostGap = 24;  // pixels between lines of one code

/** One reading of a line, in pixels of the frame. */
struct Hit {
    double y = 0;
    double begin = 0;
    double end = 0;
};

/** Lines one below the other that say the same. */
struct Stripe {
    DecodedLine code;
    std::vector<Hit> hits;

    [[nodiscard]] bool takes(const DecodedLine& other, const Hit& hit) const {
        const Hit& last = hits.back();
        const double most = (last.end - last.begin) / 8;
        return code.type == other.type && code.text == other.text &&
               code.isReversed == other.isReversed && hit.y - last.y <= kMostGap &&
               std::abs(hit.begin - last.begin) < most && std::abs(hit.end - last.end) < most;
    }

    [[nodiscard]] bool crosses(const Stripe& other) const {
        return hits.front().y <= other.hits.back().y && other.hits.front().y <= hits.back().y &&
               hits.front().begin < other.hits.front().end &&
               other.hits.front().begin < hits.front().end;
    }
};

/** The mean of some rows, as one. */
GreyMap bandOf(const GreyMap& grey, int top) {
    GreyMap band(grey.width, 1);
    std::vector<int> sums(static_cast<std::size_t>(grey.width));
    for (int y = top; y < top + kBandRows; ++y) {
        const std::uint8_t* const line = grey.row(y);
        for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += line[x];
    }
    std::transform(sums.begin(), sums.end(), band.pixels.begin(),
                   [](int sum) { return static_cast<std::uint8_t>(sum / kBandRows); });
    return band;
}

class LinearReader {
 public:
    LinearReader(const PictureView& picture, const CodeRegion& region, Effort effort)
        : region_(region),
          effort_(effort),
          leastContrast_(std::max(10, static_cast<int>(region.contrast / 2))),
          across_(region.isLarge() ? 1 : 3),
          grey_(cutOut(picture, region.frame, region.width, region.height, across_, 1)) {}

    [[nodiscard]] std::vector<FoundCode> read(const std::stop_token& stop) {
        for (int top = 0; top + kBandRows <= grey_.height; top += kBandStep) {
            if (stop.stop_requested()) return {};
            const GreyMap band = bandOf(grey_, top);
            readBand(band, top);
            if (effort_ == Effort::plain) continue;
            readBand(sharpened(band, 2 * across_), top);
            readBand(sharpened(band, 4 * across_), top);
        }
        std::vector<FoundCode> codes;
        for (const Stripe& stripe : stripes_) {
            if (isTrustworthy(stripe)) add(stripe, codes);
        }
        return codes;
    }

 private:
    void readBand(const GreyMap& band, int top) {
        std::vector<std::uint8_t> line =
            inkOf(band, kThresholdReach * across_, 1, leastContrast_).pixels;
        for (int i = 0; i < kMostCodesInALine; ++i) {
            const auto decoded = decodeLine(line);
            if (!decoded || decoded->end <= decoded->begin) return;
            std::fill(line.begin() + decoded->begin, line.begin() + decoded->end, kPaperValue);
            if (decoded->type.empty()) continue;
            take(*decoded, {top + kBandRows / 2.0, static_cast<double>(decoded->begin) / across_,
                            static_cast<double>(decoded->end) / across_});
        }
    }

    void take(const DecodedLine& decoded, const Hit& hit) {
        for (Stripe& stripe : stripes_) {
            if (!stripe.takes(decoded, hit)) continue;
            stripe.hits.push_back(hit);
            return;
        }
        stripes_.push_back({decoded, {hit}});
    }

    /** Seen more than once, and by far more often than anything else there. */
    [[nodiscard]] bool isTrustworthy(const Stripe& stripe) const {
        if (stripe.hits.back().y == stripe.hits.front().y) return false;
        return std::all_of(stripes_.begin(), stripes_.end(), [&stripe](const Stripe& other) {
            return &other == &stripe || !other.crosses(stripe) ||
                   (other.code.text == stripe.code.text && other.code.type == stripe.code.type) ||
                   other.hits.size() * 3 <= stripe.hits.size();
        });
    }

    void add(const Stripe& stripe, std::vector<FoundCode>& codes) const {
        std::vector<Point> lefts;
        std::vector<Point> rights;
        for (const Hit& hit : stripe.hits) {
            lefts.push_back({hit.begin, hit.y});
            rights.push_back({hit.end, hit.y});
        }
        const auto top = static_cast<int>(stripe.hits.front().y) - kBandRows / 2;
        const auto bottom = static_cast<int>(stripe.hits.back().y) + kBandRows / 2;
        const BarBody body(grey_, across_, fitUpright(lefts), fitUpright(rights), top, bottom);
        Outline corners = body.corners(0.5);
        FoundCode code{stripe.code.type, stripe.code.text, region_.frame.toPicture(corners),
                       moduleOf(stripe.code, body)};
        if (stripe.code.isReversed) {
            std::rotate(code.corners.begin(), code.corners.begin() + 2, code.corners.end());
        }
        // A scratch splits the lines of a code in two, not the code.
        const Point middle = region_.frame.toPicture(Point{
            (stripe.hits.front().begin + stripe.hits.front().end) / 2, stripe.hits.front().y});
        const bool isKnown = std::any_of(codes.begin(), codes.end(), [&](const FoundCode& known) {
            return known.text == code.text && known.type == code.type &&
                   contains(known.corners, middle);
        });
        if (!isKnown) codes.push_back(std::move(code));
    }

    /** The widths of bars and spaces in turn, in pixels, from the first bar to the last. */
    [[nodiscard]] static std::vector<double> runsOf(const BarBody& body) {
        GreyMap line(static_cast<int>(body.profile().size()), 1);
        std::transform(body.profile().begin(), body.profile().end(), line.pixels.begin(),
                       [](double grey) { return static_cast<std::uint8_t>(grey); });
        const GreyMap ink = inkOf(line, kThresholdReach * kProfile, 1, 1);
        std::vector<double> runs;
        for (int x = 0; x < ink.width; ++x) {
            if (x == 0 || ink.at(x, 0) != ink.at(x - 1, 0)) runs.push_back(0);
            runs.back() += 1.0 / kProfile;
        }
        return runs;
    }

    /** Of codes with two widths of bars: how many are wide, with the spaces. */
    [[nodiscard]] static std::size_t wideRuns(const DecodedLine& code) {
        if (code.type == "ITF25") return code.text.size() * 2 + 1;
        if (code.type == "CODE39") return (code.text.size() + 2) * 3;
        const auto three = std::count_if(code.text.begin(), code.text.end(), [](char c) {
            return c == ':' || c == '/' || c == '.' || c == '+';
        });
        return code.text.size() * 2 + static_cast<std::size_t>(three) + 6;
    }

    [[nodiscard]] static double moduleOf(const DecodedLine& code, const BarBody& body) {
        const std::vector<double> runs = runsOf(body);
        const double width = std::accumulate(runs.begin(), runs.end(), 0.0);
        if (code.type == "EAN13") return width / 95;
        if (code.type == "CODE128") {
            // Three bars and eleven modules a symbol; the stop has one bar and two modules more.
            const auto bars = static_cast<double>((runs.size() + 1) / 2);
            return width / (std::round((bars - 1) / 3) * 11 + 2);
        }
        const std::size_t wide = std::min(wideRuns(code), runs.size() - 1);
        const std::size_t narrow = runs.size() - wide;
        // Writers take quarters; between them blur and the samples' grid have had a hand in it.
        const double ratio = std::clamp(std::round(wideRatio(runs, narrow) * 4) / 4, 2.0, 3.0);
        return width / (static_cast<double>(narrow) + ratio * static_cast<double>(wide));
    }

    /**
     * How much wider wide runs are than narrow ones.
     *
     * From pairs of a bar and a space: blur takes off the one's width what it gives the other.
     */
    [[nodiscard]] static double wideRatio(const std::vector<double>& runs, std::size_t narrow) {
        std::vector<double> sorted = runs;
        const auto split = sorted.begin() + static_cast<std::ptrdiff_t>(narrow);
        std::nth_element(sorted.begin(), split, sorted.end());
        double narrowWidth = 0;  // sums over pairs of one kind, and over mixed ones
        double wideWidth = 0;
        double narrowPairs = 0;
        double widePairs = 0;
        for (std::size_t i = 0; i + 1 < runs.size(); ++i) {
            const bool isWide = runs[i] >= *split;
            if ((runs[i + 1] >= *split) != isWide) continue;
            (isWide ? wideWidth : narrowWidth) += runs[i] + runs[i + 1];
            (isWide ? widePairs : narrowPairs) += 1;
        }
        if (narrowWidth == 0) return 2;
        if (widePairs > 0) return wideWidth / widePairs / (narrowWidth / narrowPairs);
        const double total = std::accumulate(runs.begin(), runs.end(), 0.0);
        const double narrowMean = narrowWidth / narrowPairs / 2;
        const auto wide = static_cast<double>(runs.size() - narrow);
        return (total - narrowMean * static_cast<double>(narrow)) / wide / narrowMean;
    }

    const CodeRegion& region_;
    Effort effort_;
    int leastContrast_;
    int across_;  // samples a pixel along a line
    GreyMap grey_;
    std::vector<Stripe> stripes_;
};

}  // namespace

std::vector<FoundCode> readLinearCodes(const PictureView& picture, const CodeRegion& region,
                                       Effort effort, const std::stop_token& stop) {
    return LinearReader(picture, region, effort).read(stop);
}

}  // namespace kestrosim
