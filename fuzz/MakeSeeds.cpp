// SPDX-License-Identifier: Apache-2.0
//
// Makes first inputs of what a camera really sends: frames of the simulated camera, and a recorded
// session of another one. kestro_fuzz_seeds FOLDER; each target's go to a folder of its name.
#include "ChunkLayout.h"
#include "FuzzInput.h"
#include "JpegEncoder.h"
#include "Pcap.h"
#include "ResultChunks.h"
#include "Scene.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using kestro::fuzz::Bytes;
using kestro::fuzz::ByteView;

constexpr std::uint64_t kTimestamp = 0x0000'0005'1234'5678;

/** Writes the inputs of one target, numbered. */
class Seeds {
 public:
    Seeds(const std::filesystem::path& folder, const std::string& target)
        : folder_(folder / target) {
        std::filesystem::create_directories(folder_);
    }
    /** `choices` are the bytes that the target takes in front of the input. */
    void add(const Bytes& choices, ByteView input) {
        std::ofstream file(folder_ / ("seed-" + std::to_string(++count_)), std::ios::binary);
        for (const ByteView part : {ByteView(choices), input})
            file.write(reinterpret_cast<const char*>(part.data()),
                       static_cast<std::streamsize>(part.size()));
    }

 private:
    std::filesystem::path folder_;
    int count_ = 0;
};

kestrosim::Scene scene() {
    kestrosim::Scene made;
    made.width = 20;
    made.height = 12;
    made.pixels.assign(std::size_t{20} * 12, 0x55);
    made.read = {{"CODE128", "KST-000123-7F", {{{1, 2}, {9, 2}, {9, 8}, {1, 8}}}, 2.517F},
                 {"QR", "K\xc3\xb6ln \"4\"\n", {{{-3, 4}, {15, 5}, {16, 11}, {2, 11}}}, 3.25F}};
    made.status = kestrosim::ReadStatus::partial;
    made.readMilliseconds = 17;
    return made;
}

std::uint32_t littleAt(const Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | bytes.at(at + i);
    return value;
}

void addFrames(const std::filesystem::path& folder) {
    const Bytes jpeg = kestrosim::encodeJpeg(scene(), 50);
    Seeds(folder, "jpeg").add({1}, jpeg);
    Seeds containers(folder, "container");
    Seeds frames(folder, "frame");
    Seeds texts(folder, "json");
    for (const ByteView picture : {ByteView(), ByteView(jpeg)}) {
        const Bytes container = kestrosim::encodeContainer(scene(), kTimestamp, picture);
        containers.add({}, container);
        frames.add({0}, ByteView(container).subspan(4));
        for (const std::size_t entry : {24U, 24U + 64U}) {
            const ByteView block = ByteView(container).subspan(littleAt(container, entry + 4),
                                                               littleAt(container, entry + 8));
            constexpr std::uint32_t kText = 2;
            if (littleAt(container, entry) == kText) texts.add({}, block);
        }
    }
    Seeds payloads(folder, "payload");
    const kestrosim::chunk::Choice all = {true, true, true, true};
    payloads.add({0}, kestrosim::encodeChunks(scene(), kTimestamp, all));
    payloads.add({4}, kestrosim::encodeChunks(scene(), kTimestamp, all, jpeg));
    payloads.add({2}, kestrosim::encodeResultChunks(scene(), kTimestamp, all));
}

/** Of each kind of datagram a few: they are much alike. */
void addSession(const std::filesystem::path& folder) {
    constexpr std::uint16_t kControlPort = 3956;
    Seeds control(folder, "gvcp");
    Bytes stream{5, 7, 0};
    int commands = 0;
    for (const auto& datagram :
         kestro::test::PcapReader::read(KESTRO_GOLDEN_DIR "/aravis-session.pcap")) {
        const bool isControl =
            datagram.sourcePort == kControlPort || datagram.destinationPort == kControlPort;
        if (isControl && ++commands <= 40) control.add({0}, datagram.payload);
        if (isControl || datagram.payload.size() > 255 || stream.size() > 2000) continue;
        stream.push_back(1);
        stream.push_back(static_cast<std::uint8_t>(datagram.payload.size()));
        stream.insert(stream.end(), datagram.payload.begin(), datagram.payload.end());
    }
    Seeds(folder, "stream").add({}, stream);
}

Bytes golden(const char* name) {
    std::ifstream file(std::string(KESTRO_GOLDEN_DIR "/") + name, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    return {text.begin(), text.end()};
}

void addDescriptions(const std::filesystem::path& folder) {
    Seeds descriptions(folder, "description");
    for (const char* const name : {"description.xml", "small.xml", "config.xml", "traps.xml"})
        descriptions.add({}, golden(name));
    Seeds archives(folder, "archive");
    for (const char* const name : {"description.zip", "description-stored.zip"})
        archives.add({0}, golden(name));
    for (const std::string url : {"Local:camera.zip;10000;3e68", "local:///a.xml;0x8;F?Schema=1.1"})
        archives.add({2}, Bytes(url.begin(), url.end()));
}

}  // namespace

int main(int count, char** arguments) try {
    if (count != 2) return 2;
    addFrames(arguments[1]);
    addSession(arguments[1]);
    addDescriptions(arguments[1]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
