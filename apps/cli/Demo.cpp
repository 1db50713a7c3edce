// SPDX-License-Identifier: Apache-2.0
#include "Find.h"
#include "Grab.h"
#include "ImageFile.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "OverlayFolder.h"
#include "Progress.h"
#include "Pump.h"
#include "Sim.h"
#include "StopSignal.h"
#include "Tally.h"
#include "Text.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kestrocli {
namespace {

constexpr std::uint64_t kFramesEach = 20;
// Room for all of them: a slow machine takes longer to draw and save, and nothing is missed.
constexpr std::size_t kMailboxFrames = 2 * kFramesEach;
constexpr std::array<const char*, 2> kSerials = {"DEMO-1", "DEMO-2"};
constexpr std::array<const char*, 2> kAddresses = {"127.0.0.21", "127.0.0.22"};
constexpr std::array<std::uint64_t, 2> kSeeds = {2101, 2102};
// Drawing and reading the first scenes takes seconds on a small machine.
constexpr std::chrono::seconds kFirstFrameWait{60};
constexpr std::chrono::seconds kLongestReading{300};

using Cameras = std::vector<std::unique_ptr<kestrosim::SimulatedCamera>>;

/** Where the demo puts what it makes; what an earlier one made stays until this one is done. */
class Files {
 public:
    explicit Files(const std::string& folder)
        : images_(folder + "/images"),
          overlays_(folder + "/overlays"),
          results_(folder + "/results.jsonl"),
          truth_(folder + "/truth.jsonl"),
          truthInWork_(truth_ + "." + std::to_string(getpid())) {
        prepareFolder(folder);
        prepareFolder(images_);
        prepareFolder(overlays_);
    }
    ~Files() { unlink(truthInWork_.c_str()); }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;

    [[nodiscard]] const std::string& images() const { return images_; }
    [[nodiscard]] const std::string& overlays() const { return overlays_; }
    /** What the simulated cameras append to. */
    [[nodiscard]] const std::string& truthInWork() const { return truthInWork_; }

    void finish(const std::string& results) const {
        writeWhole(results_, std::vector<std::uint8_t>(results.begin(), results.end()));
        if (rename(truthInWork_.c_str(), truth_.c_str()) != 0) {
            throw Failure("cannot write " + truth_ + ": " + std::strerror(errno));
        }
    }

 private:
    std::string images_;
    std::string overlays_;
    std::string results_;
    std::string truth_;
    std::string truthInWork_;
};

/** What was read from one of the demo's cameras. */
struct ReadCamera {
    CameraRecord camera;
    BlockCounter blocks;
    Tally tally;
};

Cameras switchOn(const Files& files) {
    Cameras cameras;
    for (std::size_t i = 0; i < kSerials.size(); ++i) {
        kestrosim::CameraOptions options;
        options.serial = kSerials[i];
        options.address = kAddresses[i];
        options.seed = kSeeds[i];
        options.truthFile = files.truthInWork();
        try {
            cameras.push_back(std::make_unique<kestrosim::SimulatedCamera>(options));
        } catch (const std::runtime_error& error) {
            throw Failure(std::string("the demo's cameras cannot be switched on: ") + error.what() +
                          "\nIs another demo running? Try again when it has ended.");
        }
    }
    return cameras;
}

std::vector<FoundCamera> findDemoCameras() {
    const std::vector<FoundCamera> all = discoverCameras();
    std::vector<FoundCamera> found;
    found.reserve(kAddresses.size());
    for (const char* address : kAddresses) found.push_back(chooseCamera(all, address));
    return found;
}

std::string camerasTable(const std::vector<FoundCamera>& cameras) {
    std::vector<std::vector<std::string>> rows;
    rows.reserve(cameras.size());
    for (const auto& [camera, record] : cameras) {
        rows.push_back({"  " + visible(record.serialNumber), visible(record.model), record.ip,
                        std::string(accessName(stateOf(camera).access))});
    }
    return table(rows);
}

class DemoReading {
 public:
    DemoReading(const Files& files, const std::vector<FoundCamera>& cameras)
        : images_(files.images()),
          overlays_(files.overlays()),
          progress_({kFramesEach * cameras.size(), 0}) {
        for (const auto& found : cameras) cameras_.push_back({found.record, {}, {}});
    }

    /** Saves a frame; false when there are enough of every camera. */
    bool take(const Delivery& delivery) {
        ReadCamera& of = cameras_[delivery.source];
        if (of.tally.frames() < kFramesEach) save(of, delivery);
        progress_.update(counts());
        return frames() < kFramesEach * cameras_.size();
    }
    Progress::Time idle() { return progress_.update(); }

