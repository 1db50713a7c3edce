// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventData.h"
#include "FeatureModel.h"
#include "FeatureTypes.h"
#include "RegisterPort.h"
#include "StreamCounters.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Vorda::Gige {

class AppliedSettings;

/** What the features of a camera are made of. */
struct FeatureSources {
    std::shared_ptr<RegisterPort> camera;
    std::shared_ptr<FeatureModel> model;  ///< is lent to them
    std::shared_ptr<const EventData> events;
    std::shared_ptr<const StreamCounters> stream;
    /** Told what is set, with where its selectors stand; may be empty. */
    std::shared_ptr<AppliedSettings> settings;
    /** Told which features changed, in order; called with no lock held. */
    std::function<void(const std::vector<std::string>&)> onChanged;
    /** Told once, when "Root" is first listed: from then on someone wants to know what changes. */
    std::function<void()> onListed;
};

/**
 * The features of a connected camera, by name, as applications see them: those of its GenICam
 * description evaluated over its registers, the data of its events, and the counters of its stream.
 *
 * Every write is checked on this side before anything is sent: kind, availability, access, lock,
 * range, increment, entry, length. A refused one changes nothing on the camera. Operations that
 * answer bool set the thread's last error, which names the feature, the value and the reason:
 * "Width 5001: above the maximum 2448".
 *
 * Nothing is cached but what the description alone decides. Threads: any; one operation at a time.
 */
class Features {
 public:
    explicit Features(FeatureSources sources);
    ~Features();
    Features(const Features&) = delete;
    Features& operator=(const Features&) = delete;

    // What the description alone decides; the camera is not asked.

    [[nodiscard]] bool has(const std::string& name) const;
    /** `unknown` also where there is no such feature. */
    [[nodiscard]] FeatureKind kind(const std::string& name) const;
    /** 0 to 3, GenICam's levels; 255 where there is no such feature. */
    [[nodiscard]] unsigned visibility(const std::string& name) const;
    /** A category's features in the order of the description. */
    [[nodiscard]] bool getChildren(const std::string& name, std::vector<std::string>& names) const;
    /** The features that select `name`. */
    [[nodiscard]] bool getSelectors(const std::string& name, std::vector<std::string>& names) const;
    /** What decides which value `name` stands for: its selectors and theirs, the outermost first.
     */
    [[nodiscard]] std::vector<std::string> allSelectors(const std::string& name) const;
    /** The features that `name` selects; empty for one that is no selector. */
    [[nodiscard]] std::vector<std::string> selected(const std::string& name) const;
    /**
     * The features that a configuration consists of, in the order of the description: those that it
     * marks as Streamable, or, where it marks none, all that can be written at this moment.
     */
    [[nodiscard]] std::vector<std::string> persistent() const;
    struct Polled {
        std::string name;
        std::chrono::milliseconds period{};
    };
    /** The features that the description wants asked for periodically. */
    [[nodiscard]] std::vector<Polled> polled() const;

    // Access at this moment; a question that cannot be answered counts as no.

    [[nodiscard]] bool isAvailable(const std::string& name) const;
    [[nodiscard]] bool isReadable(const std::string& name) const;
    [[nodiscard]] bool isWritable(const std::string& name) const;

    // Values. An operation that fails leaves its result as it was. Integers are exact in all their
    // 64 bits, but for those of a converter, whose formula counts in doubles: they are up to 2^53.

    [[nodiscard]] bool getInteger(const std::string& name, std::int64_t& value) const;
    [[nodiscard]] bool setInteger(const std::string& name, std::int64_t value);
    [[nodiscard]] bool getRange(const std::string& name, FeatureRange<std::int64_t>& range) const;
    [[nodiscard]] bool getIncrement(const std::string& name, std::int64_t& increment) const;
    [[nodiscard]] bool getFloat(const std::string& name, double& value) const;
    [[nodiscard]] bool setFloat(const std::string& name, double value);
    [[nodiscard]] bool getRange(const std::string& name, FeatureRange<double>& range) const;
    [[nodiscard]] bool getUnit(const std::string& name, std::string& unit) const;
    [[nodiscard]] bool getEnumeration(const std::string& name, std::int64_t& value) const;
    [[nodiscard]] bool setEnumeration(const std::string& name, std::int64_t value);
    [[nodiscard]] bool setEnumeration(const std::string& name, const std::string& symbol);
    /** The entries that the camera implements, in the order of the description. */
    [[nodiscard]] bool getEntries(const std::string& name,
                                  std::vector<FeatureEntry>& entries) const;
    [[nodiscard]] bool getBoolean(const std::string& name, bool& value) const;
    [[nodiscard]] bool setBoolean(const std::string& name, bool value);
    [[nodiscard]] bool getString(const std::string& name, std::string& value) const;
    [[nodiscard]] bool setString(const std::string& name, const std::string& value);
    [[nodiscard]] bool getMaxLength(const std::string& name, std::uint32_t& bytes) const;
    [[nodiscard]] bool execute(const std::string& name);

    /**
     * A value as text, whatever its kind: integers decimal, floats in the fewest digits that read
     * back the same, enumerations by symbol, booleans 1 or 0. Commands and categories have none.
     */
    [[nodiscard]] bool getText(const std::string& name, std::string& text) const;
    /** The reverse, with all checks; of a boolean also "true" and "false", in any case. */
    [[nodiscard]] bool setText(const std::string& name, const std::string& text);
    /**
     * Sees to it that a feature has a value, by writing it only if it has another: what is
     * read-only at this moment may well have the right one.
     */
    [[nodiscard]] bool ensure(const std::string& name, const std::string& text);

    /**
     * Sets TLParamsLocked, where the camera has it, around an acquisition: the camera, and the
     * checks here, then refuse what a running stream would not survive.
     */
    void lockTransport(bool isLocked);

 private:
    struct Impl;

    std::unique_ptr<Impl> impl_;
};

}  // namespace Vorda::Gige
