// SPDX-License-Identifier: Apache-2.0
#include "Feature.h"
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Outages.h"
#include "Output.h"
#include "Pump.h"
#include "Text.h"

namespace kestrocli {
namespace {

constexpr std::size_t kMailboxEvents = 1024;

/** What a callback told. */
struct Event {
    std::chrono::system_clock::time_point time;
    std::string feature;  ///< empty: the connection changed
    bool online = true;
};

using EventMailbox = MailboxOf<Event>;

/** Has the camera's callbacks write to the mailbox, as long as it lives. */
class Subscription {
 public:
    Subscription(const Control& control, const std::shared_ptr<EventMailbox>& mailbox,
                 WhenLost whenLost)
        : control_(control), mailbox_(mailbox) {
        kestro::Camera& camera = *control.camera();
        camera.registerConnectCallback([mailbox, whenLost](const kestro::ConnectEventArg& event) {
            mailbox->put({std::chrono::system_clock::now(), "", event.state != 0});
            if (event.state == 0 && whenLost == WhenLost::end) mailbox->reportLost();
        });
        camera.registerParamUpdateCallback([mailbox](const kestro::ParamUpdateEventArg& event) {
            mailbox->put({std::chrono::system_clock::now(), event.name, true});
        });
    }
    ~Subscription() {
        mailbox_->stopWaiting();
        control_.camera()->registerParamUpdateCallback(nullptr);
        control_.camera()->registerConnectCallback(nullptr);
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

 private:
    const Control& control_;
    std::shared_ptr<EventMailbox> mailbox_;
};

/** Many cameras have little to tell unless they run; the frames are not wanted. */
void startAcquisition(const Control& control) {
    constexpr std::int32_t kDefaultBufferCount = 0;
    control.camera()->registerFrameCallback([](const std::shared_ptr<kestro::Frame>&) {});
    if (control.camera()->startGrabbing(kDefaultBufferCount).isOK()) return;
    throw control.failure("camera " + nameOf(control.record()) +
                          " could not be started; the log line above says why");
}

std::string eventText(const Event& event, const std::optional<FeatureValue>& value) {
    const std::string time = isoTime(event.time) + "  ";
    if (event.feature.empty()) return time + (event.online ? "connected" : "connection lost");
    return time + visible(event.feature) + "  " + (value ? visible(textOf(*value)) : "-");
}

std::string eventJson(const Event& event, const std::optional<FeatureValue>& value) {
    return event.feature.empty() ? connectionLine(event.time, event.online)
                                 : updateLine(event.time, event.feature, value);
}

std::optional<FeatureValue> valueNow(const Control& control, const std::string& name) {
    if (!hasFeature(control, name)) return std::nullopt;
    return Feature(control, name).value();
}

}  // namespace

ExitCode runEvents(const EventsOptions& options, Output& output) {
    const auto mailbox = std::make_shared<EventMailbox>(kMailboxEvents);
    const StopSignal stopSignal(mailbox->wake());
    const WhenLost whenLost = kestrocli::whenLost(options.noReconnect);
    const Control control(findCamera(options.camera));
    const Subscription subscription(control, mailbox, whenLost);
    if (options.acquire) startAcquisition(control);
    const bool endsByItself = options.seconds > 0 || options.events > 0;
    say("watching camera " + nameOf(control.record()) + (endsByItself ? "" : ", until Ctrl-C"));
    Deadlines deadlines;
    if (options.seconds > 0) {
        deadlines.end = after(std::chrono::steady_clock::now(), options.seconds);
    }
    std::uint64_t written = 0;
    bool isAway = false;
    const End end = pump(*mailbox, deadlines, [&](const Event& event) {
        if (event.feature.empty()) isAway = !event.online;
        const auto value = valueNow(control, event.feature);
        output.write((options.json ? eventJson(event, value) : eventText(event, value)) + "\n");
        return options.events == 0 || ++written < options.events;
    });
    if (end == End::lost || (end == End::time && isAway)) throw lostFailure(control.record());
    return ExitCode::ok;
}

}  // namespace kestrocli
