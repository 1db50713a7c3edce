// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VordaGenICam.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <variant>

namespace Vorda::Gige {

/** A change of the connection, or the names of features that changed together. */
using CameraEvent = std::variant<GenICam::SConnectArg, GenICam::SParamsUpdateArg>;

/**
 * The events of a camera that wait for delivery, in their order.
 *
 * A name waits once: a further change of its feature is told by the one that waits, at its place.
 * But no update moves across a connection event: a change after one is told after it. Of the names,
 * the oldest go when more wait than may; connection events stay until all are
 * forgotten. Threads: one at a time.
 */
class EventQueue {
 public:
    void pushConnection(GenICam::SConnectArg event);
    /** One event for those of the names that do not wait yet; false when all do. */
    [[nodiscard]] bool pushUpdates(Infra::TVector<Infra::CString> names);
    [[nodiscard]] std::optional<CameraEvent> pop();
    void clear();
    /** How many names may wait. */
    void setLimit(std::size_t names);
    [[nodiscard]] bool isEmpty() const { return connections_.empty() && updates_.empty(); }

 private:
    /** Numbers go up from event to event; they bring both kinds into one order. */
    struct Connection {
        std::uint64_t number;
        GenICam::SConnectArg event;
    };
    struct Updates {
        std::uint64_t number;
        Infra::TVector<Infra::CString> names;
        std::size_t dropped = 0;  ///< so many of the first names are gone
    };

    [[nodiscard]] GenICam::SParamsUpdateArg popUpdates();
    void forget(const Updates& updates, std::size_t index);
    void dropOldNames();

    std::deque<Connection> connections_;
    std::deque<Updates> updates_;
    /** The waiting names that are newer than every connection event; they point into updates_. */
    std::unordered_set<std::string_view> latest_;
    std::size_t waitingNames_ = 0;
    std::size_t limit_ = 8192;
    std::uint64_t lastNumber_ = 0;
    std::uint64_t lastConnection_ = 0;  ///< number of the latest connection event
};

}  // namespace Vorda::Gige
