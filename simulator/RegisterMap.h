// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "GigeWire.h"
#include "Registers.h"
#include "UdpSocket.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrosim {

struct CameraOptions;

/** What a camera says of itself on the network. */
struct NetworkIdentity {
    std::array<std::uint8_t, 6> mac{};
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
    std::uint32_t gateway = 0;
};

/** The settings that a frame is made and sent with, taken at one moment. */
struct StreamSettings {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    double framesPerSecond = 0;
    double exposureMicroseconds = 0;
    bool triggered = false;
    bool container = false;
    Endpoint destination;  ///< port 0: the channel is closed
    std::uint32_t packetBytes = 0;
    bool dontFragment = false;
    bool extendedIds = false;
    std::uint32_t packetDelayTicks = 0;
};

/** The exposure at which a picture is as bright as it was drawn. */
inline constexpr double kNominalExposureMicroseconds = 10'000;

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

    // The camera's own access, which no right limits.
    [[nodiscard]] std::uint32_t word(std::uint32_t address) const;
    void setWord(std::uint32_t address, std::uint32_t value);
    void setLong(std::uint32_t address, std::uint64_t value);
    void setAddress(const NetworkIdentity& identity);

    [[nodiscard]] StreamSettings streamSettings() const;

 private:
    enum class Access : std::uint8_t { none, read, readWrite };
    static constexpr std::size_t kAreaBytes = 0x1000;
    using Area = std::array<std::uint8_t, kAreaBytes>;
    using Rights = std::array<Access, kAreaBytes / 4>;

    /** A value's place: bootstrap registers and features have an area of 4 KiB each. */
    struct Areas {
        Area bootstrap{};
        Area features{};
        [[nodiscard]] std::uint8_t* at(std::uint32_t address);
        [[nodiscard]] const std::uint8_t* at(std::uint32_t address) const;
        [[nodiscard]] std::uint32_t word(std::uint32_t address) const;
        [[nodiscard]] double real(std::uint32_t address) const;
        void setWord(std::uint32_t address, std::uint32_t value);
        void setReal(std::uint32_t address, double value);
        void setText(std::uint32_t address, std::size_t bytes, std::string_view text);
    };

    void allow(std::uint32_t address, std::uint32_t bytes, Access access);
    void allowAll();
    void fillIdentity(const CameraOptions& options, const std::string& fileName);
    void fillCapabilities(const CameraOptions& options);
    void fillFeatures(const CameraOptions& options);
    [[nodiscard]] Access accessTo(std::uint32_t address) const;
    [[nodiscard]] Status checkRights(std::uint32_t address, std::size_t bytes, Access wanted) const;
    [[nodiscard]] bool isDescription(std::uint32_t address, std::size_t bytes) const;
    static void normalise(Areas& values);
    [[nodiscard]] static bool isValid(const Areas& values);
    [[nodiscard]] static bool isPictureValid(const Areas& values);

    std::vector<std::uint8_t> description_;  ///< padded to whole words; constant
    Rights bootstrapRights_{};               ///< constant, as featureRights_
    Rights featureRights_{};
    mutable std::mutex mutex_;
    Areas values_;  ///< guarded by mutex_
};

}  // namespace kestrosim
