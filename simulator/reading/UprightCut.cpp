// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "FoundCode.h"

namespace kestrosim {
namespace {

constexpr int kThresholdReach = 20;  // pixels; beyond anything of one colour

}  // namespace

UprightCut::UprightCut(const PictureView& from, const CodeRegion& region)
    : picture(from),
      frame(region.frame),
      samples(region.isLarge() ? 1 : 2),
      leastContrast(std::max(10, static_cast<int>(region.contrast / 2))),
      grey(cutOut(from, region.frame, region.width, region.height, samples, samples)),
      ink(inkIn(grey)) {}

GreyMap UprightCut::inkIn(const GreyMap& map) const {
    return inkOf(map, kThresholdReach * samples, kThresholdReach * samples, leastContrast);
}

}  // namespace kestrosim
