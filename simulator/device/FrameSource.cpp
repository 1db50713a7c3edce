// SPDX-License-Identifier: Apache-2.0
#include "FrameSource.h"

#include "ImageStamp.h"
#include "JpegEncoder.h"
#include "PacketFate.h"
#include "ResultChunks.h"
#include "ResultDamage.h"
#include "SceneView.h"
#include "Simulator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <stdexcept>
#include <utility>

namespace kestrosim {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What happens to results is not what happens to packets.
constexpr std::uint64_t kResultSeed = 0xd1b54a32d192ed03;

PayloadType payloadTypeOf(ResultFormat format) {
    switch (format) {
        case ResultFormat::jpeg:
            return PayloadType::jpeg;
        case ResultFormat::raw:
            return PayloadType::raw;
        case ResultFormat::chunkOnly:
            return PayloadType::chunks;
        case ResultFormat::none:
        case ResultFormat::container:
        case ResultFormat::containerJpeg:
        case ResultFormat::chunk:
            break;
    }
    return PayloadType::image;
}

bool isCompressed(ResultFormat format) {
    return format == ResultFormat::containerJpeg || format == ResultFormat::jpeg;
}

/** Picture and results; `jpeg` is the picture's file where it is compressed. */
Bytes encode(const Scene& view, const StreamSettings& settings, std::uint64_t timestamp,
             std::span<const std::uint8_t> jpeg) {
    switch (settings.format) {
        case ResultFormat::container:
        case ResultFormat::containerJpeg:
        case ResultFormat::raw:
            return encodeContainer(view, timestamp, jpeg);
        case ResultFormat::chunk:
        case ResultFormat::jpeg:
            return encodeChunks(view, timestamp, settings.chunks, jpeg);
        case ResultFormat::chunkOnly:
            return encodeResultChunks(view, timestamp, settings.chunks);
        case ResultFormat::none:
            break;
    }
    return view.pixels;
}

/** The pixels of an encoded frame; none where there are none. */
std::span<std::uint8_t> pixelsIn(Bytes& encoded, const Scene& view, ResultFormat format) {
    const std::span<std::uint8_t> bytes(encoded);
    switch (format) {
        case ResultFormat::none:
        case ResultFormat::chunk:
            return bytes.first(view.pixels.size());
        case ResultFormat::container:
        case ResultFormat::raw:
            return bytes.subspan(kContainerImageOffset, view.pixels.size());
        case ResultFormat::containerJpeg:
        case ResultFormat::jpeg:
        case ResultFormat::chunkOnly:
            break;
    }
    return {};
}

/** Nowhere in a plain picture. */
ResultPlace resultsIn(const Bytes& encoded, ResultFormat format, std::size_t imageBytes) {
    switch (format) {
        case ResultFormat::container:
        case ResultFormat::containerJpeg:
        case ResultFormat::raw:
            return resultsInContainer(encoded);
        case ResultFormat::chunk:
        case ResultFormat::jpeg:
            return resultsInChunks(encoded, imageBytes + chunk::kTrailerBytes);
        case ResultFormat::chunkOnly:
            return resultsInChunks(encoded, 0);
        case ResultFormat::none:
            break;
    }
    return {encoded.size()};
}

}  // namespace

TruthFile::TruthFile(const std::string& path) {
    if (path.empty()) return;
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (descriptor_ < 0) {
        throw std::runtime_error(path + " cannot be opened for writing: " + std::strerror(errno));
    }
}

TruthFile::~TruthFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

// One write for a line: several cameras may append to one file.
void TruthFile::append(std::string line) const {
    if (descriptor_ < 0) return;
    line += '\n';
    const char* from = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        const ssize_t written = ::write(descriptor_, from, left);
        if (written < 0 && errno != EINTR) return;
        if (written < 0) continue;
        from += written;
        left -= static_cast<std::size_t>(written);
    }
}

