// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "GvcpReader.h"
#include "WireFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestro::bench {

/** How a camera's frames are spread over time. */
struct Pace {
    double framePeriod = 0;         ///< ns from the begin of one to the begin of the next
    double nanosecondsPerByte = 0;  ///< of the link
};

/** When the last packet of a frame was sent. */
struct SentFrame {
    std::uint16_t blockId = 0;
    std::int64_t began = 0;     ///< the system call that sent it
    std::int64_t returned = 0;  ///< it
};

/** The frames of one camera on their way to a receiver, from the camera's address. */
class CameraStream {
 public:
    /** `firstBlock` is the first frame's id. Throws std::runtime_error. */
    CameraStream(std::uint32_t camera, const StreamChannel& channel, std::vector<WireFrame> frames,
                 std::uint16_t firstBlock);
    CameraStream(CameraStream&& other) noexcept;
    CameraStream& operator=(CameraStream&&) = delete;
    ~CameraStream();

    void begin(std::int64_t at, const Pace& pace);
    /** When the next piece is to be sent. */
    [[nodiscard]] std::int64_t due() const { return static_cast<std::int64_t>(due_); }
    void sendPiece(std::int64_t now);
    /** A frame has been sent, and none of the next one. */
    [[nodiscard]] bool isBetweenFrames() const { return piece_ == 0; }

    [[nodiscard]] std::size_t frameBytes() const { return frames_.front().bytes(); }
    [[nodiscard]] const std::vector<SentFrame>& sent() const { return sent_; }
    [[nodiscard]] std::uint64_t packets() const { return packets_; }
    [[nodiscard]] std::uint64_t bytes() const { return bytes_; }
    [[nodiscard]] std::uint16_t nextBlock() const { return blockId_; }
    /** Packets that the kernel did not take. */
    [[nodiscard]] std::uint64_t refused() const { return refused_; }

 private:
    void transmit(WireFrame& frame, const Piece& piece);
    void schedule(const Piece& piece, std::int64_t now);

    int socket_ = -1;
    std::vector<WireFrame> frames_;
    std::size_t frame_ = 0;
    std::size_t piece_ = 0;
    std::uint16_t blockId_;
    Pace pace_;
    double frameDue_ = 0;
    double due_ = 0;
    std::vector<SentFrame> sent_;
    std::uint64_t packets_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t refused_ = 0;
};

}  // namespace kestro::bench
