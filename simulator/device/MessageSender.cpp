// SPDX-License-Identifier: Apache-2.0
#include "MessageSender.h"

#include "GigeWire.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::size_t kMostWaiting = 256;
constexpr std::uint64_t kFloodAtOnce = 64;
constexpr std::array kEvents = {CameraEvent::acquisitionStart, CameraEvent::acquisitionEnd,
                                CameraEvent::frameTrigger, CameraEvent::readingDone};

/** Acknowledge: 0 status16 | 2 command16 | 4 length16 | 6 request id16; any status ends it. */
bool isAcknowledgeOf(const std::vector<std::uint8_t>& message, const std::uint8_t* answer) {
    return load16(answer + 2) == load16(&message[2]) + 1 &&
           load16(answer + 6) == load16(&message[6]);
}

}  // namespace

MessageSender::MessageSender(std::uint32_t address, RegisterMap& registers,
                             const CameraClock& clock, const Cable& cable)
    : registers_(registers),
      clock_(clock),
      cable_(cable),
      socket_({address, 0}, UdpSocket::Sharing::exclusive, cable_),
      wakeDescriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeDescriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    publishPort(socket_);
    thread_ = std::thread([this] { run(); });
}

MessageSender::~MessageSender() {
    quit_ = true;
    ::eventfd_write(wakeDescriptor_, 1);
    thread_.join();
    ::close(wakeDescriptor_);
}

Endpoint MessageSender::destination() const {
    return {registers_.word(reg::kMessageDestination),
            static_cast<std::uint16_t>(registers_.word(reg::kMessagePort))};
}

bool MessageSender::isWanted(CameraEvent event) const {
    return registers_.word(reg::kEventNotification + 4 * static_cast<std::uint32_t>(event)) != 0;
}

void MessageSender::publishPort(const UdpSocket& socket) {
    registers_.setWord(reg::kMessageSourcePort, socket.local().port);
}

void MessageSender::raise(const Happening& happening) {
    const Endpoint to = destination();
    if (to.port == 0 || to.address == 0 || !isWanted(happening.event)) return;
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.size() >= kMostWaiting) return;
        waiting_.push_back({happening, to});
    }
    ::eventfd_write(wakeDescriptor_, 1);
}

void MessageSender::flood(std::uint32_t events) {
    flood_ += events;
    ::eventfd_write(wakeDescriptor_, 1);
}

void MessageSender::moveTo(std::uint32_t address) {
    UdpSocket socket({address, 0}, UdpSocket::Sharing::exclusive, cable_);
    publishPort(socket);
    {
        const std::lock_guard lock(mutex_);
        nextSocket_ = std::move(socket);
    }
    ::eventfd_write(wakeDescriptor_, 1);
}

void MessageSender::run() {
    ::pthread_setname_np(::pthread_self(), "sim-message");
    while (!quit_) {
        std::array<pollfd, 2> watched = {
            {{wakeDescriptor_, POLLIN, 0}, {socket_.descriptor(), POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), pollTimeoutMs());
        eventfd_t ignored = 0;
        ::eventfd_read(wakeDescriptor_, &ignored);
        changeSocket();
        takeAcknowledges();
        advance();
        if (flood_ != 0) sendFlood();
    }
}

void MessageSender::changeSocket() {
    const std::lock_guard lock(mutex_);
    if (nextSocket_) socket_ = std::move(*std::exchange(nextSocket_, std::nullopt));
}

void MessageSender::takeAcknowledges() {
    std::array<std::uint8_t, 64> buffer{};
    while (const auto arrival = socket_.receive(buffer)) {
        const bool ends = sent_ && arrival->from == sent_->to &&
                          arrival->bytes >= kGvcpHeaderBytes &&
                          isAcknowledgeOf(sent_->datagram, buffer.data());
        if (!ends) continue;
        ++eventsAcknowledged_;
        sent_.reset();
    }
}

// An application that has closed the channel is told nothing more, and nor is its successor told
// what was meant for it.
void MessageSender::advance() {
    const Endpoint to = destination();
    if (sent_ && sent_->to != to) sent_.reset();
    if (sent_ && Clock::now() >= sent_->giveUpAt) sendAgain();
    while (!sent_ && sendNext()) {
    }
}

bool MessageSender::sendNext() {
    Waiting next;
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty()) return false;
        next = waiting_.front();
        waiting_.pop_front();
    }
    if (next.to != destination()) return true;
    const std::chrono::milliseconds patience(registers_.word(reg::kMessageTimeout));
    const bool wantsAcknowledge = patience.count() > 0;
    Sent sent{encodeEvent(next.happening, nextId(), wantsAcknowledge), next.to,
              registers_.word(reg::kMessageRetries), patience, Clock::now() + patience};
    // One that cannot be delivered is like one lost on the way.
    static_cast<void>(socket_.sendTo(sent.to, sent.datagram));
    ++eventsSent_;
    if (wantsAcknowledge) sent_ = std::move(sent);
    return true;
}

std::uint16_t MessageSender::nextId() {
    lastId_ = static_cast<std::uint16_t>(lastId_ == 0xffff ? 1 : lastId_ + 1);
    return lastId_;
}

// Events that the application wants, in turns; each is about a frame of its own.
void MessageSender::sendFlood() {
    std::vector<CameraEvent> wanted;
    std::copy_if(kEvents.begin(), kEvents.end(), std::back_inserter(wanted),
                 [this](CameraEvent event) { return isWanted(event); });
    const Endpoint to = destination();
    if (wanted.empty() || to.port == 0 || to.address == 0) {
        flood_ = 0;
        return;
    }
    const std::uint64_t count = std::min(flood_.load(), kFloodAtOnce);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t left = flood_--;
        const Happening happening{
            .event = wanted[left % wanted.size()], .timestamp = clock_.ticks(), .blockId = left};
        static_cast<void>(socket_.sendTo(to, encodeEvent(happening, nextId(), false)));
        ++eventsSent_;
    }
}

void MessageSender::sendAgain() {
    if (sent_->retriesLeft == 0) return sent_.reset();
    --sent_->retriesLeft;
    sent_->giveUpAt = Clock::now() + sent_->patience;
    static_cast<void>(socket_.sendTo(sent_->to, sent_->datagram));
}

int MessageSender::pollTimeoutMs() const {
    if (flood_ != 0) return 0;
    if (!sent_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(sent_->giveUpAt - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

}  // namespace kestrosim
