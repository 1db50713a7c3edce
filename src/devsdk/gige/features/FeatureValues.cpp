// SPDX-License-Identifier: Apache-2.0
//
// The values of features: reading, writing, and what limits them.
#include "Features.h"
#include "FeaturesImpl.h"
#include "VordaInfra.h"

#include <algorithm>
#include <cctype>
#include <type_traits>
#include <utility>
#include <variant>

namespace Vorda::Gige {
namespace {

/** True, false, 1 or 0, in any case. */
std::optional<bool> parseBoolean(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char each) {
        return static_cast<char>(std::tolower(each));
    });
    if (text == "1" || text == "true") return true;
    if (text == "0" || text == "false") return false;
    return std::nullopt;
}

/** Others write 10.0 where we write 10. */
bool means(FeatureKind kind, const std::string& held, const std::string& wanted) {
    if (held == wanted) return true;
    const auto number = parseNumber<double>(held);
    return kind == FeatureKind::floating && number && number == parseNumber<double>(wanted);
}

template <typename T>
std::optional<T> numberOf(const PayloadValue& value) {
    if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<T>(*whole);
    if (const auto* number = std::get_if<double>(&value)) return static_cast<T>(*number);
    return std::nullopt;
}

}  // namespace

template <typename T>
Refusal Features::Impl::getNumber(const Feature& feature, T& value) {
    if (feature.stream) {
        value = static_cast<T>(feature.stream->value(*sources.stream));
        return {};
    }
    if (Refusal refusal = checkReadable(feature)) return refusal;
    if (graph.source(feature.id) == ValueSource::event) {
        PayloadValue latest;
        if (Refusal refusal = eventValue(feature, latest)) return refusal;
        const auto number = numberOf<T>(latest);
        if (!number) return {Error::feature, "the event carries no number"};
        value = *number;
        return {};
    }
    if constexpr (std::is_same_v<T, double>)
        return nodes.getFloat(feature.id, value);
    else
        return nodes.getInteger(feature.id, value);
}

Refusal Features::Impl::getText(const Feature& feature, std::string& value) {
    if (Refusal refusal = checkReadable(feature)) return refusal;
    if (graph.source(feature.id) != ValueSource::event) return nodes.getText(feature.id, value);
    PayloadValue latest;
    if (Refusal refusal = eventValue(feature, latest)) return refusal;
    auto* const text = std::get_if<std::string>(&latest);
    if (!text) return {Error::feature, "the event carries no text"};
    value = std::move(*text);
    return {};
}

Refusal Features::Impl::setBoolean(NodeId id, bool value) {
    const NodeProperty* const number = tree[id].property(value ? "OnValue" : "OffValue");
    return nodes.setInteger(id, number ? number->integer() : (value ? 1 : 0));
}

bool Features::getInteger(const std::string& name, std::int64_t& value) const {
    return impl_->get(
        name, FeatureKind::integer, value,
        [this](const Feature& feature, auto& found) { return impl_->getNumber(feature, found); });
}

bool Features::setInteger(const std::string& name, std::int64_t value) {
    return impl_->tell(name, FeatureKind::integer, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules.checkValue(id, value)) return refusal;
        return impl_->nodes.setInteger(id, value);
    });
}

bool Features::getRange(const std::string& name, FeatureRange<std::int64_t>& range) const {
    return impl_->get(
        name, FeatureKind::integer, range, [this](const Feature& feature, auto& found) {
            return feature.isOurs() ? Refusal{} : impl_->rules.getRange(feature.id, found);
        });
}

bool Features::getIncrement(const std::string& name, std::int64_t& increment) const {
    return impl_->get(
        name, FeatureKind::integer, increment, [this](const Feature& feature, auto& found) {
            found = 1;
            return feature.isOurs() ? Refusal{} : impl_->rules.getIncrement(feature.id, found);
        });
}

bool Features::getFloat(const std::string& name, double& value) const {
    return impl_->get(
        name, FeatureKind::floating, value,
        [this](const Feature& feature, auto& found) { return impl_->getNumber(feature, found); });
}

bool Features::setFloat(const std::string& name, double value) {
    return impl_->tell(name, FeatureKind::floating, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules.checkValue(id, value)) return refusal;
        return impl_->nodes.setFloat(id, value);
    });
}

bool Features::getRange(const std::string& name, FeatureRange<double>& range) const {
    return impl_->get(name, FeatureKind::floating, range,
                      [this](const Feature& feature, auto& found) {
                          return impl_->rules.getRange(feature.id, found);
                      });
}

bool Features::getUnit(const std::string& name, std::string& unit) const {
    const Feature* const feature = impl_->find(name);
    if (!feature) return failUnknown(name);
    if (feature->kind != FeatureKind::integer && feature->kind != FeatureKind::floating)
        return fail(Error::feature, name + ": is " + kindText(feature->kind) + ", not a number");
    unit = feature->isOurs() ? "" : impl_->graph.unit(feature->id);
    return true;
}

bool Features::getEnumeration(const std::string& name, std::int64_t& value) const {
    return impl_->get(
        name, FeatureKind::enumeration, value,
        [this](const Feature& feature, auto& found) { return impl_->getNumber(feature, found); });
}

bool Features::setEnumeration(const std::string& name, std::int64_t value) {
    return impl_->tell(name, FeatureKind::enumeration, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules.checkEntry(id, value)) return refusal;
        return impl_->nodes.setInteger(id, value);
    });
}

