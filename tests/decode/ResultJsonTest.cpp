// SPDX-License-Identifier: Apache-2.0
#include "ResultJson.h"

#include <gmock/gmock.h>

#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kestro::decode::CodeValues;
using kestro::decode::parseResultJson;
using kestro::decode::ResultJson;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string barcodes(const std::string& content) {
    return R"({"ChunkBarCodeJson":{"value":)" + content + "}}";
}

std::string codes(const std::string& elements) {
    return barcodes(R"({"BarCode":{"value":[)" + elements + "]}}");
}

ResultJson parsed(const std::string& text) {
    ResultJson result = parseResultJson(text);
    EXPECT_EQ(result.error, "") << text;
    return result;
}

std::int32_t timeOf(const std::string& number) {
    const ResultJson result = parsed(barcodes(R"({"Time":{"value":)" + number + "}}"));
    return result.barcodes ? result.barcodes->time : -77;
}

float ppmOf(const std::string& number) {
    const ResultJson result = parsed(codes(R"({"PPM":{"value":)" + number + "}}"));
    return result.barcodes->codes.at(0).ppm;
}

std::string dataOf(const std::string& string) {
    const ResultJson result = parsed(codes(R"({"CodeData":{"value":)" + string + "}}"));
    return std::string(result.barcodes->codes.at(0).data);
}

const std::string kWholeText = R"( {
    "Other": {"value": {"Status": {"value": "Fail"}}},
    "ChunkPipelineJson": {"value": {"TriggerTsHigh": {"value": 1}, "TriggerTsLow": {"value": -2}}},
    "ChunkImgScaleJson": {"unit": "px", "value": {"OutWidth": {"value": 640}, "OutHeight": {"value": 480}}},
    "ChunkBarCodeJson": {"value": {"Status": {"value": "Complete"}, "Time": {"value": 12}, "BarCode": {"value": [
        {"CodeType": {"value": "EAN13"}, "CodeData": {"value": "4006381333931"}, "PPM": {"value": 2.25},
         "Point0_X": {"value": 1}, "Point0_Y": {"value": 2}, "Point1_X": {"value": 3}, "Point1_Y": {"value": 4},
         "Point2_X": {"value": 5}, "Point2_Y": {"value": 6}, "Point3_X": {"value": 7}, "Point3_Y": {"value": -8},
         "Point4_X": {"value": 9}, "Point0_Z": {"value": 9}, "Extra": [{"CodeData": {"value": "no"}}]},
        {"CodeData": {"value": "second"}}]}}},
    "ChunkQRCodeJson": {"value": {"Status": {"value": "NoRead"}, "Time": {"value": 5}, "DataCode": {"value": [
        {"CodeType": {"value": "QR"}}]}, "BarCode": {"value": [{}]}}}
} )";

TEST(ResultJson, ReadsAWholeText) {
    const ResultJson result = parsed(kWholeText);
    ASSERT_TRUE(result.pipeline && result.scale && result.barcodes && result.qrCodes);
    EXPECT_EQ(result.pipeline->timestampHigh, 1);
    EXPECT_EQ(result.pipeline->timestampLow, -2);
    EXPECT_EQ(result.scale->width, 640);
    EXPECT_EQ(result.scale->height, 480);
    EXPECT_EQ(result.barcodes->status, "Complete");
    EXPECT_EQ(result.barcodes->time, 12);
    ASSERT_EQ(result.barcodes->codes.size(), 2U);
    const CodeValues& code = result.barcodes->codes[0];
    EXPECT_EQ(code.typeName, "EAN13");
    EXPECT_EQ(code.data, "4006381333931");
    EXPECT_EQ(code.ppm, 2.25F);
    for (std::size_t j = 0; j < 4; ++j) {
        EXPECT_EQ(code.corners[j].x, static_cast<int>(2 * j + 1));
        EXPECT_EQ(code.corners[j].y, j == 3 ? -8 : static_cast<int>(2 * j + 2));
    }
    EXPECT_EQ(result.barcodes->codes[1].data, "second");
    EXPECT_EQ(result.barcodes->codes[1].typeName, "");
    EXPECT_EQ(result.qrCodes->status, "NoRead");
    EXPECT_EQ(result.qrCodes->time, 5);
    ASSERT_EQ(result.qrCodes->codes.size(), 1U);
    EXPECT_EQ(result.qrCodes->codes[0].typeName, "QR");
}

