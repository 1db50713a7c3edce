// SPDX-License-Identifier: Apache-2.0
#include "ControlChannel.h"

#include "Gvcp.h"
#include "LastError.h"
#include "Signal.h"
#include "UdpSocket.h"

#include <poll.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <limits>
#include <mutex>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/** A camera at work answers within that. One that did not probably never will: the question or the
 * answer is lost. It is asked again in short order then, so that even a network that loses every
 * fifth packet answers within the 0.6 s that a request is given. */
constexpr auto kAnswerWait = 200ms;
constexpr auto kRepeatWait = 50ms;
constexpr int kAttempts = 9;
/** A question after an unanswered request, is it the request or the camera? One attempt more than
 * the heartbeat makes, and a dead camera still fails within a second. */
constexpr int kProbeAttempts = 1;
constexpr int kReleaseAttempts = 5;
/** However often a camera asks for more time, a request ends then. */
constexpr auto kLongestPending = 30s;

constexpr std::uint32_t kHeartbeatTimeoutMs = 3000;
/** With the 0.6 s of a request after it, a dead camera is noticed within a second. */
constexpr auto kHeartbeatPeriod = 300ms;
constexpr auto kShortestPeriod = 50ms;

constexpr std::size_t kWordBytes = 4;
constexpr std::uint32_t kAnyControl = Gvcp::kPrivilegeControl | Gvcp::kPrivilegeExclusive;

/** A request as it goes out and what its answer must be. */
struct Request {
    Gvcp::Command command;
    std::uint32_t address = 0;
    Bytes packet;                 ///< its id is filled in later
    std::size_t answerBytes = 0;  ///< the least that the answer carries

    [[nodiscard]] std::string text() const {
        const char* what = "write memory at";
        if (command == Gvcp::Command::readRegister) what = "read register";
        if (command == Gvcp::Command::writeRegister) what = "write register";
        if (command == Gvcp::Command::readMemory) what = "read memory at";
        char text[64];
        std::snprintf(text, sizeof text, "%s 0x%08x", what, address);
        return text;
    }
};

Request readRegisterRequest(std::uint32_t address) {
    return {Gvcp::Command::readRegister, address, Gvcp::encodeReadRegister(0, address), 4};
}

Request writeRegisterRequest(std::uint32_t address, std::uint32_t value) {
    return {Gvcp::Command::writeRegister, address, Gvcp::encodeWriteRegister(0, address, value), 0};
}

/** How long an answer is waited for. */
struct Patience {
    Clock::time_point end;    ///< of this attempt; a camera may ask for more
    Clock::time_point limit;  ///< of the request, however often the camera asks
};

enum class Outcome { answered, silent, malformed, stopped, notSent };

struct Answer {
    Outcome outcome = Outcome::silent;
    std::uint16_t status = 0;
    std::size_t payloadBytes = 0;
    std::array<std::uint8_t, Gvcp::kMaxPacketBytes> payload;

    [[nodiscard]] bool isSuccess() const {
        return outcome == Outcome::answered && status == Gvcp::kStatusSuccess;
    }
    [[nodiscard]] ByteView bytes() const { return ByteView(payload).first(payloadBytes); }
    [[nodiscard]] std::uint32_t firstWord() const { return BigEndianReader(bytes()).u32(); }
};

bool inAddressSpace(std::uint64_t address, std::size_t bytes) {
    constexpr std::uint64_t kEnd = std::uint64_t{1} << 32;
    return address < kEnd && bytes <= kEnd - address;
}

/** The part of a memory range that one packet carries: whole words around the bytes themselves. */
struct Block {
    std::uint32_t start;     ///< of the first word
    std::size_t wholeBytes;  ///< of all words
    std::size_t leadBytes;   ///< before the range's bytes
    std::size_t usedBytes;   ///< of the range

