// SPDX-License-Identifier: Apache-2.0
//
// Receives as fast as the machine can: recvmmsg, of batches (UDP_GRO) where the kernel makes some.
// What of a datagram it looks at is its length, and of trailers, which are known by theirs, the
// block id. The word says for how many microseconds packets may gather in the socket before they
// are taken, as with this library at most, or 0, when the time of each trailer
// is what is asked for; and what becomes of them:
//
//     1600         nothing, they are only counted
//     1600,copy    they are put together to frames, with a copy of each packet
//     1600,split   the kernel puts them where they belong, each header somewhere else
//
// The last two believe that every packet comes, and in its place, and split what comes with a
// trailer as if it still belonged to that frame: they show what frames cost at least. Threads: one
// for each camera.
#include "Account.h"
#include "FrameMemory.h"
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
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kestro::bench;

constexpr unsigned kBatch = 32;
constexpr unsigned kCachedBatches = 2;
constexpr std::size_t kSlot = 65536 + 33 * 64;  // no two of a batch in the same cache sets
constexpr std::size_t kMostPackets = 64;        // of a batch that is split
constexpr int kReceiveBuffer = 32 << 20;
constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kLeaderBytes = 44;
constexpr std::size_t kTrailerBytes = 16;
constexpr std::size_t kLargestDatagram = 65536;
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

enum class Making { nothing, byCopying, bySplitting };

struct Task {
    std::chrono::microseconds gathering{0};
    Making making = Making::nothing;

    explicit Task(const std::string& text) : gathering(std::atoi(text.c_str())) {
        const std::size_t comma = text.find(',');
        if (comma == std::string::npos) return;
        const std::string what = text.substr(comma + 1);
        if (what != "copy" && what != "split") giveUp(what + ": copy or split");
        making = what == "copy" ? Making::byCopying : Making::bySplitting;
    }
};

class Stream {
 public:
    Stream(Task task, std::size_t packetBytes, HandOvers& handOvers)
        : gathering_(task.gathering),
          making_(task.making),
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
        if (kLargestDatagram / segmentBytes_ >= kMostPackets) giveUp("the packets are too small");
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
        sum.frames += frameCount_.get();
        sum.packets += packets_.get();
        sum.bytes += bytes_.get();
    }

 private:
    void run() {
        ::prctl(PR_SET_TIMERSLACK, 1UL);
        if (making_ != Making::nothing) frames_.emplace();
        askForSlots();
        for (bool hasCome = false; !isOver_;) {
            const unsigned asked = ask();
            const int count = ::recvmmsg(socket_, headers_, asked, MSG_DONTWAIT, nullptr);
            for (int i = 0; i < count; ++i) take(static_cast<unsigned>(i));
            hasCome |= count > 0;
            if (count == static_cast<int>(asked)) continue;
            wait(hasCome);
            hasCome = false;
        }
    }
    /** For how many datagrams; no more batches than a near cache holds. */
    unsigned ask() {
        if (making_ == Making::bySplitting) return askForPlaces();
        return isBatched_ ? kCachedBatches : kBatch;
    }
    /** Each datagram goes into a slot of its own. */
    void askForSlots() {
        for (unsigned i = 0; i < kBatch; ++i) {
            slices_[i] = {slots_ + i * kSlot, kSlot};
            headers_[i].msg_hdr.msg_iov = &slices_[i];
            headers_[i].msg_hdr.msg_iovlen = 1;
        }
    }
    /** Single packets go where they belong if none is missing; of batches the next one does, for
     * how many packets that one holds, and so where another begins, is not known. */
    unsigned askForPlaces() {
        const std::size_t payload = segmentBytes_ - kHeaderBytes;
        const std::size_t packets = isBatched_ ? kLargestDatagram / segmentBytes_ + 1 : kBatch;
        std::uint8_t* to = frames_->place(packets * payload);
        for (std::size_t i = 0; i < packets; ++i, to += payload) {
            slices_[2 * i] = {packetHeaders_[i], kHeaderBytes};
            slices_[2 * i + 1] = {to, payload};
        }
        for (std::size_t i = 0; i < kBatch; ++i) {
            headers_[i].msg_hdr.msg_iov = &slices_[isBatched_ ? 0 : 2 * i];
            headers_[i].msg_hdr.msg_iovlen = isBatched_ ? 2 * packets : 2;
        }
        return isBatched_ ? 1 : kBatch;
    }
    void take(unsigned i) {
        const std::size_t bytes = headers_[i].msg_len;
        const std::size_t packets = (bytes + segmentBytes_ - 1) / segmentBytes_;
        const bool isSplit = making_ == Making::bySplitting;
        bytes_.add(bytes);
        packets_.add(packets);
        if (bytes == kTrailerBytes) return end(isSplit ? packetHeaders_[i] : slots_ + i * kSlot);
        if (bytes == kLeaderBytes) return;
        if (making_ == Making::byCopying) copy(slots_ + i * kSlot, bytes);
        if (isSplit) frames_->advance(bytes - packets * kHeaderBytes);
        const bool isCut = (headers_[i].msg_hdr.msg_flags & MSG_TRUNC) != 0;
        if (bytes >= segmentBytes_ || isCut) isBatched_ = isCut || packets > 1;
    }
    void copy(const std::uint8_t* from, std::size_t left) {
        while (left > kHeaderBytes) {
            const std::size_t bytes = std::min(left, segmentBytes_);
            const std::size_t payload = bytes - kHeaderBytes;
            std::memcpy(frames_->place(payload), from + kHeaderBytes, payload);
            frames_->advance(payload);
            from += bytes;
            left -= bytes;
        }
    }
    void end(const std::uint8_t* trailer) {
        frameCount_.add(1);
        handOvers_.record(static_cast<std::uint64_t>(trailer[2] << 8 | trailer[3]));
        if (frames_) frames_->next();
    }
    void wait(bool packetsCame) const {
        pollfd watched{socket_, POLLIN, 0};
        if (packetsCame && gathering_.count() != 0)
            std::this_thread::sleep_for(gathering_);
        else
            ::poll(&watched, 1, kPollMs);
    }

    const std::chrono::nanoseconds gathering_;
    const Making making_;
    const std::size_t segmentBytes_;
    HandOvers& handOvers_;
    int socket_;
    std::uint8_t* slots_;
    std::uint8_t packetHeaders_[kMostPackets][kHeaderBytes]{};
    iovec slices_[2 * kMostPackets]{};
    mmsghdr headers_[kBatch]{};
    std::optional<FrameMemory> frames_;
    bool isBatched_ = false;
    std::uint64_t receiveBuffer_ = 0;
    Counter frameCount_;
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
    const Task task(options.word);
    std::vector<HandOvers> handOvers(options.cameras);
    Streams streams;
    for (std::size_t i = 0; i < options.cameras; ++i) {
        streams.push_back(std::make_unique<Stream>(
            task, static_cast<std::size_t>(options.packetBytes), handOvers[i]));
    }
    giveAccount([&streams] { return sumOf(streams); }, handOvers, details(streams));
}
