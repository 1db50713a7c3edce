// SPDX-License-Identifier: Apache-2.0
//
// What setting and reading a feature costs, through the library's public classes and through
// Aravis' own client, each on a simulated camera of its own with the same settings. Both check
// ranges and access before they write, neither keeps values. They take turns in one run, so that
// their ratio means something on a machine that is not quiet.
//
// The cameras stand on 127.0.0.2 and 127.0.0.3, and finding one is a broadcast: run it where
// loopback is the only network.
#include <kestro/kestro.h>

#include "Processor.h"
#include "Simulator.h"
#include "Turns.h"

#include <arv.h>
#include <benchmark/benchmark.h>
#include <time.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using kestro::bench::stayOn;
using Clock = std::chrono::steady_clock;

constexpr const char* kOurAddress = "127.0.0.2";
constexpr const char* kPeerAddress = "127.0.0.3";

kestrosim::CameraOptions optionsFor(const char* address) {
    kestrosim::CameraOptions options;
    options.address = address;
    options.serial = address;
    return options;
}

void require(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error(what);
}

/** A feature through the library. */
class OurClient {
 public:
    OurClient() : camera_(connect()) {}

    void choose(const char* feature) {
        parameter_ = std::make_unique<kestro::ParameterInt>(camera_, feature);
    }
    bool set(std::int64_t value) { return parameter_->setValue(value).isOK(); }
    bool get(std::int64_t& value) { return parameter_->getValue(value).isOK(); }

 private:
    static std::shared_ptr<kestro::Camera> connect() {
        auto& system = kestro::System::getInstance();
        require(system.discovery(0).isOK(), "discovery failed");
        auto camera = system.getCamera(kOurAddress, kestro::System::IpAddress);
        require(camera && camera->connect().isOK(), "our camera cannot be connected");
        return camera;
    }

    std::shared_ptr<kestro::Camera> camera_;
    std::unique_ptr<kestro::ParameterInt> parameter_;
};

/** The same through Aravis. */
class PeerClient {
 public:
    PeerClient() : device_(open()) {
        require(device_ != nullptr, "Aravis cannot open its camera");
        arv_device_set_register_cache_policy(device_.get(), ARV_REGISTER_CACHE_POLICY_DISABLE);
        arv_device_set_range_check_policy(device_.get(), ARV_RANGE_CHECK_POLICY_ENABLE);
        arv_device_set_access_check_policy(device_.get(), ARV_ACCESS_CHECK_POLICY_ENABLE);
    }

    void choose(const char* feature) { feature_ = feature; }
    bool set(std::int64_t value) {
        GError* error = nullptr;
        arv_device_set_integer_feature_value(device_.get(), feature_, value, &error);
        return succeeded(error);
    }
    bool get(std::int64_t& value) {
        GError* error = nullptr;
        value = arv_device_get_integer_feature_value(device_.get(), feature_, &error);
        return succeeded(error);
    }

 private:
    struct Unref {
        void operator()(void* object) const { g_object_unref(object); }
    };

    static bool succeeded(GError* error) {
        const bool isGood = error == nullptr;
        g_clear_error(&error);
        return isGood;
    }
    static ArvDevice* open() {
        const std::unique_ptr<GInetAddress, Unref> host(
            g_inet_address_new_from_string("127.0.0.1"));
        const std::unique_ptr<GInetAddress, Unref> camera(
            g_inet_address_new_from_string(kPeerAddress));
        return arv_gv_device_new(host.get(), camera.get(), nullptr);
    }

    std::unique_ptr<ArvDevice, Unref> device_;
    const char* feature_ = nullptr;
};

/**
 * Both cameras and both clients, connected; the cameras on one processor, the calls on the other.
 * Left to the scheduler, a camera shares a processor with its client in one run and not in the
 * next, and the ratio is anything from 0.3 to 3.
 */
struct Bench {
    Bench() { stayOn(0); }

    kestrosim::SimulatedCamera ourCamera{optionsFor(kOurAddress)};
    kestrosim::SimulatedCamera peerCamera{optionsFor(kPeerAddress)};
    OurClient ours;
    PeerClient peer;
};

