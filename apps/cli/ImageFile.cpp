// SPDX-License-Identifier: Apache-2.0
#include "ImageFile.h"

#include "Failure.h"
#include "Output.h"
#include "PixelFormat.h"

#include <png.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace kestrocli {
namespace {

struct PngLayout {
    int colourType = 0;
    int bitDepth = 0;
    std::uint32_t bytesPerPixel = 0;
};

PngLayout layoutOf(std::uint32_t pixelFormat) {
    switch (pixelFormat) {
        case kMono8:
            return {PNG_COLOR_TYPE_GRAY, 8, 1};
        case kMono16:
            return {PNG_COLOR_TYPE_GRAY, 16, 2};
        case kRgb8:
            return {PNG_COLOR_TYPE_RGB, 8, 3};
        default:
            return {};
    }
}

void appendToVector(png_structp png, png_bytep data, png_size_t length) {
    auto& bytes = *static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(png));
    try {
        bytes.insert(bytes.end(), data, data + length);
    } catch (...) {
        png_error(png, "out of memory");
    }
}

void ignoreMessage(png_structp, png_const_charp) {}

void jumpBack(png_structp png, png_const_charp) { png_longjmp(png, 1); }

/** libpng leaves by longjmp, so nothing here may need a destructor. */
bool writePng(png_structp png, png_infop info, const kestro::Frame& frame, PngLayout layout) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp)
    const std::uint32_t rowBytes = frame.getWidth() * layout.bytesPerPixel;
    png_set_IHDR(png, info, frame.getWidth(), frame.getHeight(), layout.bitDepth, layout.colourType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // The fastest setting: pictures are saved while the next ones arrive.
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_write_info(png, info);
    // Cameras send little-endian pixels, PNG holds big-endian ones.
    if (layout.bitDepth == 16) png_set_swap(png);
    for (std::uint32_t y = 0; y < frame.getHeight(); ++y) {
        png_write_row(png, frame.getImageData() + std::size_t{y} * rowBytes);
    }
    png_write_end(png, info);
    return true;
}

std::vector<std::uint8_t> encodePng(const kestro::Frame& frame, PngLayout layout) {
    std::vector<std::uint8_t> bytes;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jumpBack, ignoreMessage);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    if (info != nullptr) png_set_write_fn(png, &bytes, appendToVector, nullptr);
    const bool written = info != nullptr && writePng(png, info, frame, layout);
    png_destroy_write_struct(&png, &info);
    if (!written) throw Failure("a picture could not be made a PNG");
    return bytes;
}

bool isWhole(const kestro::Frame& frame, PngLayout layout) {
    const std::uint64_t pixels = std::uint64_t{frame.getWidth()} * frame.getHeight();
    // libpng's own limit for a side is a million.
    return pixels > 0 && frame.getWidth() <= 1'000'000 && frame.getHeight() <= 1'000'000 &&
           frame.getImageSize() / layout.bytesPerPixel >= pixels;
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

/** The file that a link stands for: the link is to stay one. */
std::string targetOf(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(path.c_str(), nullptr),
                                                             &std::free);
    return target ? target.get() : path;
}

}  // namespace

EncodedImage encodeImage(const kestro::Frame& frame) {
    const std::span image(frame.getImageData(), frame.getImageSize());
    const PngLayout layout = layoutOf(frame.getPixelFormat());
    if (frame.getPayloadFlag()) return {{image.begin(), image.end()}, "jpg"};
    if (layout.bytesPerPixel == 0 || !isWhole(frame, layout)) {
        return {{image.begin(), image.end()}, "raw"};
    }
    return {encodePng(frame, layout), "png"};
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
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "-%08llu.",
                  static_cast<unsigned long long>(number));
    std::string name = fileNamePart(serial) + digits.data() + std::string(image.extension);
    if (image.extension == "raw" && rawFormats_.insert(frame.getPixelFormat()).second) {
        complain(name + ": " + std::to_string(frame.getWidth()) + " x " +
                 std::to_string(frame.getHeight()) + " " + pixelFormatName(frame.getPixelFormat()) +
                 " is saved as .raw, the bytes as the camera sent them; so are others like it");
    }
    writeWhole(path_ + "/" + name, image.bytes);
    return name;
}

}  // namespace kestrocli
