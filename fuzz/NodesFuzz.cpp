// SPDX-License-Identifier: Apache-2.0
//
// GenICam descriptions that passed the check, repaired and evaluated over registers of any content:
// every feature is asked for all that there is to ask, and written. The fuzzer's bytes are choices
// of a description's nodes; the rest are the registers.
#include "DescriptionCheck.h"
#include "DescriptionMaker.h"
#include "Features.h"
#include "FuzzInput.h"
#include "LastError.h"
#include "PayloadLayout.h"
#include "RecordingLogger.h"
#include "VordaInfra.h"

#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace kestro::fuzz;
using namespace Vorda::Gige;
using kestro::fuzz::Bytes;
using kestro::fuzz::ByteView;

/** Memory that repeats itself; what is written stays. */
class Registers final : public RegisterPort {
 public:
    explicit Registers(ByteView content) {
        for (std::size_t i = 0; i < bytes_.size() && !content.empty(); ++i)
            bytes_[i] = content[i % content.size()];
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        // The check bounds what a description may ask for at once.
        KESTRO_EXPECT(data.size() <= 16 << 20);
        for (std::uint8_t& byte : data) byte = bytes_[address++ % bytes_.size()];
        return true;
    }
    bool writeMemory(std::uint64_t address, Vorda::Gige::ByteView data) override {
        for (const std::uint8_t byte : data) bytes_[address++ % bytes_.size()] = byte;
        return true;
    }
    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        std::array<std::uint8_t, 4> bytes;
        if (!readMemory(address, bytes)) return false;
        value = BigEndianReader(bytes).u32();
        return true;
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        Bytes bytes;
        appendU32(bytes, value);
        return writeMemory(address, bytes);
    }

 private:
    std::array<std::uint8_t, 256> bytes_{};
};

/** A failure must have its reason. */
bool hasReason(bool isDone) {
    KESTRO_EXPECT(isDone || Vorda::Infra::getLastError() != 0);
    return isDone;
}

void checkLimits(const Features& features, const std::string& name) {
    FeatureRange<std::int64_t> integers;
    FeatureRange<double> floats;
    std::int64_t increment = 1;
    std::uint32_t length = 0;
    std::string unit;
    std::vector<FeatureEntry> entries;
    static_cast<void>(hasReason(features.getRange(name, integers)));
    static_cast<void>(hasReason(features.getRange(name, floats)));
    if (hasReason(features.getIncrement(name, increment))) KESTRO_EXPECT(increment >= 1);
    static_cast<void>(hasReason(features.getUnit(name, unit)));
    static_cast<void>(hasReason(features.getEntries(name, entries)));
    static_cast<void>(hasReason(features.getMaxLength(name, length)));
}

void checkTree(const Features& features, const std::string& name) {
    std::vector<std::string> names;
    if (features.getChildren(name, names))
        for (const std::string& each : names) KESTRO_EXPECT(features.has(each));
    static_cast<void>(features.getSelectors(name, names));
    for (const std::string& each : features.selected(name)) KESTRO_EXPECT(features.has(each));
    static_cast<void>(features.visibility(name));
    KESTRO_EXPECT(features.has(name) || features.kind(name) == FeatureKind::unknown);
}

/** A value must be of a feature that can be read; once written, it is read again. */
void checkValues(Features& features, const std::string& name, const std::string& other) {
    const bool isReadable = features.isReadable(name);
    const bool isWritable = features.isWritable(name);
    KESTRO_EXPECT(features.isAvailable(name) || (!isReadable && !isWritable));
    std::string text;
    std::int64_t integer = 0;
    double number = 0;
    bool flag = false;
    const bool hasText = hasReason(features.getText(name, text));
    KESTRO_EXPECT(!hasText || isReadable);
    static_cast<void>(hasReason(features.getInteger(name, integer)));
    static_cast<void>(hasReason(features.getFloat(name, number)));
    static_cast<void>(hasReason(features.getEnumeration(name, integer)));
    static_cast<void>(hasReason(features.getBoolean(name, flag)));
    static_cast<void>(hasReason(features.getString(name, text)));
    static_cast<void>(hasReason(features.execute(name)));
    if (hasText) static_cast<void>(hasReason(features.setText(name, text)));
    static_cast<void>(hasReason(features.setText(name, other)));
}

void checkPayload(const PayloadLayout& layout, ByteView content) {
    Vorda::Infra::TVector<Vorda::Infra::CString> lines;
    layout.appendLines(0x80000000, content, lines);
    for (const std::string& name : layout.eventFeatures(0x9001)) {
        KESTRO_EXPECT(layout.eventOf(name) == 0x9001 && !layout.isChunkFeature(name));
        static_cast<void>(layout.eventValue(name, content));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kestro::test::RecordingLogger::instance().reset();
    Choices choices(data, size);
    DescriptionMaker maker(choices);
    std::string reason;
    const std::string value =
        choices.below(4) == 0 ? choices.text() : std::to_string(choices.byte());
    const auto description = CheckedDescription::make(maker.make(), reason);
    if (!description) return 0;
    FeatureSources sources;
    sources.model = FeatureModel::make(description);
    if (!hasReason(sources.model != nullptr)) return 0;
    const Bytes content = exactly(choices.bytes(64));
    sources.camera = std::make_shared<Registers>(content);
    sources.events = std::make_shared<EventData>();
    sources.stream = std::make_shared<StreamCounters>();
    const auto layout = sources.model->layout();
    const auto features = std::make_shared<Features>(std::move(sources));
    checkPayload(*layout, content);
    static_cast<void>(features->persistent());
    static_cast<void>(features->polled());
    const std::size_t count = maker.nodes().size();
    for (std::size_t i = 0; i <= count; ++i) {
        const std::string name = i == count ? "Root" : maker.nodes()[i].name;
        checkTree(*features, name);
        checkLimits(*features, name);
        checkValues(*features, name, value);
    }
    return 0;
}
