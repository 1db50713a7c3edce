// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AravisNodes.h"
#include "PayloadValue.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vorda::Gige {

/** What a port of a description stands for. */
struct PayloadPort {
    enum class Kind { device, chunk, event };
    Kind kind = Kind::device;
    std::uint32_t id = 0;  ///< of a chunk or an event
    bool operator==(const PayloadPort&) const = default;
};

/** A feature whose value travels in a chunk or an event. */
struct PayloadFeature {
    enum class Source {
        slot,      ///< a register at a fixed place
        moving,    ///< a register whose place the payload's own bytes tell
        computed,  ///< a formula over registers at fixed places
        none       ///< needs more than one payload, or nothing that can be read
    };

    std::string name;
    PayloadPort port;
    PayloadForm form;
    Source source = Source::none;
    PayloadSlot slot;           ///< of Source::slot
    ArvGcNode* node = nullptr;  ///< the register or formula to be evaluated, of the other sources
};

/**
 * The description with the ids of its ports put where Aravis does not look for them.
 *
 * Aravis' ports with an id refuse to be read; without one they read through the RegisterPort that
 * the node map was made with, as all others do. Empty for a description without such ports.
 */
[[nodiscard]] std::string withOpenPorts(const std::string& description);

/** Finds the features in a description that withOpenPorts() made, in the order of their lines. */
[[nodiscard]] std::vector<PayloadFeature> findPayloadFeatures(const AravisNodes& nodes);

/** A register as a slot, at a place that was evaluated; empty for one that cannot be read. */
[[nodiscard]] std::optional<PayloadSlot> slotOf(ArvGcNode* node, std::uint64_t address,
                                                std::uint64_t length);

}  // namespace Vorda::Gige