TEST(ResultJson, TheLastOfSeveralMembersCounts) {
    const std::string time = R"("Time":{"value":5})";
    EXPECT_EQ(parsed(barcodes("{" + time + R"(,"Time":{"value":6}})")).barcodes->time, 6);
    EXPECT_EQ(parsed(barcodes("{" + time + R"(,"Time":{}})")).barcodes->time, 0);
    EXPECT_EQ(parsed(barcodes("{" + time + R"(,"Time":7})")).barcodes->time, 0);
    EXPECT_EQ(parsed(barcodes(R"({"Time":{"value":5,"value":"x"}})")).barcodes->time, 0);
    // A whole document goes with everything in it, also for something that is no document.
    EXPECT_FALSE(parsed(barcodes("{" + time + R"(},"value":5)")).barcodes);
    const std::string document = R"("ChunkBarCodeJson":{"value":{)" + time + "}}";
    EXPECT_FALSE(parsed("{" + document + R"(,"ChunkBarCodeJson":[]})").barcodes);
    const ResultJson two =
        parsed("{" + document + R"(,"ChunkBarCodeJson":{"value":{"Status":{"value":"NA"}}}})");
    EXPECT_EQ(two.barcodes->time, 0);
    EXPECT_EQ(two.barcodes->status, "NA");
}

TEST(ResultJson, TheLastOfSeveralCodeArraysCounts) {
    const std::string array = R"("value":[{"PPM":{"value":1}},{"CodeData":{"value":"a"}}])";
    const auto count = [](const std::string& content) {
        return parsed(barcodes(content)).barcodes->codes.size();
    };
    EXPECT_EQ(count("{\"BarCode\":{" + array + R"(,"value":[{}]}})"), 1U);
    EXPECT_EQ(count("{\"BarCode\":{" + array + R"(,"value":5}})"), 0U);
    EXPECT_EQ(count("{\"BarCode\":{" + array + R"(},"BarCode":{}})"), 0U);
    EXPECT_EQ(count("{\"BarCode\":{" + array + R"(,"other":[1,2,3]}})"), 2U);
    EXPECT_EQ(count(R"({"BarCode":[{},{}]})"), 0U);
    EXPECT_EQ(count(R"({"BarCode":{"value":{"value":[{}]}}})"), 0U);
    EXPECT_EQ(count(R"({"DataCode":{"value":[{}]}})"), 0U);
    const ResultJson last = parsed(codes(R"({"CodeData":{"value":"a"},"CodeData":{"value":"b"}})"));
    EXPECT_EQ(last.barcodes->codes.at(0).data, "b");
    EXPECT_EQ(
        parsed(codes(R"({"CodeData":{"value":"a"},"CodeData":0})")).barcodes->codes.at(0).data, "");
}

TEST(ResultJson, ElementsThatAreNoObjectsAreBlankCodes) {
    const ResultJson result =
        parsed(codes(R"(0,"x",null,true,[{"CodeData":{"value":"n"}}],{"CodeData":{"value":"d"}})"));
    ASSERT_EQ(result.barcodes->codes.size(), 6U);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(result.barcodes->codes[i].data, "");
    EXPECT_EQ(result.barcodes->codes[5].data, "d");
}

TEST(ResultJson, MembersOfAnotherTypeReadAsNothing) {
    EXPECT_EQ(timeOf("\"5\""), 0);
    EXPECT_EQ(timeOf("true"), 0);
    EXPECT_EQ(timeOf("[5]"), 0);
    EXPECT_EQ(timeOf("{\"value\":5}"), 0);
    EXPECT_EQ(dataOf("5"), "");
    EXPECT_EQ(dataOf("[\"a\"]"), "");
    EXPECT_EQ(ppmOf("\"2\""), 0.0F);
}

TEST(ResultJson, CornersBeyondTheFourthGoNowhere) {
    // As many codes as room is made for at once: the sanitizer sees what is written behind the
    // last.
    std::string elements = "{}";
    for (int i = 1; i < 32; ++i) elements += R"(,{"Point4_Y":{"value":9},"Point:_Y":{"value":9}})";
    EXPECT_EQ(parsed(codes(elements)).barcodes->codes.size(), 32U);
}

