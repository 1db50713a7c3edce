// SPDX-License-Identifier: Apache-2.0
//
// Lists the cameras on the network. With `kestro sim` in another terminal you should see:
//
//     cameras: 1
//     Kestro:SIM001  SimReader  127.0.0.2 on lo
//
// The first text is the camera's key, by which kstCreateDevice() makes a handle for it.
#include <kestro/kestro_c.h>

#include <stdio.h>
#include <stdlib.h>

static void print(const kstDeviceInfo* device) {
    if (device->deviceType != 1) {
        printf("%s  is no GigE Vision camera\n", device->id);
        return;
    }
    printf("%s  %s  %s on %s\n", device->id, device->modelName, device->ipAddress,
           device->interfaceName);
    if (!device->isIpValid) {
        printf(
            "    not in the subnet of %s: kstOpenDevice() will refuse it with 22, and "
            "kstForceIpAddress() gives it another address\n",
            device->interfaceName);
    }
}

int main(void) {
    kstDeviceList list;
    const int found = kstEnumDevices(&list, 0);
    if (found != KST_OK) {
        fprintf(stderr, "the search failed with code %d\n", found);
        return EXIT_FAILURE;
    }
    if (list.deviceCount == 0) {
        fprintf(stderr, "no camera found\n");
        return EXIT_FAILURE;
    }
    printf("cameras: %u\n", list.deviceCount);
    // The records are the library's, until the next kstEnumDevices() in whatever thread.
    for (uint32_t i = 0; i < list.deviceCount; ++i) print(&list.devices[i]);
    return EXIT_SUCCESS;
}
