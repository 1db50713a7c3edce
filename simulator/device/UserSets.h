// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RegisterValues.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

namespace kestrosim {

class RegisterMap;

/**
 * The configurations that the camera keeps until it is switched off: the one that it is made with
 * and the user's. Saving takes its time, as it does where memory has to be erased first. One
 * thread.
 */
class UserSets {
 public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::uint32_t kFactorySet = 0;  ///< cannot be saved to
    static constexpr std::uint32_t kSetCount = 3;

    explicit UserSets(RegisterMap& registers);

    [[nodiscard]] bool isSaving() const { return saving_.has_value(); }
    /** Takes the configuration as it is now; not for the factory's set. Needs: not saving. */
    void beginToSave(std::uint32_t set, Clock::time_point now);
    /** Finishes what was begun long enough ago. */
    void finishSaving(Clock::time_point now);
    /** What is not saved yet is lost. */
    void abandonSaving();
    void load(std::uint32_t set);

 private:
    struct Saving {
        std::uint32_t set = 0;
        RegisterValues values;
        Clock::time_point doneAt;
    };

    RegisterMap& registers_;
    std::array<RegisterValues, kSetCount> sets_;
    std::optional<Saving> saving_;
};

}  // namespace kestrosim
