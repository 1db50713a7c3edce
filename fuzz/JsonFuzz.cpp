// SPDX-License-Identifier: Apache-2.0
//
// Result texts, as a camera may send them: as they come, or, where the first byte is 1, made of the
// bytes as choices of what a result text has, so that the fuzzer reaches the inside.
#include "FuzzInput.h"
#include "ResultJson.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace kestro::fuzz;
using kestro::decode::CodeValues;
using kestro::decode::JsonReadings;
using kestro::decode::parseResultJson;
using kestro::decode::ResultJson;

/** Writes the texts that the choices make. */
class TextMaker {
 public:
    explicit TextMaker(Choices& choices) : choices_(choices) {}

    std::string make() {
        addValue(0);
        return text_;
    }

 private:
    static constexpr const char* kNames[] = {"ChunkPipelineJson",
                                             "ChunkImgScaleJson",
                                             "ChunkBarCodeJson",
                                             "ChunkQRCodeJson",
                                             "value",
                                             "value",
                                             "value",
                                             "TriggerTsHigh",
                                             "TriggerTsLow",
                                             "OutWidth",
                                             "OutHeight",
                                             "Status",
                                             "Time",
                                             "BarCode",
                                             "DataCode",
                                             "CodeType",
                                             "CodeData",
                                             "PPM",
                                             "Point0_X",
                                             "Point3_Y",
                                             "Point4_X",
                                             "Point1_Z",
                                             ""};
    static constexpr const char* kNumbers[] = {
        "0",           "-0",         "12",
        "-2147483648", "4294967295", "9223372036854775808",
        "1e400",       "-1e400",     "1e-400",
        "0.1",         "2.5e3",      "1.7976931348623157e308",
        "01",          "1.",         ".5",
        "1e",          "-",          "0.00000000000000000000000000001"};

    void addValue(int depth) {
        switch (depth > 12 ? 4 : choices_.below(8)) {
            case 0:
            case 1:
            case 2:
                return addObject(depth);
            case 3:
                return addArray(depth);
            case 4:
                text_ += choices_.oneOf(kNumbers);
                return;
            case 5:
                text_ += choices_.flag() ? "true" : "null";
                return;
            case 6:
                return addString();
            default:
                return addNested();
        }
    }
    void addObject(int depth) {
        text_ += '{';
        for (std::size_t left = 1 + choices_.below(5); left-- > 0;) {
            text_ += '"';
            text_ += choices_.oneOf(kNames);
            text_ += "\":";
            addValue(depth + 1);
            if (left != 0) text_ += ',';
        }
        text_ += '}';
    }
    void addArray(int depth) {
        text_ += '[';
        for (std::size_t left = choices_.below(4); left-- > 0;) {
            addValue(depth + 1);
            if (left != 0) text_ += ',';
        }
        text_ += ']';
    }
    /** Anything may stand in it, also what ends it. */
    void addString() { text_ += '"' + choices_.text() + '"'; }
    void addNested() {
        const std::size_t levels = choices_.byte();
        text_ += std::string(levels, '[') + std::string(levels, ']');
    }

    Choices& choices_;
    std::string text_;
};

bool isSame(const CodeValues& one, const CodeValues& other) {
    for (std::size_t i = 0; i < one.corners.size(); ++i) {
        if (one.corners[i].x != other.corners[i].x || one.corners[i].y != other.corners[i].y)
            return false;
    }
    return one.typeName == other.typeName && one.data == other.data && one.ppm == other.ppm;
}

bool isSame(const std::optional<JsonReadings>& one, const std::optional<JsonReadings>& other) {
    if (!one || !other) return !one && !other;
    return one->status == other->status && one->time == other->time &&
           std::equal(one->codes.begin(), one->codes.end(), other->codes.begin(),
                      other->codes.end(), [](auto& a, auto& b) { return isSame(a, b); });
}

bool isSame(const ResultJson& one, const ResultJson& other) {
    if (one.error.empty() != other.error.empty()) return false;
    if (!one.error.empty()) return true;
    const bool isSamePipeline =
        one.pipeline.has_value() == other.pipeline.has_value() &&
        (!one.pipeline || (one.pipeline->timestampHigh == other.pipeline->timestampHigh &&
                           one.pipeline->timestampLow == other.pipeline->timestampLow));
    const bool isSameScale = one.scale.has_value() == other.scale.has_value() &&
                             (!one.scale || (one.scale->width == other.scale->width &&
                                             one.scale->height == other.scale->height));
    return isSamePipeline && isSameScale && isSame(one.barcodes, other.barcodes) &&
           isSame(one.qrCodes, other.qrCodes);
}

/** The texts must look at the result's own bytes. */
void checkText(const ResultJson& result, std::size_t size, std::string_view text) {
    if (text.empty()) return;
    const std::less_equal<> isBefore;
    const char* const begin = result.bytes.get();
    KESTRO_EXPECT(isBefore(begin, text.data()));
    KESTRO_EXPECT(isBefore(text.data() + text.size(), begin + size));
}

void checkReadings(const ResultJson& result, std::size_t size, const JsonReadings& readings) {
    checkText(result, size, readings.status);
    KESTRO_EXPECT(readings.codes.size() <= size);
    for (const CodeValues& code : readings.codes) {
        checkText(result, size, code.typeName);
        checkText(result, size, code.data);
    }
}

void check(const std::string& text) {
    const ResultJson result = parseResultJson(text);
    if (result.barcodes) checkReadings(result, text.size(), *result.barcodes);
    if (result.qrCodes) checkReadings(result, text.size(), *result.qrCodes);
    KESTRO_EXPECT(isSame(result, parseResultJson(text)));
    if (text.size() > 500) return;  // the rest would take its time
    // Blanks around a document mean nothing, and anything else behind it is an error.
    KESTRO_EXPECT(isSame(result, parseResultJson(" \t\r\n" + text + "\n ")));
    if (!result.error.empty()) return;
    KESTRO_EXPECT(!parseResultJson(text + "x").error.empty());
    KESTRO_EXPECT(!parseResultJson(text + std::string(1, '\0')).error.empty());
    const std::string nested = std::string(200, '[') + text + std::string(200, ']');
    const bool isDeeper = std::string_view("[{").find(text[text.find_first_not_of(" \t\r\n")]) !=
                          std::string_view::npos;
    KESTRO_EXPECT(parseResultJson(nested).error.empty() != isDeeper);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size != 0 && data[0] == 1) {
        Choices choices(data + 1, size - 1);
        check(TextMaker(choices).make());
        return 0;
    }
    check({data, data + size});
    return 0;
}