TEST(ResultJson, WholeNumbersKeepTheirLowWord) {
    EXPECT_EQ(timeOf("2147483647"), 2147483647);
    EXPECT_EQ(timeOf("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(timeOf("4294967295"), -1);
    EXPECT_EQ(timeOf("3000000000"), -1294967296);
    EXPECT_EQ(timeOf("4294967296"), 0);
    EXPECT_EQ(timeOf("1.9"), 1);
    EXPECT_EQ(timeOf("-1.9"), -1);
    EXPECT_EQ(timeOf("1e3"), 1000);
    EXPECT_EQ(timeOf("15E-1"), 1);
    EXPECT_EQ(timeOf("-0"), 0);
    EXPECT_EQ(timeOf("9223372036854775808"), -1);  // the largest 64-bit number
    EXPECT_EQ(timeOf("1e300"), -1);
    EXPECT_EQ(timeOf("-1e19"), 0);  // the smallest one
    EXPECT_EQ(timeOf("-1e300"), 0);
}

TEST(ResultJson, NumbersOfAnySizeAreRead) {
    const std::string zeros(400, '0');
    EXPECT_EQ(timeOf("1e400"), -1);
    EXPECT_EQ(timeOf("-1e400"), 0);
    EXPECT_EQ(timeOf("1e99999999999"), -1);
    EXPECT_EQ(timeOf("0e999"), 0);
    EXPECT_EQ(timeOf("1e-400"), 0);
    EXPECT_EQ(timeOf("1" + zeros), -1);
    EXPECT_EQ(timeOf("12" + zeros + "e-400"), 12);
    EXPECT_EQ(ppmOf("1e400"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(ppmOf("-1e39"), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(ppmOf("1e-400"), 0.0F);
    EXPECT_EQ(ppmOf("0.1"), 0.1F);
    // Strings that look like such a number stay as they are.
    const ResultJson result = parsed(codes(
        R"({"CodeData":{"value":"\"1e400\\"},"PPM":{"value":1e999},"CodeType":{"value":"1e500"}})"));
    EXPECT_EQ(result.barcodes->codes.at(0).data, R"("1e400\)");
    EXPECT_EQ(result.barcodes->codes.at(0).typeName, "1e500");
    for (const char* number :
         {"01e999", "1.e999", "1e", "1e9999.5", "-", "+1", ".5", "0x10", "NaN"}) {
        EXPECT_NE(parseResultJson("[1e400," + std::string(number) + "]").error, "") << number;
    }
}

TEST(ResultJson, StringsHoldAnyBytes) {
    EXPECT_EQ(dataOf("\"\xE4\xF6\xFC\""), "\xE4\xF6\xFC");          // Latin-1
    EXPECT_EQ(dataOf("\"\x83\x65\x83\x58\""), "\x83\x65\x83\x58");  // Shift-JIS
    EXPECT_EQ(dataOf("\"\xFF\xFE\""), "\xFF\xFE");
    EXPECT_EQ(dataOf(R"("\u001d01\u0000\t")"), std::string("\x1D"
                                                           "01\0\t",
                                                           5));
    EXPECT_EQ(dataOf(R"("\ud83d\ude00")"), "\xF0\x9F\x98\x80");
}

TEST(ResultJson, RefusesWhatIsNoText) {
    for (const std::string& text :
         {std::string(), std::string("  "), std::string("{"), std::string("{}x"),
          std::string("{'a':1}"), std::string("{\"a\":1,}"), std::string("[1,]"),
          std::string("\"a"), std::string("\"a\nb\""), std::string("{}\0", 3),
          std::string("{}\0{}", 5), std::string("\0{}", 3), std::string("[1]//"),
          std::string("tru")}) {
        EXPECT_NE(parseResultJson(text).error, "") << text;
    }
    // Half of a surrogate pair means no character; some parsers pass it on.
    EXPECT_NE(parseResultJson(R"("\ud800")").error, "");
    EXPECT_THAT(parseResultJson("[1, 2").error, HasSubstr("(offset 5)"));
    EXPECT_THAT(parseResultJson(std::string("{}\0", 3)).error, HasSubstr("(offset 2)"));
}

TEST(ResultJson, RefusesTextsNestedTooDeep) {
    const std::string open(200, '[');
    const std::string close(200, ']');
    EXPECT_EQ(parseResultJson(open + close).error, "");
    EXPECT_EQ(parseResultJson("[" + open + close + "]").error,
              "The document is nested deeper than 200 levels. (offset 201)");
    EXPECT_NE(parseResultJson(std::string(1'000'000, '[')).error, "");
}

TEST(ResultJson, CutAnywhereIsAnError) {
    const std::string text = kWholeText.substr(0, kWholeText.rfind('}'));
    for (std::size_t length = 0; length <= text.size(); ++length) {
        // A copy of exactly that size, so that the sanitizer sees a read past the end.
        const std::vector<char> cut(text.begin(),
                                    text.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_NE(parseResultJson({cut.data(), cut.size()}).error, "") << length;
    }
}

TEST(ResultJson, SurvivesDamagedTexts) {
    std::mt19937 random(4711);
    static constexpr std::string_view kBytes = "{}[]\":,\\u0e.-1 \xFFvalue";
    int errors = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string text = kWholeText;
        for (auto changes = 1 + random() % 4; changes > 0; --changes) {
            text[random() % text.size()] = kBytes[random() % kBytes.size()];
        }
        errors += parseResultJson(text).error.empty() ? 0 : 1;
    }
    EXPECT_GT(errors, 0);
}

}  // namespace
