// SPDX-License-Identifier: Apache-2.0
#include "Report.h"

#include "Json.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

constexpr std::size_t kCheckColumns = 15;

std::string mark(Verdict verdict, const Output& output) {
    switch (verdict) {
        case Verdict::pass:
            return output.tinted("PASS", Tint::green);
        case Verdict::warn:
            return output.tinted("WARN", Tint::yellow);
        case Verdict::fail:
            return output.tinted("FAIL", Tint::red);
        default:
            return output.faint("SKIP");
    }
}

}  // namespace

void Report::beginHost() {
    camera_.clear();
    if (!json_) output_.write(output_.bold("this host") + "\n");
}

void Report::beginCamera(const CameraRecord& camera) {
    camera_ = camera.key;
    if (!json_) output_.write(output_.bold("camera " + nameOf(camera)) + "\n");
}

std::string Report::lineOf(const Finding& finding) const {
    const std::string margin(2 + 4 + 2 + kCheckColumns + 2, ' ');
    std::string text = "  " + mark(finding.verdict, output_) + "  " +
                       padded(finding.check, kCheckColumns) + "  " + finding.seen + "\n";
    if (!finding.mend.empty()) text += margin + output_.bold("-> " + finding.mend) + "\n";
    return text;
}

void Report::add(const Finding& finding) {
    ++counts_.at(static_cast<std::size_t>(finding.verdict));
    output_.write(json_ ? findingLine(camera_, finding) + "\n" : lineOf(finding));
}

void Report::add(const Findings& findings) {
    for (const auto& each : findings) add(each);
}

ExitCode Report::conclude() const {
    std::uint64_t all = 0;
    for (const std::uint64_t each : counts_) all += each;
    say(counted(all, "check") + ": " + std::to_string(count(Verdict::pass)) + " passed, " +
        counted(count(Verdict::warn), "warning") + ", " + std::to_string(count(Verdict::fail)) +
        " failed, " + std::to_string(count(Verdict::skip)) + " skipped");
    return count(Verdict::fail) == 0 ? ExitCode::ok : ExitCode::unwell;
}

}  // namespace kestrocli
