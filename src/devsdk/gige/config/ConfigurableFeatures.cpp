// SPDX-License-Identifier: Apache-2.0
#include "ConfigurableFeatures.h"

#include "LastError.h"
#include "VordaInfra.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace Vorda::Gige {
namespace {

/** Selectors of selectors of selectors: no camera has more, and a circle has no end. */
constexpr int kDeepestSelectors = 8;

void addSelectorsOf(const Features& features, const std::string& name, int depth,
                    std::vector<std::string>& all) {
    std::vector<std::string> direct;
    if (depth > kDeepestSelectors || !features.getSelectors(name, direct)) return;
    for (const std::string& selector : direct) {
        if (std::ranges::count(all, selector) != 0) continue;
        addSelectorsOf(features, selector, depth + 1, all);
        if (std::ranges::count(all, selector) == 0) all.push_back(selector);
    }
}

std::optional<double> number(const std::string& text) {
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

/** Others write 10.0 where we write 10. */
bool means(const Features& features, const std::string& name, const std::string& held,
           const std::string& wanted) {
    if (held == wanted) return true;
    if (features.kind(name) != FeatureKind::floating) return false;
    const auto heldNumber = number(held);
    return heldNumber && heldNumber == number(wanted);
}

}  // namespace

std::vector<std::string> allSelectorsOf(const Features& features, const std::string& name) {
    const KeepLastError quiet;
    std::vector<std::string> all;
    addSelectorsOf(features, name, 1, all);
    std::erase(all, name);
    return all;
}

bool ensure(Features& features, const std::string& name, const std::string& value) {
    std::string held;
    if (!features.getText(name, held) || !means(features, name, held, value))
        return features.setText(name, value);
    // A packet size that was set is one that a stream does not replace by what it finds best.
    const KeepLastError locked;
    if (name == kPacketSizeFeature) static_cast<void>(features.setText(name, value));
    return true;
}

bool isConnectionGone() {
    const auto error = static_cast<Error>(Infra::getLastError());
    return error == Error::connectionLost || error == Error::notConnected;
}

}  // namespace Vorda::Gige
