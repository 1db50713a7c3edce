// SPDX-License-Identifier: Apache-2.0
#include "ScriptedCamera.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace kestro::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kControlPort = 3956;
constexpr std::uint32_t kControlPrivilege = 0xa00;
constexpr std::uint32_t kMessagePort = 0xb00;
constexpr std::uint32_t kMessageDestination = 0xb10;

std::uint32_t wordAt(const Octets& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(offset + i);
    return value;
}

void append(Octets& bytes, std::uint32_t value, int count) {
    while (count-- > 0) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * count)));
}

sockaddr_in endpoint(std::uint32_t address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(address);
    return result;
}

std::uint16_t portOf(int fd) {
    sockaddr_in local{};
    socklen_t bytes = sizeof local;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &bytes);
    return ntohs(local.sin_port);
}

/** A bound UDP socket; -1 when the address is taken. */
int boundSocket(std::uint32_t address, std::uint16_t port, bool isShared) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    if (isShared) ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const sockaddr_in local = endpoint(address, port);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0) return fd;
    ::close(fd);
    return -1;
}

}  // namespace

std::uint32_t ControlRequest::word(std::size_t offset) const { return wordAt(payload, offset); }

struct ScriptedCamera::State {
    struct Pending {
        Clock::time_point due;
        Reaction::Datagram datagram;
        sockaddr_in to;
    };

    std::uint32_t address = 0;
    int direct = -1;
    int broadcast = -1;
    int elsewhere = -1;
    int messages = -1;
    int stop = ::eventfd(0, EFD_CLOEXEC);
    std::vector<Pending> pending;  // of the thread alone

    mutable std::mutex mutex;  // guards what follows
    std::map<std::uint32_t, std::uint8_t> memory;
    std::map<std::uint32_t, std::uint16_t> refused;
    std::vector<ControlRequest> requests;
    std::vector<Octets> messageAnswers;
    std::function<Reaction(const ControlRequest&)> react;
    bool isSilent = false;

    std::thread thread;

    void run();
    void receive(int fd);
    void receiveMessageAnswer();
    void sendDue();
    [[nodiscard]] int nextWaitMs() const;

    // These need the mutex.
    [[nodiscard]] Octets read(std::uint32_t from, std::size_t count) const {
        Octets bytes;
        for (std::size_t i = 0; i < count; ++i) {
            const auto byte = memory.find(from + static_cast<std::uint32_t>(i));
            bytes.push_back(byte == memory.end() ? std::uint8_t{0} : byte->second);
        }
        return bytes;
    }
    void write(std::uint32_t to, const std::uint8_t* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            memory[to + static_cast<std::uint32_t>(i)] = bytes[i];
    }
    [[nodiscard]] std::optional<Octets> answer(const ControlRequest& request);
};

void ScriptedCamera::State::run() {
    for (;;) {
        pollfd waiting[] = {
            {stop, POLLIN, 0}, {direct, POLLIN, 0}, {broadcast, POLLIN, 0}, {messages, POLLIN, 0}};
        ::poll(waiting, 4, nextWaitMs());
        if (waiting[0].revents != 0) return;
        if (waiting[1].revents != 0) receive(direct);
        if (waiting[2].revents != 0) receive(broadcast);
        if (waiting[3].revents != 0) receiveMessageAnswer();
        sendDue();
    }
}

int ScriptedCamera::State::nextWaitMs() const {
    if (pending.empty()) return -1;
    const auto next = std::ranges::min_element(pending, {}, &Pending::due)->due - Clock::now();
    return static_cast<int>(
        std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(next))
            .count());
}

