// SPDX-License-Identifier: Apache-2.0
#include "Grab.h"

#include "Failure.h"

#include <utility>

namespace kestrocli {
namespace {

constexpr std::int32_t kDefaultBufferCount = 0;

}  // namespace

Grab::Grab(FoundCamera found, std::size_t source, std::shared_ptr<Mailbox> mailbox,
           WhenLost whenLost)
    : control_(std::move(found)),
      source_(source),
      mailbox_(std::move(mailbox)),
      whenLost_(whenLost) {}

Grab::~Grab() { stop(); }

void Grab::start() {
    kestro::Camera& camera = *control_.camera();
    camera.registerFrameCallback(
        [mailbox = mailbox_, source = source_](const std::shared_ptr<kestro::Frame>& frame) {
            mailbox->put({source, frame, std::chrono::system_clock::now(),
                          std::chrono::steady_clock::now()});
        });
    camera.registerConnectCallback([mailbox = mailbox_, source = source_,
                                    whenLost = whenLost_](const kestro::ConnectEventArg& event) {
        const bool online = event.state != 0;
        if (whenLost == WhenLost::wait) {
            mailbox->put({source, nullptr, std::chrono::system_clock::now(),
                          std::chrono::steady_clock::now(), online});
        } else if (!online) {
            mailbox->reportLost();
        }
    });
    started_ = true;
    const kestro::Result result = camera.startGrabbing(kDefaultBufferCount);
    if (result.isFailure()) {
        throw Failure("camera " + nameOf(record()) + " could not be started (code " +
                      std::to_string(result.getCode()) + "); the log line above says why");
    }
}

void Grab::stop() {
    if (!std::exchange(started_, false)) return;
    mailbox_->stopWaiting();
    kestro::Camera& camera = *control_.camera();
    camera.stopGrabbing();
    camera.registerFrameCallback(nullptr);
    camera.registerConnectCallback(nullptr);
}

}  // namespace kestrocli
