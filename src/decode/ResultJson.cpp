// SPDX-License-Identifier: Apache-2.0
#include "ResultJson.h"

#include "DecimalText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <variant>

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
    bool StartObject();
    bool Key(const char* text, json::SizeType length, bool);
    bool EndObject(json::SizeType) { return pop(); }
    bool StartArray();
    bool EndArray(json::SizeType) { return pop(); }

 private:
    /** Where a value stands. */
    enum class Place : std::uint8_t {
        kElsewhere,
        kRoot,
        kDocument,         // the wrapper of a document
        kDocumentContent,  // its "value"
        kMember,           // the wrapper of a document's or of a code's member
        kMemberValue,      // its "value"
        kCodesMember,      // the wrapper of a document's array of codes
        kCodes,            // its "value"
        kCode,             // an element of that
    };

    bool other();
    bool push(Place container);
    bool pop();
    void enter(Place container);
    void appendCode();
    Place placeOfKey(std::string_view key);

    JsonReadings& readings();
    void clearDocument();
    void beginDocument();
    Place findMember(std::string_view name);
    Place findCodeMember(std::string_view name);
    Corner* cornerOf(std::string_view name);
    template <typename Datum>
    Place lookFor(Datum& datum);
    void clearDatum();

    ResultJson& result_;
    bool isTooDeep_ = false;
    Place container_ = Place::kElsewhere;  // the object or array at hand
    Place next_ = Place::kRoot;            // the next value in it
    Document document_ = Document::kNone;
    CodeValues* code_ = nullptr;
    // What the member at hand goes to.
    std::variant<std::int32_t*, std::string_view*, float*> datum_;
    std::size_t depth_ = 0;
    std::array<Place, kDeepestLevel> outer_{};  // what the container at hand stands in
};

// A value that nothing is kept of. As an element of the array of codes it is one all the same.
bool ResultHandler::other() {
    if (next_ == Place::kCode) appendCode();
    return true;
}

bool ResultHandler::RawNumber(const char* text, json::SizeType length, bool) {
    if (next_ != Place::kMemberValue) return other();
    if (auto* const number = std::get_if<std::int32_t*>(&datum_)) {
        **number = intValue({text, length});
    } else if (auto* const fraction = std::get_if<float*>(&datum_)) {
        **fraction = floatValue({text, length});
    }
    return true;
}

bool ResultHandler::String(const char* text, json::SizeType length, bool) {
    if (next_ != Place::kMemberValue) return other();
    if (auto* const kept = std::get_if<std::string_view*>(&datum_)) **kept = {text, length};
    return true;
}

bool ResultHandler::StartObject() {
    if (next_ == Place::kDocumentContent) beginDocument();
    if (next_ == Place::kCode) appendCode();
    const bool isOther = next_ == Place::kMemberValue || next_ == Place::kCodes;
    return push(isOther ? Place::kElsewhere : next_);
}

bool ResultHandler::StartArray() {
    if (next_ == Place::kCode) appendCode();
    return push(next_ == Place::kCodes ? Place::kCodes : Place::kElsewhere);
}

bool ResultHandler::push(Place container) {
    if (depth_ == kDeepestLevel) {
        isTooDeep_ = true;
        return false;
    }
    outer_[depth_++] = container_;
    enter(container);
    return true;
}

bool ResultHandler::pop() {
    enter(outer_[--depth_]);
    return true;
}

// What is next in an object its key says.
void ResultHandler::enter(Place container) {
    container_ = container;
    next_ = container == Place::kCodes ? Place::kCode : Place::kElsewhere;
}

void ResultHandler::appendCode() {
    std::vector<CodeValues>& codes = readings().codes;
    if (codes.capacity() == 0) codes.reserve(kUsualCodes);
    code_ = &codes.emplace_back();
}

bool ResultHandler::Key(const char* text, json::SizeType length, bool) {
    next_ = placeOfKey({text, length});
    return true;
}

ResultHandler::Place ResultHandler::placeOfKey(std::string_view key) {
    switch (container_) {
        case Place::kRoot:
            document_ = documentFromName(key);
            clearDocument();
            return document_ == Document::kNone ? Place::kElsewhere : Place::kDocument;
        case Place::kDocument:
            if (key != kWrapped) break;
            clearDocument();
            return Place::kDocumentContent;
        case Place::kDocumentContent:
            return findMember(key);
        case Place::kCodesMember:
            if (key != kWrapped) break;
            readings().codes.clear();
            return Place::kCodes;
        case Place::kCode:
            return findCodeMember(key);
        case Place::kMember:
            if (key != kWrapped) break;
            clearDatum();
            return Place::kMemberValue;
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

template <typename Datum>
ResultHandler::Place ResultHandler::lookFor(Datum& datum) {
    datum = {};
    datum_ = &datum;
    return Place::kMember;
}

ResultHandler::Place ResultHandler::findMember(std::string_view name) {
    switch (document_) {
        case Document::kPipeline:
            if (name == "TriggerTsHigh") return lookFor(result_.pipeline->timestampHigh);
            if (name == "TriggerTsLow") return lookFor(result_.pipeline->timestampLow);
            break;
        case Document::kScale:
            if (name == "OutWidth") return lookFor(result_.scale->width);
            if (name == "OutHeight") return lookFor(result_.scale->height);
            break;
        default:
            if (name == "Status") return lookFor(readings().status);
            if (name == "Time") return lookFor(readings().time);
            if (name != (document_ == Document::kQrCodes ? "DataCode" : "BarCode")) break;
            readings().codes.clear();
            return Place::kCodesMember;
    }
    return Place::kElsewhere;
}

ResultHandler::Place ResultHandler::findCodeMember(std::string_view name) {
    if (Corner* const corner = cornerOf(name)) {  // most members are of one
        return lookFor(name.back() == 'X' ? corner->x : corner->y);
    }
    if (name == "CodeType") return lookFor(code_->typeName);
    if (name == "CodeData") return lookFor(code_->data);
    if (name == "PPM") return lookFor(code_->ppm);
    return Place::kElsewhere;
}

// "Point0_X" to "Point3_Y"
Corner* ResultHandler::cornerOf(std::string_view name) {
    static constexpr std::string_view kBegin = "Point";
    if (name.size() != kBegin.size() + 3 || !name.starts_with(kBegin)) return nullptr;
    const char digit = name[kBegin.size()];
    const std::string_view axis = name.substr(kBegin.size() + 1);
    if (digit < '0' || digit > '3' || (axis != "_X" && axis != "_Y")) return nullptr;
    return &code_->corners[static_cast<std::size_t>(digit - '0')];
}

void ResultHandler::clearDatum() {
    std::visit([](auto* datum) { *datum = {}; }, datum_);
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
