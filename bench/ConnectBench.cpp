// SPDX-License-Identifier: Apache-2.0
//
// How long connecting takes, through the library's public classes and through Aravis' own client,
// to the same simulated cameras: the first time in a process, to a second camera of the same model,
// and again after a disconnect. The simulated camera's description has 1,536 features of chunks.
//
//     kestro_connect_bench [RUNS]      5 when not given
//
// A run is a process of each, one after the other; the figures are medians over the runs, with the
// least and the most. The cameras stand on 127.0.0.2 and 127.0.0.3, and finding one is a broadcast:
// run it where loopback is the only network. Prints one JSON object a line.
#include <kestro/kestro.h>

#include "Simulator.h"

#include <arv.h>
#include <sched.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kAddress = "127.0.0.2";
constexpr const char* kSecondAddress = "127.0.0.3";
constexpr int kRounds = 20;

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

/** From now on this thread, and those that it starts, run on one processor. */
void stayOn(unsigned processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor % std::thread::hardware_concurrency(), &set);
    require(::sched_setaffinity(0, sizeof set, &set) == 0, "the processor cannot be chosen");
}

template <typename Work>
double millisecondsOf(const Work& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
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

constexpr const char* kFigures[] = {"cold", "second_camera", "again", "disconnect_and_connect"};
constexpr std::size_t kFigureCount = std::size(kFigures);
using Figures = std::array<double, kFigureCount>;

/** Of this process, in the order of kFigures. */
template <typename Camera>
Figures measure() {
    Camera::prepare();
    Camera camera(kAddress);
    Camera second(kSecondAddress);
    const double cold = millisecondsOf([&] { camera.open(); });
    const double ofSecond = millisecondsOf([&] { second.open(); });
    std::vector<double> connects;
    std::vector<double> both;
    for (int i = 0; i < kRounds; ++i) {
        const double closing = millisecondsOf([&] { camera.close(); });
        connects.push_back(millisecondsOf([&] { camera.open(); }));
        both.push_back(closing + connects.back());
    }
    camera.close();
    second.close();
    return {cold, ofSecond, medianOf(connects), medianOf(both)};
}

Figures figuresOfAnother(const std::string& program, const char* side) {
    FILE* const output = ::popen(("'" + program + "' --side=" + side).c_str(), "r");
    require(output != nullptr, "no process can be started");
    Figures figures{};
    int fields = 0;
    for (double& each : figures) fields += std::fscanf(output, "%lf", &each);
    require(::pclose(output) == 0 && fields == int{kFigureCount}, "a process has failed");
    return figures;
}

void reportSide(const char* side, const std::vector<Figures>& runs, std::size_t figure) {
    std::vector<double> values;
    for (const Figures& each : runs) values.push_back(each[figure]);
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    std::printf(", \"%s_ms\": %.3f, \"%s_ms_least\": %.3f, \"%s_ms_most\": %.3f", side,
                medianOf(values), side, *least, side, *most);
}

void compare(const std::string& program, int runs) {
    const auto optionsFor = [](const char* address) {
        kestrosim::CameraOptions options;
        options.address = options.serial = address;
        return options;
    };
    stayOn(0);
    const kestrosim::SimulatedCamera camera(optionsFor(kAddress));
    const kestrosim::SimulatedCamera second(optionsFor(kSecondAddress));
    std::vector<Figures> ours;
    std::vector<Figures> peer;
    for (int i = 0; i < runs; ++i) {
        ours.push_back(figuresOfAnother(program, "ours"));
        peer.push_back(figuresOfAnother(program, "aravis"));
    }
    for (std::size_t figure = 0; figure < kFigureCount; ++figure) {
        std::printf("{\"name\": \"connect/%s\", \"runs\": %d", kFigures[figure], runs);
        reportSide("ours", ours, figure);
        reportSide("aravis", peer, figure);
        std::printf("}\n");
    }
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("KESTRO_INTERFACES", "lo", 1);
    const std::string argument = argc > 1 ? argv[1] : "5";
    try {
        if (argument.starts_with("--side=")) {
            stayOn(1);
            const bool isOurs = argument == "--side=ours";
            const Figures all = isOurs ? measure<OurCamera>() : measure<PeerCamera>();
            for (const double each : all) std::printf("%f\n", each);
            return 0;
        }
        const int runs = std::atoi(argument.c_str());
        if (runs < 1) return 2;
        compare(argv[0], runs);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
