// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "GigeWire.h"
#include "RegisterTable.h"
#include "RegisterValues.h"
#include "Registers.h"
#include "StreamSettings.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrosim {

/** What a camera says of itself on the network. */
struct NetworkIdentity {
    std::array<std::uint8_t, 6> mac{};
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
    std::uint32_t gateway = 0;
};

/**
 * The camera's register memory: who may touch a word, which values it takes, and the GenICam
 * description behind it. Values change nothing but each other here; what a write sets going is the
 * caller's. Threads: any.
 */
class RegisterMap {
 public:
    /** `description` is served from reg::kDescription under the name `fileName`. */
    RegisterMap(const CameraOptions& options, const NetworkIdentity& identity,
                std::string_view description, const std::string& fileName);

    /** Reads whole words as a client does. `address` and the length are multiples of 4. */
    [[nodiscard]] Status read(std::uint32_t address, std::span<std::uint8_t> to) const;
    /** Writes whole words as a client does: all of them or, when one is refused, none. */
    [[nodiscard]] Status write(std::uint32_t address, std::span<const std::uint8_t> from);
    /** Whether the word must not change while frames are sent. */
    [[nodiscard]] bool isFrozen(std::uint32_t address) const;

    // The camera's own access, which no right limits.
    [[nodiscard]] std::uint32_t word(std::uint32_t address) const;
    void setWord(std::uint32_t address, std::uint32_t value);
    void setLong(std::uint32_t address, std::uint64_t value);
    void setReal(std::uint32_t address, double value);
    [[nodiscard]] RegisterValues values() const;
    /** Takes the registers that belong to a user set from there. */
    void loadSaved(const RegisterValues& set);
    /** All that neither belongs to a user set nor outlasts a restart is as at first. */
    void restart();
    void setAddress(const NetworkIdentity& identity);

    [[nodiscard]] StreamSettings streamSettings() const;

 private:
    /** What may be done to a word. */
    struct Right {
        Access access = Access::none;
        bool isFrozen = false;
    };
    using Rights = std::array<Right, RegisterValues::kAreaBytes / 4>;

    void layOut();
    void fillIdentity(const CameraOptions& options, const std::string& fileName);
    void fillFeatures(const CameraOptions& options);
    void limitPacketSize(RegisterValues& values) const;
    [[nodiscard]] Right rightTo(std::uint32_t address) const;
    [[nodiscard]] Status checkRights(std::uint32_t address, std::size_t bytes, Access wanted) const;
    [[nodiscard]] bool isDescription(std::uint32_t address, std::size_t bytes) const;

    const std::uint32_t packetSizeMax_;      ///< 0: the rules' own limit
    std::vector<std::uint8_t> description_;  ///< padded to whole words; constant
    Rights bootstrapRights_{};               ///< constant, as featureRights_
    Rights featureRights_{};
    mutable std::mutex mutex_;
    RegisterValues values_;  ///< guarded by mutex_
};

}  // namespace kestrosim
