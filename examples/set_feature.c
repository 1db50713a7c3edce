// SPDX-License-Identifier: Apache-2.0
//
// Sets a number and an enumeration on the first camera, tries a value that it does not take, and
// leaves it as it was. With `kestro sim` in another terminal you should see:
//
//     Width is 1280, takes 64 to 1280 in steps of 4
//     Width is 672
//     Width = 1281 is refused with code 2
//     TriggerMode is Off, takes: Off On
//     TriggerMode is On
//
// and on stderr the log line of the refusal, which ends in "Width 1281: above the maximum 1280".
#include <kestro/kestro_c.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

static int setWidth(void* camera) {
    kstIntFeatureInfo old;
    int64_t now = 0;
    int code = kstGetIntFeatureInfo(camera, "Width", &old);
    if (code != KST_OK) return code;
    printf("Width is %" PRId64 ", takes %" PRId64 " to %" PRId64 " in steps of %" PRId64 "\n",
           old.curValue, old.minValue, old.maxValue, old.incValue);
    const int64_t steps = (old.maxValue - old.minValue) / 2 / old.incValue;
    code = kstSetIntFeatureValue(camera, "Width", old.minValue + steps * old.incValue);
    if (code == KST_OK) code = kstGetIntFeatureValue(camera, "Width", &now);
    if (code != KST_OK) return code;
    printf("Width is %" PRId64 "\n", now);

    const int refused = kstSetIntFeatureValue(camera, "Width", old.maxValue + 1);
    if (refused == KST_OK) return KST_ERROR_SDK;  // it should not have been sent
    printf("Width = %" PRId64 " is refused with code %d\n", old.maxValue + 1, refused);
    return kstSetIntFeatureValue(camera, "Width", old.curValue);
}

static int setTriggerMode(void* camera) {
    char old[64], now[64];  // 64 bytes hold every symbol and its NUL
    kstEnumEntryList list;
    int code = kstGetEnumFeatureSymbol(camera, "TriggerMode", old, sizeof old);
    if (code == KST_OK) code = kstGetEnumFeatureEntryList(camera, "TriggerMode", &list);
    if (code != KST_OK) return code;
    printf("TriggerMode is %s, takes:", old);
    for (uint32_t i = 0; i < list.count; ++i) printf(" %s", list.entries[i].symbol);
    printf("\n");
    code = kstSetEnumFeatureSymbol(camera, "TriggerMode", "On");
    if (code == KST_OK) code = kstGetEnumFeatureSymbol(camera, "TriggerMode", now, sizeof now);
    if (code != KST_OK) return code;
    printf("TriggerMode is %s\n", now);
    return kstSetEnumFeatureSymbol(camera, "TriggerMode", old);
}

int main(void) {
    kstDeviceList list;
    const int found = kstEnumDevices(&list, 0);
    if (found != KST_OK || list.deviceCount == 0) {
        fprintf(stderr, found == KST_OK ? "no camera found\n" : "the search failed\n");
        return EXIT_FAILURE;
    }
    void* camera = kstCreateDevice(list.devices[0].id, KST_BY_KEY);
    int code = kstOpenDevice(camera);
    if (code == KST_OK) code = setWidth(camera);
    if (code == KST_OK) code = setTriggerMode(camera);
    if (code != KST_OK) fprintf(stderr, "failed with code %d: see the log\n", code);
    kstCloseDevice(camera);
    kstReleaseHandle(camera);
    return code == KST_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
