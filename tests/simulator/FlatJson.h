// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <rapidjson/reader.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

/** The leaves of a JSON text by their paths, "codes/0/text"; an empty container is a leaf, "[]". */
class FlatJson {
 public:
    using Leaves = std::map<std::string, std::string>;

    /** Empty when the text is not JSON. */
    static std::optional<Leaves> parse(const std::string& text) {
        Handler handler;
        rapidjson::StringStream stream(text.c_str());
        rapidjson::Reader reader;
        constexpr unsigned kFlags =
            rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag;
        if (!reader.Parse<kFlags>(stream, handler)) return std::nullopt;
        return handler.leaves;
    }

 private:
    struct Level {
        std::string name;  // of the member or element that comes next or is being read
        int index = -1;    // of an array's element; -1: an object
    };

    struct Handler : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Handler> {
        Leaves leaves;
        std::vector<Level> levels;

        bool leaf(const std::string& text) {
            std::string path;
            for (const Level& level : levels) {
                if (!path.empty()) path += '/';
                path += level.name;
            }
            leaves[path] = text;
            return ended();
        }
        /** An array's next value has the next index. */
        bool ended() {
            if (levels.empty() || levels.back().index < 0) return true;
            levels.back().name = std::to_string(++levels.back().index);
            return true;
        }
        bool closed(rapidjson::SizeType count, const char* empty) {
            levels.pop_back();
            return count == 0 ? leaf(empty) : ended();
        }

        bool Default() { return leaf("literal"); }
        bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
            return leaf(std::string(text, size));
        }
        bool String(const char* text, rapidjson::SizeType size, bool) {
            return leaf(std::string(text, size));
        }
        bool StartObject() { return levels.emplace_back(), true; }
        bool Key(const char* text, rapidjson::SizeType size, bool) {
            levels.back().name.assign(text, size);
            return true;
        }
        bool EndObject(rapidjson::SizeType count) { return closed(count, "{}"); }
        bool StartArray() { return levels.push_back({"0", 0}), true; }
        bool EndArray(rapidjson::SizeType count) { return closed(count, "[]"); }
    };
};