FrameSource::FrameSource(const CameraOptions& options)
    : stampsImages_(options.stampsImages),
      resultFaults_(options.faults.results),
      resultChance_(options.faults.seed ^ kResultSeed),
      camera_(options.serial),
      truth_(options.truthFile),
      scenes_({options.width, options.height, options.seed, options.scenes, options.difficulty,
               options.imageFolder, options.report}),
      truthWritten_(std::max(scenes_.count(), 1U)) {}

std::shared_ptr<const Scene> FrameSource::scene(std::uint64_t number) {
    const std::uint64_t index = number % truthWritten_.size();
    std::shared_ptr<const Scene> scene = scenes_.scene(index);
    if (!truthWritten_[index]) {
        truth_.append(truthLine(camera_, static_cast<std::uint32_t>(index), *scene));
        truthWritten_[index] = true;
    }
    return scene;
}

JpegFiles::File JpegFiles::fileOf(const std::shared_ptr<const Scene>& scene, const Scene& view,
                                  const PictureSettings& settings) {
    const auto known = kept_.find(scene.get());
    if (known != kept_.end() && known->second.scene.lock() == scene &&
        known->second.settings == settings) {
        return known->second.file;
    }
    // A picture that is loaded again is another scene: the files of those before would pile up.
    std::erase_if(kept_, [](const auto& entry) { return entry.second.scene.expired(); });
    auto file = std::make_shared<const Bytes>(encodeJpeg(view, settings.compressionQuality));
    kept_[scene.get()] = {scene, settings, file};
    return file;
}

FramePayload FrameSource::expose(const std::shared_ptr<const Scene>& scene,
                                 const StreamSettings& settings, std::uint64_t blockId,
                                 std::uint64_t timestamp) {
    const std::shared_ptr<const Scene> view = viewOf(scene, settings);
    FramePayload frame;
    frame.width = view->width;
    frame.height = view->height;
    frame.offsetX = settings.offsetX;
    frame.offsetY = settings.offsetY;
    frame.timestamp = timestamp;
    frame.reading = {view->status, static_cast<std::uint32_t>(view->read.size()),
                     view->readMilliseconds};
    frame.type = payloadTypeOf(settings.format);
    frame.hasChunks =
        settings.format == ResultFormat::chunk || settings.format == ResultFormat::jpeg;
    if (settings.format == ResultFormat::none && !stampsImages_) {
        // The picture stays alive with the scene that it belongs to.
        frame.bytes = {view, &view->pixels};
        return frame;
    }
    const JpegFiles::File jpeg =
        isCompressed(settings.format) ? jpegFiles_.fileOf(scene, *view, settings) : nullptr;
    Bytes bytes =
        encode(*view, settings, timestamp, jpeg ? *jpeg : std::span<const std::uint8_t>());
    if (stampsImages_) {
        frame.isStamped = stampImage(pixelsIn(bytes, *view, settings.format), blockId);
    }
    frame.resultFault = damage(bytes, settings, jpeg ? jpeg->size() : view->pixels.size());
    frame.bytes = std::make_shared<const Bytes>(std::move(bytes));
    return frame;
}

// Each frame takes the same share of the chances, whatever happens to it.
ResultFault FrameSource::damage(Bytes& encoded, const StreamSettings& settings,
                                std::size_t imageBytes) {
    if (resultFaults_.cut <= 0 && resultFaults_.corrupt <= 0) return ResultFault::none;
    const std::size_t fault =
        pick(resultChance_.next(), {resultFaults_.cut, resultFaults_.corrupt});
    SeededRandom how(resultChance_.next());
    const ResultPlace place = resultsIn(encoded, settings.format, imageBytes);
    if (fault == 0 && cutResults(encoded, place, how)) return ResultFault::cut;
    if (fault == 1 && corruptResults(encoded, place, how)) return ResultFault::corrupt;
    return ResultFault::none;
}

}  // namespace kestrosim
