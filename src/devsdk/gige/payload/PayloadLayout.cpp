// SPDX-License-Identifier: Apache-2.0
#include "PayloadLayout.h"

#include "HeldLines.h"
#include "LastError.h"
#include "PayloadFeatures.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>

namespace Vorda::Gige {

namespace {

constexpr const char* kMark = " Value:";

/** Gives formulas the bytes of one payload for the camera's memory. */
class CurrentPayload final : public RegisterPort {
 public:
    void set(ByteView payload) { payload_ = payload; }

    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        if (address > payload_.size() || data.size() > payload_.size() - address)
            return fail(Error::feature, "it lies outside the data that came");
        const ByteView bytes = payload_.subspan(static_cast<std::size_t>(address), data.size());
        std::copy(bytes.begin(), bytes.end(), data.begin());
        return true;
    }
    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        std::uint8_t bytes[sizeof value];
        if (!readMemory(address, bytes)) return false;
        value = BigEndianReader(bytes).u32();
        return true;
    }
    bool writeRegister(std::uint64_t, std::uint32_t) override { return refuse(); }
    bool writeMemory(std::uint64_t, ByteView) override { return refuse(); }

 private:
    static bool refuse() { return fail(Error::feature, "data that came cannot be written"); }

    ByteView payload_;
};

/** The features of one chunk or event. */
struct Payload {
    /** What appendLines() needs of most features, side by side for the many it goes through. */
    struct Line {
        PayloadSlot slot;
        bool hasSlot = false;         ///< the slot says where the value is
        bool isPlain = false;         ///< and its value is the feature's
        std::uint32_t prefixEnd = 0;  ///< in `prefixes`; there the next one begins
        std::uint64_t least = 0;      ///< bytes without which there is no line from here on
    };

    std::vector<PayloadFeature> features;
    std::vector<Line> lines;
    std::string prefixes;  ///< "Name Value:" of each

    void add(PayloadFeature feature) {
        prefixes += feature.name;
        prefixes += kMark;
        const bool hasSlot = feature.source == PayloadFeature::Source::slot;
        lines.push_back({feature.slot, hasSlot, hasSlot && feature.form.isPlainFor(feature.slot),
                         static_cast<std::uint32_t>(prefixes.size()), 0});
        features.push_back(std::move(feature));
    }
    /** Ends the adding. */
    void finish() {
        std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
        for (std::size_t i = lines.size(); i-- > 0;) {
            const PayloadSlot& slot = lines[i].slot;
            least = std::min(least, lines[i].hasSlot ? slot.offset + slot.length : 0);
            lines[i].least = least;
        }
    }
    /** The lines that `bytes` may be long enough for: most chunks have room for few codes. */
    [[nodiscard]] std::span<const Line> linesFor(ByteView bytes) const {
        const auto end = std::partition_point(
            lines.begin(), lines.end(), [&](auto& line) { return line.least <= bytes.size(); });
        return {lines.begin(), end};
    }
};

using Payloads = std::map<std::uint32_t, Payload>;

const Payload* find(const Payloads& payloads, std::uint32_t id) {
    const auto found = payloads.find(id);
    return found == payloads.end() ? nullptr : &found->second;
}

}  // namespace

struct PayloadLayout::Impl {
    struct Place {
        PayloadPort port;
        std::size_t index;
    };

    void resolve();
    void clear();
    void findFeatures();
    void add(PayloadFeature feature);
    void log() const;
    [[nodiscard]] std::optional<LoadedValue> valueOf(const PayloadFeature& feature,
                                                     ByteView payload) const;
    [[nodiscard]] std::optional<LoadedValue> evaluate(const PayloadFeature& feature,
                                                      ByteView payload) const;

    std::once_flag once;
    std::atomic<bool> isTold{false};
    std::shared_ptr<const CheckedDescription> description;  ///< until it is resolved

    // Immutable once it is.
    Payloads chunks;
    Payloads events;
    std::unordered_map<std::string, Place> places;
    std::size_t unusable = 0;

    mutable std::mutex mutex;  ///< guards the two below
    mutable CurrentPayload current;
    std::unique_ptr<AravisNodes> nodes;  ///< null where nothing is to be evaluated
};

void PayloadLayout::Impl::resolve() {
    const KeepLastError kept;
    clear();
    const std::string xml = withOpenPorts(description->text());
    if (!xml.empty()) nodes = AravisNodes::make(current, xml);
    if (nodes) findFeatures();
    description.reset();
}

/** What an attempt has left that ran out of memory. */
void PayloadLayout::Impl::clear() {
    chunks.clear();
    events.clear();
    places.clear();
    unusable = 0;
    nodes.reset();
}

void PayloadLayout::Impl::findFeatures() {
    bool evaluates = false;
    for (PayloadFeature& feature : findPayloadFeatures(*nodes)) {
        evaluates |= feature.source == PayloadFeature::Source::moving ||
                     feature.source == PayloadFeature::Source::computed;
        add(std::move(feature));
    }
    for (auto& [id, chunk] : chunks) chunk.finish();
    if (!evaluates) nodes.reset();
}

void PayloadLayout::Impl::add(PayloadFeature feature) {
    if (feature.source == PayloadFeature::Source::none) ++unusable;
    const bool isChunk = feature.port.kind == PayloadPort::Kind::chunk;
    Payload& payload = (isChunk ? chunks : events)[feature.port.id];
    places.emplace(feature.name, Place{feature.port, payload.features.size()});
    payload.add(std::move(feature));
}

