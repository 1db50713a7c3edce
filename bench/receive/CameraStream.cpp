// SPDX-License-Identifier: Apache-2.0
#include "CameraStream.h"

#include "MonotonicTime.h"

#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kestro::bench {

namespace {

/** A sender that could not keep up does not make good for more than so much time. */
constexpr double kMostCatchUp = 500'000;
constexpr std::size_t kFramesExpected = 1 << 14;

bool connect(int socket, std::uint32_t camera, const StreamChannel& channel) {
    const sockaddr_in from = socketAddressOf(camera, 0);
    const sockaddr_in& to = channel.destination;
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&from), sizeof from) == 0 &&
           ::connect(socket, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
}

}  // namespace

CameraStream::CameraStream(std::uint32_t camera, const StreamChannel& channel,
                           std::vector<WireFrame> frames, std::uint16_t firstBlock)
    : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      frames_(std::move(frames)),
      blockId_(firstBlock) {
    const int segmentBytes = static_cast<int>(frames_.front().segmentBytes());
    const int bufferBytes = 4 << 20;
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDBUF, &bufferBytes, sizeof bufferBytes);
    if (!connect(socket_, camera, channel) ||
        ::setsockopt(socket_, SOL_UDP, UDP_SEGMENT, &segmentBytes, sizeof segmentBytes) != 0) {
        ::close(socket_);
        throw std::runtime_error("a camera's stream cannot be sent");
    }
    sent_.reserve(kFramesExpected);
}

CameraStream::CameraStream(CameraStream&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)),
      frames_(std::move(other.frames_)),
      blockId_(other.blockId_),
      sent_(std::move(other.sent_)) {}

CameraStream::~CameraStream() {
    if (socket_ >= 0) ::close(socket_);
}

void CameraStream::begin(std::int64_t at, const Pace& pace) {
    pace_ = pace;
    frameDue_ = due_ = static_cast<double>(at);
}

void CameraStream::sendPiece(std::int64_t now) {
    WireFrame& frame = frames_[frame_];
    const Piece& piece = frame.pieces()[piece_];
    frame.stamp(piece, blockId_, now);
    const std::int64_t began = monotonicNow();
    transmit(frame, piece);
    schedule(piece, now);
    if (++piece_ < frame.pieces().size()) return;
    sent_.push_back({blockId_, began, monotonicNow()});
    piece_ = 0;
    frame_ = (frame_ + 1) % frames_.size();
    if (++blockId_ == 0) blockId_ = 1;
}

void CameraStream::schedule(const Piece& piece, std::int64_t now) {
    due_ += static_cast<double>(piece.bytes) * pace_.nanosecondsPerByte;
    const double earliest = static_cast<double>(now) - kMostCatchUp;
    if (piece_ + 1 == frames_[frame_].pieces().size()) {
        frameDue_ = std::max(frameDue_ + pace_.framePeriod, earliest);
        due_ = frameDue_;
    } else if (due_ < earliest) {
        frameDue_ += earliest - due_;
        due_ = earliest;
    }
}

void CameraStream::transmit(WireFrame& frame, const Piece& piece) {
    std::span<mmsghdr> left = frame.messages(piece);
    while (!left.empty()) {
        const int count = ::sendmmsg(socket_, left.data(), static_cast<unsigned>(left.size()), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) ++refused_;
        left = left.subspan(static_cast<std::size_t>(std::max(count, 1)));
    }
    packets_ += piece.packets;
    bytes_ += piece.bytes;
}

}  // namespace kestro::bench
