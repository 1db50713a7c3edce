// SPDX-License-Identifier: Apache-2.0
//
// Configuration files as anybody may have written them: read as text, and loaded into a camera of
// registers. The first byte chooses whether the others are the file, or choices of its lines.
#include "DeviceConfig.h"
#include "DeviceConfigText.h"
#include "Features.h"
#include "FuzzInput.h"
#include "LastError.h"
#include "PayloadLayout.h"
#include "RecordingLogger.h"
#include "VordaInfra.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace Vorda::Gige;
using kestro::fuzz::ByteView;
using kestro::fuzz::Choices;

/** The registers of tests/golden/config.xml; a write of them may be lost, or its connection. */
class Registers final : public RegisterPort {
 public:
    static constexpr std::uint64_t kBegin = 0x100;
    using Content = std::array<std::uint8_t, 0x200>;

    void reset(std::size_t failsAfter) {
        bytes_ = {};
        bytes_[0x1f] = 100;  // StepLimit
        bytes_[0x03] = 64;   // Width
        left_ = failsAfter;
    }
    [[nodiscard]] const Content& bytes() const { return bytes_; }
    [[nodiscard]] int writes() const { return writes_; }

    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        if (!mayPass()) return false;
        for (std::uint8_t& byte : data) byte = at(address++);
        return true;
    }
    bool writeMemory(std::uint64_t address, Vorda::Gige::ByteView data) override {
        if (!mayPass()) return false;
        ++writes_;
        for (const std::uint8_t byte : data) put(address++, byte);
        return true;
    }
    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        std::array<std::uint8_t, 4> bytes;
        if (!readMemory(address, bytes)) return false;
        value = BigEndianReader(bytes).u32();
        return true;
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        Bytes bytes;
        appendU32(bytes, value);
        return writeMemory(address, bytes);
    }

 private:
    bool mayPass() { return left_-- > 0 || fail(Error::connectionLost, "lost"); }
    [[nodiscard]] std::uint8_t at(std::uint64_t address) const {
        const bool isHeld = address >= kBegin && address - kBegin < bytes_.size();
        return isHeld ? bytes_[address - kBegin] : std::uint8_t{0};
    }
    void put(std::uint64_t address, std::uint8_t byte) {
        if (address >= kBegin && address - kBegin < bytes_.size()) bytes_[address - kBegin] = byte;
    }

    Content bytes_{};
    std::size_t left_ = 0;
    int writes_ = 0;
};