    Block(std::uint64_t address, std::size_t rangeBytes)
        : start(static_cast<std::uint32_t>(address / kWordBytes * kWordBytes)),
          leadBytes(address % kWordBytes),
          usedBytes(std::min(rangeBytes, Gvcp::kMemoryBlockBytes - leadBytes)) {
        wholeBytes = (leadBytes + usedBytes + kWordBytes - 1) / kWordBytes * kWordBytes;
    }
    [[nodiscard]] std::uint32_t lastWord() const {
        return start + static_cast<std::uint32_t>(wholeBytes - kWordBytes);
    }
};

bool failAddress(std::uint64_t address, std::size_t bytes) {
    char where[64];
    std::snprintf(where, sizeof where, "%zu bytes at 0x%llx", bytes,
                  static_cast<unsigned long long>(address));
    return fail(Error::invalidArgument,
                std::string(where) + " are beyond the camera's 32-bit address space");
}

}  // namespace

/** Everything that the heartbeat thread shares with the channel. */
class ControlChannel::Core {
 public:
    [[nodiscard]] bool open(Ipv4 host, Ipv4 camera);
    [[nodiscard]] bool reopen(const Core& previous, Ipv4 host, Ipv4 camera);
    [[nodiscard]] bool transact(Request request, Answer& answer);
    [[nodiscard]] bool readBlock(std::uint32_t address, std::span<std::uint8_t> data);
    [[nodiscard]] bool writeBlock(std::uint32_t address, ByteView data);
    void requestResend(const ResendRequest& request);

    [[nodiscard]] bool mayTakeControl();
    [[nodiscard]] bool takeControl(std::function<void()> onLost);
    void keepAlive();
    void stop() { stopped_.raise(); }
    void release();
    [[nodiscard]] bool isOnline() const {
        return controlled_ && !lost_.isRaised() && !stopped_.isRaised();
    }

 private:
    void exchange(Request& request, int attempts, Answer& answer, bool mayStop = true);
    void awaitAnswer(const Request& request, std::uint16_t id, Patience patience, Answer& answer,
                     bool mayStop);
    [[nodiscard]] bool waitReadable(Clock::time_point deadline, bool mayStop) const;
    [[nodiscard]] bool holdsControl(Answer& answer, int attempts);
    [[nodiscard]] bool mayStillControl();
    [[nodiscard]] bool hasGivenUsUp();
    [[nodiscard]] bool meansLoss(const Answer& failure);
    [[nodiscard]] bool failedBecause(const Request& request, const Answer& answer) const;
    [[nodiscard]] bool failDenied();
    [[nodiscard]] bool mayBeOurs();
    void chooseHeartbeat();
    [[nodiscard]] bool beat();
    void lose() { lost_.raise(); }
    std::uint16_t nextId();

    std::shared_ptr<UdpSocket> socket_ = std::make_shared<UdpSocket>();
    Ipv4 camera_;
    Signal stopped_;
    std::atomic<bool> controlled_{false};
    Signal lost_;
    std::atomic<std::uint16_t> lastId_{0};
    std::function<void()> onLost_;  // set before the heartbeat starts, constant then
    std::chrono::milliseconds period_ = kHeartbeatPeriod;     // likewise
    std::chrono::milliseconds timeout_{kHeartbeatTimeoutMs};  // likewise

    std::mutex requestMutex_;            // one request at a time; guards what follows
    Clock::time_point lastConfirmed_{};  ///< when the camera last said that we control it
};

bool ControlChannel::Core::open(Ipv4 host, Ipv4 camera) {
    camera_ = camera;
    if (stopped_.fd() < 0 || lost_.fd() < 0)
        return fail(Error::system, "there is no descriptor left for a control channel");
    return socket_->open({host, 0}) && socket_->connect({camera, Gvcp::kPort});
}

