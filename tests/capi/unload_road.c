/* SPDX-License-Identifier: Apache-2.0
 *
 * A program that loads the library by itself and lets it go while its camera grabs: the frames come
 * on, and what is loaded again knows the camera. Arguments: library, serial number of the camera.
 */
#define _GNU_SOURCE

#include <kestro/kestro_c.h>

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct Counter {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int frames; /* guarded by mutex */
};

static void onFrame(const kstFrameInfo* info, void* user) {
    struct Counter* counter = user;
    (void)info;
    pthread_mutex_lock(&counter->mutex);
    ++counter->frames;
    pthread_cond_signal(&counter->changed);
    pthread_mutex_unlock(&counter->mutex);
}

/* Ended from outside when they never come. */
static void awaitMore(struct Counter* counter, int count) {
    int wanted;
    pthread_mutex_lock(&counter->mutex);
    wanted = counter->frames + count;
    while (counter->frames < wanted) pthread_cond_wait(&counter->changed, &counter->mutex);
    pthread_mutex_unlock(&counter->mutex);
}

struct Functions {
    int (*enumDevices)(kstDeviceList*, unsigned int);
    void* (*createDevice)(const char*, int);
    int (*openDevice)(void*);
    int (*registerFrameCallback)(void*, kstFrameCallback, void*);
    int (*startGrabbing)(void*, int);
    int (*closeDevice)(void*);
};

static void* load(const char* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library) return library;
    fprintf(stderr, "%s\n", dlerror());
    exit(1);
}

/* ISO C has no cast from an object pointer to a function pointer. */
static void find(void* library, const char* name, void* function) {
    void* const address = dlsym(library, name);
    if (!address) exit(2);
    memcpy(function, &address, sizeof address);
}

static struct Functions functionsOf(void* library) {
    struct Functions all;
    find(library, "kstEnumDevices", &all.enumDevices);
    find(library, "kstCreateDevice", &all.createDevice);
    find(library, "kstOpenDevice", &all.openDevice);
    find(library, "kstRegisterFrameCallback", &all.registerFrameCallback);
    find(library, "kstStartGrabbing", &all.startGrabbing);
    find(library, "kstCloseDevice", &all.closeDevice);
    return all;
}

static void* grab(const struct Functions* kestro, const char* serial, struct Counter* counter) {
    kstDeviceList list;
    void* camera;
    if (kestro->enumDevices(&list, 0) != 0) exit(4);
    camera = kestro->createDevice(serial, KST_BY_SERIAL_NUMBER);
    if (kestro->openDevice(camera) != 0) exit(5);
    if (kestro->registerFrameCallback(camera, onFrame, counter) != 0) exit(6);
    if (kestro->startGrabbing(camera, 0) != 0) exit(7);
    return camera;
}

int main(int argc, char** argv) {
    static struct Counter counter = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0};
    struct Functions kestro;
    void* library;
    void* camera;
    if (argc != 3) return 3;
    library = load(argv[1]);
    kestro = functionsOf(library);
    camera = grab(&kestro, argv[2], &counter);
    awaitMore(&counter, 3);
    if (dlclose(library) != 0) return 8;
    awaitMore(&counter, 10);
    library = load(argv[1]);
    kestro = functionsOf(library);
    if (kestro.closeDevice(camera) != 0) return 9;
    return dlclose(library);
}
