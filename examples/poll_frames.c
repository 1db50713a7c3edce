// SPDX-License-Identifier: Apache-2.0
//
// Asks the first camera for three frames, one after the other, and prints the codes that it read
// in them. With `kestro sim --seed 7` in another terminal you should see:
//
//     block 1: 1280 x 1024, codes: 2
//         CODE39: P9330.87
//         PDF417: ORDER 28481263; BOX 1/6
//     block 2: 1280 x 1024, codes: 5
//         CODABARAB: 922281766
//         CODE128: LOT546671
//         ITF25: 22413652079195
//         QR: 北京 75810
//         QR: Σύρος 46704
//     block 3: 1280 x 1024, codes: 1
//         ITF25: 22385937021451
#include <kestro/kestro_c.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

// Why stands in the log (stderr, unless configured); only a search that fails writes nothing.
static bool isDone(const char* what, int code) {
    if (code != KST_OK) fprintf(stderr, "%s failed with code %d\n", what, code);
    return code == KST_OK;
}

static void* findCamera(void) {
    kstDeviceList list;
    if (!isDone("the search", kstEnumDevices(&list, 0))) return NULL;
    if (list.deviceCount == 0) fprintf(stderr, "no camera found\n");
    return list.deviceCount == 0 ? NULL : kstCreateDevice(list.devices[0].id, KST_BY_KEY);
}

// What `info` points to belongs to the frame: copy what is to outlive its release.
static bool print(void* frame) {
    kstFrameInfo info;
    if (!isDone("the frame", kstGetFrameInfo(frame, &info))) return false;
    printf("block %" PRIu64 ": %u x %u, codes: %u\n", info.blockId, info.width, info.height,
           info.barcodeCount);
    for (uint32_t i = 0; i < info.barcodeCount; ++i) {
        printf("    %s: %s\n", info.barcodes[i].codeTypeName, info.barcodes[i].codeData);
    }
    return true;
}

static bool readFrames(void* camera, int count) {
    if (!isDone("the start", kstStartGrabbing(camera, 0))) return false;
    for (int i = 0; i < count; ++i) {
        void* frame = kstGetFrame(camera, 2000);
        if (!frame) {  // a camera that waits for a trigger is no failure: ask again
            fprintf(stderr, kstIsDeviceOpen(camera) ? "no frame in 2 s\n" : "camera lost\n");
            return false;
        }
        const bool isPrinted = print(frame);
        kstReleaseHandle(frame);  // each one, or its memory stays
        if (!isPrinted) return false;
    }
    return true;
}

int main(void) {
    void* camera = findCamera();
    if (!camera) return EXIT_FAILURE;
    bool isGood = isDone("the connection", kstOpenDevice(camera)) && readFrames(camera, 3);
    isGood = isDone("the end", kstCloseDevice(camera)) && isGood;  // stops it first
    kstReleaseHandle(camera);
    return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
}
