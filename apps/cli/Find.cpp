// SPDX-License-Identifier: Apache-2.0
#include "Find.h"

#include "Failure.h"
#include "Text.h"

#include <kestro/System.h>

namespace kestrocli {
namespace {

constexpr unsigned int kNetworkCards = 1;

std::string described(const std::vector<FoundCamera>& cameras) {
    std::vector<std::vector<std::string>> rows;
    rows.reserve(cameras.size());
    for (const auto& [camera, record] : cameras) {
        rows.push_back({"  " + visible(record.key), visible(record.userName), record.ip, record.mac,
                        visible(record.interfaceName)});
    }
    std::string text = table(rows);
    if (!text.empty()) text.pop_back();
    return text;
}

}  // namespace

std::vector<FoundCamera> discoverCameras() {
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    const kestro::Result result = kestro::System::getInstance().discovery(cameras, kNetworkCards);
    if (result.isFailure()) throw Failure("the network could not be searched for cameras");
    std::vector<FoundCamera> found;
    found.reserve(cameras.size());
    for (const auto& camera : cameras) found.push_back({camera, recordOf(camera)});
    return found;
}

const FoundCamera& chooseCamera(const std::vector<FoundCamera>& cameras, const std::string& text) {
    std::vector<CameraRecord> records;
    records.reserve(cameras.size());
    for (const auto& found : cameras) records.push_back(found.record);
    const std::vector<std::size_t> chosen = matching(records, text);
    if (chosen.size() == 1) return cameras[chosen.front()];
    if (!chosen.empty()) {
        std::vector<FoundCamera> several;
        several.reserve(chosen.size());
        for (const std::size_t index : chosen) several.push_back(cameras[index]);
        throw Failure("\"" + visible(text) + "\" means several cameras, name one by its key:\n" +
                          described(several),
                      ExitCode::usage);
    }
    const std::string what = "no camera \"" + visible(text) + "\"; ";
    if (cameras.empty()) throw Failure(what + "no camera answered at all", ExitCode::notFound);
    throw Failure(what + "these answered:\n" + described(cameras), ExitCode::notFound);
}

FoundCamera findCamera(const std::string& text) { return chooseCamera(discoverCameras(), text); }

}  // namespace kestrocli
