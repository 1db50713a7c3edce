// SPDX-License-Identifier: Apache-2.0
#include "ImageFile.h"

#include "Failure.h"
#include "Output.h"
#include "PixelFormat.h"
#include "Png.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

namespace kestrocli {
namespace {

std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat) {
    switch (pixelFormat) {
        case kMono8:
            return PixelLayout::grey8;
        case kMono16:
            return PixelLayout::grey16;
        case kRgb8:
            return PixelLayout::rgb8;
        default:
            return std::nullopt;
    }
}

[[noreturn]] void failOn(const std::string& path) {
    throw Failure("cannot write " + path + ": " + std::strerror(errno));
}

/** A descriptor for writing to a path; closed at the end. */
class WriteDescriptor {
 public:
    /** `name` is what messages call it. */
    WriteDescriptor(const std::string& path, int flags, std::string name)
        // NOLINTNEXTLINE(*-vararg)
        : descriptor_(open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, 0666)),
          name_(std::move(name)) {
        if (descriptor_ < 0) failOn(name_);
    }
    ~WriteDescriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    WriteDescriptor(const WriteDescriptor&) = delete;
    WriteDescriptor& operator=(const WriteDescriptor&) = delete;

    void write(std::span<const std::uint8_t> bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) failOn(name_);
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        }
    }
    /** Some file systems tell only now that they are full. */
    void finish() {
        if (close(std::exchange(descriptor_, -1)) != 0) failOn(name_);
    }

 private:
    int descriptor_;
    std::string name_;
};

/** A new file beside the one that it is to become; gone at the end unless it became that. */
class NewFile {
 public:
    NewFile(std::string path, const std::string& name)
        : path_(std::move(path)), file_(path_, O_CREAT | O_TRUNC, name) {}
    ~NewFile() {
        if (!kept_) unlink(path_.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::span<const std::uint8_t> bytes) const { file_.write(bytes); }
    void keepAs(const std::string& name) {
        file_.finish();
        if (rename(path_.c_str(), name.c_str()) != 0) failOn(name);
        kept_ = true;
    }

 private:
    std::string path_;
    WriteDescriptor file_;
    bool kept_ = false;
};

/** A terminal, a pipe, /dev/null: something that is written to, never replaced. */
bool isDevice(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

std::string describe(const kestro::Frame& frame) {
    if (frame.getWidth() == 0 || frame.getHeight() == 0) return "a frame without a picture";
    return std::to_string(frame.getWidth()) + " x " + std::to_string(frame.getHeight()) + " " +
           pixelFormatName(frame.getPixelFormat());
}

/** The file that a link stands for: the link is to stay one. */
std::string targetOf(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(path.c_str(), nullptr),
                                                             &std::free);
    return target ? target.get() : path;
}

}  // namespace

EncodedImage encodeImage(const kestro::Frame& frame) {
    const std::span image(frame.getImageData(), frame.getImageSize());
    if (frame.getPayloadFlag()) return {{image.begin(), image.end()}, "jpg"};
    const auto layout = layoutOf(frame.getPixelFormat());
    const Pixels pixels{image, frame.getWidth(), frame.getHeight(),
                        layout.value_or(PixelLayout::grey8)};
    if (!layout || !isWhole(pixels)) return {{image.begin(), image.end()}, "raw"};
    return {encodePng(pixels), "png"};
}

std::string imageName(std::string_view serial, std::uint64_t number, std::string_view extension) {
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "-%08llu.",
                  static_cast<unsigned long long>(number));
    return fileNamePart(serial) + digits.data() + std::string(extension);
}

void writeWhole(const std::string& path, std::span<const std::uint8_t> bytes) {
    if (isDevice(path)) {
        WriteDescriptor device(path, 0, path);
        device.write(bytes);
        return device.finish();
    }
    const std::string target = targetOf(path);
    NewFile file(target + ".part", path);
    file.write(bytes);
    file.keepAs(target);
}

std::string fileNamePart(std::string_view text) {
    std::string part;
    for (const char c : text) {
        const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                           (c >= 'a' && c <= 'z') || c == '.' || c == '-' || c == '_';
        part += plain ? c : '_';
    }
    if (part.empty()) return "camera";
    if (part.front() == '.') part.front() = '_';
    return part;
}

void prepareFolder(const std::string& path) {
    struct stat status {};
    if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
        throw Failure("cannot make the folder " + path + ": " + std::strerror(errno));
    }
    if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        throw Failure(path + " is not a folder");
    }
    const std::string probe = path + "/.kestro-" + std::to_string(getpid());
    const NewFile file(probe, probe);
}

ImageFolder::ImageFolder(std::string path) : path_(std::move(path)) { prepareFolder(path_); }

std::string ImageFolder::save(const kestro::Frame& frame, std::string_view serial,
                              std::uint64_t number) {
    if (frame.getImageData() == nullptr) return {};
    const EncodedImage image = encodeImage(frame);
    std::string name = imageName(serial, number, image.extension);
    if (image.extension == "raw" && rawFormats_.insert(frame.getPixelFormat()).second) {
        complain(name + ": " + describe(frame) +
                 " is saved as .raw, the bytes as the camera sent them; so are others like it");
    }
    writeWhole(path_ + "/" + name, image.bytes);
    return name;
}

}  // namespace kestrocli
