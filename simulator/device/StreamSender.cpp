// SPDX-License-Identifier: Apache-2.0
#include "StreamSender.h"

#include "Pacer.h"
#include "ResultWords.h"

#include <pthread.h>
#include <sys/prctl.h>

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

namespace kestrosim {
namespace {

constexpr std::size_t kFramesKept = 8;
constexpr std::size_t kResendsKept = 256;
constexpr auto kStopGrace = std::chrono::milliseconds(150);
constexpr std::uint64_t kBlockIdEnd = 0x10000;  // of 16-bit ids

// Values of the AcquisitionMode register.
constexpr std::uint32_t kModeSingleFrame = 0;
constexpr std::uint32_t kModeMultiFrame = 1;

constexpr unsigned long kTimerSlackNanoseconds = 1000;

/** Of an acquisition; 0: until it is stopped. */
std::uint32_t framesWanted(const RegisterMap& registers) {
    switch (registers.word(reg::kAcquisitionMode)) {
        case kModeSingleFrame:
            return 1;
        case kModeMultiFrame:
            return registers.word(reg::kAcquisitionFrameCount);
        default:
            return 0;
    }
}

std::uint32_t wordOf(const ReadingSummary& reading) {
    return static_cast<std::uint32_t>(reading.status) << 24 | std::min(reading.codes, 0xffU) << 16 |
           std::min(reading.milliseconds, 0xffffU);
}

/** Opens a lock for a scope. */
class Unlocked {
 public:
    explicit Unlocked(std::unique_lock<std::mutex>& lock) : lock_(lock) { lock_.unlock(); }
    ~Unlocked() { lock_.lock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

 private:
    std::unique_lock<std::mutex>& lock_;
};

}  // namespace

StreamSender::StreamSender(const CameraOptions& options, std::uint32_t address,
                           RegisterMap& registers, const CameraClock& clock,
                           MessageSender& messages, const Cable& cable)
    : linkMbits_(options.linkMbits),
      registers_(registers),
      clock_(clock),
      messages_(messages),
      cable_(cable),
      source_(options),
      path_(options.faults, address, cable_),
      socket_({address, 0}, UdpSocket::Sharing::exclusive, cable_),
      thread_([this] { run(); }) {}

StreamSender::~StreamSender() {
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
        work_.notify_all();
    }
    source_.stop();
    thread_.join();
}

bool StreamSender::isAcquiring() const {
    const std::lock_guard lock(mutex_);
    return acquiring_;
}

void StreamSender::start() {
    const std::lock_guard lock(mutex_);
    if (acquiring_) return;
    schedule_.start(Clock::now(), framesWanted(registers_));
    acquiring_ = true;
    ++runs_;
    beginBlockIds();
    tell(CameraEvent::acquisitionStart);
    work_.notify_all();
}

// What was sent under the ids before cannot be asked for any more.
void StreamSender::beginBlockIds() {
    blockId_ = 1;
    resends_.clear();
    history_.clear();
}

void StreamSender::stop() {
    Lock lock(mutex_);
    const bool wasAcquiring = std::exchange(acquiring_, false);
    abandonAt_ = Clock::now() + kStopGrace;
    stopping_ = true;
    work_.notify_all();  // packets that are held back are not waited for
    idle_.wait(lock, [this] { return !sending_; });
    stopping_ = false;
    if (wasAcquiring) tell(CameraEvent::acquisitionEnd);
}

void StreamSender::trigger(TriggerKind kind) {
    const std::lock_guard lock(mutex_);
    if (!acquiring_ || !schedule_.trigger(kind, registers_.streamSettings(), Clock::now())) return;
    work_.notify_all();
}

void StreamSender::settingsChanged() {
    const std::lock_guard lock(mutex_);
    work_.notify_all();
}

void StreamSender::resend(const ResendRequest& request) {
    const std::lock_guard lock(mutex_);
    if (resends_.size() >= kResendsKept) return;
    resends_.push_back(request);
    work_.notify_all();
}

void StreamSender::sendTestPacket() {
    const StreamSettings settings = registers_.streamSettings();
    if (settings.destination.port == 0) return;
    std::vector<std::uint8_t> datagram(settings.packetBytes - kIpUdpHeaderBytes);
    const StreamPacket head = statusPacket(0, 0, settings.extendedIds, Status::success);
    std::copy_n(head.head.begin(), head.headBytes, datagram.begin());
    const std::lock_guard lock(mutex_);
    if (!path_.carries(datagram.size())) {
        ++statistics_.packetsSent;
        ++statistics_.packetFaults.tooLarge;
        return;
    }
    socket_.setDontFragment(true);
    if (socket_.sendTo(settings.destination, datagram)) ++statistics_.packetsSent;
    socket_.setDontFragment(settings.dontFragment);  // a frame may be on its way
}

void StreamSender::restartBlockIds() {
    const std::lock_guard lock(mutex_);
    restartsBlockIds_ = true;
}

void StreamSender::tellWhenSent(std::function<void()> afterFrame) {
    Lock lock(mutex_);
    idle_.wait(lock, [this] { return !isTelling_; });
    afterFrame_ = std::move(afterFrame);
}

void StreamSender::moveTo(std::uint32_t address) {
    UdpSocket socket({address, 0}, UdpSocket::Sharing::exclusive, cable_);
    Lock lock(mutex_);
    idle_.wait(lock, [this] { return !sending_; });
    socket_ = std::move(socket);
    path_.moveTo(address);
}

std::uint16_t StreamSender::sourcePort() const {
    const std::lock_guard lock(mutex_);
    return socket_.local().port;
}

CameraStatistics StreamSender::statistics() const {
    const std::lock_guard lock(mutex_);
    return statistics_;
}

void StreamSender::run() {
    ::pthread_setname_np(::pthread_self(), "sim-stream");
    ::prctl(PR_SET_TIMERSLACK, kTimerSlackNanoseconds);
    Lock lock(mutex_);
    while (!quit_) {
        const auto due = frameDue();
        if (heldDue() <= Clock::now()) {
            sendHeld();
        } else if (!resends_.empty()) {
            Pacer pacer = pacerFor(registers_.streamSettings());
            serveResends(lock, pacer);
        } else if (due && *due <= Clock::now()) {
            sendFrame(lock);
        } else {
            waitForWork(lock);
        }
    }
}

std::optional<StreamSender::Clock::time_point> StreamSender::frameDue() const {
    if (!acquiring_) return std::nullopt;
    return schedule_.due(registers_.streamSettings());
}

/** When a packet that is held back has to go on; the stop does not wait. */
StreamSender::Clock::time_point StreamSender::heldDue() const {
    const auto due = path_.due();
    if (!due) return Clock::time_point::max();
    return stopping_ ? Clock::time_point::min() : *due;
}

void StreamSender::sendHeld() {
    path_.sendHeld(socket_, stopping_ ? Clock::time_point::max() : Clock::now());
    settle();
}

void StreamSender::waitForWork(Lock& lock) {
    const auto due = std::min(frameDue().value_or(Clock::time_point::max()), heldDue());
    if (due != Clock::time_point::max()) {
        work_.wait_until(lock, due);
    } else {
        work_.wait(lock);
    }
}

void StreamSender::sendFrame(Lock& lock) {
    std::shared_ptr<SentFrame> sent;
    try {
        sent = makeFrame(lock);
    } catch (const std::exception&) {
        // No memory for a picture: a camera that has stopped by itself.
        if (std::exchange(acquiring_, false) && !quit_) tell(CameraEvent::acquisitionEnd);
    }
    if (!sent) return;
    beginFrame(sent);
    transmit(lock, *sent);
    finishFrame(*sent);
    if (!afterFrame_ || sent->packetsSent != sent->frame.packetCount()) return;
    isTelling_ = true;
    {
        const Unlocked unlocked(lock);
        afterFrame_();
    }
    isTelling_ = false;
    idle_.notify_all();
}

// The picture is taken and encoded with the lock open; empty when acquisition ended meanwhile.
std::shared_ptr<StreamSender::SentFrame> StreamSender::makeFrame(Lock& lock) {
    if (std::exchange(restartsBlockIds_, false)) beginBlockIds();
    const std::uint64_t run = runs_;
    const std::uint64_t blockId = blockId_;
    std::shared_ptr<SentFrame> sent;
    {
        const Unlocked unlocked(lock);
        const std::shared_ptr<const Scene> scene = source_.scene(blockId - 1);
        const Clock::time_point takenAt = Clock::now();  // it may have had to be drawn first
        const StreamSettings settings = registers_.streamSettings();
        FramePayload payload = source_.expose(scene, settings, blockId, clock_.ticks());
        StreamFrame frame(blockId, std::move(payload), settings.packetBytes, settings.extendedIds);
        sent = std::make_shared<SentFrame>(SentFrame{std::move(frame), settings, takenAt});
    }
    if (quit_ || !acquiring_ || runs_ != run) return nullptr;
    return sent;
}

void StreamSender::beginFrame(const std::shared_ptr<SentFrame>& sent) {
    schedule_.begin(sent->settings, sent->takenAt);
    advanceBlockId(sent->settings.extendedIds);
    history_.push_back(sent);
    if (history_.size() > kFramesKept) history_.pop_front();
    statistics_.blockId = sent->frame.blockId();
    statistics_.leaderBytes = sent->frame.leaderBytes();
    statistics_.pixelFormat = sent->frame.pixelFormat();
    socket_.setDontFragment(sent->settings.dontFragment);
    sending_ = true;
    tell(sent->frame);
}

void StreamSender::tell(CameraEvent event) {
    messages_.raise({.event = event, .timestamp = clock_.ticks()});
}

// The reading was made with the picture.
void StreamSender::tell(const StreamFrame& frame) {
    messages_.raise({.event = CameraEvent::frameTrigger,
                     .timestamp = frame.timestamp(),
                     .blockId = frame.blockId()});
    messages_.raise({.event = CameraEvent::readingDone,
                     .timestamp = clock_.ticks(),
                     .blockId = frame.blockId(),
                     .codes = frame.reading().codes,
                     .status = statusNumber(frame.reading().status)});
}

void StreamSender::advanceBlockId(bool extendedIds) {
    ++blockId_;
    if (!extendedIds && blockId_ >= kBlockIdEnd) blockId_ = 1;
}

void StreamSender::transmit(Lock& lock, SentFrame& sent) {
    Pacer pacer = pacerFor(sent.settings);
    const std::uint32_t count = sent.frame.packetCount();
    while (sent.packetsSent < count && !mustAbandon(Clock::now())) {
        const std::uint32_t first = sent.packetsSent;
        const std::uint32_t packets =
            std::min(count - first, static_cast<std::uint32_t>(pacer.burstPackets()));
        sendBurst(lock, pacer, sent, {first, packets, Status::success});
        sent.packetsSent += packets;
        serveResends(lock, pacer);
    }
}

void StreamSender::finishFrame(const SentFrame& sent) {
    registers_.setWord(reg::kLastReading, wordOf(sent.frame.reading()));
    if (sent.packetsSent == sent.frame.packetCount()) count(sent.frame);
    registers_.setWord(reg::kFramesSent, static_cast<std::uint32_t>(statistics_.framesSent));
    settle();
    if (schedule_.isOver() && std::exchange(acquiring_, false)) tell(CameraEvent::acquisitionEnd);
}

/** Nothing is sent any more but what is held back. */
void StreamSender::settle() {
    sending_ = path_.due().has_value();
    if (!sending_) idle_.notify_all();
}

bool StreamSender::mustAbandon(Clock::time_point now) const {
    return quit_ || (!acquiring_ && now >= abandonAt_);
}

// Packets may be asked for again after a stop, but whoever stops must not wait for all of them.
bool StreamSender::mustLeaveResends() const {
    return quit_ || (stopping_ && Clock::now() >= abandonAt_);
}

void StreamSender::serveResends(Lock& lock, Pacer& pacer) {
    const bool wasSending = std::exchange(sending_, true);
    while (!resends_.empty()) {
        if (mustLeaveResends()) {
            resends_.clear();
            break;
        }
        const ResendRequest request = resends_.front();
        resends_.pop_front();
        serveResend(lock, pacer, request);
    }
    if (!wasSending) settle();
}

void StreamSender::serveResend(Lock& lock, Pacer& pacer, const ResendRequest& request) {
    const std::shared_ptr<SentFrame> sent = find(request.blockId);
    if (!sent || request.firstPacket >= sent->frame.packetCount()) {
        sendStatus(request, Status::packetUnavailable);
    } else if (request.firstPacket >= sent->packetsSent) {
        sendStatus(request, Status::packetNotYetAvailable);
    } else {
        sendAgain(lock, pacer, *sent, request);
    }
}

void StreamSender::sendAgain(Lock& lock, Pacer& pacer, SentFrame& sent,
                             const ResendRequest& request) {
    const std::uint32_t last = std::min(request.lastPacket, sent.packetsSent - 1);
    std::uint32_t next = request.firstPacket;
    while (next <= last && !mustLeaveResends()) {
        const std::uint32_t packets =
            std::min(last - next + 1, static_cast<std::uint32_t>(pacer.burstPackets()));
        statistics_.packetsResent +=
            sendBurst(lock, pacer, sent, {next, packets, Status::packetResend});
        next += packets;
    }
}

void StreamSender::sendStatus(const ResendRequest& request, Status status) {
    const StreamSettings settings = registers_.streamSettings();
    if (settings.destination.port == 0) return;
    const StreamPacket packet =
        statusPacket(request.blockId, request.firstPacket, settings.extendedIds, status);
    count(path_.send(socket_, settings.destination, packet));
}

std::shared_ptr<StreamSender::SentFrame> StreamSender::find(std::uint64_t blockId) const {
    const auto found = std::find_if(history_.begin(), history_.end(), [&](const auto& sent) {
        return sent->frame.blockId() == blockId;
    });
    return found == history_.end() ? nullptr : *found;
}

/** How many packets the kernel took. */
std::uint64_t StreamSender::sendBurst(Lock& lock, Pacer& pacer, const SentFrame& sent,
                                      const PacketRun& run) {
    SentPackets result;
    {
        const Unlocked unlocked(lock);
        result = path_.send(socket_, sent.settings.destination, sent.frame, run);
        pacer.waitAfter(run.count);
    }
    if (heldDue() <= Clock::now()) path_.sendHeld(socket_, Clock::now());
    count(result);
    return result.packets;
}

void StreamSender::count(const StreamFrame& sent) {
    ++statistics_.framesSent;
    if (sent.isStamped()) ++statistics_.framesStamped;
    if (sent.resultFault() == ResultFault::cut) ++statistics_.resultsCut;
    if (sent.resultFault() == ResultFault::corrupt) ++statistics_.resultsCorrupted;
}

void StreamSender::count(const SentPackets& sent) {
    statistics_.packetsSent += sent.packets;
    statistics_.packetFaults += sent.faults;
}

Pacer StreamSender::pacerFor(const StreamSettings& settings) const {
    return Pacer(Pacer::interval(settings.packetBytes, linkMbits_,
                                 std::chrono::nanoseconds(settings.packetDelayTicks)));
}

}  // namespace kestrosim
