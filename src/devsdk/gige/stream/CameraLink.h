// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Ipv4.h"
#include "ResendRequest.h"

#include <chrono>
#include <cstdint>
#include <memory>

namespace Vorda::Gige {

class PayloadLayout;

/** How a camera's stream channel 0 was set up. */
struct StreamSetup {
    std::uint32_t payloadBytes = 0;  ///< PayloadSize: the largest image the camera will send
    std::uint32_t packetBytes = 0;   ///< SCPS: IP, UDP and GVSP headers included
    bool canResend = false;          ///< the camera announces packet resend
    bool extendedIds = false;        ///< the camera was switched to 64-bit block ids
    bool inBatches = true;           ///< let the kernel put packets together where it can
    /** Where the features lie in the chunks of a frame; empty: nowhere. */
    std::shared_ptr<const PayloadLayout> layout = nullptr;
};

/** Where a stream comes in on the host, while its channel is being set up. */
class StreamInlet {
 public:
    virtual ~StreamInlet() = default;

    [[nodiscard]] virtual std::uint16_t port() const = 0;
    /**
     * Sends one packet to a port of the camera, so that a host firewall that follows connections
     * lets in what comes from there.
     */
    virtual void openFirewall(std::uint16_t cameraPort) = 0;
    /**
     * Takes the camera's next packet away. Gives its size with the headers of IP and UDP; 0 when
     * none comes in time.
     */
    [[nodiscard]] virtual std::uint32_t awaitPacket(
        std::chrono::steady_clock::time_point until) = 0;
};

/** A stream as its camera sees it. */
class LinkedStream {
 public:
    virtual ~LinkedStream() = default;

    /**
     * Goes on after the camera was lost and found again: opens its channel and starts the
     * acquisition as at the start. True also when there is nothing to go on with, because it was
     * stopped meanwhile. False with the last error set; may then be called again.
     */
    [[nodiscard]] virtual bool resume() = 0;
};

/**
 * What a stream needs of its camera. The control side implements it; tests of the stream fake it.
 *
 * Operations that answer bool set the thread's last error on failure. Threads: any.
 */
class CameraLink {
 public:
    virtual ~CameraLink() = default;

    /** The camera's key, for log lines. */
    [[nodiscard]] virtual const char* key() const = 0;
    [[nodiscard]] virtual Ipv4 cameraAddress() const = 0;
    /** Address of the host interface that the camera is reached through: bind the stream to it. */
    [[nodiscard]] virtual Ipv4 hostAddress() const = 0;
    /** True while the control is held and the camera answers. */
    [[nodiscard]] virtual bool isOnline() const = 0;

    /**
     * Points the camera's stream channel 0 at the inlet, on hostAddress(), has the firewall opened
     * before anything is sent, sees to a packet size that gets through, and reports what the camera
     * will send. From then on the channel is that of `stream`, which is resumed when the camera
     * was lost and is back.
     */
    [[nodiscard]] virtual bool openStreamChannel(StreamInlet& inlet, StreamSetup& setup,
                                                 const std::weak_ptr<LinkedStream>& stream) = 0;
    /**
     * Stops the camera's stream channel 0 and forgets the stream; quiet on a camera that is gone,
     * and where the channel is not, or no longer, that of `stream`.
     */
    virtual void closeStreamChannel(const std::weak_ptr<LinkedStream>& stream) = 0;
    /** Locks the transport layer (TLParamsLocked) and executes AcquisitionStart. */
    [[nodiscard]] virtual bool startAcquisition() = 0;
    /**
     * Executes AcquisitionStop and unlocks the transport layer. True also where the channel is not,
     * or no longer, that of `stream`: then there is nothing of it to stop.
     */
    [[nodiscard]] virtual bool stopAcquisition(const std::weak_ptr<LinkedStream>& stream) = 0;

    /** Sends a PACKETRESEND from the control port: one datagram, no acknowledge, never waits. */
    virtual void requestResend(const ResendRequest& request) = 0;
};

}  // namespace Vorda::Gige