/** The socket goes from the one to the other, for nothing else would surely get its port. */
bool ControlChannel::Core::reopen(const Core& previous, Ipv4 host, Ipv4 camera) {
    if (previous.socket_->local().address != host) return open(host, camera);
    camera_ = camera;
    socket_ = previous.socket_;
    lastId_ = previous.lastId_.load();  // a late answer to the previous one's is no answer to ours
    if (stopped_.fd() < 0 || lost_.fd() < 0)
        return fail(Error::system, "there is no descriptor left for a control channel");
    return socket_->connect({camera, Gvcp::kPort});
}

std::uint16_t ControlChannel::Core::nextId() {
    std::uint16_t id = ++lastId_;
    while (id == 0) id = ++lastId_;
    return id;
}

bool ControlChannel::Core::waitReadable(Clock::time_point deadline, bool mayStop) const {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= 0ms) return false;
        pollfd waiting[] = {{socket_->fd(), POLLIN, 0}, {stopped_.fd(), POLLIN, 0}};
        const int ready = ::poll(waiting, mayStop ? 2 : 1, static_cast<int>(left.count()));
        // A signal of the application, a profiler's say, is no reason to ask the camera again.
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

/** Sends until an answer comes. The id stays the same, so that the camera does not act twice. */
void ControlChannel::Core::exchange(Request& request, int attempts, Answer& answer, bool mayStop) {
    const std::uint16_t id = nextId();
    request.packet[6] = static_cast<std::uint8_t>(id >> 8);
    request.packet[7] = static_cast<std::uint8_t>(id);
    answer.outcome = Outcome::silent;
    const auto limit = Clock::now() + kLongestPending;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const auto end = Clock::now() + (attempt == 0 ? kAnswerWait : kRepeatWait);
        // A route may come back; a cable that is out for a moment is no reason to give up.
        if (!socket_->send(request.packet)) answer.outcome = Outcome::notSent;
        awaitAnswer(request, id, {end, limit}, answer, mayStop);
        if (answer.outcome == Outcome::answered || answer.outcome == Outcome::stopped) return;
    }
}

void ControlChannel::Core::awaitAnswer(const Request& request, std::uint16_t id, Patience patience,
                                       Answer& answer, bool mayStop) {
    std::array<std::uint8_t, Gvcp::kMaxPacketBytes> buffer;
    while (waitReadable(patience.end, mayStop)) {
        if (mayStop && stopped_.isRaised()) {
            answer.outcome = Outcome::stopped;
            return;
        }
        const auto datagram = socket_->receive(buffer);
        if (!datagram) continue;
        const auto received = Gvcp::decodeAcknowledge(*datagram);
        if (!received || received->id != id) continue;
        if (received->command == Gvcp::Command::pendingAck) {
            const auto more =
                std::chrono::milliseconds(Gvcp::decodePendingMs(received->payload).value_or(0));
            patience.end = std::min(std::max(patience.end, Clock::now() + more), patience.limit);
            continue;
        }
        if (received->command != Gvcp::acknowledgeOf(request.command)) continue;
        const bool isComplete = received->payload.size() >= request.answerBytes;
        if (received->status == Gvcp::kStatusSuccess && !isComplete) {
            answer.outcome = Outcome::malformed;
            continue;
        }
        answer.outcome = Outcome::answered;
        answer.status = received->status;
        answer.payloadBytes = received->payload.size();
        std::ranges::copy(received->payload, answer.payload.begin());
        return;
    }
    if (mayStop && stopped_.isRaised()) answer.outcome = Outcome::stopped;
}

bool ControlChannel::Core::transact(Request request, Answer& answer) {
    {
        const std::lock_guard lock(requestMutex_);
        if (lost_.isRaised())
            return fail(Error::connectionLost, "the connection to the camera is lost");
        exchange(request, kAttempts, answer);
        if (answer.isSuccess()) return true;
        if (meansLoss(answer)) lose();
    }
    return failedBecause(request, answer);
}

/**
 * A failure may be the request's own: the connection is lost only if the camera no longer answers a
 * plain question either, or no longer takes our orders.
 */
