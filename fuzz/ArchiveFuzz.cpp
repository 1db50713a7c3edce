// SPDX-License-Identifier: Apache-2.0
//
// Where a camera says that its description is, and the archive that it comes in. The fuzzer's bytes
// are the archive, or choices of what is put into one and of what it says of itself.
#include "Description.h"
#include "FuzzInput.h"
#include "LastError.h"
#include "RegisterPort.h"
#include "VordaInfra.h"
#include "Zip.h"

#include <zlib.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace kestro::fuzz;
using kestro::fuzz::Bytes;
using kestro::fuzz::ByteView;
using Vorda::Gige::Error;

constexpr std::size_t kLimit = 4096;

void putLittle(Bytes& bytes, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

Bytes deflated(ByteView bytes) {
    z_stream stream{};
    KESTRO_EXPECT(deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK);
    Bytes packed(deflateBound(&stream, static_cast<uLong>(bytes.size())));
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    KESTRO_EXPECT(deflate(&stream, Z_FINISH) == Z_STREAM_END);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

std::uint32_t checkSum(const std::string& file) {
    const auto* const bytes = reinterpret_cast<const Bytef*>(file.data());
    return static_cast<std::uint32_t>(crc32(0, bytes, static_cast<uInt>(file.size())));
}

/** An archive of one file, and the file where the archive says the truth. */
struct Archive {
    Bytes bytes;
    std::optional<std::string> file;
};

Archive archiveOf(Choices& choices, std::string file) {
    const std::uint8_t lies = choices.byte();
    const bool isStored = choices.flag();
    const std::uint8_t cut = choices.byte();
    const std::size_t nameBytes = choices.below(4);
    const std::size_t commentBytes = choices.below(40);
    const auto lie = [&](int which, std::uint64_t truth) {
        return (lies & which) != 0 ? choices.number(4) : truth;
    };
    Bytes packed =
        isStored ? Bytes(file.begin(), file.end())
                 : deflated({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()});
    const std::size_t packedBytes = packed.size();
    if (cut > 0xc0) packed.resize(packedBytes / 2);
    Archive archive;
    Bytes& bytes = archive.bytes;
    putLittle(bytes, 0x04034b50, 4);
    bytes.resize(26);
    putLittle(bytes, nameBytes, 2);
    putLittle(bytes, lie(1, 0), 2);
    bytes.resize(bytes.size() + nameBytes, 'n');
    bytes.insert(bytes.end(), packed.begin(), packed.end());
    const std::size_t directory = bytes.size();
    putLittle(bytes, 0x02014b50, 4);
    bytes.resize(directory + 8);
    putLittle(bytes, (lies & 2) != 0 ? choices.byte() : 0, 2);
    putLittle(bytes, (lies & 4) != 0 ? choices.byte() : isStored ? 0 : 8, 2);
    bytes.resize(directory + 16);
    const bool hasWrongSum = (cut & 0x3f) == 0x3f;
    putLittle(bytes, checkSum(file) ^ (hasWrongSum ? 1 : 0), 4);
    putLittle(bytes, lie(8, packedBytes), 4);
    putLittle(bytes, lie(16, file.size()), 4);
    bytes.resize(directory + 42);
    putLittle(bytes, lie(32, 0), 4);
    const std::size_t end = bytes.size();
    putLittle(bytes, 0x06054b50, 4);
    bytes.resize(end + 16);
    putLittle(bytes, lie(64, directory), 4);
    putLittle(bytes, 0, 2);
    bytes.resize(bytes.size() + commentBytes, 'c');
    if ((lies & 127) == 0 && cut <= 0xc0 && !hasWrongSum) archive.file = std::move(file);
    if ((lies & 128) != 0) bytes.resize(bytes.size() - std::min<std::size_t>(cut, bytes.size()));
    if ((lies & 128) != 0) archive.file.reset();
    return archive;
}

void checkArchive(const Archive& archive) {
    std::string reason;
    static_cast<void>(Vorda::Gige::looksZipped(archive.bytes));
    KESTRO_EXPECT(Vorda::Gige::zipDirectory(archive.bytes).size() <= archive.bytes.size());
    const auto file = Vorda::Gige::unzipFirstFile(archive.bytes, kLimit, reason);
    KESTRO_EXPECT(file.has_value() == reason.empty());
    if (file) KESTRO_EXPECT(file->text.size() <= kLimit);
    if (!archive.file || archive.file->empty()) return;
    KESTRO_EXPECT(file.has_value() == (archive.file->size() <= kLimit));
    if (file) KESTRO_EXPECT(file->isSumRight && file->text == *archive.file);
}

void checkUrl(const std::string& url) {
    std::string reason;
    const auto location = Vorda::Gige::parseDescriptionUrl(url, reason);
    KESTRO_EXPECT(location.has_value() == reason.empty());
    if (!location) return;
    KESTRO_EXPECT(location->sizeBytes != 0);
    KESTRO_EXPECT(location->sizeBytes <= Vorda::Gige::kLongestDescriptionBytes);
    KESTRO_EXPECT(!location->fileName.starts_with('/'));
    KESTRO_EXPECT(url.find(location->fileName) != std::string::npos);
}

/** A camera that holds two URLs and a description, and may fail. */
class DescribedCamera final : public Vorda::Gige::RegisterPort {
 public:
    static constexpr std::uint32_t kAddress = 0x10000;

    std::string urls[2];
    Bytes bytes;
    std::uint64_t failsAt = ~std::uint64_t{0};

    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        if (address <= failsAt && failsAt < address + data.size())
            return Vorda::Gige::fail(Error::timeout, "no answer");
        for (std::size_t i = 0; i < data.size(); ++i) data[i] = at(address + i);
        return true;
    }
    bool readRegister(std::uint64_t, std::uint32_t&) override { return false; }
    bool writeRegister(std::uint64_t, std::uint32_t) override { return false; }
    bool writeMemory(std::uint64_t, ByteView) override { return false; }

 private:
    [[nodiscard]] std::uint8_t at(std::uint64_t address) const {
        const std::size_t which = address >= 0x400 ? 1 : 0;
        if (address >= 0x200 && address < 0x600) {
            const std::uint64_t place = address - (which == 1 ? 0x400 : 0x200);
            return place < urls[which].size() ? static_cast<std::uint8_t>(urls[which][place]) : 0;
        }
        const bool isHeld = address >= kAddress && address - kAddress < bytes.size();
        return isHeld ? bytes[address - kAddress] : 0;
    }
};

constexpr const char* kDescription =
    "<RegisterDescription><Integer Name=\"N\"><Value>1</Value></Integer></RegisterDescription>";

using File = std::shared_ptr<const Vorda::Gige::DescriptionFile>;

File download(DescribedCamera& camera, const File& known) {
    const auto location = Vorda::Gige::locateDescription(camera);
    return location ? Vorda::Gige::readDescription(camera, *location, known) : nullptr;
}

/** Whether the byte at `place` from the end is none of those that tell a file from others. */
bool isBeforeNameplate(const Vorda::Gige::DescriptionFile& file, std::size_t place) {
    return file.nameplateBytes != 0 && place >= file.nameplateBytes;
}

/** Sizes stay small: a description of megabytes takes its time. */
std::string urlOf(Choices& choices, std::size_t size) {
    static constexpr const char* kBegins[] = {"Local:a.xml;", "local:///a.zip;", "LOCAL:;",
                                              "http://a/",    "File:a",          "Local:a.xml"};
    static constexpr const char* kEnds[] = {"", "?SchemaVersion=1.1.0", " ", ";", "g"};
    if (choices.below(8) == 0) return {};
    char numbers[64];
    const std::size_t said = choices.below(4) == 0 ? choices.byte() : size;
    std::snprintf(numbers, sizeof numbers, "%s%x;%zx", choices.flag() ? "0x" : "",
                  DescribedCamera::kAddress, said);
    return choices.oneOf(kBegins) + std::string(numbers) + choices.oneOf(kEnds);
}

void checkDownload(Choices& choices) {
    DescribedCamera camera;
    const std::uint8_t kind = choices.byte();
    const std::string text = kDescription + choices.text();
    if ((kind & 1) != 0) {
        camera.bytes = archiveOf(choices, text).bytes;
    } else {
        camera.bytes = Bytes(text.begin(), text.end());
    }
    camera.urls[0] = urlOf(choices, camera.bytes.size());
    camera.urls[1] = urlOf(choices, camera.bytes.size());
    static constexpr std::uint64_t kFaults[] = {0x200, 0x400, 0x10000, 0x10200};
    if ((kind & 2) != 0) camera.failsAt = choices.oneOf(kFaults);
    Vorda::Gige::setLastError(Error::none, "");
    const auto file = download(camera, nullptr);
    const auto error = static_cast<Error>(Vorda::Infra::getLastError());
    KESTRO_EXPECT((file == nullptr) == (error != Error::none));
    if (!file) return;
    KESTRO_EXPECT(file->description->text().find("</Reg") != std::string::npos);
    KESTRO_EXPECT(download(camera, file) == file);
    // Known or not, a camera that holds something else by now is asked for it.
    const std::uint8_t place = choices.byte();
    if (camera.bytes.size() != file->bytes.size() || file->bytes.size() <= place) return;
    camera.bytes[camera.bytes.size() - 1 - place] ^= 1;
    const auto another = download(camera, file);
    KESTRO_EXPECT(another != file || isBeforeNameplate(*file, place));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    switch (choices.below(4)) {
        case 0:
            checkArchive({exactly(choices.rest()), std::nullopt});
            break;
        case 1: {
            // Repeated, so that there are files beyond the limit, and those that pack well.
            const std::string part = choices.text();
            std::string file;
            for (std::size_t times = choices.byte() + 1; times-- > 0;) file += part;
            checkArchive(archiveOf(choices, std::move(file)));
            break;
        }
        case 2: {
            const ByteView url = choices.rest();
            checkUrl({url.begin(), url.end()});
            break;
        }
        default:
            checkDownload(choices);
            break;
    }
    return 0;
}
