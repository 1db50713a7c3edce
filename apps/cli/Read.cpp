// SPDX-License-Identifier: Apache-2.0
#include "Read.h"

#include "Feature.h"
#include "FeatureFile.h"
#include "Find.h"
#include "Grab.h"
#include "ImageFile.h"
#include "Json.h"
#include "Options.h"
#include "Outages.h"
#include "Output.h"
#include "OverlayFolder.h"
#include "Progress.h"
#include "Pump.h"
#include "StopSignal.h"
#include "Tally.h"
#include "Text.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace kestrocli {
namespace {

constexpr std::size_t kMailboxFrames = 8;

/** Reading from one camera: what happens to each of its frames. */
class Reading {
 public:
    Reading(const ReadOptions& options, const CameraRecord& camera, Output& output)
        : options_(options),
          camera_(camera),
          output_(output),
          outages_(camera),
          progress_({options.frames, options.seconds}) {
        if (!options.saveFolder.empty()) folder_.emplace(options.saveFolder);
        if (!options.overlayFolder.empty()) overlays_.emplace(options.overlayFolder);
    }

    /** Writes a frame; false when it was the last one wanted. */
    bool take(const Delivery& delivery) {
        if (isComplete()) return false;
        if (!delivery.frame) return takeConnection(delivery);
        const kestro::Frame& frame = *delivery.frame;
        const std::uint64_t number = blocks_.next(frame.getBlockId());
        const std::string& serial =
            camera_.serialNumber.empty() ? camera_.key : camera_.serialNumber;
        const std::string image = folder_ ? folder_->save(frame, serial, number) : "";
        if (overlays_) overlays_->save(frame, serial, number);
        tally_.add(frame, delivery.arrival, blocks_.missed());
        output_.write(options_.json
                          ? resultLine(frame, {camera_.key, delivery.hostTime, image}) + "\n"
                          : codeLines(frame, output_));
        showProgress();
        return !isComplete();
    }

    /** While nothing comes; when it wants to be called again. */
    Progress::Time idle() { return progress_.update(); }

    [[nodiscard]] const Tally& tally() const { return tally_; }
    [[nodiscard]] bool isAway() const { return outages_.isAway(); }

 private:
    [[nodiscard]] bool isComplete() const {
        return options_.frames != 0 && tally_.frames() >= options_.frames;
    }

    [[nodiscard]] bool takeConnection(const Delivery& change) {
        if (!change.online) {
            // More frames of the old stream may come, and the first of the new before we hear of
            // it.
            blocks_.expectRestart();
            outages_.begin(change.hostTime, change.arrival);
        } else if (outages_.end(change.arrival)) {
            blocks_.restart();
            tally_.addReconnect();
        }
        progress_.setAway(outages_.isAway());
        showProgress();
        return true;
    }

    void showProgress() {
        progress_.update({tally_.frames(), tally_.codes(), tally_.missed(), tally_.reconnects()});
    }

