// SPDX-License-Identifier: Apache-2.0
#include "DescriptionCheck.h"

#include <libxml/parser.h>
#include <libxml/xmlreader.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Vorda::Gige {
namespace {

/** The longest register: room for look-up tables and file buffers. */
constexpr std::int64_t kLongestRegisterBytes = 16 << 20;
/** How many nodes a value may be evaluated through; real descriptions stay below 20. */
constexpr int kDeepestEvaluation = 128;

/** The elements through which one node's value needs another's. */
constexpr std::array<std::string_view, 10> kValueReferences = {
    "pValue",        "pAddress",      "pIndex",  "pLength",       "pVariable",
    "pValueIndexed", "pValueDefault", "pOffset", "pCommandValue", "pIntSwissKnife"};
/** The elements that hold nodes without needing their values. */
constexpr std::array<std::string_view, 4> kContainers = {"RegisterDescription", "Group",
                                                         "Enumeration", "StructReg"};

bool isOneOf(std::string_view name, const auto& names) {
    return std::ranges::find(names, name) != names.end();
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool isLength(std::string_view text) {
    text = trimmed(text);
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    std::int64_t value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
    return error == std::errc{} && end == text.data() + text.size() && value > 0 &&
           value <= kLongestRegisterBytes;
}

/** Which node's value needs which. */
class References {
 public:
    void add(const std::string& from, std::string_view to) {
        needed_[from].push_back(std::string(trimmed(to)));
    }

    /** A node whose value needs itself, or too many others in a row. */
    [[nodiscard]] std::optional<std::string> endless() {
        for (const auto& [name, unused] : needed_) {
            if (isEndless(name)) return name;
        }
        return std::nullopt;
    }

 private:
    struct Visit {
        const std::string* name;
        std::size_t next = 0;
    };

    /** Walks down from `start`, without recursion: a description may be of any depth. */
    [[nodiscard]] bool isEndless(const std::string& start) {
        std::vector<Visit> path{{&start}};
        while (!path.empty()) {
            Visit& visit = path.back();
            const auto needs = needed_.find(*visit.name);
            const bool isDone = needs == needed_.end() || visit.next == needs->second.size();
            if (isDone) {
                finish(*visit.name, needs == needed_.end() ? nullptr : &needs->second);
                path.pop_back();
                continue;
            }
            const std::string& needed = needs->second[visit.next++];
            const auto known = depths_.find(needed);
            const int depth = known == depths_.end() ? 1 : known->second;
            if (static_cast<int>(path.size()) + depth > kDeepestEvaluation) return true;
            if (known == depths_.end()) path.push_back({&needed});
        }
        return false;
    }

    void finish(const std::string& name, const std::vector<std::string>* needs) {
        int deepest = 0;
        if (needs != nullptr) {
            for (const std::string& each : *needs) deepest = std::max(deepest, depths_[each]);
        }
        depths_[name] = deepest + 1;
    }

    std::unordered_map<std::string, std::vector<std::string>> needed_;
    std::unordered_map<std::string, int> depths_;  ///< of the nodes whose walk is finished
};

struct FreeReader {
    void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};

struct FreeText {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

std::string_view view(const xmlChar* text) {
    return text == nullptr ? std::string_view{} : reinterpret_cast<const char*>(text);
}

/** Keeps the first error: the later ones follow from it. */
void keepFirstError(void* text, xmlError* error) {
    auto& first = *static_cast<std::string*>(text);
    if (!first.empty() || error == nullptr || error->message == nullptr) return;
    first = "line " + std::to_string(error->line) + ": " + std::string(trimmed(error->message));
}

/** Reads the document once, from element to element. */
class DescriptionCheck {
 public:
    explicit DescriptionCheck(const std::string& xml)
        : reader_(xmlReaderForMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                                     XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)) {}

    [[nodiscard]] std::string run() {
        if (!reader_) return "it cannot be parsed";
        xmlTextReaderSetStructuredErrorHandler(reader_.get(), keepFirstError, &error_);
        int state = 0;
        while (fault_.empty() && (state = xmlTextReaderRead(reader_.get())) == 1) visit();
        if (!fault_.empty()) return fault_;
        if (state != 0) return error_.empty() ? "it is no XML" : "it is cut or no XML: " + error_;
        if (const auto name = references_.endless())
            return "the value of [" + *name + "] needs itself";
        return {};
    }

 private:
    struct Element {
        std::string name;
        std::string node;  ///< of the nearest element that is a node
        std::string text;  ///< its pieces, which comments may part, put together
    };

    void visit() {
        switch (xmlTextReaderNodeType(reader_.get())) {
            case XML_READER_TYPE_ELEMENT:
                return open();
            case XML_READER_TYPE_END_ELEMENT:
                return close();
            case XML_READER_TYPE_TEXT:
            case XML_READER_TYPE_CDATA:
                if (!open_.empty())
                    open_.back().text += view(xmlTextReaderConstValue(reader_.get()));
                return;
            default:
                return;
        }
    }

    void open() {
        Element element{std::string(view(xmlTextReaderConstLocalName(reader_.get()))), {}, {}};
        if (open_.empty() && element.name != "RegisterDescription") {
            fault_ = "its root is [" + element.name + "]";
            return;
        }
        if (!open_.empty()) element.node = open_.back().node;
        if (isOneOf(element.name, kValueReferences)) {
            if (const auto offset = attribute("pOffset"); !offset.empty())
                references_.add(element.node, offset);
        } else if (const auto name = attribute("Name"); !name.empty()) {
            // A node inside another one, such as the formula of an address.
            if (!open_.empty() && !isOneOf(open_.back().name, kContainers))
                references_.add(element.node, name);
            element.node = name;
        }
        if (xmlTextReaderIsEmptyElement(reader_.get()) == 0) open_.push_back(std::move(element));
    }

    void close() {
        const Element& element = open_.back();
        if (isOneOf(element.name, kValueReferences)) references_.add(element.node, element.text);
        if (element.name == "Length" && !isLength(element.text))
            fault_ = "the length of [" + element.node + "] is absurd";
        open_.pop_back();
    }

    [[nodiscard]] std::string attribute(const char* name) {
        const std::unique_ptr<xmlChar, FreeText> value(
            xmlTextReaderGetAttribute(reader_.get(), reinterpret_cast<const xmlChar*>(name)));
        return std::string(view(value.get()));
    }

    std::unique_ptr<xmlTextReader, FreeReader> reader_;
    std::string error_;
    std::string fault_;
    std::vector<Element> open_;
    References references_;
};

}  // namespace

std::string descriptionFault(const std::string& xml) {
    static std::once_flag initialised;
    std::call_once(initialised, xmlInitParser);
    return DescriptionCheck(xml).run();
}

}  // namespace Vorda::Gige
