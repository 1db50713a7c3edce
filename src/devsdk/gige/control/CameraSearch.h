// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Discovery.h"
#include "Signal.h"

#include <chrono>
#include <optional>
#include <vector>

namespace Vorda::Gige {

/**
 * Looks for one camera that has gone, wherever it comes up again: at its last address, at another,
 * behind another interface. The sockets stay open from search to search, so that an answer that a
 * camera holds back is there for the next, until end(). Threads: one at a time.
 */
class CameraSearch {
 public:
    explicit CameraSearch(DeviceIdentity identity) : identity_(std::move(identity)) {}

    /**
     * Asks the last address, then, when the camera does not answer at once, everybody, and the
     * addresses that are to be asked one by one. Empty when it has not answered in a quarter of a
     * second, or as soon as `cancelled` is raised.
     */
    [[nodiscard]] std::optional<FoundDevice> run(Ipv4 lastAddress, const Signal& cancelled);
    /** The camera is back: answers that still come say nothing of where it is after its next loss.
     */
    void end() { ports_.clear(); }

 private:
    using Clock = std::chrono::steady_clock;

    void openPorts();
    void askOneByOne(const std::vector<Ipv4>& addresses);
    void askEverybody() const;
    void await(Clock::time_point deadline, const Signal& cancelled);
    void takeAnswers();
    [[nodiscard]] bool isReachable() const;

    const DeviceIdentity identity_;
    std::vector<BroadcastPort> ports_;
    std::vector<Ipv4> asked_;           ///< one by one, in this search
    std::optional<FoundDevice> found_;  ///< the best answer of this search
};

}  // namespace Vorda::Gige
