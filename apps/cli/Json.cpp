// SPDX-License-Identifier: Apache-2.0
#include "Json.h"

#include "PixelFormat.h"
#include "Text.h"

// Of our own, so that it cannot meet another RapidJSON, built otherwise, in one program.
#define RAPIDJSON_NAMESPACE kestrocli_rapidjson
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace kestrocli {
namespace {

constexpr std::string_view kResultSchema = "kestro.result/1";

constexpr std::array<std::string_view, 11> kStatusNames = {
    "",         "NA",      "Complete",      "NoRead",      "Partial",
    "Fail",     "PhaseNA", "PhaseComplete", "PhaseNoRead", "PhasePartial",
    "PhaseFail"};

class ObjectWriter {
 public:
    ObjectWriter() { writer_.StartObject(); }

    void name(std::string_view key) {
        writer_.Key(key.data(), static_cast<kestrocli_rapidjson::SizeType>(key.size()));
    }
    /** Bytes from a camera: what is not UTF-8 is replaced. */
    void text(std::string_view bytes) {
        const std::string utf8 = toUtf8(bytes);
        writer_.String(utf8.data(), static_cast<kestrocli_rapidjson::SizeType>(utf8.size()));
    }
    void number(std::uint64_t value) { writer_.Uint64(value); }
    void signedNumber(std::int64_t value) { writer_.Int64(value); }
    void boolean(bool value) { writer_.Bool(value); }
    void null() { writer_.Null(); }
    /** The shortest text that reads back as the same number: 3.2, not 3.2000000476837158. */
    template <typename Real>
    void real(Real value) {
        std::array<char, 64> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
        if (!std::isfinite(value) || end.ec != std::errc()) return null();
        writer_.RawValue(digits.data(), static_cast<std::size_t>(end.ptr - digits.data()),
                         kestrocli_rapidjson::kNumberType);
    }

    void member(std::string_view key, std::string_view bytes) { name(key), text(bytes); }
    void member(std::string_view key, std::uint64_t value) { name(key), number(value); }
    void flag(std::string_view key, bool value) { name(key), boolean(value); }
    void textOrNull(std::string_view key, std::string_view bytes) {
        name(key);
        bytes.empty() ? null() : text(bytes);
    }

    void value(const FeatureValue& value) {
        if (const auto* number = std::get_if<std::int64_t>(&value)) return signedNumber(*number);
        if (const auto* number = std::get_if<double>(&value)) return real(*number);
        if (const auto* truth = std::get_if<bool>(&value)) return boolean(*truth);
        text(std::get<std::string>(value));
    }
    void valueOrNull(std::string_view key, const std::optional<FeatureValue>& one) {
        name(key);
        one ? value(*one) : null();
    }
    void list(std::string_view key, const std::vector<std::string>& texts) {
        name(key), startArray();
        for (const auto& one : texts) text(one);
        endArray();
    }

    void startObject() { writer_.StartObject(); }
    void endObject() { writer_.EndObject(); }
    void startArray() { writer_.StartArray(); }
    void endArray() { writer_.EndArray(); }

    std::string finish() {
        writer_.EndObject();
        return {buffer_.GetString(), buffer_.GetSize()};
    }

 private:
    kestrocli_rapidjson::StringBuffer buffer_;
    kestrocli_rapidjson::Writer<kestrocli_rapidjson::StringBuffer> writer_{buffer_};
};

void writeCode(ObjectWriter& json, const kestro::BarcodeInfo& code) {
    json.startObject();
    json.name("type"), json.signedNumber(code.getCodeType());
    json.member("type_name", code.getCodeTypeName());
    json.member("text", code.getCodeData());
    if (!isUtf8(code.getCodeData())) json.member("bytes", base64(code.getCodeData()));
    json.name("ppm"), json.real(code.getPPM());
    json.name("points"), json.startArray();
    for (const kestro::Point& point : code.getPoints()) {
        json.startArray();
        json.signedNumber(point.x), json.signedNumber(point.y);
        json.endArray();
    }
    json.endArray();
    json.endObject();
}

/** What the value may be, as far as the camera says so. */
void writeLimits(ObjectWriter& json, const FeatureRecord& feature) {
    if (feature.least) json.valueOrNull("min", feature.least);
    if (feature.most) json.valueOrNull("max", feature.most);
    if (feature.increment) json.name("inc"), json.signedNumber(*feature.increment);
    if (!feature.unit.empty()) json.member("unit", feature.unit);
    if (feature.longest) json.member("max_length", std::uint64_t{*feature.longest});
    if (feature.type != kestro::ParameterType::Enum) return;
    json.name("entries"), json.startArray();
    for (const auto& entry : feature.entries) {
        json.startObject();
        json.member("symbol", entry.symbol);
        json.member("value", entry.value);
        json.endObject();
    }
    json.endArray();
}

}  // namespace

std::string cameraLine(const CameraRecord& camera, const CameraState& state) {
    ObjectWriter json;
    json.member("key", camera.key);
    json.member("serial_number", camera.serialNumber);
    json.member("model", camera.model);
    json.member("vendor", camera.vendor);
    json.member("user_name", camera.userName);
    json.member("ip", camera.ip);
    json.member("mask", camera.mask);
    json.member("gateway", camera.gateway);
    json.member("mac", camera.mac);
    json.flag("ip_valid", state.ipValid);
    json.member("access", accessName(state.access));
    json.member("interface", camera.interfaceName);
    return json.finish();
}

std::string resultLine(const kestro::Frame& frame, const FrameContext& context) {
    const std::uint32_t status = frame.getStatus();
    ObjectWriter json;
    json.member("schema", kResultSchema);
    json.member("camera", context.cameraKey);
    json.member("block_id", frame.getBlockId());
    json.member("timestamp", frame.getTimestamp());
    json.member("host_time", isoTime(context.hostTime));
    json.textOrNull("status", status < kStatusNames.size() ? kStatusNames[status] : "");
    json.member("detect_time", std::uint64_t{frame.getDetectTime()});
    json.member("width", std::uint64_t{frame.getWidth()});
    json.member("height", std::uint64_t{frame.getHeight()});
    json.member("pixel_format", pixelFormatName(frame.getPixelFormat()));
    json.flag("jpeg", frame.getPayloadFlag());
    json.textOrNull("image", context.image);
    json.name("codes"), json.startArray();
    for (const auto& code : frame.getBarcodes()) writeCode(json, *code);
    json.endArray();
    return json.finish();
}

std::string featureLine(const FeatureRecord& feature, const std::vector<std::string>& categories) {
    ObjectWriter json;
    json.member("name", feature.name);
    json.member("type", typeName(feature.type));
    if (!categories.empty()) json.list("categories", categories);
    json.member("visibility", visibilityName(feature.visibility));
    json.flag("available", feature.isAvailable());
    json.flag("readable", feature.isReadable());
    json.flag("writable", feature.isWritable());
    if (feature.type != kestro::ParameterType::Command) json.valueOrNull("value", feature.value);
    writeLimits(json, feature);
    if (!feature.selectors.empty()) json.list("selectors", feature.selectors);
    return json.finish();
}

std::string changeLine(const std::string& name, const std::optional<FeatureValue>& before,
                       const std::optional<FeatureValue>& after) {
    ObjectWriter json;
    json.member("name", name);
    json.valueOrNull("old", before);
    json.valueOrNull("new", after);
    return json.finish();
}

std::string differenceLine(const Difference& difference) {
    ObjectWriter json;
    json.member("name", difference.name);
    if (!difference.selection.empty()) json.member("selection", difference.selection);
    json.member("file", difference.wanted);
    json.name("camera");
    difference.held ? json.text(*difference.held) : json.null();
    if (!difference.reason.empty()) json.member("reason", difference.reason);
    return json.finish();
}

std::string registerLine(std::uint64_t address, std::uint32_t value) {
    ObjectWriter json;
    json.member("address", address);
    json.member("value", std::uint64_t{value});
    return json.finish();
}

std::string memoryLine(std::uint64_t address, std::span<const std::uint8_t> bytes) {
    ObjectWriter json;
    json.member("address", address);
    json.member("length", std::uint64_t{bytes.size()});
    json.member("bytes", hexDigits(bytes));
    return json.finish();
}

std::string updateLine(std::chrono::system_clock::time_point time, const std::string& name,
                       const std::optional<FeatureValue>& value) {
    ObjectWriter json;
    json.member("time", isoTime(time));
    json.member("event", "feature");
    json.member("name", name);
    json.valueOrNull("value", value);
    return json.finish();
}

std::string connectionLine(std::chrono::system_clock::time_point time, bool online) {
    ObjectWriter json;
    json.member("time", isoTime(time));
    json.member("event", "connection");
    json.member("state", online ? "online" : "offline");
    return json.finish();
}

std::string findingLine(const std::string& cameraKey, const Finding& finding) {
    std::string check = finding.check;
    std::replace(check.begin(), check.end(), ' ', '_');
    ObjectWriter json;
    json.textOrNull("camera", cameraKey);
    json.member("check", check);
    json.member("verdict", verdictName(finding.verdict));
    json.member("seen", finding.seen);
    json.textOrNull("mend", finding.mend);
    return json.finish();
}

std::string statisticsLine(const kestrosim::CameraOptions& camera,
                           const kestrosim::CameraStatistics& statistics) {
    ObjectWriter json;
    json.member("serial_number", camera.serial);
    json.member("ip", camera.address);
    json.member("frames_sent", statistics.framesSent);
    json.member("frames_stamped", statistics.framesStamped);
    json.member("packets_sent", statistics.packetsSent);
    json.member("packets_resent", statistics.packetsResent);
    json.member("commands_answered", statistics.commandsAnswered);
    json.member("registers_read", statistics.registersRead);
    json.member("registers_written", statistics.registersWritten);
    json.member("memory_reads", statistics.memoryReads);
    json.member("memory_writes", statistics.memoryWrites);
    json.member("commands_refused", statistics.commandsRefused);
    json.member("events_sent", statistics.eventsSent);
    json.member("events_acknowledged", statistics.eventsAcknowledged);
    json.member("answer_faults", statistics.answerFaults);
    json.member("incidents", statistics.incidents);
    json.member("block_id", statistics.blockId);
    json.member("leader_bytes", statistics.leaderBytes);
    json.member("pixel_format", std::uint64_t{statistics.pixelFormat});
    const kestrosim::PacketFaultCounts& faults = statistics.packetFaults;
    json.member("packets_lost", faults.lost);
    json.member("packets_reordered", faults.reordered);
    json.member("packets_duplicated", faults.duplicated);
    json.member("packets_delayed", faults.delayed);
    json.member("packets_truncated", faults.truncated);
    json.member("packets_of_wrong_size", faults.wrongSize);
    json.member("packets_too_large", faults.tooLarge);
    json.member("packets_foreign", faults.foreign);
    json.member("results_cut", statistics.resultsCut);
    json.member("results_corrupted", statistics.resultsCorrupted);
    return json.finish();
}

}  // namespace kestrocli
