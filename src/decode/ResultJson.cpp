// SPDX-License-Identifier: Apache-2.0
#include "ResultJson.h"

#include "DecimalText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

// In a namespace of our own: an application may carry another version with the same symbols.
#define RAPIDJSON_NAMESPACE kestro_rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace kestro_rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

namespace kestro::decode {

namespace {

namespace json = kestro_rapidjson;

constexpr std::size_t kDeepestLevel = 200;
/** Room that is made at once for the codes of a document; few have more. */
constexpr std::size_t kUsualCodes = 32;
constexpr std::string_view kWrapped = "value";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Toward zero to 64 bits, at most their range, of which the low 32 bits stay: 4294967295 is -1.
std::int32_t intValue(std::string_view number) {
    if (number.size() <= std::numeric_limits<std::int32_t>::digits10) {
        std::int32_t small = 0;
        std::size_t i = 0;
        for (; i < number.size() && isDigit(number[i]); ++i) small = 10 * small + (number[i] - '0');
        if (i == number.size()) return small;
    }
    const double value = decimalValue<double>(number);
    constexpr double kTwoTo63 = 9223372036854775808.0;
    std::int64_t whole = 0;
    if (value >= kTwoTo63) {
        whole = std::numeric_limits<std::int64_t>::max();
    } else if (value < -kTwoTo63) {
        whole = std::numeric_limits<std::int64_t>::min();
    } else {
        whole = static_cast<std::int64_t>(value);
    }
    return static_cast<std::int32_t>(whole);
}

// A double beyond float's range is infinite as a float.
float floatValue(std::string_view number) {
    static_assert(std::numeric_limits<float>::is_iec559);
    return static_cast<float>(decimalValue<double>(number));
}

enum class Document : std::uint8_t { kNone, kPipeline, kScale, kBarcodes, kQrCodes };

Document documentFromName(std::string_view name) {
    if (name == "ChunkPipelineJson") return Document::kPipeline;
    if (name == "ChunkImgScaleJson") return Document::kScale;
    if (name == "ChunkBarCodeJson") return Document::kBarcodes;
    if (name == "ChunkQRCodeJson") return Document::kQrCodes;
    return Document::kNone;
}

// Receives the parser's events and keeps what belongs to the results. Every datum stands in a
// wrapper: document -> "value" -> member -> "value" -> datum. The last of several members of one
// name counts, whatever it holds: its key clears what an earlier one left.
class ResultHandler {
 public:
    explicit ResultHandler(ResultJson& result) : result_(result) {}

    [[nodiscard]] bool isTooDeep() const { return isTooDeep_; }

    bool Null() { return other(); }
    bool Bool(bool) { return other(); }
    // The parser hands over numbers as texts; its interface asks for the rest.
    bool Int(int) { return other(); }
    bool Uint(unsigned) { return other(); }
    bool Int64(std::int64_t) { return other(); }
    bool Uint64(std::uint64_t) { return other(); }
    bool Double(double) { return other(); }
    bool RawNumber(const char* text, json::SizeType length, bool);
    bool String(const char* text, json::SizeType length, bool);
    bool StartObject() { return push(objectAt(takePlace())); }
    bool Key(const char* text, json::SizeType length, bool);
    bool EndObject(json::SizeType) { return pop(); }
    bool StartArray() { return push(arrayAt(takePlace())); }
    bool EndArray(json::SizeType) { return pop(); }

 private:
    /** Where a value stands. */
    enum class Place : std::uint8_t {
        kElsewhere,
        kRoot,
        kDocument,         // the wrapper of a document
        kDocumentContent,  // its "value"
        kMember,           // the wrapper of a document's member
        kMemberValue,      // its "value"
        kCodes,            // as kMemberValue, where that is the array of codes
        kCode,             // an element of it
        kCodeMember,       // the wrapper of a code's member
        kCodeMemberValue,  // its "value"
    };

    Place takePlace();
    void appendCode();
    Place objectAt(Place place) const;
    Place arrayAt(Place place) const;
    Place placeOfKey(Place object, std::string_view key);
    bool push(Place place);
    bool pop();
    bool other();

    JsonReadings& readings();
    void clearDocument();
    void beginDocument();
    bool findMember(std::string_view name);
    void clearMember();
    bool findCodeMember(std::string_view name);
    bool findCorner(std::string_view name);
    void forgetDatum();
    void clearDatum();