void ScriptedCamera::State::receive(int fd) {
    Octets bytes(2048);
    sockaddr_in from{};
    socklen_t fromBytes = sizeof from;
    const ssize_t count = ::recvfrom(fd, bytes.data(), bytes.size(), 0,
                                     reinterpret_cast<sockaddr*>(&from), &fromBytes);
    if (count < 8) return;
    ControlRequest request;
    request.flags = bytes[1];
    request.command = static_cast<std::uint16_t>(bytes[2] << 8 | bytes[3]);
    request.id = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    request.payload.assign(bytes.begin() + 8, bytes.begin() + count);
    request.wasBroadcast = fd == broadcast;
    request.port = ntohs(from.sin_port);
    std::function<Reaction(const ControlRequest&)> scripted;
    {
        const std::lock_guard lock(mutex);
        requests.push_back(request);
        if (isSilent) return;
        scripted = react;
    }
    for (Reaction::Datagram& datagram : scripted(request).datagrams)
        pending.push_back({Clock::now() + datagram.delay, std::move(datagram), from});
}

void ScriptedCamera::State::receiveMessageAnswer() {
    Octets bytes(2048);
    const ssize_t count = ::recv(messages, bytes.data(), bytes.size(), 0);
    if (count < 0) return;
    bytes.resize(static_cast<std::size_t>(count));
    const std::lock_guard lock(mutex);
    messageAnswers.push_back(std::move(bytes));
}

void ScriptedCamera::State::sendDue() {
    const auto now = Clock::now();
    for (auto each = pending.begin(); each != pending.end();) {
        if (each->due > now) {
            ++each;
            continue;
        }
        ::sendto(each->datagram.fromElsewhere ? elsewhere : direct, each->datagram.bytes.data(),
                 each->datagram.bytes.size(), 0, reinterpret_cast<const sockaddr*>(&each->to),
                 sizeof each->to);
        each = pending.erase(each);
    }
}

std::optional<Octets> ScriptedCamera::State::answer(const ControlRequest& request) {
    const auto acknowledgeCommand = static_cast<std::uint16_t>(request.command + 1);
    const auto success = [&](const Octets& payload) {
        return acknowledge(0, acknowledgeCommand, request.id, payload);
    };
    const bool namesAddress = request.payload.size() >= 4;
    const std::uint32_t at = namesAddress ? request.word(0) : 0;
    if (const auto status = refused.find(at); namesAddress && status != refused.end())
        return acknowledge(status->second, acknowledgeCommand, request.id);
    switch (request.command) {
        case 0x0002:
            return success(read(0, 0xf8));
        case 0x0080:
            return success(read(at, 4));
        case 0x0082:
            write(at, request.payload.data() + 4, 4);
            return success({0, 0, 0, 1});
        case 0x0084: {
            Octets payload(request.payload.begin(), request.payload.begin() + 4);
            const Octets data = read(at, request.word(4) & 0xffff);
            payload.insert(payload.end(), data.begin(), data.end());
            return success(payload);
        }
        case 0x0086:
            write(at, request.payload.data() + 4, request.payload.size() - 4);
            return success({0, 0, 0, 0});
        default:
            return std::nullopt;
    }
}

ScriptedCamera::ScriptedCamera(Hears hears) : state_(std::make_unique<State>()) {
    constexpr std::uint32_t kNetwork = 0x7f000100;
    for (std::uint32_t host = 1; host < 255 && state_->direct < 0; ++host) {
        state_->address = kNetwork + host;
        state_->direct = boundSocket(state_->address, kControlPort, false);
    }
    if (hears == Hears::broadcastsToo)
        state_->broadcast = boundSocket(0xffffffff, kControlPort, true);
    state_->elsewhere = boundSocket(state_->address, 0, false);
    state_->messages = boundSocket(state_->address, 0, false);
    if (state_->direct < 0) throw std::runtime_error("no free address");
    setRegister(0x24, state_->address);
    state_->react = [this](const ControlRequest& request) { return ordinaryReaction(request); };
    state_->thread = std::thread([this] { state_->run(); });
}

ScriptedCamera::~ScriptedCamera() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(state_->stop, &one, sizeof one);
    state_->thread.join();
    for (const int fd :
         {state_->direct, state_->broadcast, state_->elsewhere, state_->messages, state_->stop}) {
        if (fd >= 0) ::close(fd);
    }
}

std::uint32_t ScriptedCamera::address() const { return state_->address; }