bool Features::setEnumeration(const std::string& name, const std::string& symbol) {
    return impl_->tell(name, FeatureKind::enumeration, symbol, [&](NodeId id) -> Refusal {
        std::int64_t value = 0;
        if (Refusal refusal = impl_->rules.checkEntry(id, symbol, value)) return refusal;
        return impl_->nodes.setInteger(id, value);
    });
}

bool Features::getEntries(const std::string& name, std::vector<FeatureEntry>& entries) const {
    return impl_->get(name, FeatureKind::enumeration, entries,
                      [this](const Feature& feature, auto& found) {
                          return impl_->rules.getEntries(feature.id, found);
                      });
}

bool Features::getBoolean(const std::string& name, bool& value) const {
    return impl_->get(name, FeatureKind::boolean, value,
                      [this](const Feature& feature, bool& found) {
                          std::int64_t number = 0;
                          Refusal refusal = impl_->getNumber(feature, number);
                          found = number != 0;
                          return refusal;
                      });
}

bool Features::setBoolean(const std::string& name, bool value) {
    return impl_->tell(name, FeatureKind::boolean, value,
                       [&](NodeId id) { return impl_->setBoolean(id, value); });
}

bool Features::getString(const std::string& name, std::string& value) const {
    return impl_->get(name, FeatureKind::text, value, [this](const Feature& feature, auto& found) {
        return impl_->getText(feature, found);
    });
}

bool Features::setString(const std::string& name, const std::string& value) {
    return impl_->tell(name, FeatureKind::text, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules.checkValue(id, value)) return refusal;
        return impl_->nodes.setText(id, value);
    });
}

bool Features::getMaxLength(const std::string& name, std::uint32_t& bytes) const {
    return impl_->get(name, FeatureKind::text, bytes, [this](const Feature& feature, auto& found) {
        return impl_->rules.getMaxLength(feature.id, found);
    });
}

bool Features::execute(const std::string& name) {
    return impl_->tell(name, FeatureKind::command, 0, [this](NodeId id) -> Refusal {
        const DescriptionNode& command = impl_->tree[id];
        std::int64_t value = 0;
        if (const NodeId variable = command.target("pCommandValue"); variable != kNoNode) {
            if (Refusal refusal = impl_->nodes.getInteger(variable, value)) return refusal;
        } else {
            value = command.property("CommandValue")->integer();
        }
        return impl_->nodes.setInteger(id, value);
    });
}

Refusal Features::Impl::getAsText(const Feature& feature, std::string& text) {
    std::int64_t integer = 0;
    double number = 0;
    Refusal refusal;
    switch (feature.kind) {
        case FeatureKind::text:
            return getText(feature, text);
        case FeatureKind::floating:
            refusal = getNumber(feature, number);
            if (!refusal) text = numberText(number);
            return refusal;
        case FeatureKind::enumeration:
            refusal = getNumber(feature, integer);
            return refusal ? refusal : rules.getSymbol(feature.id, integer, text);
        default:
            refusal = getNumber(feature, integer);
            if (!refusal)
                text = feature.kind == FeatureKind::boolean ? valueText(integer != 0)
                                                            : numberText(integer);
            return refusal;
    }
}

bool Features::getText(const std::string& name, std::string& text) const {
    const FeatureKind held = kind(name);
    switch (held) {
        case FeatureKind::integer:
        case FeatureKind::floating:
        case FeatureKind::enumeration:
        case FeatureKind::boolean:
        case FeatureKind::text:
            return impl_->get(name, held, text, [this](const Feature& feature, auto& found) {
                return impl_->getAsText(feature, found);
            });
        default:
            if (!has(name)) return failUnknown(name);
            return fail(Error::feature, name + ": is " + kindText(held) + ", without a value");
    }
}

bool Features::setText(const std::string& name, const std::string& text) {
    const auto failToParse = [&] {
        return fail(Error::invalidArgument, name + " " + text + ": is not " + kindText(kind(name)));
    };
    switch (kind(name)) {
        case FeatureKind::integer: {
            const auto value = parseNumber<std::int64_t>(text);
            return value ? setInteger(name, *value) : failToParse();
        }
        case FeatureKind::floating: {
            const auto value = parseNumber<double>(text);
            return value ? setFloat(name, *value) : failToParse();
        }
        case FeatureKind::boolean: {
            const auto value = parseBoolean(text);
            return value ? setBoolean(name, *value) : failToParse();
        }
        case FeatureKind::enumeration:
            return setEnumeration(name, text);
        case FeatureKind::text:
            return setString(name, text);
        default:
            if (!has(name)) return failUnknown(name);
            return fail(Error::feature,
                        name + ": is " + kindText(kind(name)) + ", without a value");
    }
}

bool Features::ensure(const std::string& name, const std::string& text) {
    std::string held;
    const bool isRead = getText(name, held);
    // One silence is enough: a write would wait as long again.
    if (!isRead && Infra::getLastError() == static_cast<int>(Error::timeout)) return false;
    if (!isRead || !means(kind(name), held, text)) return setText(name, text);
    // A packet size that was set is one that a stream does not replace by what it finds best.
    const KeepLastError locked;
    if (name != kPacketSizeFeature || !setText(name, text))
        impl_->keepSetting(*impl_->find(name), text);
    return true;
}

}  // namespace Vorda::Gige
