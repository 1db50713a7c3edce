// SPDX-License-Identifier: Apache-2.0
//
// Takes frames from a camera until SIGINT or SIGTERM, and writes what happens to its connection:
//
//     kestro_link_probe SERIAL [NAME=INTEGER]...
//
// The features are set before the camera is started, and read again each time that it is back. Each
// line begins with the seconds of the monotonic clock:
//
//     4711.000001 started
//     4711.100002 frame 1
//     4712.200003 offline
//     4713.300004 online
//     4713.300005 feature Width 640
//     4714.400006 counter StreamLostFrameCount 3       at the end, with others
#define _POSIX_C_SOURCE 200809L
#include <kestro/kestro_c.h>

#include <inttypes.h>
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static sem_t wake;
static volatile sig_atomic_t ended = 0;

static void tell(const char* what, const char* name, const int64_t* number) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    char text[32] = "";
    if (number) snprintf(text, sizeof text, " %" PRId64, *number);
    printf("%lld.%06ld %s%s%s%s\n", (long long)now.tv_sec, now.tv_nsec / 1000, what,
           *name ? " " : "", name, text);
}

static void onSignal(int number) {
    (void)number;
    ended = 1;
    sem_post(&wake);
}

static void onFrame(const kstFrameInfo* info, void* user) {
    (void)user;
    const int64_t block = (int64_t)info->blockId;
    tell("frame", "", &block);
}

// What is asked of the camera is left to the main thread.
static void onConnection(const kstConnectionEvent* event, void* user) {
    (void)user;
    tell(event->state == 1 ? "online" : "offline", "", NULL);
    if (event->state == 1) sem_post(&wake);
}

static void tellValue(void* camera, const char* what, const char* name) {
    int64_t value = -1;
    if (kstGetIntFeatureValue(camera, name, &value) == KST_OK)
        tell(what, name, &value);
    else
        tell(what, name, NULL);
}

/** Sets "NAME=INTEGER" and leaves the name. */
static int set(void* camera, char* assignment) {
    char* equals = strchr(assignment, '=');
    if (!equals) return KST_ERROR_ARGUMENT;
    *equals = '\0';
    return kstSetIntFeatureValue(camera, assignment, strtoll(equals + 1, NULL, 0));
}

static int start(void* camera, int count, char** assignments) {
    int code = kstRegisterConnectionCallback(camera, onConnection, NULL);
    if (code == KST_OK) code = kstRegisterFrameCallback(camera, onFrame, NULL);
    if (code == KST_OK) code = kstOpenDevice(camera);
    for (int i = 0; i < count && code == KST_OK; ++i) code = set(camera, assignments[i]);
    return code == KST_OK ? kstStartGrabbing(camera, 0) : code;
}

static void watch(void* camera, int count, char** names) {
    tell("started", "", NULL);
    while (!ended) {
        if (sem_wait(&wake) != 0 || ended) continue;
        for (int i = 0; i < count; ++i) tellValue(camera, "feature", names[i]);
    }
    tellValue(camera, "counter", "StreamDeliveredFrameCount");
    tellValue(camera, "counter", "StreamLostFrameCount");
}

int main(int argc, char** argv) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    kstDeviceList list;
    if (argc < 2 || sem_init(&wake, 0, 0) != 0 || kstEnumDevices(&list, 0) != KST_OK)
        return EXIT_FAILURE;
    void* camera = kstCreateDevice(argv[1], KST_BY_SERIAL_NUMBER);
    const struct sigaction action = {.sa_handler = onSignal};
    sigaction(SIGINT, &action, NULL);
    sigaction(SIGTERM, &action, NULL);
    const int code = start(camera, argc - 2, argv + 2);
    if (code == KST_OK) watch(camera, argc - 2, argv + 2);
    kstCloseDevice(camera);
    kstReleaseHandle(camera);
    if (code != KST_OK) fprintf(stderr, "the camera does not start: code %d\n", code);
    return code == KST_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