std::string golden(const char* name) {
    std::ifstream file(std::string(KESTRO_GOLDEN_DIR "/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Camera {
    std::shared_ptr<Registers> registers = std::make_shared<Registers>();
    std::shared_ptr<Features> features;
};

/** One for all inputs: making it takes a hundred times as long as using it. */
Camera& camera() {
    static Camera& only = *[] {
        auto* const made = new Camera;
        std::string reason;
        FeatureSources sources;
        sources.camera = made->registers;
        made->registers->reset(1'000'000);
        sources.model = FeatureModel::make(CheckedDescription::make(golden("config.xml"), reason));
        KESTRO_EXPECT(sources.model);
        sources.events = std::make_shared<EventData>();
        sources.stream = std::make_shared<StreamCounters>();
        made->features = std::make_shared<Features>(std::move(sources));
        KESTRO_EXPECT(made->features);
        return made;
    }();
    return only;
}

/** A file in memory, at a path. */
class MemoryFile {
 public:
    MemoryFile() : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) { KESTRO_EXPECT(fd_ >= 0); }
    std::string holding(std::string_view text) {
        KESTRO_EXPECT(::ftruncate(fd_, 0) == 0);
        KESTRO_EXPECT(::pwrite(fd_, text.data(), text.size(), 0) ==
                      static_cast<ssize_t>(text.size()));
        return "/proc/self/fd/" + std::to_string(fd_);
    }

 private:
    int fd_;
};

MemoryFile& memoryFile() {
    static MemoryFile& only = *new MemoryFile;
    return only;
}

/** What is read from a file must come back from one that is written from it. */
bool checkText(const std::string& text, ConfigurationText& parsed) {
    if (!parseConfiguration(text, parsed)) return false;
    std::string written = configurationHeader(text);
    for (const auto& entry : parsed.entries) {
        KESTRO_EXPECT(isStorable(entry.value) && !entry.name.empty());
        appendSetting(written, entry.name, entry.value);
    }
    ConfigurationText again;
    KESTRO_EXPECT(parseConfiguration(written, again));
    KESTRO_EXPECT(again.faults.empty() && again.entries.size() == parsed.entries.size());
    for (std::size_t i = 0; i < parsed.entries.size(); ++i) {
        KESTRO_EXPECT(again.entries[i].name == parsed.entries[i].name);
        KESTRO_EXPECT(again.entries[i].value == parsed.entries[i].value);
    }
    return true;
}

void checkLoaded(const ConfigurationText& parsed) {
    for (const auto& entry : parsed.entries) KESTRO_EXPECT(camera().features->has(entry.name));
    KESTRO_EXPECT(parsed.faults.empty());
}

/** The selectors of a feature of that description. */
std::vector<std::string_view> selectorsOf(std::string_view name) {
    if (name == "LineMode" || name == "LineInverter") return {"LineSelector"};
    if (name == "StepTime") return {"StepSelector", "ProgramSelector"};
    if (name == "StepSelector") return {"ProgramSelector"};
    return {};
}

/** False where a line is for the position that the camera has before the file moves it. */
bool saysAllPositions(const ConfigurationText& parsed) {
    std::set<std::string_view> seen;
    std::set<std::string_view> needed;
    for (const auto& entry : parsed.entries) {
        if (needed.count(entry.name) != 0) return false;
        for (const std::string_view selector : selectorsOf(entry.name))
            if (seen.count(selector) == 0) needed.insert(selector);
        seen.insert(entry.name);
    }
    return true;
}

/** What was applied stays when it is applied again; what was refused has its reasons. */
void checkLoad(const std::string& text, std::size_t failsAfter) {
    Camera& device = camera();
    device.registers->reset(failsAfter);
    ConfigurationText parsed;
    const bool isConfiguration = checkText(text, parsed);
    const std::string path = memoryFile().holding(text);
    const int writesBefore = device.registers->writes();
    setLastError(Error::none, "");
    std::vector<std::string> refusals;
    const bool isLoaded = loadConfiguration(*device.features, path, refusals);
    const auto error = static_cast<Error>(Vorda::Infra::getLastError());
    if (!isConfiguration) KESTRO_EXPECT(!isLoaded && error == Error::invalidArgument);
    if (!isConfiguration) KESTRO_EXPECT(device.registers->writes() == writesBefore);
    KESTRO_EXPECT(!isLoaded || refusals.empty());
    KESTRO_EXPECT(isLoaded || error != Error::none);
    KESTRO_EXPECT((error == Error::feature) == !refusals.empty() || isLoaded);
    KESTRO_EXPECT(refusals.size() <= parsed.entries.size() + parsed.faults.size());
    if (!isLoaded) return;
    checkLoaded(parsed);
    const Registers::Content once = device.registers->bytes();
    if (failsAfter < 1'000'000 || !saysAllPositions(parsed)) return;
    KESTRO_EXPECT(loadConfiguration(*device.features, path, refusals));
    KESTRO_EXPECT(once == device.registers->bytes());
}

std::string linesOf(Choices& choices) {
    static constexpr const char* kNames[] = {
        "Width",        "OffsetX",         "Gain",     "LineSelector", "LineMode", "LineInverter",
        "StepSelector", "ProgramSelector", "StepTime", "StepLimit",    "Debounce", "DeviceUserID",
        "Reset",        "Nothing",         "Root"};
    static constexpr const char* kValues[] = {
        "0",     "1",     "2",     "4",      "16",   "2448", "640", "Line0",
        "Line1", "Line2", "Input", "Output", "true", "1.5",  "-1",  "99999999999"};
    static constexpr const char* kEnds[] = {"\n", "\r\n", "\n\n", "\n# x\n", " \n", "\t\n", ""};
    std::string lines;
    while (!choices.isEmpty() && lines.size() < 1500) {
        lines += choices.oneOf(kNames);
        lines += choices.below(16) == 0 ? " " : "\t";
        lines += choices.below(6) == 0 ? choices.text() : choices.oneOf(kValues);
        lines += choices.below(4) == 0 ? choices.oneOf(kEnds) : "\n";
    }
    return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kestro::test::RecordingLogger::instance().reset();
    Choices choices(data, size);
    const std::uint8_t kind = choices.byte();
    const std::size_t failsAfter = (kind & 4) != 0 ? choices.byte() : 1'000'000;
    std::string text = (kind & 1) != 0 ? configurationHeader("fuzz") : std::string();
    if ((kind & 2) != 0) {
        text += linesOf(choices);
    } else {
        const ByteView rest = choices.rest();
        text.append(rest.begin(), rest.end());
    }
    checkLoad(text, failsAfter);
    return 0;
}
