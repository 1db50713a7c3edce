// SPDX-License-Identifier: Apache-2.0
#include "Progress.h"

#include "Output.h"
#include "Text.h"

#include <unistd.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace kestrocli {
namespace {

constexpr std::chrono::milliseconds kRedraw{200};
constexpr std::chrono::seconds kRateWindow{2};
constexpr std::string_view kBetween = "  ";

// What matters more than a bar, and what is always there.
constexpr int kBar = 2;
constexpr int kMost = 5;

enum class Ink { plain, strong, faint, alarming };

std::string inked(const std::string& text, Ink ink, TerminalStyle style) {
    constexpr std::array<const char*, 4> kCodes = {"", "\033[36m", "\033[2m", "\033[33m"};
    if (!style.hasColours || ink == Ink::plain || text.empty()) return text;
    return kCodes[static_cast<std::size_t>(ink)] + text + "\033[0m";
}

/** Something in the line; all of it is ASCII. */
struct Field {
    std::string text;
    int importance = 0;
    Ink ink = Ink::plain;
};

/** "1:05", "2:00:00" */
std::string clockTime(double seconds) {
    const auto whole = static_cast<unsigned long long>(std::max(seconds, 0.0));
    std::array<char, 40> text{};
    if (whole < 3600) {
        std::snprintf(text.data(), text.size(), "%llu:%02llu", whole / 60, whole % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60,
                      whole % 60);
    }
    return text.data();
}

/** What there is to say, in order. */
std::vector<Field> fieldsOf(const ProgressNow& now) {
    const auto& [frames, codes, missed, reconnects] = now.counts;
    const bool hasEnd = now.goal.seconds > 0;
    const std::string time =
        clockTime(now.seconds) + (hasEnd ? " of " + clockTime(std::ceil(now.goal.seconds)) : "");
    if (frames == 0) {
        const char* awaited = now.isAway ? "waiting for the camera" : "waiting for the first frame";
        return {{awaited, kMost}, {time, 4, Ink::faint}};
    }
    const std::string all =
        now.goal.frames > 0 ? std::to_string(frames) + " of " + counted(now.goal.frames, "frame")
                            : counted(frames, "frame");
    std::vector<Field> fields = {{all, kMost}, {time, hasEnd ? 4 : 1, Ink::faint}};
    if (now.isAway)
        fields.push_back({"camera away", 4, Ink::alarming});
    else if (now.perSecond)
        fields.push_back({fixed(*now.perSecond, 1) + " frames/s", 2});
    fields.push_back({counted(codes, "code"), 0});
    fields.push_back(
        {std::to_string(missed) + " missed", 3, missed > 0 ? Ink::alarming : Ink::faint});
    if (reconnects > 0) fields.push_back({counted(reconnects, "reconnect"), 2, Ink::alarming});
    return fields;
}

std::size_t widthOf(const std::vector<Field>& fields) {
    std::size_t width = 0;
    for (const Field& field : fields) width += kBetween.size() + field.text.size();
    return width;
}

/** Leaves out fields that matter less than that much, as long as the rest is too wide. */
void leaveOut(std::vector<Field>& fields, std::size_t columns, int importance) {
    while (widthOf(fields) > columns) {
        const auto least = std::min_element(
            fields.begin(), fields.end(),
            [](const Field& a, const Field& b) { return a.importance < b.importance; });
        if (least->importance >= importance) return;
        fields.erase(least);
    }
}

void cutToFit(Field& field, std::size_t columns) {
    const std::size_t room = columns - std::min(columns, kBetween.size());
    if (field.text.size() > room) field.text.resize(room);
}

/** How much of the way is done; empty where it has no end. */
std::optional<double> shareDone(const ProgressNow& now) {
    double share = -1;
    if (now.goal.frames > 0) {
        share = static_cast<double>(now.counts.frames) / static_cast<double>(now.goal.frames);
    }
    if (now.goal.seconds > 0) share = std::max(share, now.seconds / now.goal.seconds);
    return share < 0 ? std::nullopt : std::optional(std::clamp(share, 0.0, 1.0));
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

std::string barOf(double share, std::size_t cells, TerminalStyle style) {
    const auto done = static_cast<std::size_t>(share * static_cast<double>(cells));
    return inked(repeated(style.hasUtf8 ? "\xE2\x94\x81" : "#", done), Ink::strong, style) +
           inked(repeated(style.hasUtf8 ? "\xE2\x94\x80" : ".", cells - done), Ink::faint, style);
}

bool speaksUtf8() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        const std::string_view locale = value;
        for (const char* spelling : {"UTF-8", "utf-8", "UTF8", "utf8"}) {
            if (locale.find(spelling) != std::string_view::npos) return true;
        }
        return false;
    }
    return false;
}

}  // namespace

std::string progressLine(const ProgressNow& now, std::size_t columns, TerminalStyle style) {
    constexpr std::size_t kShortestBar = 8;
    constexpr std::size_t kLongestBar = 40;
    const auto share = shareDone(now);
    std::vector<Field> fields = fieldsOf(now);
    if (share) leaveOut(fields, columns - std::min(columns, kBetween.size() + kShortestBar), kBar);
    leaveOut(fields, columns, kMost);
    cutToFit(fields.front(), columns);
    const std::size_t left = columns - std::min(columns, widthOf(fields) + kBetween.size());
    std::string line;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        line += std::string(kBetween) + inked(fields[i].text, fields[i].ink, style);
        if (i == 0 && share && left >= kShortestBar) {
            line += std::string(kBetween) + barOf(*share, std::min(left, kLongestBar), style);
        }
    }
    return line;
}

Progress::Progress(Goal goal)
    : goal_(goal),
      style_{hasColours(STDERR_FILENO), speaksUtf8()},
      start_(std::chrono::steady_clock::now()),
      nextDraw_(start_ + kRedraw) {}

void Progress::update(const Counts& counts) {
    counts_ = counts;
    update();
    line_.showAgain();
}

Progress::Time Progress::update() {
    if (!line_.isPossible()) return Time::max();
    const Time now = std::chrono::steady_clock::now();
    if (now >= nextDraw_) draw(now);
    return nextDraw_;
}

void Progress::draw(Time now) {
    nextDraw_ = now + kRedraw;
    const std::chrono::duration<double> elapsed = now - start_;
    line_.show(progressLine({goal_, counts_, elapsed.count(), framesPerSecond(now), isAway_},
                            StatusLine::columns(), style_));
}

/** Over the last seconds, so that a camera that falters shows. */
std::optional<double> Progress::framesPerSecond(Time now) {
    if (counts_.frames < 2) return std::nullopt;
    samples_.push_back({now, counts_.frames});
    while (samples_.size() > 2 && samples_[1].time <= now - kRateWindow) samples_.pop_front();
    const Sample& first = samples_.front();
    if (first.time == now) return std::nullopt;
    return static_cast<double>(counts_.frames - first.frames) /
           std::chrono::duration<double>(now - first.time).count();
}

}  // namespace kestrocli
