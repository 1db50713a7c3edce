// SPDX-License-Identifier: Apache-2.0
#include "Simulator.h"

#include "CameraDevice.h"
#include "Description.h"
#include "IncidentSchedule.h"
#include "PictureFolder.h"
#include "UdpSocket.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace kestrosim {
namespace {

/** With a sensor that takes the pictures, if it shows any. */
CameraOptions fitted(CameraOptions options) {
    if (options.imageFolder.empty()) return options;
    const PictureFolder folder(options.imageFolder, {options.width, options.height});
    options.width = folder.sensor().width;
    options.height = folder.sensor().height;
    return options;
}

/** What was done before and since the camera was switched on again. */
CameraStatistics sum(const CameraStatistics& before, CameraStatistics since) {
    if (since.blockId == 0) {
        since.blockId = before.blockId;
        since.leaderBytes = before.leaderBytes;
        since.pixelFormat = before.pixelFormat;
    }
    since.framesSent += before.framesSent;
    since.framesStamped += before.framesStamped;
    since.packetsSent += before.packetsSent;
    since.packetsResent += before.packetsResent;
    since.commandsAnswered += before.commandsAnswered;
    since.registersRead += before.registersRead;
    since.registersWritten += before.registersWritten;
    since.memoryReads += before.memoryReads;
    since.memoryWrites += before.memoryWrites;
    since.commandsRefused += before.commandsRefused;
    since.answerFaults += before.answerFaults;
    since.eventsSent += before.eventsSent;
    since.eventsAcknowledged += before.eventsAcknowledged;
    since.packetFaults += before.packetFaults;
    since.resultsCut += before.resultsCut;
    since.resultsCorrupted += before.resultsCorrupted;
    return since;
}

}  // namespace

PacketFaultCounts& PacketFaultCounts::operator+=(const PacketFaultCounts& more) {
    lost += more.lost;
    reordered += more.reordered;
    duplicated += more.duplicated;
    delayed += more.delayed;
    truncated += more.truncated;
    wrongSize += more.wrongSize;
    foreign += more.foreign;
    tooLarge += more.tooLarge;
    return *this;
}

/** The camera and what becomes of it: the cable is pulled, the power fails. */
struct SimulatedCamera::State {
    explicit State(const CameraOptions& chosen);
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    [[nodiscard]] CameraStatistics statistics() const;

 private:
    using Clock = IncidentSchedule::Clock;
    using Lock = std::unique_lock<std::mutex>;

    [[nodiscard]] std::unique_ptr<CameraDevice> switchOn(const std::string& address);
    void afterFrame(CameraDevice& device);
    void begin(CameraDevice& device, const Incident& incident);
    void run();
    void advance(Lock& lock);
    void cyclePower(Lock& lock, const Incident& incident);
    void switchOff(Lock& lock);
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;

    const CameraOptions options_;
    const Description text_;

    mutable std::mutex mutex_;  ///< guards all that follows but the thread
    std::condition_variable changed_;
    bool quit_ = false;
    IncidentSchedule schedule_;
    std::uint64_t incidents_ = 0;              ///< that have begun
    std::optional<Clock::time_point> plugAt_;  ///< when the cable that is pulled is plugged
    std::optional<Incident> powerCycle_;       ///< that has begun
    std::string address_;                      ///< where it is now
    CameraStatistics before_;                  ///< of the times that it was on before
    std::unique_ptr<CameraDevice> device_;     ///< empty: off. Replaced by the thread alone.

    std::thread thread_;  ///< none without incidents
};

SimulatedCamera::State::State(const CameraOptions& chosen)
    : options_(fitted(chosen)),
      text_(loadDescription(options_.descriptionFile)),
      schedule_(options_.faults.incidents, Clock::now()),
      address_(options_.address),
      device_(switchOn(address_)) {
    if (!options_.faults.incidents.empty()) thread_ = std::thread([this] { run(); });
}

