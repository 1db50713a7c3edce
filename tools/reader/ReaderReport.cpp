// SPDX-License-Identifier: Apache-2.0
//
// Draws scenes, has them read, and tells of each what became of its codes: one JSON object a line.
// scripts/reader-report makes the tables of it.
#include "Comparison.h"
#include "Crop.h"
#include "SceneParts.h"
#include "Symbologies.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace {

using readerreport::Compared;
using readerreport::Outcome;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

constexpr const char* kUsage =
    "usage: kestro_reader_report [OPTION N]... [--crops DIR]\n"
    "  --difficulty N  0 to 10 (0)\n"
    "  --seed N        of the scenes (1)\n"
    "  --first N       number of the first scene (0)\n"
    "  --scenes N      how many (10)\n"
    "  --width N, --height N  of the pictures (1280, 1024)\n"
    "  --crops DIR     write each reported code upright, at a few sizes, into this folder\n";

struct Options {
    kestrosim::SceneOptions scene;
    std::uint32_t first = 0;
    std::uint32_t scenes = 10;
    std::string crops;
};

template <typename Number>
Number numberOf(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw std::invalid_argument("not a number: " + std::string(text));
    return number;
}

void takeOption(Options& options, std::string_view name, const char* value) {
    const auto takeNumber = [&](std::string_view known, auto& number) {
        if (name != known) return false;
        number = numberOf<std::remove_reference_t<decltype(number)>>(value);
        return true;
    };
    if (name == "--crops") {
        options.crops = value;
    } else if (!takeNumber("--difficulty", options.scene.difficulty) &&
               !takeNumber("--seed", options.scene.seed) && !takeNumber("--first", options.first) &&
               !takeNumber("--scenes", options.scenes) &&
               !takeNumber("--width", options.scene.width) &&
               !takeNumber("--height", options.scene.height)) {
        throw std::invalid_argument("unknown option: " + std::string(name));
    }
}

Options optionsOf(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc) throw std::invalid_argument("no value: " + std::string(argv[i]));
        takeOption(options, argv[i], argv[i + 1]);
    }
    return options;
}

const char* nameOf(Outcome outcome) {
    constexpr const char* kNames[] = {"read", "missed", "wrong", "twice"};
    return kNames[static_cast<std::size_t>(outcome)];
}

void writeText(Writer& out, const char* name, std::string_view text) {
    out.Key(name);
    out.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

/** Sizes that a reader may need: some want larger modules, some smaller ones. */
void writeCrops(Writer& out, const kestrosim::Scene& scene, const kestrosim::SceneCode& code,
                const std::string& prefix) {
    constexpr double kScales[] = {1, 1.5, 2, 0.7};
    out.Key("crops");
    out.StartArray();
    for (const double scale : kScales) {
        const std::string path =
            prefix + '-' + std::to_string(static_cast<int>(100 * scale)) + ".pgm";
        write(readerreport::cropOf(scene, code.corners, scale), path);
        out.String(path.c_str());
    }
    out.EndArray();
}

void writeErrors(Writer& out, const Compared& code) {
    out.Key("cornerErrors");
    out.StartArray();
    for (const double error : cornerErrors(code)) out.Double(error);
    out.EndArray();
    out.Key("moduleError");
    out.Double(code.read->pixelsPerModule / code.drawn->pixelsPerModule - 1);
}

void writeCode(Writer& out, const kestrosim::Scene& scene, const Compared& code,
               const std::string& cropPrefix) {
    const kestrosim::SceneCode& any = code.drawn ? *code.drawn : *code.read;
    const std::size_t symbology = kestrosim::symbologyOf(any.type);
    const bool isKnown = symbology < kestrosim::kSymbologies.size();
    out.StartObject();
    writeText(out, "symbology", isKnown ? kestrosim::kSymbologies[symbology].name : any.type);
    writeText(out, "type", any.type);
    writeText(out, "text", any.text);
    writeText(out, "outcome", nameOf(code.outcome));
    if (code.outcome == Outcome::read) writeErrors(out, code);
    if (code.read && !cropPrefix.empty()) writeCrops(out, scene, *code.read, cropPrefix);
    out.EndObject();
}

void reportScene(const Options& options, std::uint32_t number) {
    kestrosim::Scene scene = kestrosim::drawScene(options.scene, number);
    kestrosim::readScene(scene);
    rapidjson::StringBuffer line;
    Writer out(line);
    out.StartObject();
    out.Key("difficulty");
    out.Uint(options.scene.difficulty);
    out.Key("seed");
    out.Uint64(options.scene.seed);
    out.Key("scene");
    out.Uint(number);
    out.Key("milliseconds");
    out.Uint(scene.readMilliseconds);
    out.Key("codes");
    out.StartArray();
    std::size_t index = 0;
    for (const Compared& code : readerreport::compare(scene)) {
        const std::string crops =
            options.crops.empty()
                ? std::string()
                : options.crops + '/' + std::to_string(number) + '-' + std::to_string(index++);
        writeCode(out, scene, code, crops);
    }
    out.EndArray();
    out.EndObject();
    std::printf("%s\n", line.GetString());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = optionsOf(argc, argv);
        for (std::uint32_t i = 0; i < options.scenes; ++i) reportScene(options, options.first + i);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "kestro_reader_report: %s\n%s", error.what(), kUsage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kestro_reader_report: %s\n", error.what());
        return 1;
    }
}
