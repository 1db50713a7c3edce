// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FaultPlan.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kestrosim {

/** How frames carry picture and results; the camera's feature ResultFormat. */
enum class ResultFormat : std::uint32_t {
    none = 0,           ///< the plain Mono8 image
    container = 1,      ///< the "SMAT" container: image block and result block
    chunk = 2,          ///< GenICam chunks: the image and the results that are switched on
    containerJpeg = 3,  ///< the container with a JPEG file in its image block
    jpeg = 4,           ///< chunks: a JPEG file and the results, as a JPEG payload
    raw = 5,            ///< the container as a raw-data payload, of which a leader tells nothing
    chunkOnly = 6       ///< chunks: the results without a picture
};

/** A simulated camera as it is switched on. */
struct CameraOptions {
    std::string address = "127.0.0.2";  ///< the host address that it listens on
    /** Another address that it claims to have, "198.51.100.5/24"; empty claims the real one. */
    std::string claim;
    std::string serial = "SIM001";
    std::string userName;
    /** With imageFolder, a side of 0 is as long as the largest picture needs. */
    std::uint32_t width = 1280;
    std::uint32_t height = 1024;
    double framesPerSecond = 10;
    ResultFormat format = ResultFormat::container;
    double linkMbits = 1000;  ///< packets are paced to this rate
    std::uint64_t seed = 1;
    std::uint32_t scenes = 12;
    std::uint32_t difficulty = 0;  ///< of what is drawn: 0, easy to read, to 10, hardly
    /** A folder of PNG, JPEG and PGM files that are shown instead of what would be drawn. */
    std::string imageFolder;
    /** Told of each file that cannot be shown, from a thread of the camera's; empty: nobody. */
    std::function<void(const std::string&)> report = {};
    std::string
        truthFile;  ///< what was drawn is appended here, a line for each scene; empty: nowhere

    /** A file whose bytes are served as the GenICam description instead; empty: the built-in one.
     */
    std::string descriptionFile = {};

    /** What goes wrong; by itself, nothing does. */
    FaultPlan faults = {};
    /** The last 16 bytes of each image are its stamp: see docs/simulator.md. */
    bool stampsImages = false;
};

/** Packets that something was made to happen to; each counts among those sent, too, once. */
struct PacketFaultCounts {
    std::uint64_t lost = 0;
    std::uint64_t reordered = 0;
    std::uint64_t duplicated = 0;
    std::uint64_t delayed = 0;
    std::uint64_t truncated = 0;
    std::uint64_t wrongSize = 0;
    std::uint64_t foreign = 0;   ///< that had a foreign packet sent before them
    std::uint64_t tooLarge = 0;  ///< for the path: vanished

    PacketFaultCounts& operator+=(const PacketFaultCounts& more);
};

/** What a camera has done since it was switched on first; the counters only grow. */
struct CameraStatistics {
    std::uint64_t framesSent = 0;     ///< whole, whatever became of their packets on the way
    std::uint64_t framesStamped = 0;  ///< of those, with a stamp in their image
    std::uint64_t packetsSent = 0;    ///< GVSP packets, resent ones included
    std::uint64_t packetsResent = 0;
    std::uint64_t commandsAnswered = 0;  ///< GVCP commands
    std::uint64_t registersRead = 0;     ///< words, by READREG
    std::uint64_t registersWritten = 0;  ///< words, by WRITEREG
    std::uint64_t memoryReads = 0;       ///< READMEM commands that were carried out
    std::uint64_t memoryWrites = 0;      ///< WRITEMEM commands that were carried out
    std::uint64_t commandsRefused = 0;   ///< with another status than success
    std::uint64_t answerFaults = 0;      ///< answers that were lost, late or pending by plan
    std::uint64_t eventsSent = 0;        ///< each once, however often it was repeated
    std::uint64_t eventsAcknowledged = 0;
    std::uint64_t incidents = 0;    ///< of the fault plan that have begun
    std::uint64_t blockId = 0;      ///< of the latest frame
    std::uint64_t leaderBytes = 0;  ///< UDP payload of the latest leader
    std::uint32_t pixelFormat = 0;  ///< as the latest leader said; 0: it said none
    PacketFaultCounts packetFaults = {};
    std::uint64_t resultsCut = 0;        ///< frames whose results were
    std::uint64_t resultsCorrupted = 0;  ///< frames whose results were
};

/**
 * A GigE Vision ID reader on this machine, on its own threads, speaking UDP on port 3956.
 *
 * Made, it answers; destroyed, it is gone as if unplugged. The constructor throws
 * std::runtime_error when the address cannot be used (not of this host, port taken) or the folder
 * of pictures is of no use, with a text that says so. Threads: any.
 */
class SimulatedCamera {
 public:
    explicit SimulatedCamera(const CameraOptions& options);
    ~SimulatedCamera();
    SimulatedCamera(const SimulatedCamera&) = delete;
    SimulatedCamera& operator=(const SimulatedCamera&) = delete;

    [[nodiscard]] CameraStatistics statistics() const;

 private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kestrosim