bool ControlChannel::Core::meansLoss(const Answer& failure) {
    if (!controlled_ || failure.outcome == Outcome::stopped) return false;
    if (failure.outcome == Outcome::answered)
        return failure.status == Gvcp::kStatusAccessDenied && hasGivenUsUp();
    Answer probe;
    return !holdsControl(probe, kProbeAttempts) && probe.outcome != Outcome::stopped;
}

bool ControlChannel::Core::failedBecause(const Request& request, const Answer& answer) const {
    switch (answer.outcome) {
        case Outcome::stopped:
            return fail(Error::notConnected, "the camera was disconnected");
        case Outcome::answered:
            return fail(Error::refused, "the camera refused to " + request.text() + ": " +
                                            Gvcp::statusText(answer.status));
        case Outcome::malformed:
            return fail(Error::badAnswer, "the camera's answer to " + request.text() + " is cut");
        case Outcome::notSent:
            return false;  // the socket has said why
        case Outcome::silent:
            break;
    }
    if (lost_.isRaised())
        return fail(Error::connectionLost, "the connection to the camera is lost");
    return fail(Error::timeout,
                "the camera at " + camera_.text() + " does not answer (" + request.text() + ")");
}

/** True when the camera says that an application, which should be us, controls it. */
bool ControlChannel::Core::holdsControl(Answer& answer, int attempts) {
    Request question = readRegisterRequest(Gvcp::Register::kControlPrivilege);
    exchange(question, attempts, answer);
    return answer.isSuccess() && (answer.firstWord() & kAnyControl) != 0;
}

/** Taking the control again is harmless for its holder and refused to anybody else. */
bool ControlChannel::Core::mayStillControl() {
    Answer answer;
    Request question =
        writeRegisterRequest(Gvcp::Register::kControlPrivilege, Gvcp::kPrivilegeControl);
    exchange(question, kAttempts, answer);
    return answer.isSuccess() || answer.outcome == Outcome::stopped;
}

/**
 * Asked when an order was denied. A question comes first: taking the control again would hide that
 * the camera gave us up, and our stream with it.
 */
bool ControlChannel::Core::hasGivenUsUp() {
    Answer answer;
    if (holdsControl(answer, kAttempts)) return !mayStillControl();
    return answer.outcome != Outcome::stopped;
}

bool ControlChannel::Core::readBlock(std::uint32_t address, std::span<std::uint8_t> data) {
    Answer answer;
    Request request{Gvcp::Command::readMemory, address,
                    Gvcp::encodeReadMemory(0, address, static_cast<std::uint16_t>(data.size())),
                    kWordBytes + data.size()};
    if (!transact(std::move(request), answer)) return false;
    if (answer.firstWord() != address)
        return fail(Error::badAnswer, "the camera answered with memory of another address");
    std::ranges::copy(answer.bytes().subspan(kWordBytes, data.size()), data.begin());
    return true;
}

bool ControlChannel::Core::writeBlock(std::uint32_t address, ByteView data) {
    Answer answer;
    // A single word is a register: not every camera's registers take WRITEMEM.
    if (data.size() == kWordBytes)
        return transact(writeRegisterRequest(address, BigEndianReader(data).u32()), answer);
    return transact(
        {Gvcp::Command::writeMemory, address, Gvcp::encodeWriteMemory(0, address, data), 0},
        answer);
}

void ControlChannel::Core::requestResend(const ResendRequest& request) {
    if (lost_.isRaised()) return;
    [[maybe_unused]] const bool sent = socket_->send(Gvcp::encodeResend(nextId(), 0, request));
}

bool ControlChannel::Core::mayTakeControl() {
    Answer answer;
    if (!transact(readRegisterRequest(Gvcp::Register::kControlPrivilege), answer)) return false;
    if ((answer.firstWord() & kAnyControl) == 0) return true;
    return mayBeOurs() || failDenied();
}

