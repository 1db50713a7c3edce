/* SPDX-License-Identifier: Apache-2.0 */
/* Prints the library's version and the serial numbers of the cameras. */
#include <kestro/kestro_c.h>

#include <stdio.h>

int main(void) {
    kstDeviceList list;
    uint32_t i;

    printf("%s\n", kstGetVersion());
    if (kstEnumDevices(&list, 0) != KST_OK) return 1;
    for (i = 0; i < list.deviceCount; ++i) {
        printf("%s %s\n", list.devices[i].serialNumber, list.devices[i].ipAddress);
    }
    return 0;
}
