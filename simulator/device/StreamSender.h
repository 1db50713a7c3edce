// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Cable.h"
#include "CameraClock.h"
#include "FrameSchedule.h"
#include "FrameSource.h"
#include "MessageSender.h"
#include "RegisterMap.h"
#include "Simulator.h"
#include "StreamFrame.h"
#include "StreamPath.h"
#include "UdpSocket.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace kestrosim {

class Pacer;

/** Packets that a receiver asks for again. */
struct ResendRequest {
    std::uint64_t blockId = 0;
    std::uint32_t firstPacket = 0;
    std::uint32_t lastPacket = 0;
};

/**
 * Acquisition and the stream channel: makes frames when they are due and sends them, paced, on a
 * thread of its own; keeps the latest ones for resending. Threads: any.
 */
class StreamSender {
 public:
    StreamSender(const CameraOptions& options, std::uint32_t address, RegisterMap& registers,
                 const CameraClock& clock, MessageSender& messages, const Cable& cable);
    ~StreamSender();
    StreamSender(const StreamSender&) = delete;
    StreamSender& operator=(const StreamSender&) = delete;

    [[nodiscard]] bool isAcquiring() const;
    /** Block ids begin at 1. Does nothing while acquiring. */
    void start();
    /**
     * No frame packet is sent after the return. A frame under way, and what was asked for again,
     * is finished, if the link carries the rest of it soon, or left where it is.
     */
    void stop();
    /** A software trigger; without effect unless something waits for it. */
    void trigger(TriggerKind kind);
    /** Something in the registers changed that may make a frame due. */
    void settingsChanged();
    void resend(const ResendRequest& request);
    /** Sends one packet of the packet size that the registers say. */
    void sendTestPacket();
    /** The next frame that is taken has block id 1, whatever went before it. */
    void restartBlockIds();
    /**
     * Is called after each whole frame, before the next one, by the stream's thread. When this
     * returns, what was to be called before is not any more: not from such a call, then.
     */
    void tellWhenSent(std::function<void()> afterFrame);
    /** Sends from another address of this host from now on. Needs: not acquiring. */
    void moveTo(std::uint32_t address);
    [[nodiscard]] std::uint16_t sourcePort() const;
    /** What was sent; the commands are not counted here. */
    [[nodiscard]] CameraStatistics statistics() const;

 private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    /** A frame and how far it was sent. */
    struct SentFrame {
        StreamFrame frame;
        StreamSettings settings;
        Clock::time_point takenAt;
        std::uint32_t packetsSent = 0;  ///< ids below this were sent; guarded by mutex_
    };

    void run();
    [[nodiscard]] std::optional<Clock::time_point> frameDue() const;
    [[nodiscard]] Clock::time_point heldDue() const;
    void sendHeld();
    void waitForWork(Lock& lock);
    void sendFrame(Lock& lock);
    [[nodiscard]] std::shared_ptr<SentFrame> makeFrame(Lock& lock);
    void beginFrame(const std::shared_ptr<SentFrame>& sent);
    void transmit(Lock& lock, SentFrame& sent);
    void finishFrame(const SentFrame& sent);
    void settle();
    void tell(CameraEvent event);
    void tell(const StreamFrame& frame);
    void beginBlockIds();
    void advanceBlockId(bool extendedIds);
    [[nodiscard]] bool mustAbandon(Clock::time_point now) const;
    [[nodiscard]] bool mustLeaveResends() const;
    void serveResends(Lock& lock, Pacer& pacer);
    void serveResend(Lock& lock, Pacer& pacer, const ResendRequest& request);
    void sendAgain(Lock& lock, Pacer& pacer, SentFrame& sent, const ResendRequest& request);
    void sendStatus(const ResendRequest& request, Status status);
    [[nodiscard]] std::shared_ptr<SentFrame> find(std::uint64_t blockId) const;
    std::uint64_t sendBurst(Lock& lock, Pacer& pacer, const SentFrame& sent, const PacketRun& run);
    void count(const StreamFrame& sent);
    void count(const SentPackets& sent);
    [[nodiscard]] Pacer pacerFor(const StreamSettings& settings) const;

    const double linkMbits_;
    RegisterMap& registers_;
    const CameraClock& clock_;
    MessageSender& messages_;
    const Cable& cable_;
    FrameSource source_;  ///< the thread's
    StreamPath path_;     ///< the thread's, but while nothing is sent

    mutable std::mutex mutex_;  ///< guards all that follows but the thread
    std::condition_variable work_;
    std::condition_variable idle_;
    UdpSocket socket_;  ///< replaced only while nothing is sent
    bool quit_ = false;
    bool acquiring_ = false;
    bool stopping_ = false;      ///< stop() waits
    bool sending_ = false;       ///< a packet may leave at any moment
    std::uint64_t runs_ = 0;     ///< how often acquisition started
    std::uint64_t blockId_ = 1;  ///< of the next frame
    bool restartsBlockIds_ = false;
    std::function<void()> afterFrame_;  ///< replaced only while it is not called
    bool isTelling_ = false;            ///< it is
    FrameSchedule schedule_;
    Clock::time_point abandonAt_;  ///< when a frame under way is left, once stopped
    std::deque<ResendRequest> resends_;
    std::deque<std::shared_ptr<SentFrame>> history_;
    CameraStatistics statistics_;

    std::thread thread_;
};

}  // namespace kestrosim