std::string ScriptedCamera::addressText() const {
    const in_addr address{htonl(state_->address)};
    char text[INET_ADDRSTRLEN] = "";
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

void ScriptedCamera::setRegister(std::uint32_t address, std::uint32_t value) {
    Octets bytes;
    append(bytes, value, 4);
    const std::lock_guard lock(state_->mutex);
    state_->write(address, bytes.data(), bytes.size());
}

std::uint32_t ScriptedCamera::registerAt(std::uint32_t address) const {
    const std::lock_guard lock(state_->mutex);
    return wordAt(state_->read(address, 4), 0);
}

void ScriptedCamera::setMemory(std::uint32_t address, std::string_view bytes) {
    const std::lock_guard lock(state_->mutex);
    state_->write(address, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

void ScriptedCamera::setDescription(std::string_view fileName, std::string_view bytes) {
    char url[512];
    std::snprintf(url, sizeof url, "Local:%s;10000;%zx", std::string(fileName).c_str(),
                  bytes.size());
    setMemory(0x200, std::string_view(url, std::strlen(url) + 1));
    setMemory(0x10000, bytes);
}

void ScriptedCamera::refuse(std::uint32_t address, std::uint16_t status) {
    const std::lock_guard lock(state_->mutex);
    state_->refused[address] = status;
}

void ScriptedCamera::setSilent(bool isSilent) {
    const std::lock_guard lock(state_->mutex);
    state_->isSilent = isSilent;
}

Reaction ScriptedCamera::ordinaryReaction(const ControlRequest& request) {
    Reaction reaction;
    const std::lock_guard lock(state_->mutex);
    if (auto bytes = state_->answer(request)) reaction.datagrams.push_back({std::move(*bytes)});
    return reaction;
}

void ScriptedCamera::script(std::function<Reaction(const ControlRequest&)> react) {
    const std::lock_guard lock(state_->mutex);
    state_->react = std::move(react);
}

std::vector<ControlRequest> ScriptedCamera::requests() const {
    const std::lock_guard lock(state_->mutex);
    auto requests = state_->requests;
    std::erase_if(requests, [](const ControlRequest& each) {
        return each.wasBroadcast || (each.command == 0x0080 && each.word(0) == kControlPrivilege);
    });
    return requests;
}

std::vector<ControlRequest> ScriptedCamera::broadcasts() const {
    const std::lock_guard lock(state_->mutex);
    auto broadcasts = state_->requests;
    std::erase_if(broadcasts, [](const ControlRequest& each) { return !each.wasBroadcast; });
    return broadcasts;
}

std::uint16_t ScriptedCamera::messagePort() const { return portOf(state_->messages); }

void ScriptedCamera::sendMessage(const Octets& datagram) {
    const auto port = static_cast<std::uint16_t>(registerAt(kMessagePort));
    const sockaddr_in to = endpoint(registerAt(kMessageDestination), port);
    ::sendto(state_->messages, datagram.data(), datagram.size(), 0,
             reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

std::vector<Octets> ScriptedCamera::messageAnswers() const {
    const std::lock_guard lock(state_->mutex);
    return state_->messageAnswers;
}

Octets ScriptedCamera::message(std::uint8_t flags, std::uint16_t command, std::uint16_t id,
                               const Octets& payload) {
    Octets bytes{0x42, flags};
    append(bytes, command, 2);
    append(bytes, static_cast<std::uint32_t>(payload.size()), 2);
    append(bytes, id, 2);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

Octets ScriptedCamera::acknowledge(std::uint16_t status, std::uint16_t command, std::uint16_t id,
                                   const Octets& payload) {
    Octets bytes;
    append(bytes, status, 2);
    append(bytes, command, 2);
    append(bytes, static_cast<std::uint32_t>(payload.size()), 2);
    append(bytes, id, 2);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds within) {
    const auto deadline = Clock::now() + within;
    while (Clock::now() < deadline) {
        if (condition()) return true;
        std::this_thread::yield();
        ::poll(nullptr, 0, 1);
    }
    return condition();
}

}  // namespace kestro::test
