// SPDX-License-Identifier: Apache-2.0
#include "StreamReceiver.h"

#include "HeldLines.h"
#include "LastError.h"
#include "NamedThread.h"

#include <linux/sock_diag.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace Vorda::Gige {

namespace {

/** A frame twice over, and as much again for the kernel's own overhead, which it counts too. */
constexpr std::uint64_t kReceiveBufferPerPayload = 4;
constexpr std::uint64_t kLeastReceiveBuffer = std::uint64_t{4} << 20;
constexpr std::uint64_t kMostReceiveBuffer = std::uint64_t{32} << 20;

/**
 * Packets of a running frame are left to gather for so long, because a wake-up costs more than a
 * packet. A small receive buffer shortens it: at 10 Gbit/s it must not fill by more than a quarter.
 */
constexpr std::chrono::nanoseconds kLongestGathering = std::chrono::microseconds(1600);
/** So long before the end of a frame what is there of it is taken: little is left to do then. */
constexpr std::chrono::nanoseconds kLastLook = std::chrono::microseconds(80);
/** Before that, each look leaves this part of the rest, so that the next one does not begin late.
 */
constexpr int kShareOfLastLooks = 5;
/** With less than this to come, the socket itself is watched. */
constexpr std::chrono::nanoseconds kShortestGathering = std::chrono::microseconds(30);
constexpr std::uint64_t kBufferBytesPerGatheredNanosecond = 5;
/** While more waits than is taken with one call, nothing is missed for so long. */
constexpr auto kLongestBacklog = std::chrono::milliseconds(20);
/** After an error of the socket that is not ours to mend (interface gone): no busy loop. */
constexpr auto kErrorPause = std::chrono::milliseconds(20);
constexpr auto kAskCameraAddressEvery = std::chrono::milliseconds(100);

timespec toTimespec(std::chrono::nanoseconds time) {
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    const auto count = std::max<std::int64_t>(time.count(), 0);
    return {count / kNanosecondsPerSecond, count % kNanosecondsPerSecond};
}

/** Takes a waiting datagram away; gives its bytes, or -1 with errno. */
ssize_t takeSize(int socket, sockaddr_in& source) {
    std::uint8_t unused = 0;
    socklen_t length = sizeof source;
    return ::recvfrom(socket, &unused, sizeof unused, MSG_TRUNC | MSG_DONTWAIT,
                      reinterpret_cast<sockaddr*>(&source), &length);
}

/** Gives the bytes that the kernel granted. */
std::uint64_t setReceiveBuffer(int socket, std::uint64_t wanted) {
    const int bytes = static_cast<int>(wanted);
    if (::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    int doubled = 0;  // the kernel tells twice what it was asked for
    socklen_t length = sizeof doubled;
    ::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &doubled, &length);
    return static_cast<std::uint64_t>(std::max(doubled, 0)) / 2;
}

void warnOfSmallBuffer(const char* key, std::uint64_t wanted, std::uint64_t granted) {
    // Once for each size: an application that starts and stops needs no reminder.
    static std::atomic<std::uint64_t> warned{0};
    std::uint64_t largest = warned;
    while (largest < wanted && !warned.compare_exchange_weak(largest, wanted)) {
    }
    if (largest >= wanted) return;
    GIGE_LOG_WHEN_FREE(kWarning,
                       "The receive buffer of the stream of [" + std::string(key) + "] is " +
                           std::to_string(granted) + " bytes instead of " + std::to_string(wanted) +
                           ": frames may be lost. Raise the sysctl net.core.rmem_max to " +
                           std::to_string(wanted));
}

}  // namespace

StreamReceiver::StreamReceiver(CameraLink& link, FrameDelivery& delivery, StreamCounters& counters)
    : link_(link), delivery_(delivery), counters_(counters) {}

StreamReceiver::~StreamReceiver() { stop(); }

bool StreamReceiver::open() {
    if (!socket_.open({link_.hostAddress(), 0})) return false;
    port_ = socket_.local().port;
    if (stopped_.fd() < 0) return fail(Error::system, "there is no descriptor left for a stream");
    camera_ = link_.cameraAddress();
    return true;
}

