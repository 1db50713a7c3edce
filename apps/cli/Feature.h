// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Control.h"
#include "FeatureValue.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrocli {

/** A feature of a camera under control, whatever its kind. Every question asks the camera. */
class Feature {
 public:
    /** Throws Failure when the camera has no such feature. */
    Feature(const Control& control, std::string name);

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] kestro::ParameterType type() const { return type_; }
    [[nodiscard]] FeatureRecord record() const;
    /** Empty for one that has no value, that cannot be read now or that the camera refuses. */
    [[nodiscard]] std::optional<FeatureValue> value() const;
    [[nodiscard]] std::vector<std::string> selectors() const;
    /** Its selectors as they stand: "[TriggerSelector=FrameStart]"; empty without one. */
    [[nodiscard]] std::string selection() const;

    /** What a text means for it: valueFrom(), and of an enumeration also an entry's number. */
    [[nodiscard]] std::optional<FeatureValue> meaning(const std::string& text) const;
    /** The camera's answer, false when it refused; the value is of this feature's kind. */
    [[nodiscard]] bool write(const FeatureValue& value) const;
    /**
     * Sets it to what a text means. Throws Failure with the reason and with what would have been
     * taken.
     */
    void set(const std::string& text) const;
    /** Executes a command; throws Failure for anything else. */
    void execute() const;

 private:
    void describeLimits(FeatureRecord& record) const;
    [[nodiscard]] std::string refusal(const std::string& text) const;

    const Control& control_;
    std::string name_;
    kestro::ParameterType type_;
};

/** Why a feature of this kind has no value, and what to do instead; empty for one that has. */
[[nodiscard]] std::string valuelessText(const std::string& name, kestro::ParameterType type);

/** True when the camera has this feature. */
[[nodiscard]] bool hasFeature(const Control& control, const std::string& name);

/** A feature's place in the camera's tree. */
struct FeaturePlace {
    std::string name;
    kestro::ParameterType type = kestro::ParameterType::Unknown;
    std::size_t parent = 0;  ///< the index of its category; its own for the first, "Root"
    std::size_t depth = 0;
};

/**
 * The tree from "Root", each name once, a category before what it holds. Throws Failure when the
 * camera has no tree.
 */
[[nodiscard]] std::vector<FeaturePlace> featureTree(const Control& control);

}  // namespace kestrocli