/** As long as main() runs. */
Bench* theBench = nullptr;

struct Feature {
    const char* name;
    std::int64_t values[2];
};

// One whose range stands in the description, and one whose range hangs on other registers and that
// can be locked.
constexpr Feature kTimeout = {"ReaderTimeout", {700, 800}};
constexpr Feature kWidth = {"Width", {640, 644}};

template <typename Client>
bool setAndGet(Client& client, std::int64_t value) {
    std::int64_t read = 0;
    return client.set(value) && client.get(read) && read == value;
}

template <typename Client>
bool getOnly(Client& client, std::int64_t /*value*/) {
    std::int64_t read = 0;
    return client.get(read) && read != 0;
}

Clock::duration processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

struct Side {
    Clock::duration time{};
    Clock::duration processor{};  ///< of the calling thread, its sending included
    std::uint64_t requests = 0;   ///< that its camera answered

    void report(benchmark::State& state, const std::string& name) const {
        const auto rounds = static_cast<double>(state.iterations());
        const std::chrono::duration<double> seconds = time;
        state.counters[name + "_per_s"] = rounds / seconds.count();
        state.counters[name + "_requests"] = static_cast<double>(requests) / rounds;
    }
};

template <typename Work>
void timed(Side& side, benchmark::State& state, const Work& work) {
    const Clock::duration processor = processorTime();
    const Clock::time_point start = Clock::now();
    const bool isGood = work();
    side.time += Clock::now() - start;
    side.processor += processorTime() - processor;
    if (!isGood) state.SkipWithError("a value was not taken or did not come back");
}

template <typename OurWork, typename PeerWork>
void compare(benchmark::State& state, const Feature& feature, const OurWork& ourWork,
             const PeerWork& peerWork) {
    Bench& bench = *theBench;
    bench.ours.choose(feature.name);
    bench.peer.choose(feature.name);
    Side ours;
    Side peer;
    const std::uint64_t ourRequests = bench.ourCamera.statistics().commandsAnswered;
    const std::uint64_t peerRequests = bench.peerCamera.statistics().commandsAnswered;
    std::size_t round = 0;
    for (auto _ : state) {
        const std::int64_t value = feature.values[round % 2];
        const auto runOurs = [&] {
            timed(ours, state, [&] { return ourWork(bench.ours, value); });
        };
        if (round % 4 < 2) runOurs();
        timed(peer, state, [&] { return peerWork(bench.peer, value); });
        if (round % 4 >= 2) runOurs();
        ++round;
    }
    ours.requests = bench.ourCamera.statistics().commandsAnswered - ourRequests;
    peer.requests = bench.peerCamera.statistics().commandsAnswered - peerRequests;
    ours.report(state, "ours");
    peer.report(state, "aravis");
    state.counters["ratio"] = peer.time * 1.0 / ours.time;
    state.counters["cpu_ratio"] = peer.processor * 1.0 / ours.processor;
}

void integerSetAndGet(benchmark::State& state, const Feature& feature) {
    compare(state, feature, setAndGet<OurClient>, setAndGet<PeerClient>);
}

void integerGet(benchmark::State& state, const Feature& feature) {
    compare(state, feature, getOnly<OurClient>, getOnly<PeerClient>);
}

BENCHMARK_CAPTURE(integerSetAndGet, ReaderTimeout, kTimeout)->Apply(kestro::bench::repeat);
BENCHMARK_CAPTURE(integerSetAndGet, Width, kWidth)->Apply(kestro::bench::repeat);
BENCHMARK_CAPTURE(integerGet, ReaderTimeout, kTimeout)->Apply(kestro::bench::repeat);
BENCHMARK_CAPTURE(integerGet, Width, kWidth)->Apply(kestro::bench::repeat);

}  // namespace

int main(int argc, char** argv) {
    ::setenv("KESTRO_INTERFACES", "lo", 1);
    benchmark::Initialize(&argc, argv);
    try {
        stayOn(1);
        Bench bench;
        theBench = &bench;
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
