// SPDX-License-Identifier: Apache-2.0
#include "Options.h"
#include "Output.h"
#include "Sim.h"

#include <kestro/System.h>
#include <CLI/CLI.hpp>

#include <unistd.h>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <string>

namespace kestrocli {
namespace {

constexpr const char* kFooter =
    "Data goes to stdout, everything else to stderr.\n"
    "\n"
    "Exit codes:\n"
    "  0  success, also when ended by Ctrl-C or by a reader that closed the pipe\n"
    "  1  failure\n"
    "  2  wrong arguments, or a name that means several cameras\n"
    "  3  no such camera\n"
    "  4  the camera is in use by another program\n"
    "  5  time-out: no frame came\n"
    "  6  the connection to the camera was lost, and it did not come back\n"
    "  7  kestro doctor saw something that does not work\n"
    "\n"
    "KESTRO_INTERFACES limits the search to some interfaces (\"lo\", \"eth0,eth1\").";

/** A number of seconds: any that is not negative, and zero only if allowed. */
CLI::Validator seconds(bool allowsZero) {
    return {[allowsZero](std::string& text) {
                constexpr double kLongest = 1e8;  // three years
                double value = 0;
                const char* end = text.data() + text.size();
                const auto parsed = std::from_chars(text.data(), end, value);
                const bool fits = parsed.ec == std::errc() && parsed.ptr == end &&
                                  std::isfinite(value) && value <= kLongest &&
                                  (allowsZero ? value >= 0 : value > 0);
                return fits ? std::string() : "\"" + text + "\" is no number of seconds";
            },
            ""};
}

template <typename Number>
bool isNumberIn(const std::string& text, Number least, Number most) {
    Number value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end && value >= least && value <= most;
}

/** CLI11 itself takes "-3" and numbers of thirty digits for something that fits. */
CLI::Validator wholeNumber(std::uint64_t least) {
    return {[least](std::string& text) {
                const bool fits =
                    isNumberIn(text, least, std::numeric_limits<std::uint64_t>::max());
                return fits ? std::string()
                            : "\"" + text + "\" is no whole number from " + std::to_string(least) +
                                  " on";
            },
            ""};
}

CLI::Validator wholeNumber(std::uint64_t least, std::uint64_t most) {
    return {[least, most](std::string& text) {
                return isNumberIn(text, least, most)
                           ? std::string()
                           : "\"" + text + "\" is no whole number from " + std::to_string(least) +
                                 " to " + std::to_string(most);
            },
            std::to_string(least) + ".." + std::to_string(most)};
}

/** The text says the bounds as they are to be read. */
CLI::Validator number(double least, double most, const char* bounds) {
    return {[least, most, bounds](std::string& text) {
                return isNumberIn(text, least, most) ? std::string()
                                                     : "\"" + text + "\" is no number in " + bounds;
            },
            bounds};
}

CLI::Validator folder() {
    return {[](std::string& text) {
                std::error_code error;
                return std::filesystem::is_directory(text, error) ? std::string()
                                                                  : "\"" + text + "\" is no folder";
            },
            ""};
}

void addCamera(CLI::App& command, std::string& camera) {
    command.add_option("CAMERA", camera, "Key, serial number, user-given name, IP or MAC address")
        ->required();
}

void addNoReconnect(CLI::App& command, bool& option) {
    command.add_flag("--no-reconnect", option,
                     "End with code 6 when the camera is lost, instead of waiting for it");
}

void addList(CLI::App& app, ListOptions& options) {
    CLI::App* command = app.add_subcommand("list", "List the cameras on the network");
    command->add_flag("--json", options.json, "One JSON object a camera and line");
}

void addInfo(CLI::App& app, InfoOptions& options) {
    CLI::App* command = app.add_subcommand("info", "Show all about one camera");
    addCamera(*command, options.camera);
    command->add_flag("--json", options.json, "One JSON object on a line");
}

void addRead(CLI::App& app, ReadOptions& options) {
    CLI::App* command = app.add_subcommand("read", "Print what a camera reads, until Ctrl-C");
    addCamera(*command, options.camera);
    command->add_option("-n", options.frames, "End after N frames")
        ->type_name("N")
        ->check(wholeNumber(1));
    command->add_option("-d", options.seconds, "End after this time")
        ->type_name("SECONDS")
        ->check(seconds(false));
    command
        ->add_option("--timeout", options.timeoutSeconds,
                     "Longest wait for the first frame; 0 waits for ever (triggered cameras)")
        ->type_name("SECONDS")
        ->check(seconds(true))
        ->capture_default_str();
    command
        ->add_option("--set", options.assignments,
                     "Set a feature before the start; @FILE: the lines of a file, each NAME=VALUE")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    addNoReconnect(*command, options.noReconnect);
    command->add_flag("--json", options.json, "One JSON object a frame and line");
    command->add_option("--save", options.saveFolder, "Save each picture in this folder")
        ->type_name("DIR");
    command
        ->add_option("--overlay", options.overlayFolder,
                     "Save each picture with its codes drawn on it in this other folder")
        ->type_name("DIR");
}

void addSimScenes(CLI::App& command, SimOptions& options) {
    command.add_option("--width", options.width, "Pixels; with --images, what the widest needs")
        ->type_name("N")
        ->check(wholeNumber(64, 8192))
        ->default_str("1280");
    command.add_option("--height", options.height, "Pixels; with --images, what the tallest needs")
        ->type_name("N")
        ->check(wholeNumber(64, 8192))
        ->default_str("1024");
    CLI::Option* const seed = command
                                  .add_option("--seed", options.seed,
                                              "Seed of the scenes; several get the following ones")
                                  ->type_name("N")
                                  ->check(wholeNumber(0))
                                  ->capture_default_str();
    CLI::Option* const scenes =
        command.add_option("--scenes", options.scenes, "Number of different scenes")
            ->type_name("N")
            ->check(wholeNumber(1, 1000))
            ->capture_default_str();
    CLI::Option* const difficulty =
        command
            .add_option("--difficulty", options.difficulty,
                        "How hard the scenes are to read: blur, noise, contrast, perspective")
            ->type_name("N")
            ->check(wholeNumber(0, 10))
            ->capture_default_str();
    command
        .add_option("--images", options.imageFolder,
                    "Show the PNG, JPEG and PGM files of this folder, nothing is drawn")
        ->type_name("DIR")
        ->check(folder())
        ->excludes(seed)
        ->excludes(scenes)
        ->excludes(difficulty);
}

void addSimStream(CLI::App& command, SimOptions& options) {
    command.add_option("--fps", options.framesPerSecond, "Frames a second")
        ->type_name("N")
        ->check(number(0.1, 1000, "0.1..1000"))
        ->capture_default_str();
    command
        .add_option(
            "--format", options.format,
            "What a frame holds: the picture alone, as pixels or as a JPEG file, the results "
            "too, in a container or in chunks, or these alone")
        ->check(CLI::IsMember(formatNames()))
        ->capture_default_str();
    command.add_option("--link", options.linkMbits, "Pace packets to this many megabits a second")
        ->type_name("N")
        ->check(number(1, 100000, "1..100000"))
        ->capture_default_str();
    command.add_flag("--stamp", options.stampsImages,
                     "Put a block id and a checksum into the last bytes of each image");
}

void addSimFaults(CLI::App& command, SimOptions& options) {
    command
        .add_option("--faults", options.faultFile,
                    "What goes wrong, a JSON file: see the page on the simulated reader")
        ->type_name("FILE");
    command
        .add_option("--fault", options.faults,
                    "Something more that goes wrong: loss=0.01, disconnect@100=2s; repeatable")
        ->type_name("FAULT")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command
        .add_option("--fault-seed", options.faultSeed,
                    "Which of all packets and answers it meets; several get the following ones")
        ->type_name("N")
        ->check(wholeNumber(0));
}

void addSim(CLI::App& app, SimOptions& options) {
    CLI::App* command = app.add_subcommand("sim", "Run simulated cameras, until Ctrl-C");
    command->add_option("--count", options.count, "Number of cameras")
        ->type_name("N")
        ->check(wholeNumber(1, 250))
        ->capture_default_str();
    command->add_option("--serial", options.serial, "Serial number; several get S-1, S-2 ...")
        ->capture_default_str();
    command->add_option("--address", options.address, "Address; several get the following ones")
        ->capture_default_str();
    command->add_option("--name", options.userName, "User-given name");
    addSimScenes(*command, options);
    addSimStream(*command, options);
    addSimFaults(*command, options);
    command->add_option("--truth", options.truthFile, "Append what is drawn, a JSON line a scene")
        ->type_name("FILE");
    command->add_option("--claim", options.claim, "Pretend to have another address, and its subnet")
        ->type_name("ADDR/PREFIX");
    command->add_option("--description", options.descriptionFile, "Serve this GenICam description")
        ->type_name("FILE");
    command
        ->add_option("--stats", options.statisticsFile,
                     "At the end, write a JSON line a camera: what it did")
        ->type_name("FILE");
}

void addDemo(CLI::App& app, DemoOptions& options) {
    CLI::App* command = app.add_subcommand("demo", "Two simulated cameras, read and saved");
    command->add_option("--output", options.folder, "Where the results go")
        ->type_name("DIR")
        ->capture_default_str();
}

void addFeatures(CLI::App& app, FeaturesOptions& options) {
    CLI::App* command = app.add_subcommand("features", "List the features of a camera");
    addCamera(*command, options.camera);
    command->add_flag("--tree", options.tree, "Under their categories");
    command
        ->add_option("--visibility", options.visibility, "For whom: each includes those before it")
        ->check(CLI::IsMember({"beginner", "expert", "guru", "invisible"}))
        ->capture_default_str();
    command->add_flag("--all", options.all,
                      "Of every visibility, and also categories of which nothing is available");
    command->add_flag("--json", options.json, "One JSON object a feature and line");
}

void addGet(CLI::App& app, GetOptions& options) {
    CLI::App* command = app.add_subcommand("get", "Print values of features");
    addCamera(*command, options.camera);
    command->add_option("NAME", options.names, "Features")->required();
    command->add_flag("--json", options.json, "One JSON object a feature and line");
}

void addSet(CLI::App& app, SetOptions& options) {
    CLI::App* command = app.add_subcommand("set", "Set features, in order, up to a refusal");
    addCamera(*command, options.camera);
    command
        ->add_option("NAME=VALUE", options.assignments,
                     "Features and values; @FILE stands for the lines of a file")
        ->required();
    command->add_flag("--json", options.json, "One JSON object a feature and line");
}

void addCommands(CLI::App& app, ExecOptions& exec, TriggerOptions& trigger) {
    CLI::App* command = app.add_subcommand("exec", "Execute a command feature");
    addCamera(*command, exec.camera);
    command->add_option("NAME", exec.name, "The feature")->required();
    command = app.add_subcommand("trigger", "Trigger a camera by software");
    addCamera(*command, trigger.camera);
}

/** The commands that exchange a file with a camera. */
void addFile(CLI::App& app, FileOptions& options, const char* name, const char* help,
             const char* file) {
    CLI::App* command = app.add_subcommand(name, help);
    addCamera(*command, options.camera);
    command->add_option("FILE", options.file, file)->required();
}

void addJsonDifferences(CLI::App& app, FileOptions& options, const char* name) {
    app.get_subcommand(name)->add_flag("--json", options.json,
                                       "One JSON object a difference and line");
}

void addReg(CLI::App& app, RegOptions& options) {
    CLI::App* command = app.add_subcommand("reg", "Read or write a register, read memory");
    addCamera(*command, options.camera);
    command->add_option("ADDRESS", options.address, "Decimal, or hexadecimal after 0x")->required();
    command->add_option("VALUE", options.value, "Write this to the register");
    command->add_option("--length", options.length, "Read so many bytes")
        ->type_name("N")
        ->check(CLI::Range(1, 1 << 24))
        ->capture_default_str();
    command->add_flag("--json", options.json, "One JSON object on a line");
}

void addEvents(CLI::App& app, EventsOptions& options) {
    CLI::App* command =
        app.add_subcommand("events", "Print features that change and the connection's state");
    addCamera(*command, options.camera);
    command->add_option("-d", options.seconds, "End after this time")
        ->type_name("SECONDS")
        ->check(seconds(false));
    command->add_option("-n", options.events, "End after N events")
        ->type_name("N")
        ->check(wholeNumber(1));
    command->add_flag("--acquire", options.acquire, "Run the acquisition, throw its frames away");
    addNoReconnect(*command, options.noReconnect);
    command->add_flag("--json", options.json, "One JSON object an event and line");
}

void addForceIp(CLI::App& app, ForceIpOptions& options) {
    CLI::App* command =
        app.add_subcommand("force-ip", "Give a camera another address, also one in a wrong subnet");
    addCamera(*command, options.camera);
    command->add_option("ADDRESS/MASK", options.address, "192.168.1.7/24 or .../255.255.255.0")
        ->required();
    command->add_option("GATEWAY", options.gateway, "The gateway's address");
}

void addDoctor(CLI::App& app, DoctorOptions& options) {
    CLI::App* command =
        app.add_subcommand("doctor", "Check this host and a camera, and say what mends them");
    command->add_option("CAMERA", options.camera,
                        "Key, serial number, user-given name, IP or MAC address; none: the only "
                        "camera that is found");
    command->add_option("--seconds", options.seconds, "How long the camera streams")
        ->type_name("SECONDS")
        ->check(number(0.1, 3600, "0.1..3600"))
        ->capture_default_str();
    command->add_flag("--free-run", options.freeRun,
                      "Switch the camera's triggers off meanwhile, so that it sends frames");
    command->add_flag("--json", options.json, "One JSON object a check and line");
}

struct AllOptions {
    ListOptions list;
    InfoOptions info;
    ReadOptions read;
    FeaturesOptions features;
    GetOptions get;
    SetOptions set;
    ExecOptions exec;
    TriggerOptions trigger;
    FileOptions save;
    FileOptions load;
    FileOptions diff;
    FileOptions xml;
    RegOptions reg;
    EventsOptions events;
    ForceIpOptions forceIp;
    DoctorOptions doctor;
    SimOptions sim;
    DemoOptions demo;
    int verbosity = 0;
    bool version = false;
};

void defineFeatureCommands(CLI::App& app, AllOptions& options) {
    addFeatures(app, options.features);
    addGet(app, options.get);
    addSet(app, options.set);
    addCommands(app, options.exec, options.trigger);
    addFile(app, options.save, "save", "Save the configuration of a camera",
            "Where to; - for standard output");
    addFile(app, options.load, "load", "Load a configuration into a camera", "Where from");
    addFile(app, options.diff, "diff", "Compare a camera with a configuration",
            "The configuration");
    addFile(app, options.xml, "xml", "Write the GenICam description of a camera",
            "Where to; - for standard output");
    addJsonDifferences(app, options.load, "load");
    addJsonDifferences(app, options.diff, "diff");
    addReg(app, options.reg);
    addEvents(app, options.events);
}

void define(CLI::App& app, AllOptions& options) {
    app.footer(kFooter);
    app.fallthrough();
    app.add_flag("-v", options.verbosity, "Log what the library does; -vv logs more");
    app.add_flag("--version", options.version, "Print the versions and end");
    addList(app, options.list);
    addInfo(app, options.info);
    addRead(app, options.read);
    defineFeatureCommands(app, options);
    addForceIp(app, options.forceIp);
    addDoctor(app, options.doctor);
    addSim(app, options.sim);
    addDemo(app, options.demo);
}

/** By the name that the user gave. */
using Commands = std::map<std::string, std::function<ExitCode(Output&)>>;

template <typename Options>
Commands::mapped_type bound(ExitCode (*run)(const Options&, Output&), const Options& options) {
    return [run, &options](Output& output) { return run(options, output); };
}

Commands commandsOf(const AllOptions& options) {
    return {{"list", bound(runList, options.list)},
            {"info", bound(runInfo, options.info)},
            {"read", bound(runRead, options.read)},
            {"features", bound(runFeatures, options.features)},
            {"get", bound(runGet, options.get)},
            {"set", bound(runSet, options.set)},
            {"exec", bound(runExec, options.exec)},
            {"trigger", bound(runTrigger, options.trigger)},
            {"save", bound(runSave, options.save)},
            {"load", bound(runLoad, options.load)},
            {"diff", bound(runDiff, options.diff)},
            {"xml", bound(runXml, options.xml)},
            {"reg", bound(runReg, options.reg)},
            {"events", bound(runEvents, options.events)},
            {"force-ip", bound(runForceIp, options.forceIp)},
            {"doctor", bound(runDoctor, options.doctor)},
            {"sim", bound(runSim, options.sim)},
            {"demo", bound(runDemo, options.demo)}};
}

ExitCode runCommand(const CLI::App& app, const AllOptions& options, Output& output) {
    for (const auto& [name, run] : commandsOf(options)) {
        if (app.got_subcommand(name)) return run(output);
    }
    throw Failure("which command? See kestro --help", ExitCode::usage);
}

/** The help page of the command that the user gave, as far as there was one. */
std::string helpOf(const CLI::App& app) {
    const auto given = app.get_subcommands();
    return "kestro " + (given.empty() ? "" : given.front()->get_name() + " ") + "--help";
}

ExitCode run(int argc, char** argv) {
    Output output(STDOUT_FILENO);
    AllOptions options;
    CLI::App app("Finds network ID-reading cameras, shows and reads them.", "kestro");
    define(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        output.write(app.help());
        return ExitCode::ok;
    } catch (const CLI::ParseError& error) {
        throw Failure(std::string(error.what()) + " (see " + helpOf(app) + ")", ExitCode::usage);
    }
    // Before the library's first use, which is when it looks.
    if (options.verbosity > 0) setenv("KESTRO_LOG", options.verbosity > 1 ? "trace" : "debug", 1);
    if (options.version) {
        output.write(std::string("kestro " KESTRO_CLI_VERSION " (library ") +
                     kestro::System::getInstance().getVersion() + ")\n");
        return ExitCode::ok;
    }
    return runCommand(app, options, output);
}

}  // namespace

/** Runs the program; every way to fail ends here. */
ExitCode runGuarded(int argc, char** argv) {
    try {
        prepareStandardStreams();
        return run(argc, argv);
    } catch (const OutputClosed&) {
        return ExitCode::ok;
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.code();
    } catch (const std::exception& error) {
        complain(error.what());
    } catch (...) {
        complain("an error of unknown kind");
    }
    return ExitCode::failure;
}

}  // namespace kestrocli

int main(int argc, char** argv) { return static_cast<int>(kestrocli::runGuarded(argc, argv)); }