SimulatedCamera::State::~State() {
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

CameraStatistics SimulatedCamera::State::statistics() const {
    const std::lock_guard lock(mutex_);
    CameraStatistics statistics =
        sum(before_, device_ ? device_->statistics() : CameraStatistics{});
    statistics.incidents = incidents_;
    return statistics;
}

std::unique_ptr<CameraDevice> SimulatedCamera::State::switchOn(const std::string& address) {
    std::function<void(CameraDevice&)> tell;
    if (!options_.faults.incidents.empty()) {
        tell = [this](CameraDevice& device) { afterFrame(device); };
    }
    return std::make_unique<CameraDevice>(options_, requireAddress(address), text_,
                                          std::move(tell));
}

// By the stream's thread, so that the very next frame meets what happens.
void SimulatedCamera::State::afterFrame(CameraDevice& device) {
    std::vector<Incident> due;
    {
        const std::lock_guard lock(mutex_);
        due = schedule_.takeDueByFrame();
        incidents_ += due.size();
    }
    for (const Incident& incident : due) begin(device, incident);
}

void SimulatedCamera::State::begin(CameraDevice& device, const Incident& incident) {
    device.suffer(incident);
    const bool isPowerCycle = incident.kind == Incident::Kind::powerCycle;
    if (!isPowerCycle && incident.kind != Incident::Kind::disconnect) return;
    const std::lock_guard lock(mutex_);
    device.cable().pull();  // not between the end of an earlier outage and its plug
    if (isPowerCycle) {
        powerCycle_ = incident;
    } else {
        plugAt_ = std::max(plugAt_.value_or(Clock::time_point{}), Clock::now() + incident.lasts);
    }
    changed_.notify_all();
}

void SimulatedCamera::State::run() {
    ::pthread_setname_np(::pthread_self(), "sim-incidents");
    Lock lock(mutex_);
    while (!quit_) {
        advance(lock);
        if (quit_ || powerCycle_) continue;
        if (const auto due = nextDue()) {
            changed_.wait_until(lock, *due);
        } else {
            changed_.wait(lock);
        }
    }
}

void SimulatedCamera::State::advance(Lock& lock) {
    if (powerCycle_) return cyclePower(lock, *std::exchange(powerCycle_, std::nullopt));
    const Clock::time_point now = Clock::now();
    if (plugAt_ && *plugAt_ <= now) {
        plugAt_.reset();
        if (device_) device_->cable().plug();
    }
    const std::vector<Incident> due = schedule_.takeDue(now);
    incidents_ += due.size();
    if (due.empty() || !device_) return;
    lock.unlock();
    for (const Incident& incident : due) begin(*device_, incident);
    lock.lock();
}

void SimulatedCamera::State::cyclePower(Lock& lock, const Incident& incident) {
    const Clock::time_point onAt = Clock::now() + incident.lasts;
    switchOff(lock);
    changed_.wait_until(lock, onAt, [this] { return quit_; });
    if (quit_) return;
    if (!incident.address.empty()) address_ = incident.address;
    const std::string address = address_;
    lock.unlock();
    std::unique_ptr<CameraDevice> device;
    try {
        device = switchOn(address);
    } catch (const std::exception& error) {
        if (options_.report) options_.report(options_.serial + " stays off: " + error.what());
    }
    lock.lock();
    device_ = std::move(device);
}

void SimulatedCamera::State::switchOff(Lock& lock) {
    if (!device_) return;
    before_ = sum(before_, device_->statistics());
    plugAt_.reset();
    std::unique_ptr<CameraDevice> off = std::move(device_);
    lock.unlock();
    off.reset();
    lock.lock();
    powerCycle_.reset();  // what began while it went off
}

std::optional<SimulatedCamera::State::Clock::time_point> SimulatedCamera::State::nextDue() const {
    const auto due = schedule_.nextDue();
    if (!plugAt_ || !due) return plugAt_ ? plugAt_ : due;
    return std::min(*plugAt_, *due);
}

SimulatedCamera::SimulatedCamera(const CameraOptions& options)
    : state_(std::make_unique<State>(options)) {}

SimulatedCamera::~SimulatedCamera() = default;

CameraStatistics SimulatedCamera::statistics() const { return state_->statistics(); }

}  // namespace kestrosim
