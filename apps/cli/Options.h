// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Failure.h"

#include <cstdint>
#include <string>

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
    std::string camera;         ///< as in InfoOptions
    std::uint64_t frames = 0;   ///< end after so many; 0: no limit
    double seconds = 0;         ///< end after this time; 0: no limit
    double timeoutSeconds = 5;  ///< longest wait for the first frame; 0: for ever
    bool json = false;
    std::string saveFolder;  ///< empty: pictures are not saved
};

struct SimOptions {
    std::uint32_t count = 1;
    std::string serial = "SIM001";
    std::string address = "127.0.0.2";
    std::uint32_t width = 1280;
    std::uint32_t height = 1024;
    double framesPerSecond = 10;
    std::string format = "container";  ///< or "none" or "chunk"
    double linkMbits = 1000;
    std::uint64_t seed = 1;
    std::string truthFile;
    std::string claim;  ///< "198.51.100.5/24"; empty: the real address
    std::string userName;
    std::string descriptionFile;
    std::string statisticsFile;
};

struct DemoOptions {
    std::string folder = "demo-output";
};

ExitCode runList(const ListOptions& options, Output& output);
ExitCode runInfo(const InfoOptions& options, Output& output);
ExitCode runRead(const ReadOptions& options, Output& output);
ExitCode runSim(const SimOptions& options, Output& output);
ExitCode runDemo(const DemoOptions& options, Output& output);

}  // namespace kestrocli
