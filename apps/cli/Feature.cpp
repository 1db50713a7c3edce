// SPDX-License-Identifier: Apache-2.0
#include "Feature.h"

#include "Text.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <utility>

namespace kestrocli {
namespace {

using kestro::ParameterType;

/** What Class::getValue() gives; empty when it fails. */
template <typename Class, typename Value>
std::optional<FeatureValue> got(const Class& parameter) {
    Value value{};
    if (parameter.getValue(value).isFailure()) return std::nullopt;
    return FeatureValue(std::in_place_type<Value>, std::move(value));
}

/** How many letters must be changed, added or left out to make one word of the other. */
std::size_t distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return text;
}

/** " Did you mean Width?" where a feature has nearly this name. */
std::string hint(const Control& control, const std::string& name) {
    constexpr std::size_t kMistakes = 2;
    constexpr std::size_t kLongestName = 200;
    std::size_t least = kMistakes + 1;
    std::string best;
    if (name.size() > kLongestName) return best;
    for (const auto& place : featureTree(control)) {
        if (place.name.size() > kLongestName) continue;
        const std::size_t mistakes = distance(lowerCase(name), lowerCase(place.name));
        if (mistakes >= least || 2 * mistakes > name.size()) continue;
        least = mistakes;
        best = place.name;
    }
    return best.empty() ? "; kestro features lists what it has"
                        : "; did you mean " + visible(best) + "?";
}

template <typename Number>
void keepLimits(FeatureRecord& record, Number least, Number most) {
    using Limits = std::numeric_limits<Number>;
    if (least != Limits::lowest()) record.least = least;
    if (most != Limits::max()) record.most = most;
}

}  // namespace

std::string valuelessText(const std::string& name, ParameterType type) {
    switch (type) {
        case ParameterType::Command:
            return visible(name) + " is a command: kestro exec runs it";
        case ParameterType::Group:
            return visible(name) + " is a category: kestro features --tree shows what it holds";
        case ParameterType::Unknown:
            return visible(name) +
                   " is of a kind whose value cannot be shown: kestro reg reads bytes";
        default:
            return {};
    }
}

bool hasFeature(const Control& control, const std::string& name) {
    return !name.empty() && kestro::Parameter(control.camera(), name.c_str()).isValid();
}

Feature::Feature(const Control& control, std::string name)
    : control_(control), name_(std::move(name)) {
    if (!hasFeature(control, name_)) {
        control.requireConnection();
        throw Failure("camera " + nameOf(control.record()) + " has no feature " + visible(name_) +
                      hint(control, name_));
    }
    type_ = kestro::Parameter(control.camera(), name_.c_str()).getType();
}

std::optional<FeatureValue> Feature::value() const {
    const auto& camera = control_.camera();
    const char* name = name_.c_str();
    if (!kestro::Parameter(camera, name).isReadable()) return std::nullopt;
    switch (type_) {
        case ParameterType::Int:
            return got<kestro::ParameterInt, std::int64_t>({camera, name});
        case ParameterType::Float:
            return got<kestro::ParameterFloat, double>({camera, name});
        case ParameterType::Enum:
            return got<kestro::ParameterEnum, std::string>({camera, name});
        case ParameterType::Bool:
            return got<kestro::ParameterBool, bool>({camera, name});
        case ParameterType::String:
            return got<kestro::ParameterString, std::string>({camera, name});
        default:
            return std::nullopt;
    }
}

std::vector<std::string> Feature::selectors() const {
    std::vector<std::string> names;
    const auto result = kestro::Parameter(control_.camera(), name_.c_str()).getSelectors(names);
    if (result.isFailure()) names.clear();
    return names;
}

std::string Feature::selection() const {
    std::string text;
    for (const auto& selector : selectors()) {
        const auto value = Feature(control_, selector).value();
        text += (text.empty() ? "[" : ", ") + visible(selector) + "=" +
                (value ? visible(textOf(*value)) : "?");
    }
    return text.empty() ? text : text + "]";
}

void Feature::describeLimits(FeatureRecord& record) const {
    const auto& camera = control_.camera();
    const char* name = name_.c_str();
    if (type_ == ParameterType::Int) {
        const kestro::ParameterInt parameter(camera, name);
        std::int64_t least = 0;
        std::int64_t most = 0;
        std::int64_t increment = 1;
        if (parameter.getRange(least, most)) keepLimits(record, least, most);
        if (parameter.getIncrement(increment)) record.increment = increment;
    } else if (type_ == ParameterType::Float) {
        const kestro::ParameterFloat parameter(camera, name);
        double least = 0;
        double most = 0;
        if (parameter.getRange(least, most)) keepLimits(record, least, most);
        if (parameter.getUnit(record.unit).isFailure()) record.unit.clear();
    } else if (type_ == ParameterType::Enum) {
        std::vector<kestro::ParameterEnum::Entry> entries;
        if (!kestro::ParameterEnum(camera, name).getEntryList(entries)) return;
        for (auto& entry : entries) {
            record.entries.push_back({std::move(entry.symbol), entry.value});
        }
    } else if (type_ == ParameterType::String) {
        unsigned longest = 0;
        if (kestro::ParameterString(camera, name).getMaxLength(longest)) record.longest = longest;
    }
}

