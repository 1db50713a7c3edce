// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BufferPool.h"
#include "CameraLink.h"
#include "FrameAssembler.h"
#include "FrameDelivery.h"
#include "ReceiveBatch.h"
#include "Signal.h"
#include "StreamCounters.h"
#include "UdpSocket.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>

namespace Vorda::Gige {

/**
 * The socket of one run of a stream, and the thread that empties it into frames.
 *
 * Complete frames go to the delivery, which never blocks this thread. Threads: open, start and stop
 * from one thread at a time.
 */
class StreamReceiver : public StreamInlet, private FrameOutput {
 public:
    StreamReceiver(CameraLink& link, FrameDelivery& delivery, StreamCounters& counters);
    StreamReceiver(const StreamReceiver&) = delete;
    StreamReceiver& operator=(const StreamReceiver&) = delete;
    ~StreamReceiver() override;

    /** Binds a socket on the host's side of the camera; false with the last error set. */
    [[nodiscard]] bool open();
    [[nodiscard]] std::uint16_t port() const override { return port_; }
    void openFirewall(std::uint16_t cameraPort) override;
    [[nodiscard]] std::uint32_t awaitPacket(FrameAssembler::Time until) override;
    /**
     * Starts the thread; the camera may send from now on, and what came before is thrown away.
     * False with the last error set.
     */
    [[nodiscard]] bool start(const StreamSetup& setup, std::shared_ptr<BufferPool> pool);
    /** The frames under way are nobody's concern any more. */
    void stop();
    /** Stops because the camera was lost: the frames under way are lost with it. */
    void breakOff();

 private:
    [[nodiscard]] FrameBuffer* takeBuffer() override;
    [[nodiscard]] bool hasSpareBuffer() const override;
    void returnBuffer(FrameBuffer& buffer) override;
    void deliver(FrameBuffer& buffer, const FrameInfo& info) override;
    void requestResend(const ResendRequest& request) override;

    void enlargeReceiveBuffer(std::uint32_t payloadBytes);
    void receiveInBatches();
    void dropWaitingPackets();
    void run();
    void takeBatch(FrameAssembler::Time now);
    void take(const ReceiveBatch::Datagram& datagram, FrameAssembler::Time now);
    [[nodiscard]] bool isFromCamera(Ipv4 sender, FrameAssembler::Time now);
    void endThread();
    void waitForPackets(bool frameUnderWay);
    [[nodiscard]] std::chrono::nanoseconds gatheringTime() const;
    void countHostDrops();

    CameraLink& link_;
    FrameDelivery& delivery_;
    StreamCounters& counters_;
    UdpSocket socket_;
    std::uint16_t port_ = 0;
    Ipv4 camera_;
    FrameAssembler::Time cameraAsked_{};
    std::chrono::nanoseconds gathering_{};  ///< how long packets may pile up in the socket
    std::shared_ptr<BufferPool> pool_;
    std::unique_ptr<ReceiveBatch> batch_;
    std::optional<FrameAssembler> assembler_;
    Signal stopped_;
    std::thread thread_;
};

}  // namespace Vorda::Gige