bool StreamReceiver::start(const StreamSetup& setup, std::shared_ptr<BufferPool> pool) {
    pool_ = std::move(pool);
    enlargeReceiveBuffer(setup.payloadBytes);
    dropWaitingPackets();
    if (setup.inBatches) receiveInBatches();
    try {
        FrameOutput& output = *this;  // emplace cannot see the private base
        batch_ = std::make_unique<ReceiveBatch>();
        assembler_.emplace(setup, output, counters_);
        thread_ = startNamedThread("kst-rx", [this] { run(); });
    } catch (const std::exception& error) {
        return fail(Error::system, std::string("stream receiver: ") + error.what());
    }
    return true;
}

void StreamReceiver::stop() {
    endThread();
    assembler_.reset();
}

void StreamReceiver::breakOff() {
    endThread();
    if (assembler_) assembler_->abandon();
    assembler_.reset();
}

void StreamReceiver::endThread() {
    if (!thread_.joinable()) return;
    stopped_.raise();
    thread_.join();
    countHostDrops();
}

void StreamReceiver::enlargeReceiveBuffer(std::uint32_t payloadBytes) {
    const std::uint64_t wanted = std::clamp(payloadBytes * kReceiveBufferPerPayload,
                                            kLeastReceiveBuffer, kMostReceiveBuffer);
    const std::uint64_t granted = setReceiveBuffer(socket_.fd(), wanted);
    if (granted < wanted) warnOfSmallBuffer(link_.key(), wanted, granted);
    const std::chrono::nanoseconds fills(granted / kBufferBytesPerGatheredNanosecond);
    gathering_ = std::min(fills, kLongestGathering);
}

/** A kernel that cannot do it goes on to deliver packet by packet. */
void StreamReceiver::receiveInBatches() {
    const int on = 1;
    ::setsockopt(socket_.fd(), SOL_UDP, UDP_GRO, &on, sizeof on);
}

void StreamReceiver::openFirewall(std::uint16_t cameraPort) {
    if (cameraPort == 0) return;
    // The camera ignores it; whether it can be sent will show in the stream.
    constexpr std::uint8_t kAnyByte[] = {0};
    static_cast<void>(socket_.sendTo(kAnyByte, {camera_, cameraPort}));
}

std::uint32_t StreamReceiver::awaitPacket(FrameAssembler::Time until) {
    for (;;) {
        sockaddr_in source{};
        const ssize_t bytes = takeSize(socket_.fd(), source);
        if (bytes > 0 && senderOf(source) == camera_)
            return static_cast<std::uint32_t>(static_cast<std::size_t>(bytes) + kIpUdpHeaderBytes);
        const bool failed = bytes < 0 && errno != EAGAIN && errno != EINTR;
        const auto left = until - FrameAssembler::Clock::now();
        if (failed || left <= std::chrono::nanoseconds::zero()) return 0;
        if (bytes >= 0) continue;  // from somebody else
        pollfd watched{socket_.fd(), POLLIN, 0};
        const timespec timeout = toTimespec(left);
        ::ppoll(&watched, 1, &timeout, nullptr);
    }
}

/** A test packet that was late must not be taken for part of a frame, whatever is in it. */
void StreamReceiver::dropWaitingPackets() {
    constexpr int kMostPackets = 64;
    sockaddr_in source{};
    for (int i = 0; i < kMostPackets && takeSize(socket_.fd(), source) >= 0; ++i) {
    }
}

void StreamReceiver::run() {
    constexpr unsigned long kTimerSlack = 1000;  // nanoseconds; 50,000 otherwise
    ::prctl(PR_SET_TIMERSLACK, kTimerSlack);
    // That nothing more is there holds for when the socket was asked, not for when this thread may
    // run again: what comes meanwhile, or still waits, must not be given up for late.
    auto asked = FrameAssembler::Clock::now();
    for (bool came = false; !stopped_.isRaised();) {
        const bool received = batch_->receive(socket_.fd(), assembler_->expectedRun());
        const bool failed = !received && errno != EAGAIN && errno != EINTR;
        const auto now = FrameAssembler::Clock::now();
        if (received) takeBatch(now);
        came |= received;
        if (batch_->mayBeMore() && now - asked < kLongestBacklog) continue;
        assembler_->tick(asked);
        if (failed) {
            pollfd stop{stopped_.fd(), POLLIN, 0};
            ::poll(&stop, 1, static_cast<int>(kErrorPause.count()));
        } else if (!batch_->mayBeMore()) {
            waitForPackets(std::exchange(came, false) && assembler_->busy());
        }
        asked = FrameAssembler::Clock::now();
    }
}

