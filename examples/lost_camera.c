// SPDX-License-Identifier: Apache-2.0
//
// Has a camera that goes away and comes back. End `kestro sim` when told to, start it again; you
// should see:
//
//     Kestro:SIM001 is running; switch it off
//     offline
//     still good: the last frame, 1280 x 1024
//     refused: features, with code 2
//     switch it on again
//     online
//     frames come in again, and ExposureTime is 2000 again
#define _POSIX_C_SOURCE 200809L
#include <kestro/kestro_c.h>

#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static sem_t lost, back;

// On a thread of the library. There is nothing to do here: the library searches the camera, sets
// again what was set, and starts it again; only then it is online.
static void onConnection(const kstConnectionEvent* event, void* user) {
    (void)user;
    printf(event->state == 1 ? "online\n" : "offline\n");
    sem_post(event->state == 1 ? &back : &lost);
}

// Any camera, running, with its first frame.
static void* start(char** key, void** frame) {
    kstDeviceList list;
    if (kstEnumDevices(&list, 0) != KST_OK) return NULL;
    for (uint32_t i = 0; i < list.deviceCount; ++i) {
        *key = list.devices[i].id;  // valid until the next search
        void* camera = kstCreateDevice(*key, KST_BY_KEY);
        int code = kstRegisterConnectionCallback(camera, onConnection, NULL);
        if (code == KST_OK) code = kstOpenDevice(camera);
        if (code == KST_OK) code = kstSetFloatFeatureValue(camera, "ExposureTime", 2000);
        if (code == KST_OK) code = kstStartGrabbing(camera, 0);
        if (code == KST_OK && (*frame = kstGetFrame(camera, 2000)) != NULL) return camera;
        kstCloseDevice(camera);
        kstReleaseHandle(camera);
    }
    return NULL;
}

static int await(sem_t* event, time_t seconds) {
    const struct timespec deadline = {.tv_sec = time(NULL) + seconds};
    return sem_timedwait(event, &deadline) == 0;
}

int main(void) {
    char* key = NULL;
    void *camera = NULL, *frame = NULL, *next = NULL;
    setvbuf(stdout, NULL, _IOLBF, 0);  // lines come at once, into a file too
    if (sem_init(&lost, 0, 0) == 0 && sem_init(&back, 0, 0) == 0) camera = start(&key, &frame);
    if (!camera) {
        fprintf(stderr, "no camera found, or it did not start\n");
        return EXIT_FAILURE;
    }
    printf("%s is running; switch it off\n", key);
    kstFrameInfo info;
    double value = 0;
    if (await(&lost, 60) && kstGetFrameInfo(frame, &info) == KST_OK)
        printf("still good: the last frame, %u x %u\n", info.width, info.height);
    const int code = kstGetFloatFeatureValue(camera, "ExposureTime", &value);
    if (code != KST_OK) printf("refused: features, with code %d\n", code);
    printf("switch it on again\n");
    const int isBack = await(&back, 60) && kstClearFrameBuffer(camera) == KST_OK &&
                       (next = kstGetFrame(camera, 5000)) != NULL &&
                       kstGetFloatFeatureValue(camera, "ExposureTime", &value) == KST_OK;
    if (isBack) printf("frames come in again, and ExposureTime is %g again\n", value);
    kstReleaseHandle(frame);
    kstReleaseHandle(next);  // NULL is ignored
    kstCloseDevice(camera);
    kstReleaseHandle(camera);
    return isBack ? EXIT_SUCCESS : EXIT_FAILURE;
}
