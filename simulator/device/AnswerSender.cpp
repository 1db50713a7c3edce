// SPDX-License-Identifier: Apache-2.0
#include "AnswerSender.h"

#include "GigeWire.h"
#include "PacketFate.h"

#include <algorithm>
#include <utility>

namespace kestrosim {
namespace {

// Packets, answers and results each draw from numbers of their own: what one of them meets does not
// depend on how many of the others there were.
constexpr std::uint64_t kStreamOfAnswers = 0x61636b73;
constexpr std::size_t kMostHeld = 1024;

/** PENDING_ACK: 0 status16 | 2 command16 | 4 length16 | 6 request id16 | 10 milliseconds16 */
std::vector<std::uint8_t> pendingAcknowledge(const std::vector<std::uint8_t>& answer,
                                             std::chrono::milliseconds wait) {
    constexpr std::uint16_t kPendingAcknowledge = 0x0089;
    constexpr std::uint16_t kPayloadBytes = 4;
    std::vector<std::uint8_t> bytes(kGvcpHeaderBytes + kPayloadBytes);
    store16(&bytes[2], kPendingAcknowledge);
    store16(&bytes[4], kPayloadBytes);
    store16(&bytes[6], load16(&answer[6]));
    store16(&bytes[10],
            static_cast<std::uint16_t>(std::clamp<std::int64_t>(wait.count(), 0, UINT16_MAX)));
    return bytes;
}

bool mayMeetFaults(const std::vector<std::uint8_t>& answer) {
    const auto command = static_cast<Command>(load16(&answer[2]) - 1);
    return command != Command::discovery && command != Command::forceIp;
}

}  // namespace

AnswerSender::AnswerSender(const FaultPlan& plan)
    : plan_(plan.control), random_(plan.seed ^ kStreamOfAnswers) {}

void AnswerSender::send(const UdpSocket& socket, const Endpoint& to,
                        std::vector<std::uint8_t> answer) {
    const Fault fault = mayMeetFaults(answer) ? draw() : Fault::none;
    if (fault != Fault::none) ++faults_;
    switch (fault) {
        case Fault::none:
            return sendNow(socket, to, answer);
        case Fault::missing:
            return;
        case Fault::late:
            return hold(to, std::move(answer));
        case Fault::pending:
            sendNow(socket, to, pendingAcknowledge(answer, plan_.ackDelay));
            return hold(to, std::move(answer));
    }
}

void AnswerSender::sendDue(const UdpSocket& socket, Clock::time_point now) {
    while (!held_.empty() && held_.front().due <= now) {
        sendNow(socket, held_.front().to, held_.front().answer);
        held_.pop_front();
    }
}

std::optional<AnswerSender::Clock::time_point> AnswerSender::nextDue() const {
    if (held_.empty()) return std::nullopt;
    return held_.front().due;
}

// One number for each answer, whatever it decides, so that plans of the same seed can be compared.
AnswerSender::Fault AnswerSender::draw() {
    constexpr Fault kFaults[] = {Fault::missing, Fault::late, Fault::pending, Fault::none};
    return kFaults[pick(random_.next(), {plan_.missingAck, plan_.lateAck, plan_.pendingAck})];
}

void AnswerSender::sendNow(const UdpSocket& socket, const Endpoint& to,
                           const std::vector<std::uint8_t>& answer) {
    ++sent_;
    // One that cannot be delivered is like one lost on the way.
    static_cast<void>(socket.sendTo(to, answer));
}

void AnswerSender::hold(const Endpoint& to, std::vector<std::uint8_t> answer) {
    if (held_.size() < kMostHeld) {
        held_.push_back({Clock::now() + plan_.ackDelay, to, std::move(answer)});
    }
}

}  // namespace kestrosim