    ResultJson& result_;
    bool isTooDeep_ = false;
    std::size_t depth_ = 0;
    std::array<Place, kDeepestLevel> containers_{};
    Place next_ = Place::kRoot;
    Document document_ = Document::kNone;
    bool isCodeArray_ = false;  // the document's member at hand is its code array
    // What the datum at hand goes to, of a document or of a code: at most one is set.
    std::int32_t* number_ = nullptr;
    std::string_view* text_ = nullptr;
    float* fraction_ = nullptr;
};

void ResultHandler::appendCode() {
    std::vector<CodeValues>& codes = readings().codes;
    if (codes.capacity() == 0) codes.reserve(kUsualCodes);
    codes.emplace_back();
}

ResultHandler::Place ResultHandler::takePlace() {
    if (depth_ == 0) return Place::kRoot;
    const Place container = containers_[depth_ - 1];
    const Place place = container == Place::kCodes ? Place::kCode : next_;
    next_ = Place::kElsewhere;
    if (place == Place::kCode) appendCode();
    return place;
}

// What an object at this place is: it has members of interest, or none.
ResultHandler::Place ResultHandler::objectAt(Place place) const {
    const bool isDatum =
        place == Place::kMemberValue || place == Place::kCodeMemberValue || place == Place::kCodes;
    return isDatum ? Place::kElsewhere : place;
}

ResultHandler::Place ResultHandler::arrayAt(Place place) const {
    return place == Place::kCodes ? Place::kCodes : Place::kElsewhere;
}

bool ResultHandler::push(Place place) {
    if (depth_ == kDeepestLevel) {
        isTooDeep_ = true;
        return false;
    }
    containers_[depth_++] = place;
    next_ = Place::kElsewhere;
    if (place == Place::kDocumentContent) beginDocument();
    return true;
}

bool ResultHandler::pop() {
    --depth_;
    return true;
}

bool ResultHandler::other() {
    takePlace();
    return true;
}

bool ResultHandler::RawNumber(const char* text, json::SizeType length, bool) {
    const Place place = takePlace();
    if (place != Place::kMemberValue && place != Place::kCodeMemberValue) return true;
    if (number_) *number_ = intValue({text, length});
    if (fraction_) *fraction_ = floatValue({text, length});
    return true;
}

bool ResultHandler::String(const char* text, json::SizeType length, bool) {
    const Place place = takePlace();
    if (place != Place::kMemberValue && place != Place::kCodeMemberValue) return true;
    if (text_) *text_ = {text, length};
    return true;
}

bool ResultHandler::Key(const char* text, json::SizeType length, bool) {
    next_ = placeOfKey(containers_[depth_ - 1], {text, length});
    return true;
}

ResultHandler::Place ResultHandler::placeOfKey(Place object, std::string_view key) {
    switch (object) {
        case Place::kRoot:
            document_ = documentFromName(key);
            clearDocument();
            return document_ == Document::kNone ? Place::kElsewhere : Place::kDocument;
        case Place::kDocument:
            if (key != kWrapped) break;
            clearDocument();
            return Place::kDocumentContent;
        case Place::kDocumentContent:
            if (!findMember(key)) break;
            clearMember();
            return Place::kMember;
        case Place::kMember:
            if (key != kWrapped) break;
            clearMember();
            return isCodeArray_ ? Place::kCodes : Place::kMemberValue;
        case Place::kCode:
            if (!findCodeMember(key)) break;
            clearDatum();
            return Place::kCodeMember;
        case Place::kCodeMember:
            if (key != kWrapped) break;
            clearDatum();
            return Place::kCodeMemberValue;
        default:
            break;
    }
    return Place::kElsewhere;
}

JsonReadings& ResultHandler::readings() {
    return document_ == Document::kQrCodes ? *result_.qrCodes : *result_.barcodes;
}

void ResultHandler::clearDocument() {
    switch (document_) {
        case Document::kPipeline:
            result_.pipeline.reset();
            break;
        case Document::kScale:
            result_.scale.reset();
            break;
        case Document::kBarcodes:
            result_.barcodes.reset();
            break;
        case Document::kQrCodes:
            result_.qrCodes.reset();
            break;
        case Document::kNone:
            break;
    }
}

void ResultHandler::beginDocument() {
    switch (document_) {
        case Document::kPipeline:
            result_.pipeline.emplace();
            break;
        case Document::kScale:
            result_.scale.emplace();
            break;
        case Document::kBarcodes:
            result_.barcodes.emplace();
            break;
        case Document::kQrCodes:
            result_.qrCodes.emplace();
            break;
        case Document::kNone:
            break;
    }
}

bool ResultHandler::findMember(std::string_view name) {
    forgetDatum();
    isCodeArray_ = false;
    switch (document_) {
        case Document::kPipeline:
            if (name == "TriggerTsHigh") number_ = &result_.pipeline->timestampHigh;
            if (name == "TriggerTsLow") number_ = &result_.pipeline->timestampLow;
            break;
        case Document::kScale:
            if (name == "OutWidth") number_ = &result_.scale->width;
            if (name == "OutHeight") number_ = &result_.scale->height;
            break;
        default:
            if (name == "Status") text_ = &readings().status;
            if (name == "Time") number_ = &readings().time;
            isCodeArray_ = name == (document_ == Document::kQrCodes ? "DataCode" : "BarCode");
            break;
    }
    return number_ || text_ || isCodeArray_;
}

void ResultHandler::forgetDatum() {
    number_ = nullptr;
    text_ = nullptr;
    fraction_ = nullptr;
}

void ResultHandler::clearDatum() {
    if (number_) *number_ = 0;
    if (text_) *text_ = {};
    if (fraction_) *fraction_ = 0;
}

void ResultHandler::clearMember() {
    if (isCodeArray_) {
        readings().codes.clear();
    } else {
        clearDatum();
    }
}

bool ResultHandler::findCodeMember(std::string_view name) {
    CodeValues& code = readings().codes.back();
    forgetDatum();
    if (findCorner(name)) return true;  // most members are one
    if (name == "CodeType") text_ = &code.typeName;
    if (name == "CodeData") text_ = &code.data;
    if (name == "PPM") fraction_ = &code.ppm;
    return text_ || fraction_;
}

// "Point0_X" to "Point3_Y"
bool ResultHandler::findCorner(std::string_view name) {
    static constexpr std::string_view kBegin = "Point";
    if (name.size() != kBegin.size() + 3 || !name.starts_with(kBegin)) return false;
    const char digit = name[kBegin.size()];
    const std::string_view axis = name.substr(kBegin.size() + 1);
    if (digit < '0' || digit > '3') return false;
    Corner& corner = readings().codes.back().corners[static_cast<std::size_t>(digit - '0')];
    if (axis == "_X") number_ = &corner.x;
    if (axis == "_Y") number_ = &corner.y;
    return number_;
}

// JSON has no zeros in front and digits on both sides of the point; the rest from_chars sees.
bool isJsonNumber(std::string_view number) {
    if (number.starts_with('-')) number.remove_prefix(1);
    if (number.empty() || !isDigit(number[0])) return false;
    if (number.size() > 1 && number[0] == '0' && isDigit(number[1])) return false;
    const std::size_t point = number.find('.');
    if (point == std::string_view::npos) return true;
    return point + 1 < number.size() && isDigit(number[point + 1]);
}

// Writes a number that the parser refuses for its size as one that it takes and that reads the
// same: beyond double's range nothing differs any more. Blanks fill the room that it leaves.
void shorten(char* begin, char* end) {
    static constexpr std::size_t kLongestDouble = 24;
    const auto length = static_cast<std::size_t>(end - begin);
    double value = 0;
    const auto read = std::from_chars(begin, end, value);
    if (read.ptr != end || !isJsonNumber({begin, length})) return;
    value = decimalValue<double>({begin, length});
    std::string number;
    if (std::isinf(value)) {
        number = value < 0 ? "-1e308" : "1e308";
    } else if (value == 0) {
        number = "0";
    } else if (length > kLongestDouble) {
        std::array<char, kLongestDouble> digits{};
        const auto made = std::to_chars(digits.data(), digits.data() + digits.size(), value);
        number.assign(digits.data(), made.ptr);
    }
    if (number.empty() || number.size() > length) return;
    std::fill(std::copy(number.begin(), number.end(), begin), end, ' ');
}

// Shortens all numbers of a text, each outside its strings.
void shortenNumbers(char* at, char* const end) {
    while (at != end) {
        if (*at == '"') {
            for (++at; at != end && *at != '"'; ++at) {
                if (*at == '\\' && at + 1 != end) ++at;
            }
            if (at != end) ++at;
        } else if (*at == '-' || isDigit(*at)) {
            char* const number = at;
            const auto isPart = [](char c) { return isDigit(c) || std::strchr("+-.eE", c); };
            while (at != end && *at != '\0' && isPart(*at)) ++at;
            shorten(number, at);
        } else {
            ++at;
        }
    }
}

std::string errorText(const json::ParseResult& outcome, bool isTooDeep) {
    const char* const reason = isTooDeep ? "The document is nested deeper than 200 levels."
                                         : json::GetParseError_En(outcome.Code());
    return std::string(reason) + " (offset " + std::to_string(outcome.Offset()) + ")";
}

// Parses result.bytes, which hold `size` bytes and a NUL behind them, and writes over them.
json::ParseErrorCode parseInSitu(std::size_t size, ResultJson& result) {
    // Recursive, which is a sixth faster than iterative: the handler ends it at kDeepestLevel, so
    // that nesting takes no more of the caller's stack than some 30 KB (optimised). As texts: no
    // number loses anything.
    constexpr unsigned kFlags =
        json::kParseInsituFlag | json::kParseNumbersAsStringsFlag | json::kParseFullPrecisionFlag;
    json::InsituStringStream stream(result.bytes.get());
    ResultHandler handler(result);
    json::Reader reader;
    json::ParseResult outcome = reader.Parse<kFlags>(stream, handler);
    // To the parser a NUL is the end of the text.
    if (!outcome.IsError() && stream.Tell() != size) {
        outcome.Set(json::kParseErrorDocumentRootNotSingular, stream.Tell());
    }
    if (outcome.IsError()) result.error = errorText(outcome, handler.isTooDeep());
    return outcome.Code();
}

ResultJson copyOf(std::string_view text) {
    ResultJson result;
    result.bytes = std::make_unique_for_overwrite<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), result.bytes.get());
    result.bytes[text.size()] = '\0';
    return result;
}

}  // namespace

ResultJson parseResultJson(std::string_view text) {
    ResultJson result = copyOf(text);
    if (parseInSitu(text.size(), result) == json::kParseErrorNumberTooBig) {
        result = copyOf(text);
        shortenNumbers(result.bytes.get(), result.bytes.get() + text.size());
        parseInSitu(text.size(), result);
    }
    return result;
}

}  // namespace kestro::decode