/** False when the camera says that its controller is not this very socket. */
bool ControlChannel::Core::mayBeOurs() {
    const KeepLastError none;
    const Endpoint local = socket_->local();
    Answer answer;
    const auto address = Gvcp::Register::kPrimaryApplicationAddress;
    // Not every camera says who it is. To ask for the control is all that is left then.
    if (!transact(readRegisterRequest(address), answer) || answer.firstWord() == 0) return true;
    if (answer.firstWord() != local.address.value) return false;
    const auto port = Gvcp::Register::kPrimaryApplicationPort;
    return transact(readRegisterRequest(port), answer) &&
           (answer.firstWord() & 0xffff) == local.port;
}

bool ControlChannel::Core::takeControl(std::function<void()> onLost) {
    onLost_ = std::move(onLost);
    Answer answer;
    // A question first: it tells a camera that does not answer from one that refuses.
    if (!transact(readRegisterRequest(Gvcp::Register::kControlPrivilege), answer)) return false;
    const bool isHeld = (answer.firstWord() & kAnyControl) != 0;
    Request order =
        writeRegisterRequest(Gvcp::Register::kControlPrivilege, Gvcp::kPrivilegeControl);
    if (!transact(std::move(order), answer)) {
        const bool denied =
            answer.outcome == Outcome::answered && answer.status == Gvcp::kStatusAccessDenied;
        // Some cameras do not even answer to those that do not control them.
        const bool ignored = answer.outcome == Outcome::silent && isHeld;
        return denied || ignored ? failDenied() : false;
    }
    chooseHeartbeat();
    lastConfirmed_ = Clock::now();
    controlled_ = true;
    return true;
}

bool ControlChannel::Core::failDenied() {
    std::string who;
    Answer answer;
    Request question = readRegisterRequest(Gvcp::Register::kPrimaryApplicationAddress);
    {
        const std::lock_guard lock(requestMutex_);
        // Once: nothing but a name depends on it, and not every camera answers strangers.
        exchange(question, 1, answer);
    }
    if (answer.isSuccess() && answer.firstWord() != 0)
        who = " (" + Ipv4{answer.firstWord()}.text() + ")";
    return fail(Error::accessDenied, "the camera is controlled by another program" + who);
}

void ControlChannel::Core::chooseHeartbeat() {
    Answer answer;
    const auto address = Gvcp::Register::kHeartbeatTimeoutMs;
    std::uint32_t timeoutMs = kHeartbeatTimeoutMs;
    if (!transact(writeRegisterRequest(address, timeoutMs), answer) &&
        transact(readRegisterRequest(address), answer) && answer.firstWord() != 0)
        timeoutMs = std::min(answer.firstWord(), kHeartbeatTimeoutMs);
    timeout_ = std::chrono::milliseconds(timeoutMs);
    period_ = std::clamp(timeout_ / 3, kShortestPeriod + 0ms, kHeartbeatPeriod + 0ms);
}

void ControlChannel::Core::keepAlive() {
    do {
        pollfd waiting[] = {{stopped_.fd(), POLLIN, 0}, {lost_.fd(), POLLIN, 0}};
        ::poll(waiting, 2, static_cast<int>(period_.count()));
    } while (!stopped_.isRaised() && beat());
    // Here and not where it was noticed: there, locks are held.
    if (lost_.isRaised() && !stopped_.isRaised() && onLost_) onLost_();
}

bool ControlChannel::Core::beat() {
    const std::lock_guard lock(requestMutex_);
    if (lost_.isRaised()) return false;
    Answer answer;
    bool holds = holdsControl(answer, kAttempts);
    if (answer.outcome == Outcome::stopped) return false;
    // After a silence in which the camera gave us up, the control that it speaks of may be
    // another's.
    if (holds && Clock::now() - lastConfirmed_ > timeout_) holds = mayStillControl();
    if (!holds) lose();
    lastConfirmed_ = Clock::now();
    return holds;
}

void ControlChannel::Core::release() {
    const std::lock_guard lock(requestMutex_);
    if (!controlled_.exchange(false) || lost_.isRaised()) return;
    Answer answer;
    Request order = writeRegisterRequest(Gvcp::Register::kControlPrivilege, 0);
    exchange(order, kReleaseAttempts, answer, false);
}

