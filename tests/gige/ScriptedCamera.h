// SPDX-License-Identifier: Apache-2.0
//
// A GigE Vision camera's control side for tests, written against the protocol and not against our
// encoders: it answers from a map of registers, keeps what it was asked, and misbehaves on demand.
#pragma once

#include "Descriptions.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestro::test {

using Octets = std::vector<std::uint8_t>;

/** A command as it arrived. */
struct ControlRequest {
    std::uint8_t flags = 0;
    std::uint16_t command = 0;
    std::uint16_t id = 0;
    Octets payload;
    bool wasBroadcast = false;
    std::uint16_t port = 0;  ///< that it came from

    /** The 32-bit number at `offset` of the payload. */
    [[nodiscard]] std::uint32_t word(std::size_t offset) const;
};

/** What goes back for one request, in this order. */
struct Reaction {
    struct Datagram {
        Octets bytes;
        std::chrono::milliseconds delay{0};
        bool fromElsewhere = false;  ///< from another port than the camera's
    };
    std::vector<Datagram> datagrams;
};

class ScriptedCamera {
 public:
    enum class Hears { ownAddress, broadcastsToo };
    /** A free address of its own, 127.0.1.x. Broadcasts come from other test programs as well. */
    explicit ScriptedCamera(Hears hears = Hears::ownAddress);
    ~ScriptedCamera();
    ScriptedCamera(const ScriptedCamera&) = delete;
    ScriptedCamera& operator=(const ScriptedCamera&) = delete;

    /** The address in host byte order, and as a text. */
    [[nodiscard]] std::uint32_t address() const;
    [[nodiscard]] std::string addressText() const;

    void setRegister(std::uint32_t address, std::uint32_t value);
    [[nodiscard]] std::uint32_t registerAt(std::uint32_t address) const;
    void setMemory(std::uint32_t address, std::string_view bytes);
    /** Puts a description at 0x10000 and its URL at 0x200. */
    void setDescription(std::string_view fileName, std::string_view bytes);
    /** Reads and writes of this register get this status. */
    void refuse(std::uint32_t address, std::uint16_t status);
    /** From now on nothing is answered, or everything is again. */
    void setSilent(bool isSilent);

    /** What the camera does for a request when nothing is scripted. */
    [[nodiscard]] Reaction ordinaryReaction(const ControlRequest& request);
    /** Asked for each request; called on the camera's thread. */
    void script(std::function<Reaction(const ControlRequest&)> react);

    /** The commands to its address so far, heartbeats (reads of the control privilege) left out. */
    [[nodiscard]] std::vector<ControlRequest> requests() const;
    /** The commands that came by broadcast, from anybody. */
    [[nodiscard]] std::vector<ControlRequest> broadcasts() const;

    /** The port that messages come from; the camera takes note of what arrives there. */
    [[nodiscard]] std::uint16_t messagePort() const;
    /** Sends to the destination that its message channel's registers name. */
    void sendMessage(const Octets& datagram);
    /** What arrived at the port of messages. */
    [[nodiscard]] std::vector<Octets> messageAnswers() const;

    /** The bytes of an EVENT or EVENTDATA. */
    [[nodiscard]] static Octets message(std::uint8_t flags, std::uint16_t command, std::uint16_t id,
                                        const Octets& payload);
    /** An acknowledge's bytes. */
    [[nodiscard]] static Octets acknowledge(std::uint16_t status, std::uint16_t command,
                                            std::uint16_t id, const Octets& payload = {});

 private:
    struct State;
    std::unique_ptr<State> state_;
};

/** Waits for a condition; false when it does not hold in time. */
[[nodiscard]] bool eventually(const std::function<bool()>& condition,
                              std::chrono::milliseconds within = std::chrono::seconds(5));

/** PayloadSize, TLParamsLocked, AcquisitionStart and -Stop, with these registers. */
[[nodiscard]] inline std::string smallDescription() { return goldenDescription("small.xml"); }
inline constexpr std::uint32_t kPayloadSizeRegister = 0xa000;
inline constexpr std::uint32_t kTransportLockRegister = 0xa004;
inline constexpr std::uint32_t kAcquisitionStartRegister = 0xa008;
inline constexpr std::uint32_t kAcquisitionStopRegister = 0xa00c;

}  // namespace kestro::test
