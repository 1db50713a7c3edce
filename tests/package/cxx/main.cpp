// SPDX-License-Identifier: Apache-2.0
// Prints the library's version, and the serial numbers and addresses of the cameras: these are of a
// derived class, so that type information has to match across the library's edge.
#include <kestro/kestro.h>

#include <cstdio>

int main() {
    kestro::System& system = kestro::System::getInstance();
    std::printf("%s\n", system.getVersion());
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    if (!system.discovery(cameras, 0)) return 1;
    for (const auto& camera : cameras) {
        const auto info = std::dynamic_pointer_cast<kestro::DeviceInfoGEV>(camera->getDeviceInfo());
        if (!info) return 2;
        std::printf("%s %s\n", info->getSerialNumber(), info->getIpAddress());
    }
}
