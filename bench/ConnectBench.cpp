// SPDX-License-Identifier: Apache-2.0
//
// How long connecting takes, through the library's public classes and through Aravis' own client,
// to the same simulated cameras: the first time in a process, to a second camera of the same model,
// and again after a disconnect. The simulated camera's description has 1,536 features of chunks.
//
// Each figure is taken in a process of its own, the library's and Aravis' in turn. The cameras
// stand on 127.0.0.2 and 127.0.0.3, and finding one is a broadcast: run it where loopback is the
// only network.
#include <kestro/kestro.h>

#include "ChildProcess.h"
#include "Processor.h"
#include "Simulator.h"
#include "Turns.h"

#include <arv.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using kestro::bench::stayOn;
using Clock = std::chrono::steady_clock;

constexpr const char* kAddress = "127.0.0.2";
constexpr const char* kSecondAddress = "127.0.0.3";
constexpr int kRounds = 20;
// The first word of the command line of a process that measures; the second is the figure.
constexpr const char* kOurs = "ours";
constexpr const char* kPeer = "aravis";

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

template <typename Work>
double millisecondsOf(const Work& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/** A camera that this library connects. */
class OurCamera {
 public:
    explicit OurCamera(const char* address)
        : camera_(kestro::System::getInstance().getCamera(address, kestro::System::IpAddress)) {
        require(camera_ != nullptr, "the camera is not found");
    }
    static void prepare() {
        require(kestro::System::getInstance().discovery(0).isOK(), "discovery failed");
    }
    void open() { require(camera_->connect().isOK(), "the camera cannot be connected"); }
    void close() { camera_->disconnect(); }

 private:
    std::shared_ptr<kestro::Camera> camera_;
};

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};

/** One that Aravis opens, which reads its description then. */
class PeerCamera {
 public:
    explicit PeerCamera(const char* address)
        : host_(g_inet_address_new_from_string("127.0.0.1")),
          camera_(g_inet_address_new_from_string(address)) {}
    static void prepare() {}
    void open() {
        device_.reset(arv_gv_device_new(host_.get(), camera_.get(), nullptr));
        require(device_ && arv_device_get_genicam(device_.get()), "Aravis cannot open the camera");
    }
    void close() { device_.reset(); }

 private:
    std::unique_ptr<GInetAddress, Unref> host_;
    std::unique_ptr<GInetAddress, Unref> camera_;
    std::unique_ptr<ArvDevice, Unref> device_;
};

/** What is measured. */
enum class Figure : int { cold, secondCamera, again, disconnectAndConnect };

double medianAgain(auto& camera, bool isWithDisconnect) {
    std::vector<double> rounds;
    for (int i = 0; i < kRounds; ++i) {
        const double closing = millisecondsOf([&] { camera.close(); });
        const double opening = millisecondsOf([&] { camera.open(); });
        rounds.push_back(isWithDisconnect ? closing + opening : opening);
    }
    return kestro::bench::medianOf(std::move(rounds));
}

/** Milliseconds, in this process. */
template <typename Camera>
double measure(Figure figure) {
    Camera::prepare();
    Camera camera(kAddress);
    Camera second(kSecondAddress);
    const double cold = millisecondsOf([&] { camera.open(); });
    if (figure == Figure::cold) return cold;
    if (figure == Figure::secondCamera) return millisecondsOf([&] { second.open(); });
    return medianAgain(camera, figure == Figure::disconnectAndConnect);
}

int measureHere(const std::string& side, const std::string& figure) {
    stayOn(1);
    const auto what = static_cast<Figure>(std::atoi(figure.c_str()));
    const bool isOurs = side == kOurs;
    std::printf("%f\n", isOurs ? measure<OurCamera>(what) : measure<PeerCamera>(what));
    return 0;
}

double measureElsewhere(const std::string& program, const char* side, Figure figure) {
    const std::string words = std::string(side) + " " + std::to_string(static_cast<int>(figure));
    return kestro::bench::numbersFrom(program, words, 1)[0];
}

void compare(benchmark::State& state, const std::string& program, Figure figure) {
    double ours = 0;
    double peer = 0;
    for (auto _ : state) {
        ours = measureElsewhere(program, kOurs, figure);
        peer = measureElsewhere(program, kPeer, figure);
    }
    state.counters["ours_ms"] = ours;
    state.counters["aravis_ms"] = peer;
    state.counters["ratio"] = peer / ours;
}

void runAll(const std::string& program) {
    const auto optionsFor = [](const char* address) {
        kestrosim::CameraOptions options;
        options.address = options.serial = address;
        return options;
    };
    stayOn(0);
    const kestrosim::SimulatedCamera camera(optionsFor(kAddress));
    const kestrosim::SimulatedCamera second(optionsFor(kSecondAddress));
    const std::pair<const char*, Figure> figures[] = {
        {"connect/cold", Figure::cold},
        {"connect/second_camera", Figure::secondCamera},
        {"connect/again", Figure::again},
        {"connect/disconnect_and_connect", Figure::disconnectAndConnect}};
    for (const auto& [name, figure] : figures)
        benchmark::RegisterBenchmark(name, compare, program, figure)
            ->Iterations(1)
            ->Apply(kestro::bench::repeat);
    benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("KESTRO_INTERFACES", "lo", 1);
    try {
        if (argc == 3 && (argv[1] == std::string(kOurs) || argv[1] == std::string(kPeer)))
            return measureHere(argv[1], argv[2]);
        benchmark::Initialize(&argc, argv);
        runAll(argv[0]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