void StreamReceiver::takeBatch(FrameAssembler::Time now) {
    batch_->collectBut(assembler_->takePlaced(batch_->headersInPlace(camera_), now));
    for (std::size_t i = 0; i < batch_->count(); ++i) take(batch_->datagram(i), now);
}

void StreamReceiver::take(const ReceiveBatch::Datagram& datagram, FrameAssembler::Time now) {
    if (!isFromCamera(datagram.sender, now)) return counters_.strayPackets.add();
    if (datagram.isCut) return counters_.malformedPackets.add();
    if (datagram.segmentBytes != 0) counters_.batches.add();
    if (datagram.isTaken) return;
    if (datagram.segmentBytes != 0)
        assembler_->takeBatch(datagram.bytes, datagram.segmentBytes, now);
    else
        assembler_->take(datagram.bytes, now);
}

bool StreamReceiver::isFromCamera(Ipv4 sender, FrameAssembler::Time now) {
    if (sender == camera_) return true;
    // A camera that was found again may have another address than at the start.
    if (now - cameraAsked_ < kAskCameraAddressEvery) return false;
    cameraAsked_ = now;
    camera_ = link_.cameraAddress();
    return sender == camera_;
}

/** Waits for the socket, the assembler's next deadline or stop(). */
void StreamReceiver::waitForPackets(bool frameUnderWay) {
    const auto deadline = assembler_->deadline();
    const bool isTimed = deadline != FrameAssembler::Time::max();
    const std::chrono::nanoseconds left =
        isTimed ? deadline - FrameAssembler::Clock::now() : std::chrono::nanoseconds::max();
    pollfd watched[] = {{stopped_.fd(), POLLIN, 0}, {socket_.fd(), POLLIN, 0}};
    if (const auto time = std::min(gatheringTime(), left);
        frameUnderWay && time >= kShortestGathering) {
        const timespec gather = toTimespec(time);
        ::ppoll(watched, 1, &gather, nullptr);
        return;
    }
    const timespec timeout = toTimespec(left);
    ::ppoll(watched, 2, isTimed ? &timeout : nullptr, nullptr);
}

/** No longer than until the frame is there: whoever waits for it does so from its last packet on.
 */
std::chrono::nanoseconds StreamReceiver::gatheringTime() const {
    const std::chrono::nanoseconds rest = assembler_->restOfFrame();
    if (rest <= 2 * kLastLook) return std::min(gathering_, rest);
    return std::min(gathering_, rest - std::max(kLastLook, rest / kShareOfLastLooks));
}

void StreamReceiver::countHostDrops() {
    std::uint32_t memory[SK_MEMINFO_VARS] = {};
    socklen_t length = sizeof memory;
    if (::getsockopt(socket_.fd(), SOL_SOCKET, SO_MEMINFO, memory, &length) == 0)
        counters_.hostDrops.add(memory[SK_MEMINFO_DROPS]);
}

FrameBuffer* StreamReceiver::takeBuffer() {
    for (;;) {
        if (FrameBuffer* buffer = pool_->take()) return buffer;
        // The frame that waits longest makes room. The application may have taken it meanwhile and
        // may hold all the others: then there is none to be had.
        if (!delivery_.dropOldest()) return nullptr;
    }
}

/** One more stays free for the frame behind it: the finished ones are still being taken then. */
bool StreamReceiver::hasSpareBuffer() const { return pool_->freeCount() > 1; }

void StreamReceiver::returnBuffer(FrameBuffer& buffer) { pool_->giveBack(buffer); }

void StreamReceiver::deliver(FrameBuffer& buffer, const FrameInfo& info) {
    delivery_.push(pool_->makeFrame(buffer, info));
}

void StreamReceiver::requestResend(const ResendRequest& request) { link_.requestResend(request); }

}  // namespace Vorda::Gige
