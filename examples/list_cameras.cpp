// SPDX-License-Identifier: Apache-2.0
//
// Lists the cameras on the network. With `kestro sim` in another terminal you should see:
//
//     cameras: 1
//     Kestro:SIM001  SimReader  127.0.0.2 on lo
//
// The first text is the camera's key, by which System::getCamera() finds it again.
#include <kestro/kestro.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

static void print(kestro::Camera& camera) {
    const auto device = std::dynamic_pointer_cast<kestro::DeviceInfoGEV>(camera.getDeviceInfo());
    const auto nic = camera.getInterfaceInfo();
    if (!device || !nic) {
        std::printf("%s  is no GigE Vision camera\n", camera.getKey());
        return;
    }
    std::printf("%s  %s  %s on %s\n", device->getID(), device->getModelName(),
                device->getIpAddress(), nic->getName());
    if (!device->isIpValid()) {
        std::printf(
            "    not in the subnet of %s: connect() will refuse it with 22, and "
            "forceIpAddress() gives it another address\n",
            nic->getName());
    }
}

int main() {
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    const kestro::Result found = kestro::System::getInstance().discovery(cameras, 0);
    if (!found) {
        std::fprintf(stderr, "the search failed with code %d\n", found.getCode());
        return EXIT_FAILURE;
    }
    if (cameras.empty()) {
        std::fprintf(stderr, "no camera found\n");
        return EXIT_FAILURE;
    }
    std::printf("cameras: %zu\n", cameras.size());
    for (const auto& camera : cameras) print(*camera);
    return EXIT_SUCCESS;
}
