// SPDX-License-Identifier: Apache-2.0
#include "EventQueue.h"

#include <utility>

namespace Vorda::Gige {
namespace {

std::string_view viewOf(const Infra::CString& name) { return {name.data(), name.size()}; }

}  // namespace

void EventQueue::pushConnection(GenICam::SConnectArg event) {
    lastConnection_ = ++lastNumber_;
    connections_.push_back({lastConnection_, event});
    latest_.clear();
}

bool EventQueue::pushUpdates(Infra::TVector<Infra::CString> names) {
    Infra::TVector<Infra::CString> room;
    room.reserve(names.size());  // the set's views need names that stay where they are
    updates_.push_back({++lastNumber_, std::move(room)});
    auto& fresh = updates_.back().names;
    for (Infra::CString& name : names) {
        if (latest_.contains(viewOf(name))) continue;
        fresh.push_back(std::move(name));
        ++waitingNames_;
        latest_.insert(viewOf(fresh.back()));
    }
    if (fresh.empty()) {
        updates_.pop_back();
        return false;
    }
    dropOldNames();
    return true;
}

std::optional<CameraEvent> EventQueue::pop() {
    if (isEmpty()) return std::nullopt;
    const bool isUpdate =
        connections_.empty() ||
        (!updates_.empty() && updates_.front().number < connections_.front().number);
    if (isUpdate) return popUpdates();
    const GenICam::SConnectArg event = connections_.front().event;
    connections_.pop_front();
    return event;
}

void EventQueue::clear() {
    latest_.clear();
    connections_.clear();
    updates_.clear();
    waitingNames_ = 0;
}

GenICam::SParamsUpdateArg EventQueue::popUpdates() {
    Updates& oldest = updates_.front();
    for (std::size_t i = oldest.dropped; i < oldest.names.size(); ++i) forget(oldest, i);
    auto names = std::move(oldest.names);
    names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(oldest.dropped));
    updates_.pop_front();
    return {std::move(names)};
}

/** Takes a name out of the account, before it leaves. */
void EventQueue::forget(const Updates& updates, std::size_t index) {
    if (updates.number > lastConnection_) latest_.erase(viewOf(updates.names[index]));
    --waitingNames_;
}

void EventQueue::dropOldNames() {
    while (waitingNames_ > limit_) {
        Updates& oldest = updates_.front();
        forget(oldest, oldest.dropped++);
        if (oldest.dropped == oldest.names.size()) updates_.pop_front();
    }
}

void EventQueue::setLimit(std::size_t names) {
    limit_ = names;
    dropOldNames();
}

}  // namespace Vorda::Gige
