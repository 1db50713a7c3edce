// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrocli {

class Output;

struct ListOptions {
    bool json = false;
};

struct InfoOptions {
    std::string camera;  ///< key, serial number, user-given name, IP or MAC address
    bool json = false;
};

struct ReadOptions {
    std::string camera;                    ///< as in InfoOptions
    std::vector<std::string> assignments;  ///< as in SetOptions, before the camera starts
    std::uint64_t frames = 0;              ///< end after so many; 0: no limit
    double seconds = 0;                    ///< end after this time; 0: no limit
    double timeoutSeconds = 5;             ///< longest wait for the first frame; 0: for ever
    bool noReconnect = false;              ///< a lost camera is the end
    bool json = false;
    std::string saveFolder;     ///< empty: pictures are not saved
    std::string overlayFolder;  ///< empty: nothing is drawn on them; else not the saveFolder
};

struct SimOptions {
    std::uint32_t count = 1;
    std::string serial = "SIM001";
    std::string address = "127.0.0.2";
    std::optional<std::uint32_t> width;   ///< empty: 1280, of pictures as much as they need
    std::optional<std::uint32_t> height;  ///< empty: 1024, of pictures as much as they need
    double framesPerSecond = 10;
    std::string format = "container";  ///< one of formatNames()
    double linkMbits = 1000;
    std::uint64_t seed = 1;
    std::uint32_t scenes = 12;
    std::uint32_t difficulty = 0;
    std::string imageFolder;  ///< empty: pictures are drawn
    std::string truthFile;
    std::string claim;  ///< "198.51.100.5/24"; empty: the real address
    std::string userName;
    std::string descriptionFile;
    std::string statisticsFile;
    std::string faultFile;                   ///< a scenario; empty: none
    std::vector<std::string> faults;         ///< "loss=0.01", on top of the scenario
    std::optional<std::uint64_t> faultSeed;  ///< empty: the scenario's, or `seed`
    bool stampsImages = false;
};

struct FeaturesOptions {
    std::string camera;  ///< as in InfoOptions, here and below
    bool tree = false;
    std::string visibility = "expert";  ///< the least visible that is listed
    bool all = false;  ///< every visibility, and categories of which nothing is available
    bool json = false;
};

struct GetOptions {
    std::string camera;
    std::vector<std::string> names;
    bool json = false;
};

struct SetOptions {
    std::string camera;
    std::vector<std::string> assignments;  ///< NAME=VALUE or @FILE
    bool json = false;
};

struct ExecOptions {
    std::string camera;
    std::string name;
};

struct TriggerOptions {
    std::string camera;
};

/** For save, load, diff and xml. */
struct FileOptions {
    std::string camera;
    std::string file;
    bool json = false;
};

struct RegOptions {
    std::string camera;
    std::string address;
    std::string value;  ///< empty: read
    std::uint32_t length = 4;
    bool json = false;
};

struct EventsOptions {
    std::string camera;
    double seconds = 0;        ///< end after this time; 0: no limit
    std::uint64_t events = 0;  ///< end after so many; 0: no limit
    bool acquire = false;      ///< run the acquisition meanwhile
    bool noReconnect = false;  ///< a lost camera is the end
    bool json = false;
};

struct ForceIpOptions {
    std::string camera;
    std::string address;  ///< "192.168.1.7/24" or "192.168.1.7/255.255.255.0"
    std::string gateway;  ///< empty: none
};

struct DoctorOptions {
    std::string camera;    ///< as in InfoOptions; empty: the only one that is found
    double seconds = 3;    ///< how long the camera streams
    bool freeRun = false;  ///< switch triggers off meanwhile
    bool json = false;
};

struct DemoOptions {
    std::string folder = "demo-output";
};

ExitCode runList(const ListOptions& options, Output& output);
ExitCode runInfo(const InfoOptions& options, Output& output);
ExitCode runRead(const ReadOptions& options, Output& output);
ExitCode runSim(const SimOptions& options, Output& output);
ExitCode runDoctor(const DoctorOptions& options, Output& output);
ExitCode runDemo(const DemoOptions& options, Output& output);
ExitCode runFeatures(const FeaturesOptions& options, Output& output);
ExitCode runGet(const GetOptions& options, Output& output);
ExitCode runSet(const SetOptions& options, Output& output);
ExitCode runExec(const ExecOptions& options, Output& output);
ExitCode runTrigger(const TriggerOptions& options, Output& output);
ExitCode runSave(const FileOptions& options, Output& output);
ExitCode runLoad(const FileOptions& options, Output& output);
ExitCode runDiff(const FileOptions& options, Output& output);
ExitCode runXml(const FileOptions& options, Output& output);
ExitCode runReg(const RegOptions& options, Output& output);
ExitCode runEvents(const EventsOptions& options, Output& output);
ExitCode runForceIp(const ForceIpOptions& options, Output& output);

}  // namespace kestrocli
