// SPDX-License-Identifier: Apache-2.0
//
// Sets a number and an enumeration on the first camera, tries a value that it does not take, and
// leaves it as it was. With `kestro sim` in another terminal you should see:
//
//     Width is 1280, takes 64 to 1280 in steps of 4
//     Width is 672
//     Width = 1281 is refused with code 2
//     TriggerMode is Off, takes: Off On
//     TriggerMode is On
//
// and on stderr the log line of the refusal, which ends in "Width 1281: above the maximum 1280".
#include <kestro/kestro.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

static bool setWidth(const std::shared_ptr<kestro::Camera>& camera) {
    kestro::ParameterInt width(camera, "Width");
    std::int64_t old = 0;
    std::int64_t min = 0;
    std::int64_t max = 0;
    std::int64_t step = 0;
    std::int64_t now = 0;
    if (!width.getValue(old) || !width.getRange(min, max) || !width.getIncrement(step)) {
        return false;
    }
    std::printf("Width is %" PRId64 ", takes %" PRId64 " to %" PRId64 " in steps of %" PRId64 "\n",
                old, min, max, step);
    const std::int64_t half = min + (max - min) / 2 / step * step;
    if (!width.setValue(half) || !width.getValue(now)) return false;
    std::printf("Width is %" PRId64 "\n", now);

    const kestro::Result refused = width.setValue(max + 1);  // is not sent: the log says why
    if (refused) return false;
    std::printf("Width = %" PRId64 " is refused with code %d\n", max + 1, refused.getCode());
    return width.setValue(old).isOK();
}

static bool setTriggerMode(const std::shared_ptr<kestro::Camera>& camera) {
    kestro::ParameterEnum mode(camera, "TriggerMode");
    std::string old;
    std::string now;
    std::vector<kestro::ParameterEnum::Entry> entries;
    if (!mode.getValue(old) || !mode.getEntryList(entries)) return false;
    std::printf("TriggerMode is %s, takes:", old.c_str());
    for (const auto& entry : entries) std::printf(" %s", entry.symbol.c_str());
    std::printf("\n");
    if (!mode.setValue("On") || !mode.getValue(now)) return false;
    std::printf("TriggerMode is %s\n", now.c_str());
    return mode.setValue(old).isOK();
}

int main() {
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    const kestro::Result found = kestro::System::getInstance().discovery(cameras, 0);
    if (!found || cameras.empty()) {
        std::fprintf(stderr, found ? "no camera found\n" : "the search failed\n");
        return EXIT_FAILURE;
    }
    const std::shared_ptr<kestro::Camera> camera = cameras.front();
    const kestro::Result connected = camera->connect();
    if (!connected) {
        std::fprintf(stderr, "no connection, code %d: see the log\n", connected.getCode());
        return EXIT_FAILURE;
    }
    const bool isSet = setWidth(camera) && setTriggerMode(camera);
    if (!isSet) std::fprintf(stderr, "a feature failed: see the log\n");
    camera->disconnect();
    return isSet ? EXIT_SUCCESS : EXIT_FAILURE;
}
