// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/kestro.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace endurance {

/** What came from a camera, and what the library says of it. */
struct Account {
    std::uint64_t delivered = 0;
    std::uint64_t corrupt = 0;      ///< the stamp is not that of the image, or of another block
    std::uint64_t missing = 0;      ///< block ids that were passed over
    std::uint64_t restarts = 0;     ///< block ids that began anew
    std::uint64_t unexplained = 0;  ///< missing ones that the library had not counted by then
    std::uint64_t offline = 0;      ///< connection events
    std::uint64_t online = 0;
    // The library's counters of the stream; false when they could not be asked in the end.
    bool isCounted = false;
    std::uint64_t lost = 0;
    std::uint64_t refused = 0;  ///< received whole, but their results contradict themselves
    std::uint64_t lostPackets = 0;
    std::uint64_t resendRequests = 0;
    std::uint64_t resentPackets = 0;
    std::uint64_t reconnects = 0;
};

/** One camera, read until it is told to stop. Threads: any, but start() and stop(). */
class CameraWatch {
 public:
    struct Wanted {
        std::uint64_t frames = 0;      ///< that the camera takes by itself; 0: until it is stopped
        std::int64_t packetBytes = 0;  ///< 0: what the library finds
        std::int32_t buffers = 0;      ///< 0: the library's default
        bool isStamped = false;        ///< every image must carry its stamp
    };

    CameraWatch(std::shared_ptr<kestro::Camera> camera, const Wanted& wanted);
    ~CameraWatch();
    CameraWatch(const CameraWatch&) = delete;
    CameraWatch& operator=(const CameraWatch&) = delete;

    /** Throws std::runtime_error. */
    void start();
    void stop();
    [[nodiscard]] const std::string& serial() const { return serial_; }
    [[nodiscard]] std::uint64_t delivered() const { return delivered_; }
    [[nodiscard]] bool isConnected() const { return camera_->isConnected(); }
    [[nodiscard]] Account account() const;

 private:
    void set(const char* feature, const char* text);
    void set(const char* feature, std::int64_t value);
    [[nodiscard]] std::optional<std::uint64_t> counter(const char* feature) const;
    void take(const kestro::Frame& frame);
    void follow(std::uint64_t blockId);
    /** Frames that are not to be expected; empty while the camera is away. */
    [[nodiscard]] std::optional<std::uint64_t> explained() const;
    void readCounters();

    const std::shared_ptr<kestro::Camera> camera_;
    const Wanted wanted_;
    const std::string serial_;
    std::atomic<std::uint64_t> delivered_{0};

    mutable std::mutex mutex_;  // guards what follows
    std::uint64_t lastBlock_ = 0;
    Account account_;
};

}  // namespace endurance