    [[nodiscard]] std::uint64_t frames() const { return counts().frames; }
    [[nodiscard]] const std::string& results() const { return results_; }
    /** The codes of each camera's first frame. */
    [[nodiscard]] std::string firstCodes() const { return table(firstCodes_); }
    [[nodiscard]] std::string summary() const {
        std::vector<std::vector<std::string>> rows;
        for (const auto& one : cameras_) {
            rows.push_back({"  " + nameOf(one.camera), one.tally.summary()});
        }
        return table(rows);
    }

 private:
    void save(ReadCamera& of, const Delivery& delivery) {
        const kestro::Frame& frame = *delivery.frame;
        const std::uint64_t number = of.blocks.next(frame.getBlockId());
        const std::string image = images_.save(frame, of.camera.serialNumber, number);
        overlays_.save(frame, of.camera.serialNumber, number);
        if (of.tally.frames() == 0) keepCodes(of.camera, frame);
        of.tally.add(frame, delivery.arrival, of.blocks.missed());
        results_ += resultLine(frame, {of.camera.key, delivery.hostTime, "images/" + image}) + "\n";
    }

    void keepCodes(const CameraRecord& camera, const kestro::Frame& frame) {
        for (const auto& code : frame.getBarcodes()) {
            firstCodes_.push_back({"  " + nameOf(camera), visible(code->getCodeTypeName()),
                                   visible(code->getCodeData())});
        }
    }

    [[nodiscard]] Counts counts() const {
        Counts sum;
        for (const auto& one : cameras_) {
            sum.frames += one.tally.frames();
            sum.codes += one.tally.codes();
            sum.missed += one.tally.missed();
        }
        return sum;
    }

    ImageFolder images_;
    OverlayFolder overlays_;
    Progress progress_;
    std::vector<ReadCamera> cameras_;
    std::string results_;
    std::vector<std::vector<std::string>> firstCodes_;
};

void readAtOnce(const std::vector<FoundCamera>& cameras, const std::shared_ptr<Mailbox>& mailbox,
                DemoReading& reading) {
    std::vector<std::unique_ptr<Grab>> grabs;
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        grabs.push_back(std::make_unique<Grab>(cameras[i], i, mailbox));
    }
    for (const auto& grab : grabs) grab->start();
    const auto now = std::chrono::steady_clock::now();
    const End end = pump(
        *mailbox, {now + kLongestReading, now + kFirstFrameWait},
        [&reading](const Delivery& delivery) { return reading.take(delivery); },
        [&reading] { return reading.idle(); });
    if (end == End::done) return;
    if (end == End::stopped) throw Failure("the demo was stopped");
    if (end == End::lost) throw Failure("a camera of the demo was lost", ExitCode::lost);
    throw Failure("the demo's cameras sent " + std::to_string(reading.frames()) +
                      " frames only in the time that it allows",
                  ExitCode::timedOut);
}

std::string heading(const Output& output, const std::string& text) {
    return output.bold(text) + "\n";
}

std::string closingText(const DemoOptions& options, const Output& output) {
    const std::string program = std::string("  ") + program_invocation_name;
    return "\n" + heading(output, "Written to " + options.folder + ":") +
           table({{"  images/", "what the cameras saw"},
                  {"  overlays/", "the same, with what they read drawn on it"},
                  {"  results.jsonl", "what they read, a line for each frame"},
                  {"  truth.jsonl", "what was drawn, a line for each scene"}}) +
           "\n" + heading(output, "Try next:") +
           table({{program + " sim", "a simulated camera to play with, until Ctrl-C"},
                  {program + " list", "in another terminal: every camera in the network"},
                  {program + " read SIM001 -n 10", "ten frames of it; --json for programs"}});
}

}  // namespace

ExitCode runDemo(const DemoOptions& options, Output& output) {
    const Files files(options.folder);
    // The demo's cameras are on this machine: it has no business in any network.
    setenv("KESTRO_INTERFACES", "lo", 1);
    const auto mailbox = std::make_shared<Mailbox>(kMailboxFrames);
    const StopSignal stopSignal(mailbox->wake());
    Cameras cameras = switchOn(files);
    const std::vector<FoundCamera> found = findDemoCameras();
    output.write(heading(output, "Two simulated cameras on this machine:") + camerasTable(found));
    output.write("\n" + heading(output, "Reading 20 frames from each, at once:"));
    DemoReading reading(files, found);
    readAtOnce(found, mailbox, reading);
    cameras.clear();
    files.finish(reading.results());
    output.write(reading.summary() + "\n" + heading(output, "Codes in the first frame of each:") +
                 reading.firstCodes() + closingText(options, output));
    return ExitCode::ok;
}

}  // namespace kestrocli
