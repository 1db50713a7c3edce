// SPDX-License-Identifier: Apache-2.0
//
// Has the first camera's frames delivered to a function: a thread of the library puts what is kept
// of them into a queue, the main thread takes three out. With `kestro sim --seed 7` you should see:
//
//     block 1: 1280 x 1024, first code: P9330.87
//     block 2: 1280 x 1024, first code: 922281766
//     block 3: 1280 x 1024, first code: 22385937021451
#define _POSIX_C_SOURCE 200809L
#include <kestro/kestro_c.h>

#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum { LONGEST = 16 };
struct Reading {
    uint64_t block;
    uint32_t width, height;
    char code[256];  // cut when it is longer
};
struct Queue {
    pthread_mutex_t mutex;
    pthread_cond_t isFilled;
    unsigned put, taken;  // guarded by mutex, like the following
    struct Reading readings[LONGEST];
};

// On the library's thread: be quick. What `info` points to ends with the call, so it is copied.
static void onFrame(const kstFrameInfo* info, void* user) {
    struct Queue* queue = user;
    struct Reading reading = {info->blockId, info->width, info->height, ""};
    const char* code = info->barcodeCount > 0 ? info->barcodes[0].codeData : "-";
    snprintf(reading.code, sizeof reading.code, "%s", code);
    pthread_mutex_lock(&queue->mutex);
    if (queue->put - queue->taken == LONGEST) ++queue->taken;  // nobody takes: drop the oldest
    queue->readings[queue->put++ % LONGEST] = reading;
    pthread_cond_signal(&queue->isFilled);
    pthread_mutex_unlock(&queue->mutex);
}

static bool take(struct Queue* queue, struct Reading* reading) {  // false when none came in 2 s
    struct timespec deadline;
    int error = clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 2;
    pthread_mutex_lock(&queue->mutex);
    while (queue->put == queue->taken && error == 0) {
        error = pthread_cond_timedwait(&queue->isFilled, &queue->mutex, &deadline);
    }
    const bool isTaken = queue->put != queue->taken;
    if (isTaken) *reading = queue->readings[queue->taken++ % LONGEST];
    pthread_mutex_unlock(&queue->mutex);
    return isTaken;
}

int main(void) {
    struct Queue queue = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0, 0, {{0}}};
    struct Reading reading;
    kstDeviceList list;
    int printed = 0, code = kstEnumDevices(&list, 0);
    if (code != KST_OK || list.deviceCount == 0) {
        fprintf(stderr, code == KST_OK ? "no camera found\n" : "the search failed\n");
        return EXIT_FAILURE;
    }
    void* camera = kstCreateDevice(list.devices[0].id, KST_BY_KEY);
    code = kstRegisterFrameCallback(camera, onFrame, &queue);
    if (code == KST_OK) code = kstOpenDevice(camera);
    if (code == KST_OK) code = kstStartGrabbing(camera, 0);
    for (; code == KST_OK && printed < 3 && take(&queue, &reading); ++printed) {
        printf("block %" PRIu64 ": %u x %u, first code: %s\n", reading.block, reading.width,
               reading.height, reading.code);
    }
    if (printed < 3) fprintf(stderr, code == KST_OK ? "no frame in 2 s\n" : "no start: see log\n");
    kstCloseDevice(camera);                        // from here on onFrame() does not run,
    kstRegisterFrameCallback(camera, NULL, NULL);  // nor at a later start, when queue is gone
    kstReleaseHandle(camera);
    return printed == 3 ? EXIT_SUCCESS : EXIT_FAILURE;
}