FeatureRecord Feature::record() const {
    const kestro::Parameter parameter(control_.camera(), name_.c_str());
    FeatureRecord record;
    record.name = name_;
    record.type = type_;
    record.visibility = parameter.getVisibility();
    record.access = parameter.getAccessibility();
    record.selectors = selectors();
    if (!record.isAvailable()) return record;
    record.value = value();
    describeLimits(record);
    return record;
}

std::optional<FeatureValue> Feature::meaning(const std::string& text) const {
    if (type_ != ParameterType::Enum) return valueFrom(type_, text);
    FeatureRecord record;
    describeLimits(record);
    const auto number = wholeNumberFrom(text);
    for (const auto& entry : record.entries) {
        if (entry.symbol == text) return text;
    }
    for (const auto& entry : record.entries) {
        if (number && entry.value == static_cast<std::uint64_t>(*number)) return entry.symbol;
    }
    return std::nullopt;
}

bool Feature::write(const FeatureValue& value) const {
    const auto& camera = control_.camera();
    const char* name = name_.c_str();
    switch (type_) {
        case ParameterType::Int:
            return kestro::ParameterInt(camera, name).setValue(std::get<std::int64_t>(value));
        case ParameterType::Float:
            return kestro::ParameterFloat(camera, name).setValue(std::get<double>(value));
        case ParameterType::Enum:
            return kestro::ParameterEnum(camera, name).setValue(std::get<std::string>(value));
        case ParameterType::Bool:
            return kestro::ParameterBool(camera, name).setValue(std::get<bool>(value));
        case ParameterType::String:
            return kestro::ParameterString(camera, name).setValue(std::get<std::string>(value));
        default:
            return false;
    }
}

std::string Feature::refusal(const std::string& text) const {
    const std::string name = visible(name_);
    if (auto why = valuelessText(name_, type_); !why.empty()) return why;
    const FeatureRecord now = record();
    if (!now.isAvailable()) return name + " is not available at this moment";
    if (!now.isWritable())
        return name + " cannot be written at this moment: it is read-only or locked";
    return name + "=" + visible(text) + " is refused; it takes " + allowedText(now);
}

void Feature::set(const std::string& text) const {
    const bool isWritable = kestro::Parameter(control_.camera(), name_.c_str()).isWritable();
    const auto value = meaning(text);
    if (isWritable && value && write(*value)) return;
    throw control_.failure(refusal(text));
}

void Feature::execute() const {
    const std::string name = visible(name_);
    if (type_ != ParameterType::Command) {
        throw Failure(name + " is no command: kestro get and kestro set read and write it");
    }
    kestro::ParameterCommand command(control_.camera(), name_.c_str());
    if (!command.isAvailable()) throw control_.failure(name + " is not available at this moment");
    if (!command.isWritable()) throw control_.failure(name + " cannot be executed at this moment");
    if (command.execute().isFailure()) {
        throw control_.failure("the camera did not execute " + name + "; the log line says why");
    }
}

std::vector<FeaturePlace> featureTree(const Control& control) {
    std::vector<FeaturePlace> tree;
    std::set<std::string> known = {"Root"};
    // Places to be listed, the next one last: a tree may be deeper than a stack.
    std::vector<FeaturePlace> waiting = {{"Root", ParameterType::Group, 0, 0}};
    while (!waiting.empty()) {
        const FeaturePlace place = std::move(waiting.back());
        waiting.pop_back();
        const std::size_t index = tree.size();
        tree.push_back(place);
        if (place.type != ParameterType::Group) continue;
        std::vector<std::string> names;
        kestro::ParameterGroup group(control.camera(), place.name.c_str());
        if (group.getChildren(names).isFailure()) {
            throw control.failure("the category " + visible(place.name) +
                                  " cannot be listed; the log line says why");
        }
        std::reverse(names.begin(), names.end());
        for (const auto& name : names) {
            if (!known.insert(name).second) continue;
            const auto type = kestro::Parameter(control.camera(), name.c_str()).getType();
            waiting.push_back({name, type, index, place.depth + 1});
        }
    }
    return tree;
}

}  // namespace kestrocli
