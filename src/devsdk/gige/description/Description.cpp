// SPDX-License-Identifier: Apache-2.0
#include "Description.h"

#include "LastError.h"
#include "VordaInfra.h"
#include "Zip.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <utility>

namespace Vorda::Gige {
namespace {

// Bootstrap registers: where a camera says where its descriptions are.
constexpr std::uint32_t kUrl = 0x0200;
constexpr std::uint32_t kSecondUrl = 0x0400;
constexpr std::size_t kUrlBytes = 512;

constexpr std::uint32_t kBlockBytes = 512;  ///< what a camera gives at once
/** An archive whose directory is longer is read whole: one of a single file never is. */
constexpr std::size_t kLongestNameplateBytes = kBlockBytes;

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
    });
    return lower;
}

bool startsWithName(std::string_view text, std::string_view lowerCaseName) {
    return lowerCase(text.substr(0, lowerCaseName.size())) == lowerCaseName;
}

/** A hexadecimal number of up to 32 bits, with or without "0x". */
std::optional<std::uint32_t> parseHex(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    if (startsWithName(text, "0x")) text.remove_prefix(2);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<std::string> readUrl(RegisterPort& camera, std::uint32_t address) {
    std::array<std::uint8_t, kUrlBytes> bytes;
    if (!camera.readMemory(address, bytes)) return std::nullopt;
    return BigEndianReader(bytes).text(bytes.size());
}

/** The bytes at `location`; memory grows with what has arrived, not with what was announced. */
std::optional<Bytes> readDescriptionBytes(RegisterPort& camera,
                                          const DescriptionLocation& location) {
    Bytes bytes;
    for (std::uint32_t done = 0; done < location.sizeBytes;) {
        const std::uint32_t count = std::min(location.sizeBytes - done, kBlockBytes);
        bytes.resize(done + count);
        if (!camera.readMemory(std::uint64_t{location.address} + done,
                               std::span(bytes).subspan(done, count)))
            return std::nullopt;
        done += count;
    }
    return bytes;
}

std::nullptr_t failDescription(const std::string& why) {
    setLastError(Error::description, "the camera's GenICam description cannot be used: " + why);
    return nullptr;
}

/** Cameras announce whole words or flash pages: what follows the root's end tag is no text. */
void cutAfterRoot(std::string& xml) {
    constexpr std::string_view kEnd = "RegisterDescription>";
    const std::size_t end = xml.rfind(kEnd);
    if (end != std::string::npos) xml.resize(end + kEnd.size());
}

bool isArchive(const DescriptionLocation& location, const Bytes& bytes) {
    return lowerCase(location.fileName).ends_with(".zip") || looksZipped(bytes);
}

/** What tells an archive from others, where that can be trusted and is short. */
std::size_t nameplateBytes(const Bytes& archive, const UnzippedFile& file) {
    const std::size_t bytes = file.isSumRight ? zipDirectory(archive).size() : 0;
    return bytes <= kLongestNameplateBytes ? bytes : 0;
}

std::shared_ptr<const DescriptionFile> makeFile(Bytes bytes, bool isZipped) {
    auto made = std::make_shared<DescriptionFile>();
    std::string xml;
    std::string reason;
    if (isZipped) {
        auto unpacked = unzipFirstFile(bytes, kLongestDescriptionBytes, reason);
        if (!unpacked) return failDescription(reason);
        made->nameplateBytes = nameplateBytes(bytes, *unpacked);
        xml = std::move(unpacked->text);
    } else {
        xml.assign(bytes.begin(), bytes.end());
    }
    cutAfterRoot(xml);
    made->description = CheckedDescription::make(std::move(xml), reason);
    if (!made->description) return failDescription(reason);
    bytes.shrink_to_fit();  // they may be kept as long as the process lives
    made->bytes = std::move(bytes);
    return made;
}

/** Whether a request has failed for want of an answer: the next one would only take as long. */
bool isCameraSilent() {
    return isConnectionGone() || Infra::getLastError() == static_cast<int>(Error::timeout);
}

/**
 * Whether the camera's file ends as the known one does: a camera that does not give its end alone
 * may well give all of it. Empty, with the last error, when it does not answer.
 */
std::optional<bool> hasNameplate(RegisterPort& camera, const DescriptionLocation& location,
                                 const DescriptionFile& known) {
    if (known.nameplateBytes == 0 || location.sizeBytes != known.bytes.size()) return false;
    const ByteView wanted = ByteView(known.bytes).last(known.nameplateBytes);
    Bytes found(wanted.size());
    const std::uint64_t offset = known.bytes.size() - wanted.size();
    if (!camera.readMemory(location.address + offset, found))
        return isCameraSilent() ? std::nullopt : std::optional(false);
    return std::ranges::equal(found, wanted);
}

}  // namespace

std::optional<DescriptionLocation> parseDescriptionUrl(std::string_view url, std::string& reason) {
    constexpr std::string_view kLocal = "local:";
    const auto failed = [&](const char* why) {
        reason = std::string(why) + " [" + std::string(url) + "]";
        return std::nullopt;
    };
    if (startsWithName(url, "http:") || startsWithName(url, "https:") ||
        startsWithName(url, "file:"))
        return failed("it is not in the camera but at");
    if (!startsWithName(url, kLocal)) return failed("its URL is malformed");
    std::string_view rest = url.substr(kLocal.size());
    rest = rest.substr(0, rest.find('?'));  // "?SchemaVersion=1.1.0" may follow
    const std::size_t first = rest.find(';');
    const std::size_t second = rest.find(';', first == std::string_view::npos ? first : first + 1);
    if (second == std::string_view::npos) return failed("its URL is malformed");
    const auto address = parseHex(rest.substr(first + 1, second - first - 1));
    const auto size = parseHex(rest.substr(second + 1));
    if (!address || !size) return failed("its URL is malformed");
    if (*size == 0 || *size > kLongestDescriptionBytes) return failed("its size is absurd");
    std::string_view name = rest.substr(0, first);
    name.remove_prefix(std::min(name.size(), name.find_first_not_of('/')));
    return DescriptionLocation{std::string(url), std::string(name), *address, *size};
}

std::optional<DescriptionLocation> locateDescription(RegisterPort& camera) {
    std::string reason;
    std::string firstReason;
    for (const std::uint32_t at : {kUrl, kSecondUrl}) {
        const auto url = readUrl(camera, at);
        // A camera with one description need not have the second URL's registers.
        if (!url && firstReason.empty()) return std::nullopt;
        if (!url) break;
        if (auto location = parseDescriptionUrl(*url, reason)) return location;
        if (firstReason.empty()) firstReason = reason;
    }
    static_cast<void>(failDescription(firstReason));
    return std::nullopt;
}

std::shared_ptr<const DescriptionFile> readDescription(
    RegisterPort& camera, const DescriptionLocation& location,
    const std::shared_ptr<const DescriptionFile>& known) {
    if (known) {
        const auto isSame = hasNameplate(camera, location, *known);
        if (!isSame) return nullptr;
        if (*isSame) return known;
    }
    auto bytes = readDescriptionBytes(camera, location);
    if (!bytes) return nullptr;
    if (known && *bytes == known->bytes) return known;
    const bool isZipped = isArchive(location, *bytes);
    return makeFile(std::move(*bytes), isZipped);
}

}  // namespace Vorda::Gige
