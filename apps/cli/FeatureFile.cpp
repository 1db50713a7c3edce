// SPDX-License-Identifier: Apache-2.0
#include "FeatureFile.h"

#include "Feature.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace kestrocli {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlank) + 1 - first);
}

/** Takes each line that is neither blank nor a comment, and the place of it for messages. */
using LineHandler = std::function<void(std::string_view line, const std::string& place)>;

void forEachLine(const std::string& path, const LineHandler& handle) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    std::ifstream file(path);
    std::size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (number == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
        if (line.ends_with('\r')) line.pop_back();
        const std::string_view content = trimmed(line);
        if (content.empty() || content.front() == '#') continue;
        handle(line, visible(path) + ":" + std::to_string(number) + ": ");
    }
    // A folder can be opened but not read.
    if (file.is_open() && file.eof() && !file.bad()) return;
    throw Failure("cannot read " + visible(path) + ": " + std::strerror(errno), ExitCode::usage);
}

Assignment assignmentOf(std::string_view text, char separator, const std::string& complaint) {
    const std::size_t at = text.find(separator);
    const std::string_view name = trimmed(text.substr(0, at));
    if (at == std::string_view::npos || name.empty()) throw Failure(complaint, ExitCode::usage);
    return {std::string(name), std::string(text.substr(at + 1))};
}

/** Sets selectors and puts them back, the last one first, when destroyed. */
class Selectors {
 public:
    explicit Selectors(const Control& control) : control_(control) {}
    ~Selectors() {
        for (; !before_.empty(); before_.pop_back()) restore(before_.back());
    }
    Selectors(const Selectors&) = delete;
    Selectors& operator=(const Selectors&) = delete;

    /** False when the camera refuses. */
    bool set(const Feature& selector, const std::string& text) {
        const auto before = selector.value();
        const auto value = selector.meaning(text);
        if (!value) return false;
        if (before == value) return true;
        if (!selector.write(*value)) return false;
        if (before) before_.emplace_back(selector.name(), *before);
        return true;
    }

 private:
    void restore(const std::pair<std::string, FeatureValue>& step) const {
        try {
            static_cast<void>(Feature(control_, step.first).write(step.second));
        } catch (const Failure&) {
            // The camera is gone, which the command itself reports.
        }
    }

    const Control& control_;
    std::vector<std::pair<std::string, FeatureValue>> before_;
};

/** Compares line by line; what it found is in `found`. */
class Comparison {
 public:
    Comparison(const Control& control, const std::vector<Assignment>& configuration)
        : control_(control), selectors_(control) {
        for (const auto& [name, value] : configuration) {
            if (!hasFeature(control, name)) continue;
            for (auto& selector : Feature(control, name).selectors()) {
                selectorNames_.insert(std::move(selector));
            }
        }
    }

    void line(const Assignment& line) {
        control_.requireConnection();
        if (!hasFeature(control_, line.name)) {
            return add(line, "", std::nullopt, "the camera has no such feature");
        }
        const Feature feature(control_, line.name);
        if (!isSelector(line.name)) return compare(feature, line);
        if (!selectors_.set(feature, line.value)) {
            add(line, feature.selection(), textOf(feature.value()), "it cannot be selected");
        }
    }

    /** The line against what the camera holds now. */
    void compare(const Feature& feature, const Assignment& line) {
        const auto held = feature.value();
        const auto wanted = feature.meaning(line.value);
        const std::string selection = feature.selection();
        forgetEarlier(line.name, selection);
        if (held && held == wanted) return;
        // Both in one spelling: a file may say 1 for true.
        add({line.name, textOf(wanted).value_or(line.value)}, selection, textOf(held),
            held ? "" : "it cannot be read now");
    }

    [[nodiscard]] bool isSelector(const std::string& name) const {
        return selectorNames_.contains(name);
    }
    std::vector<Difference> found;

 private:
    static std::optional<std::string> textOf(const std::optional<FeatureValue>& value) {
        return value ? std::optional(kestrocli::textOf(*value)) : std::nullopt;
    }
    /** Where a file says something twice, the last counts. */
    void forgetEarlier(const std::string& name, const std::string& selection) {
        if (compared_.insert(name + selection).second) return;
        std::erase_if(found, [&](const Difference& one) {
            return one.name == name && one.selection == selection;
        });
    }
    void add(const Assignment& line, std::string selection, std::optional<std::string> held,
             std::string reason) {
        found.push_back(
            {line.name, std::move(selection), line.value, std::move(held), std::move(reason)});
    }

    const Control& control_;
    Selectors selectors_;
    std::set<std::string> selectorNames_;
    std::set<std::string> compared_;  // features with their selection
};

}  // namespace

std::vector<Assignment> assignmentsOf(const std::vector<std::string>& words) {
    std::vector<Assignment> assignments;
    for (const auto& word : words) {
        if (!word.starts_with('@')) {
            assignments.push_back(assignmentOf(
                word, '=', "\"" + visible(word) + "\" is neither NAME=VALUE nor @FILE"));
            continue;
        }
        forEachLine(word.substr(1), [&](std::string_view line, const std::string& place) {
            Assignment one = assignmentOf(line, '=', place + "this is not NAME=VALUE");
            one.value = trimmed(one.value);
            assignments.push_back(std::move(one));
        });
    }
    return assignments;
}

std::vector<Assignment> readConfiguration(const std::string& path) {
    std::vector<Assignment> lines;
    forEachLine(path, [&](std::string_view line, const std::string& place) {
        lines.push_back(assignmentOf(line, '\t', place + "this is not a name, a tab and a value"));
    });
    return lines;
}

std::vector<Difference> differences(const Control& control,
                                    const std::vector<Assignment>& configuration) {
    Comparison comparison(control, configuration);
    // The last line of a selector says where it stood; asked before any is moved.
    std::map<std::string, const Assignment*> standing;
    for (const auto& line : configuration) {
        if (comparison.isSelector(line.name)) standing[line.name] = &line;
    }
    for (const auto& [name, line] : standing) {
        if (hasFeature(control, name)) comparison.compare(Feature(control, name), *line);
    }
    for (const auto& line : configuration) comparison.line(line);
    return std::move(comparison.found);
}

}  // namespace kestrocli
