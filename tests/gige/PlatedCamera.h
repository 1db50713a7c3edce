// SPDX-License-Identifier: Apache-2.0
//
// A scripted camera that can be found and connected, and what tests of that need besides.
#pragma once

#include "GigeCamera.h"
#include "ScriptedCamera.h"
#include "VordaGenICam.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Vorda::Gige {

using kestro::test::kPayloadSizeRegister;
using kestro::test::ScriptedCamera;
using kestro::test::smallDescription;

/** Sets an environment variable as long as it lives. */
class Variable {
 public:
    Variable(const char* name, const std::string& value) : name_(name) {
        const char* before = std::getenv(name);
        if (before != nullptr) before_ = before;
        ::setenv(name, value.c_str(), 1);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() {
        if (before_)
            ::setenv(name_, before_->c_str(), 1);
        else
            ::unsetenv(name_);
    }

 private:
    const char* name_;
    std::optional<std::string> before_;
};

/** A serial number that no other test program running at the same time has. */
inline std::string uniqueSerial() {
    static int count = 0;
    return "S" + std::to_string(::getpid()) + "-" + std::to_string(count++);
}

/** Likewise for the MAC address. */
inline MacAddress uniqueMac() {
    static std::uint8_t count = 0;
    const auto process = static_cast<unsigned>(::getpid());
    MacAddress mac{{2, 0, 0, 0, 0, ++count}};
    for (std::size_t i = 0; i < 3; ++i)
        mac.bytes[2 + i] = static_cast<std::uint8_t>(process >> (8 * i));
    return mac;
}

/** A scripted camera with a name plate and a description. */
struct PlatedCamera : ScriptedCamera {
    explicit PlatedCamera(std::string serialNumber = uniqueSerial())
        : ScriptedCamera(Hears::broadcastsToo), serial(std::move(serialNumber)) {
        setMemory(0x0a, std::string(mac.bytes.begin(), mac.bytes.end()));
        setRegister(0x34, 0xff000000);
        setRegister(0x44, 0x7f000001);
        setMemory(0x48, "Acme");
        setMemory(0x68, "Reader");
        setMemory(0x88, "1.2");
        setMemory(0xa8, "Info");
        setMemory(0xd8, serial);
        setMemory(0xe8, "Line 1");
        setRegister(0x934, 4);
        setRegister(0xd04, 1400);
        setRegister(kPayloadSizeRegister, 307200);
        setDescription("camera.xml", smallDescription());
    }
    std::string serial;
    MacAddress mac = uniqueMac();
};

inline FoundDevice loopbackDevice(const PlatedCamera& camera) {
    FoundDevice found;
    found.device.address = Ipv4{camera.address()};
    found.device.mac = camera.mac;
    found.device.manufacturer = "Acme";
    found.device.serial = camera.serial;
    found.via = {"lo", Ipv4{0x7f000001}, Ipv4{0xff000000}, {}, {}, 65536, true};
    return found;
}

inline std::shared_ptr<GigeCamera> cameraFor(const PlatedCamera& camera) {
    return std::make_shared<GigeCamera>(loopbackDevice(camera), "Acme:1");
}

/** Counts connection events. */
struct ConnectionListener {
    void onConnect(const GenICam::SConnectArg& argument) {
        ++(argument.state == 0 ? offline : online);
        if (hook) hook();
    }
    std::atomic<int> offline{0};
    std::atomic<int> online{0};
    std::function<void()> hook;
};

/** The host's end of a stream that nothing arrives at. */
struct QuietInlet final : StreamInlet {
    explicit QuietInlet(std::uint16_t port) : hostPort(port) {}
    std::uint16_t port() const override { return hostPort; }
    void openFirewall(std::uint16_t port) override { cameraPort = port; }
    std::uint32_t awaitPacket(std::chrono::steady_clock::time_point) override { return 0; }

    std::uint16_t hostPort;
    std::uint16_t cameraPort = 0;
};

}  // namespace Vorda::Gige
