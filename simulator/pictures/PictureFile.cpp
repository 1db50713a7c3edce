// SPDX-License-Identifier: Apache-2.0
#include "PictureFile.h"

#include "PictureReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace kestrosim {
namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

[[noreturn]] void failOn(const char* what) {
    throw std::runtime_error(std::string(what) + std::strerror(errno));
}

/** Only a regular file: a pipe of that name would keep its reader waiting. */
File open(const std::string& path) {
    // NOLINTNEXTLINE(*-vararg)
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) failOn("");
    File file(::fdopen(descriptor, "rb"));
    if (!file) {
        ::close(descriptor);
        failOn("");
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) failOn("");
    if (!S_ISREG(status.st_mode)) throw std::runtime_error("it is no regular file");
    return file;
}

std::unique_ptr<PictureReader> readerOf(std::FILE* file) {
    std::array<unsigned char, 4> head{};
    const std::size_t length = std::fread(head.data(), 1, head.size(), file);
    if (std::ferror(file) != 0) failOn("");
    std::rewind(file);
    if (length == 0) throw std::runtime_error("it is empty");
    if (head == std::array<unsigned char, 4>{0x89, 'P', 'N', 'G'}) return readPng(file);
    if (head[0] == 0xff && head[1] == 0xd8) return readJpeg(file);
    if (head[0] == 'P' && (head[1] == '2' || head[1] == '5')) return readPgm(file);
    throw std::runtime_error("it is neither PNG nor JPEG nor PGM");
}

PictureSize checkedSizeOf(const PictureReader& reader) {
    const PictureSize size = reader.size();
    if (std::min(size.width, size.height) >= 1 &&
        std::max(size.width, size.height) <= kLongestPictureSide) {
        return size;
    }
    throw std::runtime_error("it is " + std::to_string(size.width) + " x " +
                             std::to_string(size.height) + " pixels; a side has 1 to " +
                             std::to_string(kLongestPictureSide));
}

/** What is done with a file; the reasons for which it fails get the file's name. */
template <typename Use>
auto useFile(const std::string& path, const Use& use) {
    try {
        const File file = open(path);
        return use(file.get());
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot read " + path + ": " + error.what());
    }
}

bool endsWith(std::string_view name, std::string_view ending) {
    const auto isSame = [](char letter, char small) {
        return letter == small || (letter >= 'A' && letter <= 'Z' && letter - 'A' + 'a' == small);
    };
    return name.size() > ending.size() &&
           std::equal(ending.rbegin(), ending.rend(), name.rbegin(),
                      [isSame](char small, char letter) { return isSame(letter, small); });
}

}  // namespace

bool isPictureName(std::string_view name) {
    constexpr std::string_view kEndings[] = {".png", ".jpg", ".jpeg", ".pgm"};
    return std::any_of(std::begin(kEndings), std::end(kEndings),
                       [name](std::string_view ending) { return endsWith(name, ending); });
}

PictureSize pictureSizeOf(const std::string& path) {
    return useFile(path, [](std::FILE* file) { return checkedSizeOf(*readerOf(file)); });
}

Picture loadPicture(const std::string& path) {
    return useFile(path, [](std::FILE* file) {
        const auto reader = readerOf(file);
        Picture picture{checkedSizeOf(*reader), {}};
        picture.pixels.resize(std::size_t{picture.size.width} * picture.size.height);
        reader->read(picture.pixels.data());
        return picture;
    });
}

}  // namespace kestrosim
