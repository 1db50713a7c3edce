// SPDX-License-Identifier: Apache-2.0
//
// Starts a lost camera anew. End `kestro sim` when told to, start it again; you should see:
//
//     Kestro:SIM001 is running; switch it off
//     offline
//     still good: the last frame, 1280 x 1024
//     refused: features, with code 2
//     searching Kestro:SIM001; switch it on again
//     Kestro:SIM001 is running again
#define _POSIX_C_SOURCE 200809L
#include <kestro/kestro_c.h>

#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static sem_t lost;

// On a thread of the library. The work is left to the main thread, which closes the camera.
static void onConnection(const kstConnectionEvent* event, void* user) {
    (void)user;
    printf(event->state == 1 ? "online\n" : "offline\n");
    if (event->state != 1) sem_post(&lost);
}

static void closeCamera(void* camera, void* frame) {
    kstCloseDevice(camera);
    kstReleaseHandle(camera);
    kstReleaseHandle(frame);  // it may outlive its camera; NULL is ignored
}

// Any camera when `key` is empty. One that comes back may refuse until its old control runs out.
static void* start(char* key, int seconds, void** frame) {
    const time_t deadline = time(NULL) + seconds;
    kstDeviceList list;
    do {
        if (kstEnumDevices(&list, 0) != KST_OK) break;
        for (uint32_t i = 0; i < list.deviceCount; ++i) {
            if (*key == '\0') memcpy(key, list.devices[i].id, sizeof list.devices[i].id);
            if (strcmp(key, list.devices[i].id) != 0) continue;
            void* camera = kstCreateDevice(key, KST_BY_KEY);
            int code = kstRegisterConnectionCallback(camera, onConnection, NULL);
            if (code == KST_OK) code = kstOpenDevice(camera);
            if (code == KST_OK) code = kstStartGrabbing(camera, 0);
            if (code == KST_OK && (*frame = kstGetFrame(camera, 2000)) != NULL) return camera;
            closeCamera(camera, NULL);
        }
    } while (time(NULL) < deadline);
    fprintf(stderr, "no camera found, or it did not start\n");
    return NULL;
}

int main(void) {
    char key[64] = "";
    void* frame = NULL;
    setvbuf(stdout, NULL, _IOLBF, 0);  // lines come at once, into a file too
    void* camera = sem_init(&lost, 0, 0) == 0 ? start(key, 0, &frame) : NULL;
    if (!camera) return EXIT_FAILURE;
    printf("%s is running; switch it off\n", key);
    const struct timespec deadline = {.tv_sec = time(NULL) + 60};
    kstFrameInfo info;
    int64_t width = 0;
    if (sem_timedwait(&lost, &deadline) != 0 || kstGetFrameInfo(frame, &info) != KST_OK) {
        fprintf(stderr, "it was not switched off\n");
        closeCamera(camera, frame);
        return EXIT_FAILURE;
    }
    printf("still good: the last frame, %u x %u\n", info.width, info.height);
    printf("refused: features, with code %d\n", kstGetIntFeatureValue(camera, "Width", &width));
    closeCamera(camera, frame);  // nothing opens it again by itself: search, open, start
    printf("searching %s; switch it on again\n", key);
    camera = start(key, 60, &frame);
    if (!camera) return EXIT_FAILURE;
    printf("%s is running again\n", key);
    closeCamera(camera, frame);
    return EXIT_SUCCESS;
}
