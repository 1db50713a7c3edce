// SPDX-License-Identifier: Apache-2.0
//
// Asks the first camera for three frames, one after the other, and prints the codes that it read
// in them. With `kestro sim --seed 7` in another terminal you should see:
//
//     block 1: 1280 x 1024, codes: 2
//         CODE128: KST-330879-F3
//         CODE128: 00349161677105664158
//     block 2: 1280 x 1024, codes: 3
//         CODE128: 00176457715802734413
//         QR: Göteborg 49933
//         QR: LOT 670434; QTY 54
//     block 3: 1280 x 1024, codes: 5
//         CODE128: BOX 48/907
//         CODE128: KST-617231-50
//         CODE128: 00138593702145199144
//         CODE128: 00747148042571570016
//         QR: LOT 150383; QTY 90
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