void PayloadLayout::Impl::log() const {
    if (unusable == 0) return;
    GIGE_LOG_WHEN_FREE(kDebug, std::to_string(unusable) +
                                   " features of chunks and events have no value: they need more "
                                   "than the bytes of one chunk or event");
}

std::optional<LoadedValue> PayloadLayout::Impl::valueOf(const PayloadFeature& feature,
                                                        ByteView bytes) const {
    std::optional<LoadedValue> loaded;
    if (feature.source == PayloadFeature::Source::slot) {
        loaded = feature.slot.load(bytes);
    } else if (feature.source != PayloadFeature::Source::none) {
        loaded = evaluate(feature, bytes);
    }
    return loaded ? feature.form.valueOf(*loaded) : std::nullopt;
}

std::optional<LoadedValue> PayloadLayout::Impl::evaluate(const PayloadFeature& feature,
                                                         ByteView bytes) const {
    const KeepLastError kept;
    const std::lock_guard lock(mutex);
    current.set(bytes);
    GuardedError error;
    LoadedValue value;
    if (feature.source == PayloadFeature::Source::moving) {
        ArvGcRegister* place = ARV_GC_REGISTER(feature.node);
        const guint64 address = arv_gc_register_get_address(place, error.out());
        if (error.get()) return std::nullopt;
        const guint64 length = arv_gc_register_get_length(place, error.out());
        if (error.get()) return std::nullopt;
        const auto slot = slotOf(feature.node, address, length);
        return slot ? slot->load(bytes) : std::nullopt;
    }
    // Floats first: Aravis has formulas over floats as integers, too.
    if (ARV_IS_GC_FLOAT(feature.node)) {
        value = arv_gc_float_get_value(ARV_GC_FLOAT(feature.node), error.out());
    } else {
        value = std::int64_t{arv_gc_integer_get_value(ARV_GC_INTEGER(feature.node), error.out())};
    }
    return error.get() ? std::nullopt : std::optional(value);
}

PayloadLayout::PayloadLayout(std::shared_ptr<const CheckedDescription> description)
    : impl_(std::make_unique<Impl>()) {
    impl_->description = std::move(description);
}

PayloadLayout::~PayloadLayout() = default;

const PayloadLayout::Impl& PayloadLayout::resolved() const {
    std::call_once(impl_->once, [this] { impl_->resolve(); });
    return *impl_;
}

const PayloadLayout::Impl& PayloadLayout::resolvedAndTold() const {
    const Impl& impl = resolved();
    if (!impl_->isTold && !impl_->isTold.exchange(true)) impl.log();
    return impl;
}

void PayloadLayout::prepare() const { static_cast<void>(resolvedAndTold()); }

void PayloadLayout::appendLines(std::uint32_t id, ByteView chunk,
                                Infra::TVector<Infra::CString>& lines) const {
    const Impl& impl = resolvedAndTold();
    const Payload* payload = find(impl.chunks, id);
    if (!payload) return;
    const std::span<const Payload::Line> candidates = payload->linesFor(chunk);
    lines.reserve(lines.size() + candidates.size());
    const std::string_view prefixes = payload->prefixes;
    Digits digits;
    std::size_t prefixBegin = 0;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const Payload::Line& line = candidates[i];
        const std::size_t begin = std::exchange(prefixBegin, line.prefixEnd);
        if (line.hasSlot && !line.slot.isIn(chunk)) continue;
        const std::string_view prefix = prefixes.substr(begin, line.prefixEnd - begin);
        if (line.isPlain) {
            lines.emplace_back(prefix, line.slot.textOf(chunk, digits));
            continue;
        }
        const PayloadFeature& feature = payload->features[i];
        if (const auto value = impl.valueOf(feature, chunk))
            lines.emplace_back(prefix, feature.form.textOf(*value, digits));
    }
}

bool PayloadLayout::isChunkFeature(const std::string& name) const {
    const Impl& impl = resolvedAndTold();
    const auto place = impl.places.find(name);
    return place != impl.places.end() && place->second.port.kind == PayloadPort::Kind::chunk;
}

std::vector<std::string> PayloadLayout::eventFeatures(std::uint32_t id) const {
    std::vector<std::string> names;
    if (const Payload* payload = find(resolvedAndTold().events, id))
        for (const PayloadFeature& feature : payload->features) names.push_back(feature.name);
    return names;
}

std::optional<std::uint32_t> PayloadLayout::eventOf(const std::string& name) const {
    const Impl& impl = resolved();
    const auto place = impl.places.find(name);
    if (place == impl.places.end() || place->second.port.kind != PayloadPort::Kind::event)
        return std::nullopt;
    return place->second.port.id;
}

std::optional<PayloadValue> PayloadLayout::eventValue(const std::string& name,
                                                      ByteView event) const {
    const Impl& impl = resolved();
    const auto place = impl.places.find(name);
    if (place == impl.places.end() || place->second.port.kind != PayloadPort::Kind::event)
        return std::nullopt;
    const Payload& payload = impl.events.at(place->second.port.id);
    const auto value = impl.valueOf(payload.features[place->second.index], event);
    if (!value) return std::nullopt;
    if (const auto* integer = std::get_if<std::int64_t>(&*value)) return *integer;
    if (const auto* single = std::get_if<float>(&*value)) return double{*single};
    if (const auto* real = std::get_if<double>(&*value)) return *real;
    return std::string(std::get<std::string_view>(*value));
}

}  // namespace Vorda::Gige
