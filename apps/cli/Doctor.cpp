// SPDX-License-Identifier: Apache-2.0
#include "CameraChecks.h"
#include "CameraClock.h"
#include "Find.h"
#include "HostChecks.h"
#include "Options.h"
#include "Output.h"
#include "Report.h"
#include "StopSignal.h"
#include "StreamTrial.h"
#include "Text.h"

#include <cstdlib>
#include <optional>

namespace kestrocli {
namespace {

constexpr std::size_t kMailboxFrames = 8;

std::vector<CameraRecord> recordsOf(const std::vector<FoundCamera>& cameras) {
    std::vector<CameraRecord> records;
    records.reserve(cameras.size());
    for (const auto& each : cameras) records.push_back(each.record);
    return records;
}

/** One visit: this host, the search, the camera. */
class Doctor {
 public:
    Doctor(const DoctorOptions& options, Output& output)
        : options_(options), host_(thisHost()), report_(output, options.json) {}

    ExitCode run() {
        report_.beginHost();
        report_.add(checkInterfaces(host_));
        report_.add(checkRoutes(host_));
        report_.add(checkKernel(host_));
        if (!search()) return report_.conclude();
        if (!options_.camera.empty()) {
            examine(chosenCamera());
        } else if (cameras_.size() == 1) {
            examine(cameras_.front());
        } else {
            lookAtEach();
        }
        return report_.conclude();
    }

 private:
    /** False when there is nobody to look at. */
    bool search() {
        if (host_.usedAddresses().empty()) {
            report_.add(
                Finding{Verdict::skip, "search", "there is no interface to ask through", {}});
        } else {
            cameras_ = discoverCameras();
            records_ = recordsOf(cameras_);
            report_.add(checkSearch(host_, records_));
        }
        return !cameras_.empty() || !options_.camera.empty();
    }

    const FoundCamera& chosenCamera() {
        try {
            return chooseCamera(cameras_, options_.camera);
        } catch (const Failure& failure) {
            const std::string name = "\"" + visible(options_.camera) + "\"";
            if (failure.code() == ExitCode::notFound) {
                report_.add(Finding{Verdict::fail, "found", "no camera " + name + " answered",
                                    "kestro list shows those that do"});
            }
            report_.conclude();
            throw;
        }
    }

    /** Several at once would disturb each other, and the plant: where they are must do. */
    void lookAtEach() {
        for (const auto& each : cameras_) {
            report_.beginCamera(each.record);
            report_.add(checkPlace(host_, each.record, stateOf(each.camera), records_));
        }
        say("name one of them to have it examined: kestro doctor " + nameOf(records_.front()));
    }

    void examine(const FoundCamera& found) {
        report_.beginCamera(found.record);
        const CameraState state = stateOf(found.camera);
        report_.add(checkPlace(host_, found.record, state, records_));
        if (!state.ipValid) return;
        report_.add(checkAccess(found.record, state));
        if (isControlled(state)) {
            // In vain, but the library then logs which host has it.
            [[maybe_unused]] const auto refused = found.camera->connect();
            found.camera->disconnect();
        } else if (state.access == kestro::DeviceInfo::Open) {
            connect(found);
        }
    }

    void connect(const FoundCamera& found) {
        const auto mailbox = std::make_shared<Mailbox>(kMailboxFrames);
        const StopSignal stopSignal(mailbox->wake());
        std::optional<Grab> grab;
        try {
            grab.emplace(found, 0, mailbox);
        } catch (const Failure& failure) {
            return report_.add(failed(failure));
        }
        examineConnected(*grab, *mailbox);
    }

    void examineConnected(Grab& grab, Mailbox& mailbox) {
        const Control& control = grab.control();
        report_.add(Finding{Verdict::pass, "connection", "under control", {}});
        report_.add(checkDescription(control));
        if (StopSignal::requested()) return;
        const auto before = readClock(control);
        const StreamFacts facts =
            tryStream(grab, mailbox, host_, {options_.seconds, options_.freeRun});
        if (facts.isStopped) return;
        if (!facts.isLost) {
            report_.add(checkStream(host_, facts));
            report_.add(checkCameraClock(before, readClock(control)));
        }
        report_.add(checkHeartbeat(control, facts.isLost));
    }

    /** A refusal in the words of the other commands, whose further lines say what to do. */
    static Finding failed(const Failure& failure) {
        const std::string text = failure.what();
        const std::string seen = firstLine(text);
        return {Verdict::fail, "connection", seen,
                seen == text ? "" : firstLine(text.substr(seen.size() + 1))};
    }

    const DoctorOptions& options_;
    const Host host_;
    Report report_;
    std::vector<FoundCamera> cameras_;
    std::vector<CameraRecord> records_;
};

}  // namespace

ExitCode runDoctor(const DoctorOptions& options, Output& output) {
    // What is wrong, this command says itself; before the library's first use, which is when it
    // looks.
    setenv("KESTRO_LOG", "error", 0);
    return Doctor(options, output).run();
}

}  // namespace kestrocli
