// SPDX-License-Identifier: Apache-2.0
#include "CameraWatch.h"

#include "Stamp.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace endurance {

CameraWatch::CameraWatch(std::shared_ptr<kestro::Camera> camera, const Wanted& wanted)
    : camera_(std::move(camera)),
      wanted_(wanted),
      serial_(camera_->getDeviceInfo()->getSerialNumber()) {}

CameraWatch::~CameraWatch() { stop(); }

void CameraWatch::set(const char* feature, const char* text) {
    kestro::ParameterEnum parameter(camera_, feature);
    if (!parameter.setValue(text))
        throw std::runtime_error(serial_ + ": " + feature + " is not to be set to " + text);
}

void CameraWatch::set(const char* feature, std::int64_t value) {
    kestro::ParameterInt parameter(camera_, feature);
    if (!parameter.setValue(value))
        throw std::runtime_error(serial_ + ": " + feature + " is not to be set");
}

void CameraWatch::start() {
    if (!camera_->connect()) throw std::runtime_error(serial_ + ": cannot be connected");
    if (wanted_.frames != 0) {
        set("AcquisitionMode", "MultiFrame");
        set("AcquisitionFrameCount", static_cast<std::int64_t>(wanted_.frames));
    }
    if (wanted_.packetBytes != 0) set("GevSCPSPacketSize", wanted_.packetBytes);
    camera_->registerConnectCallback([this](const kestro::ConnectEventArg& change) {
        const std::lock_guard lock(mutex_);
        ++(change.state == 1 ? account_.online : account_.offline);
    });
    camera_->registerFrameCallback(
        [this](const std::shared_ptr<kestro::Frame>& frame) { take(*frame); });
    if (!camera_->startGrabbing(wanted_.buffers))
        throw std::runtime_error(serial_ + ": the acquisition cannot be started");
}

void CameraWatch::stop() {
    if (!camera_->isGrabbing()) return;
    camera_->stopGrabbing();
    readCounters();
    camera_->disconnect();
    camera_->registerFrameCallback({});
    camera_->registerConnectCallback({});
}

/** Empty while the camera is away. */
std::optional<std::uint64_t> CameraWatch::counter(const char* feature) const {
    std::int64_t value = 0;
    if (!kestro::ParameterInt(camera_, feature).getValue(value)) return std::nullopt;
    return static_cast<std::uint64_t>(value);
}

void CameraWatch::readCounters() {
    const auto read = [this](const char* feature, std::uint64_t& number) {
        if (const auto value = counter(feature))
            number = *value;
        else
            account_.isCounted = false;
    };
    const std::lock_guard lock(mutex_);
    account_.isCounted = true;
    read("StreamLostFrameCount", account_.lost);
    read("StreamDeliveredFrameCount", account_.refused);
    account_.refused -= std::min(account_.refused, account_.delivered);
    read("StreamLostPacketCount", account_.lostPackets);
    read("StreamResendRequestCount", account_.resendRequests);
    read("StreamResentPacketCount", account_.resentPackets);
    read("StreamReconnectCount", account_.reconnects);
}

void CameraWatch::take(const kestro::Frame& frame) {
    const bool isSound =
        !wanted_.isStamped ||
        kestro::test::checkStamp(frame.getImageData(), frame.getImageSize(), frame.getBlockId());
    const std::lock_guard lock(mutex_);
    if (!isSound) ++account_.corrupt;
    ++account_.delivered;
    ++delivered_;
    follow(frame.getBlockId());
}

/**
 * Ids begin at 1 with the stream and with each that is begun anew; the library counts those of 16
 * bits on past 65535, but knows nothing of where they were before it connected again.
 */
void CameraWatch::follow(std::uint64_t blockId) {
    constexpr std::uint64_t kLastId = 0xffff;
    const bool isBack = blockId <= lastBlock_;
    const std::uint64_t before = isBack ? (lastBlock_ - 1) % kLastId + 1 : lastBlock_;
    const bool hasWrapped = isBack && before + 64 > kLastId && blockId < 64;
    std::uint64_t passed = blockId - 1;
    if (hasWrapped)
        passed += kLastId - before;
    else if (blockId > before)
        passed -= before;
    else
        ++account_.restarts;
    lastBlock_ = blockId;
    if (passed == 0) return;
    account_.missing += passed;
    const auto expected = explained();
    if (!expected) return;
    const std::uint64_t known = *expected + account_.unexplained;
    if (account_.missing > known) account_.unexplained += account_.missing - known;
}

std::optional<std::uint64_t> CameraWatch::explained() const {
    const auto lost = counter("StreamLostFrameCount");
    // This frame is among them already.
    const auto received = counter("StreamDeliveredFrameCount");
    if (!lost || !received) return std::nullopt;
    return *lost + *received - std::min(*received, account_.delivered);
}

Account CameraWatch::account() const {
    const std::lock_guard lock(mutex_);
    return account_;
}

}  // namespace endurance
