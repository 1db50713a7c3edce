// SPDX-License-Identifier: Apache-2.0
#include "IncidentSchedule.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kestrosim {

IncidentSchedule::IncidentSchedule(std::vector<Incident> incidents, Clock::time_point switchedOn)
    : incidents_(std::move(incidents)), switchedOn_(switchedOn) {}

template <typename IsDue>
std::vector<Incident> IncidentSchedule::take(IsDue isDue) {
    const auto firstDue = std::stable_partition(incidents_.begin(), incidents_.end(),
                                                [&](auto& i) { return !isDue(i); });
    std::vector<Incident> due(std::make_move_iterator(firstDue),
                              std::make_move_iterator(incidents_.end()));
    incidents_.erase(firstDue, incidents_.end());
    return due;
}

std::vector<Incident> IncidentSchedule::takeDueByFrame() {
    ++frames_;
    return take([this](const Incident& incident) {
        return incident.atFrame != 0 && incident.atFrame <= frames_;
    });
}

std::vector<Incident> IncidentSchedule::takeDue(Clock::time_point now) {
    return take([&](const Incident& incident) {
        return incident.atFrame == 0 && switchedOn_ + incident.after <= now;
    });
}

std::optional<IncidentSchedule::Clock::time_point> IncidentSchedule::nextDue() const {
    std::optional<Clock::time_point> next;
    for (const Incident& incident : incidents_) {
        if (incident.atFrame != 0) continue;
        const Clock::time_point due = switchedOn_ + incident.after;
        if (!next || due < *next) next = due;
    }
    return next;
}

}  // namespace kestrosim
