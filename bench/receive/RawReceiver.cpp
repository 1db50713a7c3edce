// SPDX-License-Identifier: Apache-2.0
//
// Receives as fast as the machine can, and only counts: recvmmsg, of batches (UDP_GRO) where the
// kernel makes some. What of a datagram it looks at is its length, and of trailers, which are known
// by theirs, the block id. The word is for how many microseconds packets may gather in the socket
// before they are taken: as with this library, whose frames are compared, or 0, when the time of
// each trailer is what is asked for. Threads: one for each camera.
#include "Account.h"
#include "Processor.h"
#include "ReceiveBuffer.h"
#include "ReceiverOptions.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kestro::bench;

constexpr unsigned kBatch = 32;
constexpr std::size_t kSlot = 65536 + 33 * 64;  // no two of a batch in the same cache sets
constexpr int kReceiveBuffer = 32 << 20;
constexpr std::size_t kTrailerBytes = 16;
constexpr int kPollMs = 100;

/** A count that one thread adds to. */
class Counter {
 public:
    void add(std::uint64_t more) {
        value_.store(value_.load(std::memory_order_relaxed) + more, std::memory_order_relaxed);
    }
    [[nodiscard]] std::uint64_t get() const { return value_.load(std::memory_order_relaxed); }

 private:
    std::atomic<std::uint64_t> value_{0};
};

class Stream {
 public:
    Stream(std::chrono::nanoseconds gathering, std::size_t packetBytes, HandOvers& handOvers)
        : gathering_(gathering),
          segmentBytes_(packetBytes - 28),
          handOvers_(handOvers),
          socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
          slots_(static_cast<std::uint8_t*>(::mmap(nullptr, kBatch * kSlot, PROT_READ | PROT_WRITE,
                                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1,
                                                   0))) {
        sockaddr_in any{};
        any.sin_family = AF_INET;
        any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int on = 1;
        if (slots_ == MAP_FAILED || ::setsockopt(socket_, SOL_UDP, UDP_GRO, &on, sizeof on) != 0 ||
            ::bind(socket_, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0)
            giveUp("a socket cannot be made");
        receiveBuffer_ = forceReceiveBuffer(port(), kReceiveBuffer);
        thread_ = std::thread([this] { run(); });
    }
    ~Stream() {
        isOver_ = true;
        thread_.join();
        ::munmap(slots_, kBatch * kSlot);
        ::close(socket_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    [[nodiscard]] std::uint16_t port() const {
        sockaddr_in local{};
        socklen_t length = sizeof local;
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&local), &length);
        return ntohs(local.sin_port);
    }
    [[nodiscard]] std::uint64_t receiveBuffer() const { return receiveBuffer_; }
    void addTo(Received& sum) const {
        sum.frames += frames_.get();
        sum.packets += packets_.get();
        sum.bytes += bytes_.get();
    }

 private:
    void run() {
        ::prctl(PR_SET_TIMERSLACK, 1UL);
        for (unsigned i = 0; i < kBatch; ++i) {
            slices_[i] = {slots_ + i * kSlot, kSlot};
            headers_[i].msg_hdr.msg_iov = &slices_[i];
            headers_[i].msg_hdr.msg_iovlen = 1;
        }
        while (!isOver_) {
            const int count = ::recvmmsg(socket_, headers_, kBatch, MSG_DONTWAIT, nullptr);
            for (int i = 0; i < count; ++i) take(static_cast<unsigned>(i));
            if (count < static_cast<int>(kBatch)) wait(count > 0);
        }
    }
    void take(unsigned i) {
        const std::size_t bytes = headers_[i].msg_len;
        bytes_.add(bytes);
        packets_.add((bytes + segmentBytes_ - 1) / segmentBytes_);
        if (bytes != kTrailerBytes) return;
        const std::uint8_t* const block = slots_ + i * kSlot + 2;
        frames_.add(1);
        handOvers_.record(static_cast<std::uint64_t>(block[0] << 8 | block[1]));
    }
    void wait(bool packetsCame) const {
        pollfd watched{socket_, POLLIN, 0};
        if (packetsCame && gathering_.count() != 0)
            std::this_thread::sleep_for(gathering_);
        else
            ::poll(&watched, 1, kPollMs);
    }

    const std::chrono::nanoseconds gathering_;
    const std::size_t segmentBytes_;
    HandOvers& handOvers_;
    int socket_;
    std::uint8_t* slots_;
    iovec slices_[kBatch]{};
    mmsghdr headers_[kBatch]{};
    std::uint64_t receiveBuffer_ = 0;
    Counter frames_;
    Counter packets_;
    Counter bytes_;
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

using Streams = std::vector<std::unique_ptr<Stream>>;

Received sumOf(const Streams& streams) {
    Received sum;
    for (const auto& stream : streams) stream->addTo(sum);
    return sum;
}

std::string details(const Streams& streams) {
    std::string ports;
    for (const auto& stream : streams)
        ports += (ports.empty() ? "" : ",") + std::to_string(stream->port());
    return "\"ports\":[" + ports +
           "],\"receive_buffer\":" + std::to_string(streams.front()->receiveBuffer());
}

}  // namespace

int main(int count, char** words) {
    const ReceiverOptions options = receiverOptions(count, words);
    stayOn(options.cpu);
    const std::chrono::microseconds gathering(std::atoi(options.word.c_str()));
    std::vector<HandOvers> handOvers(options.cameras);
    Streams streams;
    for (std::size_t i = 0; i < options.cameras; ++i) {
        streams.push_back(std::make_unique<Stream>(
            gathering, static_cast<std::size_t>(options.packetBytes), handOvers[i]));
    }
    giveAccount([&streams] { return sumOf(streams); }, handOvers, details(streams));
}
