// SPDX-License-Identifier: Apache-2.0
//
// Configuration files as anybody may have written them. What is read from one must come back from a
// file that is written from it.
#include "DeviceConfigText.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using Vorda::Gige::ConfigurationText;

void check(bool holds) {
    if (!holds) __builtin_trap();
}

void parseAndWriteBack(const std::string& text) {
    ConfigurationText parsed;
    if (!Vorda::Gige::parseConfiguration(text, parsed)) return;
    std::string written = Vorda::Gige::configurationHeader(text);
    for (const auto& entry : parsed.entries)
        Vorda::Gige::appendSetting(written, entry.name, entry.value);
    ConfigurationText again;
    check(Vorda::Gige::parseConfiguration(written, again));
    check(again.faults.empty() && again.entries.size() == parsed.entries.size());
    for (std::size_t i = 0; i < parsed.entries.size(); ++i) {
        check(again.entries[i].name == parsed.entries[i].name);
        check(again.entries[i].value == parsed.entries[i].value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    parseAndWriteBack(text);
    // Most inputs have no such first line.
    parseAndWriteBack(Vorda::Gige::configurationHeader("fuzz") + text);
    return 0;
}
