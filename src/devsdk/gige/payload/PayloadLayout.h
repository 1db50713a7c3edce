// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"
#include "DescriptionCheck.h"
#include "PayloadValue.h"
#include "VordaInfra.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * Where the features lie whose values do not live in the camera's registers but travel: in the
 * chunks of a frame and in the data of an event.
 *
 * Resolved once, at the first question or by prepare(), from the GenICam description: for each
 * feature its port's chunk or event id, offset, length, byte order and kind. Features behind a
 * formula are evaluated by a node map of this class's own. Nothing is read outside the bytes given;
 * a feature whose bytes are not all there has no value. Nor has one that needs more than the bytes
 * of one chunk or event: registers of the camera, or a second chunk; the log says so once. Threads:
 * any; eventOf() and eventValue() do not log, and so may be called with a lock held.
 */
class PayloadLayout {
 public:
    /** Lets go of the description when it is resolved. */
    explicit PayloadLayout(std::shared_ptr<const CheckedDescription> description);
    ~PayloadLayout();
    PayloadLayout(const PayloadLayout&) = delete;
    PayloadLayout& operator=(const PayloadLayout&) = delete;

    /** Resolves the layout, which can take a tenth of a second; does nothing when it is. */
    void prepare() const;
    /**
     * Appends one line "Name Value:text" for each feature of chunk `id` that the chunk is long
     * enough for: first those of the category tree in its order, then the others in the order of
     * the description. Booleans are 0 or 1, enumerations their symbol, or their number where no
     * entry has it.
     */
    void appendLines(std::uint32_t id, ByteView chunk, Infra::TVector<Infra::CString>& lines) const;
    /** True also for a chunk's feature that has no value here. */
    [[nodiscard]] bool isChunkFeature(const std::string& name) const;

    /** The features that event `id` carries, in the order of appendLines(). */
    [[nodiscard]] std::vector<std::string> eventFeatures(std::uint32_t id) const;
    /** The event that carries a feature; empty for one that none carries. */
    [[nodiscard]] std::optional<std::uint32_t> eventOf(const std::string& name) const;
    /**
     * The value of an event feature in the bytes of its event: of booleans 0 or 1, of enumerations
     * the number. The bytes begin with the event's own header (16 bytes, 24 with extended ids):
     * address 0 of an event's port is its first byte.
     */
    [[nodiscard]] std::optional<PayloadValue> eventValue(const std::string& name,
                                                         ByteView event) const;

 private:
    struct Impl;
    [[nodiscard]] const Impl& resolved() const;
    [[nodiscard]] const Impl& resolvedAndTold() const;

    std::unique_ptr<Impl> impl_;
};

}  // namespace Vorda::Gige
