// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Cable.h"
#include "CameraClock.h"
#include "Description.h"
#include "GvcpCommands.h"
#include "GvcpServer.h"
#include "MessageSender.h"
#include "RegisterMap.h"
#include "Simulator.h"
#include "StreamSender.h"

#include <cstdint>
#include <functional>

namespace kestrosim {

/** A camera from when it is switched on until it is switched off. Threads: any. */
class CameraDevice {
 public:
    /**
     * `address` is where it is, on this host; `options.address` is part of what its MAC address is
     * made of. `afterFrame` is called after each whole frame, before the next one, by a thread of
     * the camera's. Throws std::runtime_error when the address cannot be used.
     */
    CameraDevice(const CameraOptions& options, std::uint32_t address, const Description& text,
                 std::function<void(CameraDevice&)> afterFrame);
    CameraDevice(const CameraDevice&) = delete;
    CameraDevice& operator=(const CameraDevice&) = delete;
    ~CameraDevice();

    [[nodiscard]] CameraStatistics statistics() const;
    [[nodiscard]] Cable& cable() { return cable_; }
    /** What happens at once and is over. The others do nothing. */
    void suffer(const Incident& incident);

 private:
    // In the order of construction; so the control port closes first and the stream after it.
    Cable cable_;
    CameraClock clock_;
    RegisterMap registers_;
    MessageSender messages_;
    StreamSender stream_;
    GvcpCommands commands_;
    GvcpServer control_;
};

}  // namespace kestrosim
