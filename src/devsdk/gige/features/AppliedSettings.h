// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SelectorPosition.h"

#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vorda::Gige {

class Features;

/** The command that replaces all settings by those of a set that the camera keeps. */
inline constexpr const char* kUserSetLoad = "UserSetLoad";
inline constexpr const char* kUserSetSelector = "UserSetSelector";

/** A feature that the application has set, or a command that did as much as setting them all. */
struct AppliedSetting {
    std::string name;
    std::string value;                        ///< as Features::getText() gives it
    std::vector<SelectorPosition> selectors;  ///< where they stood, the outermost first
    bool isCommand = false;
};

/**
 * What the application has set on a camera, so that it can be set again on one that was restarted
 * and remembers nothing. A feature has one note for each position of its selectors, in the order in
 * which they were last set.
 *
 * Loading a user set replaces all settings: it forgets the notes before it and is repeated itself.
 * Other commands are not: a trigger or a start must not happen twice. What is of one connection
 * only is not noted either, nor is what is written to registers by their addresses.
 *
 * Threads: any.
 */
class AppliedSettings {
 public:
    static constexpr std::size_t kMost = 4096;

    /** What it means that the camera leaves a setting unanswered. */
    enum class Silence {
        isUnready,  ///< the camera may be just starting: restoring ends
        isRefusal   ///< of that setting; when there is much of it, the rest is not tried
    };

    /** `device` is named in log lines. */
    explicit AppliedSettings(std::string device) : device_(std::move(device)) {}

    /** Replaces what there is for the same feature and positions; a command replaces everything. */
    void note(AppliedSetting setting);
    /** Says it, once, when more was set than is remembered; with no lock held. */
    void warnIfFull();
    void clear();
    /** In the order in which they were set. */
    [[nodiscard]] std::vector<AppliedSetting> all() const;

    /**
     * Sees to it that the camera has all settings, in their order; what it refuses is tried again
     * after the rest, for the range of one feature may hang on the value of another. Selectors then
     * stand as the application left them. Nothing of it is noted.
     *
     * @param refusals  gets a sentence for each setting that the camera did not take.
     * @return false, with the last error, as soon as the connection is gone or silence ends it.
     */
    [[nodiscard]] bool restore(Features& features, std::vector<std::string>& refusals,
                               Silence silence) const;

 private:
    using Notes = std::list<AppliedSetting>;

    void append(AppliedSetting setting);

    const std::string device_;
    mutable std::mutex mutex_;  ///< guards what follows; never held while a camera is asked
    Notes notes_;
    std::unordered_map<std::string, Notes::iterator> places_;
    bool isFull_ = false;
    bool hasWarned_ = false;
};

/** While one lives, what its thread writes to features is not the application's setting. */
class UnnotedWrites {
 public:
    UnnotedWrites();
    UnnotedWrites(const UnnotedWrites&) = delete;
    UnnotedWrites& operator=(const UnnotedWrites&) = delete;
    ~UnnotedWrites();

    [[nodiscard]] static bool isOn();
};

}  // namespace Vorda::Gige
