// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FrameAssembler.h"
#include "Ipv4.h"

#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Vorda::Gige {

[[nodiscard]] inline Ipv4 senderOf(const sockaddr_in& source) {
    return {ntohl(source.sin_addr.s_addr)};
}

/**
 * What waits in the socket of a stream, taken with one call.
 *
 * Large packets that are expected go where they belong: the kernel writes the payload of each into
 * the frame, and its header beside those of the others, and nobody copies anything again. When
 * others come than thought, they are collected from where they were written to, which is memory of
 * the frame that nothing has been put into yet. Threads: one.
 */
class ReceiveBatch {
 public:
    struct Datagram {
        ByteView bytes;  ///< those of packets that were taken in their places left out
        std::size_t segmentBytes = 0;  ///< of each packet, if the kernel put several together; or 0
        Ipv4 sender;
        bool isCut = false;
        bool isTaken = false;  ///< all of it
    };

    ReceiveBatch();

    /**
     * Takes what is there, without waiting; false with errno when that is nothing. The places of
     * `run` are written to here, and read until collectBut() has returned.
     */
    [[nodiscard]] bool receive(int socket, const ExpectedRun& run);
    [[nodiscard]] std::size_t count() const { return count_; }
    /** Whether as much came as was asked for. */
    [[nodiscard]] bool mayBeMore() const { return count_ == asked_; }
    /** Headers of the first packets that lie in their places, if it is they who came. */
    [[nodiscard]] ByteView headersInPlace(Ipv4 camera) const;
    /** The first `taken` of them did; puts the others together again. */
    void collectBut(std::size_t taken);
    /** One of count(); after collectBut(). */
    [[nodiscard]] Datagram datagram(std::size_t index) const;

 private:
    static constexpr std::size_t kBatch = 32;
    /** The kernel may hand over several packets of one sender as one datagram of up to 64 KiB. */
    static constexpr std::size_t kLargestDatagram = 65536;
    /** Not a power of two, so that the datagrams of a batch do not share cache sets. */
    static constexpr std::size_t kDatagramStride = kLargestDatagram + std::size_t{33} * 64;
    static constexpr std::size_t kBytes = kBatch * kDatagramStride;
    /** So much of batches of small packets is still in the second cache when it is copied. */
    static constexpr std::size_t kCachedBytes = std::size_t{128} << 10;
    /** With smaller ones, telling the kernel costs as much as the copy. */
    static constexpr std::size_t kLeastPlaced = 2000;
    static constexpr std::size_t kMostPlaced = kLargestDatagram / kLeastPlaced;
    static_assert(kMostPlaced >= kBatch);

    struct Unmap {
        void operator()(std::uint8_t* pages) const { ::munmap(pages, kBytes); }
    };
    struct Control {
        alignas(cmsghdr) char bytes[CMSG_SPACE(sizeof(int))];
    };

    static std::unique_ptr<std::uint8_t[], Unmap> map();
    [[nodiscard]] bool comesInBatches() const { return sinceBatch_ < kBatch; }
    [[nodiscard]] std::size_t batchesAtOnce() const;
    void expect(const ExpectedRun& run);
    void arm(std::size_t index, iovec*& slice);
    void noteSegments();
    [[nodiscard]] std::uint8_t* slot(std::size_t index) const;
    [[nodiscard]] std::size_t packetBytes() const { return run_.headerBytes + run_.stride; }
    [[nodiscard]] std::size_t placesOf(std::size_t index) const;
    [[nodiscard]] std::size_t fullPacketsOf(std::size_t index, Ipv4 camera) const;
    void collect(std::size_t index);
    [[nodiscard]] std::size_t takenOf(std::size_t index) const;

    std::unique_ptr<std::uint8_t[], Unmap> bytes_;
    ExpectedRun run_;                  ///< of which some are asked for; count 0: none
    std::size_t perDatagram_ = 0;      ///< packets of it that a datagram is thought to hold
    std::size_t asked_ = 0;            ///< datagrams
    std::size_t count_ = 0;            ///< that came
    std::size_t taken_ = 0;            ///< packets in their places
    std::size_t sinceBatch_ = kBatch;  ///< datagrams since one that was put together
    std::size_t lastSegment_ = 0;      ///< bytes of each packet in that one
    std::size_t largestBatch_ = 0;     ///< bytes of a datagram, since they are put together
    std::size_t segments_[kBatch];     ///< as in Datagram, of those that came
    std::uint8_t packetHeaders_[kMostPlaced * kGvspExtendedHeaderBytes];
    iovec slices_[2 * kMostPlaced + kBatch];
    sockaddr_in senders_[kBatch];
    Control controls_[kBatch];
    mmsghdr headers_[kBatch]{};
};

}  // namespace Vorda::Gige
