// SPDX-License-Identifier: Apache-2.0
#include "ReceiveBatch.h"

#include <netinet/udp.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace Vorda::Gige {

namespace {

/** Bytes of each packet in a datagram that the kernel put together of several; else 0. */
std::size_t segmentBytesOf(const msghdr& header) {
    // The macros ask for one that may be changed.
    auto* const message = const_cast<msghdr*>(&header);
    for (cmsghdr* control = CMSG_FIRSTHDR(message); control;
         control = CMSG_NXTHDR(message, control)) {
        if (control->cmsg_level != SOL_UDP || control->cmsg_type != UDP_GRO) continue;
        int bytes = 0;
        std::memcpy(&bytes, CMSG_DATA(control), sizeof bytes);
        return bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
    }
    return 0;
}

bool isCut(const msghdr& header) { return (header.msg_flags & MSG_TRUNC) != 0; }

}  // namespace

/**
 * All pages at once, and back to the system in the end. The faster packets come, the more of them
 * the kernel puts into a datagram: pages would be touched for the first time just then, and one
 * stream after the other would leave others of them behind in the heap.
 */
std::unique_ptr<std::uint8_t[], ReceiveBatch::Unmap> ReceiveBatch::map() {
    void* const pages = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    return std::unique_ptr<std::uint8_t[], Unmap>(static_cast<std::uint8_t*>(pages));
}

ReceiveBatch::ReceiveBatch() : bytes_(map()) {}

bool ReceiveBatch::receive(int socket, const ExpectedRun& run) {
    expect(run);
    iovec* slice = slices_;
    for (std::size_t i = 0; i < asked_; ++i) arm(i, slice);
    const int count =
        ::recvmmsg(socket, headers_, static_cast<unsigned>(asked_), MSG_DONTWAIT, nullptr);
    count_ = static_cast<std::size_t>(std::max(count, 0));
    taken_ = 0;
    noteSegments();
    return count >= 0;
}

/**
 * Of large packets one: how many packets a batch holds, and so where the next one begins, is not
 * known before. Small ones are copied, while they are in a cache.
 */
std::size_t ReceiveBatch::batchesAtOnce() const {
    if (lastSegment_ >= kLeastPlaced) return 1;
    return std::clamp(kCachedBytes / largestBatch_, std::size_t{2}, kBatch);
}

void ReceiveBatch::expect(const ExpectedRun& run) {
    asked_ = comesInBatches() ? batchesAtOnce() : kBatch;
    run_ = run;
    if (run_.stride < kLeastPlaced) run_.count = 0;
    if (run_.count == 0) return;
    perDatagram_ = comesInBatches() ? kLargestDatagram / packetBytes() : 1;
    run_.count = std::min({run_.count, asked_ * perDatagram_, kMostPlaced});
}

/** Also restores the lengths, which the kernel overwrites. */
void ReceiveBatch::arm(std::size_t index, iovec*& slice) {
    msghdr& header = headers_[index].msg_hdr;
    header.msg_name = &senders_[index];
    header.msg_namelen = sizeof senders_[index];
    header.msg_control = controls_[index].bytes;
    header.msg_controllen = sizeof controls_[index].bytes;
    header.msg_iov = slice;
    const std::size_t places = placesOf(index);
    for (std::size_t i = index * perDatagram_; i < index * perDatagram_ + places; ++i) {
        *slice++ = {packetHeaders_ + i * run_.headerBytes, run_.headerBytes};
        *slice++ = {run_.place + i * run_.stride, run_.stride};
    }
    const std::size_t placed = places * packetBytes();
    *slice++ = {slot(index) + placed, kLargestDatagram - placed};
    header.msg_iovlen = 2 * places + 1;
}

void ReceiveBatch::noteSegments() {
    for (std::size_t i = 0; i < count_; ++i) {
        segments_[i] = segmentBytesOf(headers_[i].msg_hdr);
        if (segments_[i] == 0) {
            ++sinceBatch_;
            continue;
        }
        const std::size_t bytes = headers_[i].msg_len;
        largestBatch_ = comesInBatches() ? std::max(largestBatch_, bytes) : bytes;
        lastSegment_ = segments_[i];
        sinceBatch_ = 0;
    }
}

std::uint8_t* ReceiveBatch::slot(std::size_t index) const {
    return bytes_.get() + index * kDatagramStride;
}

/** How many packets of the datagram have places. */
std::size_t ReceiveBatch::placesOf(std::size_t index) const {
    if (run_.count == 0) return 0;
    const std::size_t before = std::min(index * perDatagram_, run_.count);
    return std::min(run_.count - before, perDatagram_);
}

/** How many of them came as thought, for all that can be told without their headers. */
std::size_t ReceiveBatch::fullPacketsOf(std::size_t index, Ipv4 camera) const {
    const mmsghdr& message = headers_[index];
    if (isCut(message.msg_hdr) || senderOf(senders_[index]) != camera) return 0;
    if ((segments_[index] != 0 ? segments_[index] : message.msg_len) != packetBytes()) return 0;
    return std::min(message.msg_len / packetBytes(), placesOf(index));
}

ByteView ReceiveBatch::headersInPlace(Ipv4 camera) const {
    std::size_t packets = 0;
    for (std::size_t i = 0; i < count_ && run_.count != 0; ++i) {
        const std::size_t full = fullPacketsOf(i, camera);
        packets += full;
        if (full < perDatagram_) break;
    }
    return {packetHeaders_, packets * run_.headerBytes};
}

void ReceiveBatch::collectBut(std::size_t taken) {
    taken_ = taken;
    // All before anything else is done with the frame, which they lie in.
    for (std::size_t i = 0; i < count_; ++i) collect(i);
}

void ReceiveBatch::collect(std::size_t index) {
    std::size_t left = headers_[index].msg_len;
    std::uint8_t* to = slot(index);
    for (std::size_t i = 0; i < placesOf(index) && left != 0; ++i) {
        const std::size_t place = index * perDatagram_ + i;
        const std::size_t header = std::min(left, run_.headerBytes);
        const std::size_t payload = std::min(left - header, run_.stride);
        if (place >= taken_) {
            std::memcpy(to, packetHeaders_ + place * run_.headerBytes, header);
            std::memcpy(to + header, run_.place + place * run_.stride, payload);
        }
        to += header + payload;
        left -= header + payload;
    }
}

/** How many packets of the datagram were taken in their places. */
std::size_t ReceiveBatch::takenOf(std::size_t index) const {
    const std::size_t places = placesOf(index);
    return places == 0 ? 0 : std::min(taken_ - std::min(taken_, index * perDatagram_), places);
}

ReceiveBatch::Datagram ReceiveBatch::datagram(std::size_t index) const {
    const mmsghdr& message = headers_[index];
    const std::size_t taken = takenOf(index) * packetBytes();
    return {{slot(index) + taken, message.msg_len - taken},
            segments_[index],
            senderOf(senders_[index]),
            isCut(message.msg_hdr),
            taken != 0 && taken == message.msg_len};
}

}  // namespace Vorda::Gige