    const ReadOptions& options_;
    const CameraRecord& camera_;
    Output& output_;
    std::optional<ImageFolder> folder_;
    std::optional<OverlayFolder> overlays_;
    BlockCounter blocks_;
    Tally tally_;
    Outages outages_;
    Progress progress_;
};

Deadlines deadlinesOf(const ReadOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    Deadlines deadlines;
    if (options.seconds > 0) deadlines.end = after(start, options.seconds);
    if (options.timeoutSeconds > 0) deadlines.firstFrame = after(start, options.timeoutSeconds);
    return deadlines;
}

ExitCode endWithoutFrame(const CameraRecord& camera, const ReadOptions& options, bool isAway) {
    const double waited = options.seconds > 0 && options.seconds < options.timeoutSeconds
                              ? options.seconds
                              : options.timeoutSeconds;
    const std::string what =
        "no frame from camera " + nameOf(camera) + " within " + fixed(waited, 1) + " s";
    if (isAway) {
        complain(what + ": the connection to it was lost, and it did not come back");
        return ExitCode::timedOut;
    }
    complain(what +
             ". Likely causes:\n"
             "  the camera waits for a trigger (wait longer with --timeout, 0 waits for ever)\n"
             "  a firewall on this host drops the camera's UDP packets\n"
             "  packets larger than the network between takes (MTU), or too fast for it");
    return ExitCode::timedOut;
}

/** What the library counted of the camera's stream; empty where it counts nothing. */
std::string streamSummary(const Control& control) {
    struct Counter {
        const char* feature;
        const char* what;
        bool isAlwaysTold;
    };
    // Where nothing was lost on the way, the first two say it all.
    constexpr Counter kCounters[] = {
        {"StreamDeliveredFrameCount", "frames delivered", true},
        {"StreamLostFrameCount", "frames lost", true},
        {"StreamLostPacketCount", "packets lost", false},
        {"StreamResendRequestCount", "resend requests", false},
        {"StreamResentPacketCount", "packets resent", false},
    };
    std::string text;
    for (const auto& [feature, what, isAlwaysTold] : kCounters) {
        if (!hasFeature(control, feature)) continue;
        const auto value = Feature(control, feature).value();
        if (!value || (!isAlwaysTold && *value == FeatureValue(std::int64_t{0}))) continue;
        text += (text.empty() ? "stream: " : ", ") + std::string(what) + " " + textOf(*value);
    }
    return text;
}

ExitCode conclude(End end, const Reading& reading, const CameraRecord& camera,
                  const ReadOptions& options) {
    const bool silent = reading.tally().frames() == 0;
    if (silent && (end == End::noFrame || (end == End::time && options.timeoutSeconds > 0))) {
        return endWithoutFrame(camera, options, reading.isAway());
    }
    say(reading.tally().summary());
    if (const std::string text = reading.tally().intervals(); !text.empty()) say(text);
    const bool isLost = end == End::lost || (end == End::time && reading.isAway());
    if (!isLost) return ExitCode::ok;
    const Failure lost = lostFailure(camera);
    complain(lost.what());
    return lost.code();
}

/** Pictures and overlays have the same names, so they need a folder each. */
void requireTwoFolders(const std::string& first, const std::string& second) {
    if (first.empty() || second.empty()) return;
    const auto whole = [](const std::string& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path) / "");
    };
    if (whole(first) == whole(second)) {
        throw Failure("--save and --overlay need a folder each, not both " + second,
                      ExitCode::usage);
    }
}

ExitCode readCamera(const FoundCamera& found, const ReadOptions& options,
                    const std::vector<Assignment>& assignments, Output& output) {
    Reading reading(options, found.record, output);
    const auto mailbox = std::make_shared<Mailbox>(kMailboxFrames);
    const StopSignal stopSignal(mailbox->wake());
    Grab grab(found, 0, mailbox, whenLost(options.noReconnect));
    const auto take = [&reading](const Delivery& delivery) { return reading.take(delivery); };
    for (const auto& [name, text] : assignments) Feature(grab.control(), name).set(text);
    grab.start();
    End end = End::stopped;
    try {
        end = pump(*mailbox, deadlinesOf(options), take, [&reading] { return reading.idle(); });
        grab.stop();
        if (end != End::done) drain(*mailbox, take);
    } catch (const OutputClosed&) {
        if (!StopSignal::requested()) throw;
    }
    const bool isGone = end == End::lost || reading.isAway();
    const std::string stream = isGone ? "" : streamSummary(grab.control());
    const ExitCode code = conclude(end, reading, found.record, options);
    if (!stream.empty()) say(stream);
    return code;
}

}  // namespace

std::string codeLines(const kestro::Frame& frame, const Output& output) {
    constexpr std::size_t kBlockColumns = 8;
    constexpr std::size_t kTypeColumns = 10;
    const std::string block = std::to_string(frame.getBlockId());
    std::string lines;
    for (const auto& code : frame.getBarcodes()) {
        const std::string indent(block.size() < kBlockColumns ? kBlockColumns - block.size() : 0,
                                 ' ');
        lines += output.faint(indent + block + "  " +
                              padded(visible(code->getCodeTypeName()), kTypeColumns) + "  ");
        lines += visible(code->getCodeData()) + "\n";
    }
    return lines;
}

ExitCode readCamera(const FoundCamera& found, const ReadOptions& options, Output& output) {
    return readCamera(found, options, assignmentsOf(options.assignments), output);
}

ExitCode runRead(const ReadOptions& options, Output& output) {
    requireTwoFolders(options.saveFolder, options.overlayFolder);
    // Before the network is searched: the quickest answer to what is mistyped.
    const std::vector<Assignment> assignments = assignmentsOf(options.assignments);
    for (const std::string& folder : {options.saveFolder, options.overlayFolder}) {
        if (!folder.empty()) prepareFolder(folder);
    }
    return readCamera(findCamera(options.camera), options, assignments, output);
}

}  // namespace kestrocli
