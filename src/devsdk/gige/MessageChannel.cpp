// SPDX-License-Identifier: Apache-2.0
#include "MessageChannel.h"

#include <utility>

namespace Vorda::Gige {

struct MessageChannel::Impl {};

MessageChannel::MessageChannel(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MessageChannel::~MessageChannel() = default;

std::unique_ptr<MessageChannel> MessageChannel::open(RegisterPort&, MessageSetup) {
    return std::unique_ptr<MessageChannel>(new MessageChannel(std::make_unique<Impl>()));
}

void MessageChannel::close(RegisterPort&) {}

}  // namespace Vorda::Gige