ControlChannel::ControlChannel(std::shared_ptr<Core> core) : core_(std::move(core)) {}

ControlChannel::~ControlChannel() { close(); }

std::shared_ptr<ControlChannel> ControlChannel::open(Ipv4 host, Ipv4 camera) {
    auto core = std::make_shared<Core>();
    if (!core->open(host, camera)) return nullptr;
    return std::shared_ptr<ControlChannel>(new ControlChannel(std::move(core)));
}

std::shared_ptr<ControlChannel> ControlChannel::reopen(const ControlChannel& previous, Ipv4 host,
                                                       Ipv4 camera) {
    auto core = std::make_shared<Core>();
    if (!core->reopen(*previous.core_, host, camera)) return nullptr;
    return std::shared_ptr<ControlChannel>(new ControlChannel(std::move(core)));
}

bool ControlChannel::readRegister(std::uint64_t address, std::uint32_t& value) {
    if (!inAddressSpace(address, kWordBytes)) return failAddress(address, kWordBytes);
    Answer answer;
    if (!core_->transact(readRegisterRequest(static_cast<std::uint32_t>(address)), answer))
        return false;
    value = answer.firstWord();
    return true;
}

bool ControlChannel::writeRegister(std::uint64_t address, std::uint32_t value) {
    if (!inAddressSpace(address, kWordBytes)) return failAddress(address, kWordBytes);
    Answer answer;
    return core_->transact(writeRegisterRequest(static_cast<std::uint32_t>(address), value),
                           answer);
}

bool ControlChannel::readMemory(std::uint64_t address, std::span<std::uint8_t> data) {
    if (!inAddressSpace(address, data.size())) return failAddress(address, data.size());
    std::array<std::uint8_t, Gvcp::kMemoryBlockBytes> buffer;
    while (!data.empty()) {
        const Block block(address, data.size());
        const auto words = std::span(buffer).first(block.wholeBytes);
        if (!core_->readBlock(block.start, words)) return false;
        std::ranges::copy(words.subspan(block.leadBytes, block.usedBytes), data.begin());
        data = data.subspan(block.usedBytes);
        address += block.usedBytes;
    }
    return true;
}

bool ControlChannel::writeMemory(std::uint64_t address, ByteView data) {
    if (!inAddressSpace(address, data.size())) return failAddress(address, data.size());
    std::array<std::uint8_t, Gvcp::kMemoryBlockBytes> buffer;
    while (!data.empty()) {
        const Block block(address, data.size());
        const auto words = std::span(buffer).first(block.wholeBytes);
        const bool endsInWord = block.leadBytes + block.usedBytes != block.wholeBytes;
        if (block.leadBytes != 0 && !core_->readBlock(block.start, words.first(kWordBytes)))
            return false;
        if (endsInWord && !core_->readBlock(block.lastWord(), words.last(kWordBytes))) return false;
        std::ranges::copy(data.first(block.usedBytes), words.subspan(block.leadBytes).begin());
        if (!core_->writeBlock(block.start, words)) return false;
        data = data.subspan(block.usedBytes);
        address += block.usedBytes;
    }
    return true;
}

void ControlChannel::requestResend(const ResendRequest& request) { core_->requestResend(request); }

bool ControlChannel::mayTakeControl() { return core_->mayTakeControl(); }

bool ControlChannel::takeControl(std::function<void()> onLost) {
    if (!core_->takeControl(std::move(onLost))) return false;
    if (heartbeat_.start("kst-control", [core = core_] { core->keepAlive(); })) return true;
    core_->release();
    return false;
}

bool ControlChannel::isOnline() const { return core_->isOnline(); }

void ControlChannel::cancel() { core_->stop(); }

void ControlChannel::close() {
    core_->stop();
    heartbeat_.finish();
    core_->release();
}

}  // namespace Vorda::Gige
