// SPDX-License-Identifier: Apache-2.0
#include "MessageChannel.h"

#include "DeviceLog.h"
#include "Gvcp.h"
#include "HeldLines.h"
#include "LastError.h"
#include "Signal.h"
#include "UdpSocket.h"
#include "VordaInfra.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace Vorda::Gige {
namespace {

/** Messages should keep to 576 bytes; this is room for what any network carries in one packet. */
constexpr std::size_t kLargestMessage = 16384;
/** After an error of the socket that is not ours to mend (interface gone): no busy loop. */
constexpr auto kErrorPause = std::chrono::milliseconds(20);

/** The latest messages. A camera repeats one only until it sends a few more. */
class RecentMessages {
 public:
    /** True when the same bytes, request id included, came lately; else keeps them. */
    [[nodiscard]] bool contains(ByteView datagram) {
        const auto isSame = [&](const Bytes& each) { return std::ranges::equal(each, datagram); };
        if (std::ranges::any_of(messages_, isSame)) return true;
        messages_[next_].assign(datagram.begin(), datagram.end());
        next_ = (next_ + 1) % messages_.size();
        return false;
    }

 private:
    std::array<Bytes, 8> messages_;
    std::size_t next_ = 0;
};

/** True when the camera, and not the way to it, is why the last request failed. */
bool cameraRefused() {
    const auto error = static_cast<Error>(Infra::getLastError());
    return error == Error::refused || error == Error::badAnswer || error == Error::timeout;
}

}  // namespace

/** What the channel shares with its thread. */
class MessageChannel::Core {
 public:
    explicit Core(MessageSetup setup) : setup_(std::move(setup)) {}

    [[nodiscard]] bool open();
    [[nodiscard]] bool introduce(RegisterPort& camera) const;
    void run();
    void stop() { stopped_.raise(); }

 private:
    void openFirewall(RegisterPort& camera) const;
    [[nodiscard]] bool receive();
    void take(ByteView datagram, const Endpoint& sender);
    void takeEvent(const Gvcp::Event& event);

    const MessageSetup setup_;
    UdpSocket socket_;
    Signal stopped_;
    RecentMessages recent_;                             // of the thread
    std::array<std::uint8_t, kLargestMessage> buffer_;  // likewise
};

bool MessageChannel::Core::open() {
    if (stopped_.fd() < 0)
        return fail(Error::system, "there is no descriptor left for a message channel");
    return socket_.open({setup_.host, 0});
}

/** Tells the camera where to send; it does as soon as it knows the port. */
bool MessageChannel::Core::introduce(RegisterPort& camera) const {
    if (!camera.writeRegister(Gvcp::Register::kMessageDestination, setup_.host.value)) return false;
    openFirewall(camera);
    return camera.writeRegister(Gvcp::Register::kMessagePort, socket_.local().port);
}

/** One packet out, so that a host firewall that follows connections lets the messages in. */
void MessageChannel::Core::openFirewall(RegisterPort& camera) const {
    std::uint32_t cameraPort = 0;
    // Cameras of the standard's first version do not have the register.
    if (!camera.readRegister(Gvcp::Register::kMessageSourcePort, cameraPort)) return;
    const auto port = static_cast<std::uint16_t>(cameraPort);
    constexpr std::uint8_t kAnyByte[] = {0};
    // The camera ignores it; whether it can be sent will show in the messages.
    if (port != 0) static_cast<void>(socket_.sendTo(kAnyByte, {setup_.camera, port}));
}

void MessageChannel::Core::run() {
    while (!stopped_.isRaised()) {
        pollfd watched[] = {{stopped_.fd(), POLLIN, 0}, {socket_.fd(), POLLIN, 0}};
        if (::poll(watched, 2, -1) <= 0 || watched[1].revents == 0 || receive()) continue;
        ::poll(watched, 1, static_cast<int>(kErrorPause.count()));
    }
}

bool MessageChannel::Core::receive() {
    Endpoint sender;
    const auto datagram = socket_.receiveFrom(buffer_, sender);
    if (datagram && sender.address == setup_.camera) take(*datagram, sender);
    return datagram.has_value();
}

void MessageChannel::Core::take(ByteView datagram, const Endpoint& sender) {
    const auto message = Gvcp::decodeMessage(datagram);
    if (!message) {
        GIGE_TRACE("a message of %zu bytes is malformed, from [%s]", datagram.size(),
                   sender.address.text().c_str());
        return;
    }
    // First: the camera waits for it, and repeats what is acknowledged late. One that gets lost is
    // asked for again.
    if (message->isAnswerWanted)
        static_cast<void>(socket_.sendTo(Gvcp::encodeMessageAcknowledge(*message), sender));
    if (recent_.contains(datagram)) return;
    for (const Gvcp::Event& event : message->events) takeEvent(event);
}

void MessageChannel::Core::takeEvent(const Gvcp::Event& event) {
    const auto names = setup_.featuresOf(event.id);
    if (names.empty()) {
        GIGE_TRACE("event 0x%04x is not in the description, from [%s]", unsigned{event.id},
                   setup_.camera.text().c_str());
        return;
    }
    setup_.data->store(event.id, event.bytes);
    setup_.onEvent(names);
}

MessageChannel::MessageChannel(std::shared_ptr<Core> core) : core_(std::move(core)) {}

MessageChannel::~MessageChannel() { stop(); }

void MessageChannel::stop() {
    core_->stop();
    thread_.finish();
}

std::unique_ptr<MessageChannel> MessageChannel::open(RegisterPort& camera, MessageSetup setup) {
    const std::string address = setup.camera.text();
    std::unique_ptr<MessageChannel> channel(
        new MessageChannel(std::make_shared<Core>(std::move(setup))));
    std::uint32_t count = 0;
    const bool isKnown = camera.readRegister(Gvcp::Register::kMessageChannelCount, count);
    if (isKnown && count == 0) return channel;
    if (isKnown) {
        const auto run = [core = channel->core_] { core->run(); };
        if (!channel->core_->open() || !channel->thread_.start("kst-message", run)) return nullptr;
        channel->isSilent_ = !channel->core_->introduce(camera);
    }
    if (!channel->isSilent_) return channel;
    if (!cameraRefused()) return nullptr;
    GIGE_LOG_WHEN_FREE(kDebug,
                       "no messages from the camera at [" + address + "]: " + lastErrorMessage());
    channel->stop();
    return channel;
}

void MessageChannel::close(RegisterPort& camera) {
    if (closed_.exchange(true)) return;
    const KeepLastError quiet;
    if (!isSilent_) static_cast<void>(camera.writeRegister(Gvcp::Register::kMessagePort, 0));
    stop();
}

}  // namespace Vorda::Gige
