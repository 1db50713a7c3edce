// SPDX-License-Identifier: Apache-2.0
#include "PayloadLayout.h"

#include "DeviceLog.h"
#include "LastError.h"
#include "PayloadFeatures.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
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

/** A feature and the beginning of its lines. */
struct LinedFeature {
    PayloadFeature feature;
    std::string prefix;
};

using Features = std::vector<LinedFeature>;

const Features* featuresOf(const std::map<std::uint32_t, Features>& features, std::uint32_t id) {
    const auto found = features.find(id);
    return found == features.end() ? nullptr : &found->second;
}

}  // namespace

struct PayloadLayout::Impl {
    struct Place {
        PayloadPort port;
        std::size_t index;
    };

    void resolve();
    void add(PayloadFeature feature);
    void log() const;
    [[nodiscard]] std::optional<LoadedValue> valueOf(const PayloadFeature& feature,
                                                     ByteView payload) const;
    [[nodiscard]] std::optional<LoadedValue> evaluate(const PayloadFeature& feature,
                                                      ByteView payload) const;

    std::once_flag once;
    std::string description;  // until it is resolved

    // Immutable once it is.
    std::map<std::uint32_t, Features> chunks;
    std::map<std::uint32_t, Features> events;
    std::unordered_map<std::string, Place> places;
    std::size_t unusable = 0;

    mutable std::mutex mutex;  ///< guards the two below
    mutable CurrentPayload payload;
    std::unique_ptr<AravisNodes> nodes;  ///< null where nothing is to be evaluated
};

void PayloadLayout::Impl::resolve() {
    const std::string xml = withOpenPorts(std::exchange(description, {}));
    if (xml.empty()) return;
    const KeepLastError kept;
    nodes = AravisNodes::make(payload, xml);
    if (!nodes) return;
    bool evaluates = false;
    for (PayloadFeature& feature : findPayloadFeatures(*nodes)) {
        evaluates |= feature.source == PayloadFeature::Source::moving ||
                     feature.source == PayloadFeature::Source::computed;
        add(std::move(feature));
    }
    if (!evaluates) nodes.reset();
}

void PayloadLayout::Impl::add(PayloadFeature feature) {
    if (feature.source == PayloadFeature::Source::none) ++unusable;
    const bool isChunk = feature.port.kind == PayloadPort::Kind::chunk;
    Features& features = (isChunk ? chunks : events)[feature.port.id];
    places.emplace(feature.name, Place{feature.port, features.size()});
    std::string prefix = feature.name + kMark;
    features.push_back({std::move(feature), std::move(prefix)});
}

void PayloadLayout::Impl::log() const {
    if (unusable == 0) return;
    GIGE_LOG(kDebug,
             "%u features of chunks and events have no value: they need more than the bytes of one "
             "chunk or event",
             static_cast<unsigned>(unusable));
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
    payload.set(bytes);
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

PayloadLayout::PayloadLayout(std::string description) : impl_(std::make_unique<Impl>()) {
    impl_->description = std::move(description);
}

PayloadLayout::~PayloadLayout() = default;

const PayloadLayout::Impl& PayloadLayout::resolved() const {
    bool isFirst = false;
    std::call_once(impl_->once, [&] {
        impl_->resolve();
        isFirst = true;
    });
    if (isFirst) impl_->log();
    return *impl_;
}

void PayloadLayout::appendLines(std::uint32_t id, ByteView chunk,
                                Infra::TVector<Infra::CString>& lines) const {
    const Impl& impl = resolved();
    const Features* features = featuresOf(impl.chunks, id);
    if (!features) return;
    lines.reserve(lines.size() + features->size());
    for (const LinedFeature& lined : *features) {
        const auto value = impl.valueOf(lined.feature, chunk);
        if (!value) continue;
        std::string line = lined.prefix;
        lined.feature.form.appendText(*value, line);
        lines.emplace_back(std::move(line));
    }
}

bool PayloadLayout::isChunkFeature(const std::string& name) const {
    const Impl& impl = resolved();
    const auto place = impl.places.find(name);
    return place != impl.places.end() && place->second.port.kind == PayloadPort::Kind::chunk;
}

std::vector<std::string> PayloadLayout::eventFeatures(std::uint32_t id) const {
    std::vector<std::string> names;
    if (const Features* features = featuresOf(resolved().events, id))
        for (const LinedFeature& lined : *features) names.push_back(lined.feature.name);
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
    const LinedFeature& lined = impl.events.at(place->second.port.id)[place->second.index];
    const auto value = impl.valueOf(lined.feature, event);
    if (!value) return std::nullopt;
    if (const auto* integer = std::get_if<std::int64_t>(&*value)) return *integer;
    if (const auto* single = std::get_if<float>(&*value)) return double{*single};
    if (const auto* real = std::get_if<double>(&*value)) return *real;
    return std::string(std::get<std::string_view>(*value));
}

}  // namespace Vorda::Gige
