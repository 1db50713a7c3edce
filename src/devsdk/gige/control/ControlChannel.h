// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Ipv4.h"
#include "RegisterPort.h"
#include "ResendRequest.h"
#include "WorkerThread.h"

#include <functional>
#include <memory>

namespace Vorda::Gige {

/**
 * The control channel to one camera: one request at a time, repeated when nothing answers, and
 * while the control is held a heartbeat that notices its loss in about a second.
 *
 * Once lost, a channel stays lost; a new connection takes a new channel. Threads: any; open() and
 * takeControl() are called once, by the owner.
 */
class ControlChannel final : public RegisterPort {
 public:
    /** Binds to `host` and talks to `camera`; empty, with the last error, when that is impossible.
     */
    [[nodiscard]] static std::shared_ptr<ControlChannel> open(Ipv4 host, Ipv4 camera);
    /**
     * The same in the place of `previous`, which is lost or closed for good: where the host's
     * address is the same, so is the port. A camera knows its controller by both, and may not have
     * noticed yet that it was gone.
     */
    [[nodiscard]] static std::shared_ptr<ControlChannel> reopen(const ControlChannel& previous,
                                                                Ipv4 host, Ipv4 camera);
    /** Closes. */
    ~ControlChannel() override;

    [[nodiscard]] bool readRegister(std::uint64_t address, std::uint32_t& value) override;
    [[nodiscard]] bool writeRegister(std::uint64_t address, std::uint32_t value) override;
    [[nodiscard]] bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override;
    [[nodiscard]] bool writeMemory(std::uint64_t address, ByteView data) override;
    /** One datagram, no answer, never waits. */
    void requestResend(const ResendRequest& request);

    /**
     * False, with the last error, when another program is known to control the camera. Asks only:
     * an order to hand over the control would be refused, but is not for a stranger to give.
     */
    [[nodiscard]] bool mayTakeControl();
    /**
     * Takes the control and starts the heartbeat. `onLost` is called at most once, on the thread
     * that notices, with no lock held.
     */
    [[nodiscard]] bool takeControl(std::function<void()> onLost);
    /** True while the control is held. */
    [[nodiscard]] bool isOnline() const;
    /** Ends requests in flight and fails later ones; never waits. The control is not given back. */
    void cancel();
    /**
     * Ends the heartbeat and requests in flight, and releases the control where the camera still
     * answers. May be repeated, also from onLost.
     */
    void close();

 private:
    class Core;
    explicit ControlChannel(std::shared_ptr<Core> core);

    std::shared_ptr<Core> core_;
    WorkerThread heartbeat_;
};

}  // namespace Vorda::Gige
