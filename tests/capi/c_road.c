/* SPDX-License-Identifier: Apache-2.0
 *
 * The whole road in C: finds a camera, sets it up, reads frames by callback and by polling, and
 * prints all of them. cpp_road.cpp does the same with the classes.
 */
#define _POSIX_C_SOURCE 200809L

#include <kestro/kestro_c.h>

#include "road_lines.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#define CHECK(call) roadCheck(#call, call)

/* What the library's threads tell the main thread. */
struct Mailbox {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    int frames;      /* guarded by mutex */
    int widthIsTold; /* guarded by mutex */
};

static void post(struct Mailbox* mailbox, int* what) {
    pthread_mutex_lock(&mailbox->mutex);
    ++*what;
    pthread_cond_signal(&mailbox->changed);
    pthread_mutex_unlock(&mailbox->mutex);
}

static void await(struct Mailbox* mailbox, const int* what, int count, const char* name) {
    struct timespec deadline;
    int error = 0;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += kPatienceSeconds;
    pthread_mutex_lock(&mailbox->mutex);
    while (*what < count && error != ETIMEDOUT) {
        error = pthread_cond_timedwait(&mailbox->changed, &mailbox->mutex, &deadline);
    }
    if (*what < count) roadFail(name, *what);
    pthread_mutex_unlock(&mailbox->mutex);
}

static void printDevice(const kstDeviceInfo* device) {
    roadTexts("device", device->id, device->name, device->serialNumber, device->vendorName,
              device->modelName, device->manufactureInfo, device->deviceVersion,
              device->interfaceName, device->macAddress, device->ipAddress, device->subnetMask,
              device->defaultGateway, (const char*)NULL);
    printf("device types=%d,%d valid=%d\n", device->deviceType, device->interfaceType,
           device->isIpValid);
}

static void* openCamera(const char* serial) {
    kstDeviceList list;
    kstDeviceInfo info;
    void* camera;
    uint32_t i = 0;
    CHECK(kstEnumDevices(&list, 0));
    while (i < list.deviceCount && strcmp(list.devices[i].serialNumber, serial) != 0) ++i;
    if (i == list.deviceCount) roadFail("no such camera; cameras found", (int)i);
    camera = kstCreateDevice(list.devices[i].id, KST_BY_KEY);
    if (!camera) roadFail("kstCreateDevice", 0);
    CHECK(kstGetDeviceInfo(camera, &info));
    printDevice(&info);
    CHECK(kstOpenDevice(camera));
    if (!kstIsDeviceOpen(camera)) roadFail("kstIsDeviceOpen", 0);
    return camera;
}

static void setNumbers(void* camera, const struct RoadArguments* arguments) {
    kstIntFeatureInfo width;
    kstFloatFeatureInfo rate;
    int64_t height = 0;
    double exposure = 0;
    CHECK(kstSetIntFeatureValue(camera, "Width", arguments->width));
    CHECK(kstSetIntFeatureValue(camera, "Height", arguments->height));
    CHECK(kstSetFloatFeatureValue(camera, "AcquisitionFrameRate", ROAD_RATE));
    CHECK(kstSetFloatFeatureValue(camera, "ExposureTime", ROAD_EXPOSURE));
    CHECK(kstGetIntFeatureInfo(camera, "Width", &width));
    CHECK(kstGetIntFeatureValue(camera, "Height", &height));
    CHECK(kstGetFloatFeatureInfo(camera, "AcquisitionFrameRate", &rate));
    CHECK(kstGetFloatFeatureValue(camera, "ExposureTime", &exposure));
    printf("Width %d [%d..%d] %d\n", (int)width.curValue, (int)width.minValue, (int)width.maxValue,
           (int)width.incValue);
    printf("Height %d\n", (int)height);
    printf("AcquisitionFrameRate %.9g [%.9g..%.9g] %s\n", rate.curValue, rate.minValue,
           rate.maxValue, rate.unit);
    printf("ExposureTime %.9g\n", exposure);
}

static void setEnums(void* camera, const char* resultFormat) {
    kstEnumEntryList entries;
    uint64_t value = 0;
    char symbol[64];
    uint32_t i;
    CHECK(kstSetEnumFeatureSymbol(camera, "ResultFormat", resultFormat));
    CHECK(kstGetEnumFeatureValue(camera, "ResultFormat", &value));
    CHECK(kstSetEnumFeatureValue(camera, "ResultFormat", value));
    CHECK(kstGetEnumFeatureSymbol(camera, "ResultFormat", symbol, sizeof symbol));
    printf("ResultFormat %u %s\n", (unsigned)value, symbol);
    CHECK(kstGetEnumFeatureEntryList(camera, "ResultFormat", &entries));
    for (i = 0; i < entries.count; ++i) {
        printf("  %u %s\n", (unsigned)entries.entries[i].value, entries.entries[i].symbol);
    }
}

static void setTrigger(void* camera) {
    CHECK(kstSetEnumFeatureSymbol(camera, "TriggerSelector", "FrameStart"));
    CHECK(kstSetEnumFeatureSymbol(camera, "TriggerMode", "On"));
    CHECK(kstSetEnumFeatureSymbol(camera, "TriggerSource", "Software"));
}

static void setText(void* camera) {
    kstStringFeatureInfo info;
    char value[64];
    uint32_t size = sizeof value;
    CHECK(kstSetStringFeatureValue(camera, "DeviceUserID", ROAD_USER_ID));
    CHECK(kstGetStringFeatureValue(camera, "DeviceUserID", value, &size));
    CHECK(kstGetStringFeatureInfo(camera, "DeviceUserID", &info));
    roadTexts("DeviceUserID", value, info.curValue, (const char*)NULL);
    printf("DeviceUserID %u of %u bytes\n", (unsigned)size, (unsigned)info.maxLen);
}

static void setSwitchesAndCommands(void* camera) {
    bool isOn = false;
    int64_t ticks = 0;
    CHECK(kstSetBoolFeatureValue(camera, "ReaderSymbologyEnable", false));
    CHECK(kstGetBoolFeatureValue(camera, "ReaderSymbologyEnable", &isOn));
    printf("ReaderSymbologyEnable %d\n", isOn);
    CHECK(kstSetBoolFeatureValue(camera, "ReaderSymbologyEnable", true));
    CHECK(kstGetBoolFeatureValue(camera, "ReaderSymbologyEnable", &isOn));
    printf("ReaderSymbologyEnable %d\n", isOn);
    CHECK(kstExecCommandFeature(camera, "GevTimestampControlLatch"));
    CHECK(kstGetIntFeatureValue(camera, "GevTimestampValue", &ticks));
    printf("GevTimestampValue %s\n", ticks > 0 ? "latched" : "0");
}

static void printFeature(const char* name, void* camera) {
    printf("  %s type=%d is=%d%d%d%d\n", name, kstGetFeatureType(camera, name),
           kstIsFeatureValid(camera, name), kstIsFeatureAvailable(camera, name),
           kstIsFeatureReadable(camera, name), kstIsFeatureWriteable(camera, name));
}

static void onUpdate(const char* name, void* user) {
    struct Mailbox* mailbox = user;
    if (strcmp(name, "Width") == 0) post(mailbox, &mailbox->widthIsTold);
}

static void setFeatures(void* camera, const struct RoadArguments* arguments,
                        struct Mailbox* mailbox) {
    CHECK(kstRegisterFeatureUpdateCallback(camera, onUpdate, mailbox));
    setNumbers(camera, arguments);
    setEnums(camera, arguments->resultFormat);
    setTrigger(camera);
    setText(camera);
    setSwitchesAndCommands(camera);
    CHECK(kstEnumFeatureChildren(camera, "AcquisitionControl", printFeature, camera));
    await(mailbox, &mailbox->widthIsTold, 1, "no update of Width was told");
    CHECK(kstRegisterFeatureUpdateCallback(camera, NULL, NULL));
}

static void printFrame(const char* way, const kstFrameInfo* info) {
    struct RoadFrame frame = {way,
                              info->blockId,
                              info->width,
                              info->height,
                              info->pixelFormat,
                              info->status,
                              0,
                              info->imageSize,
                              info->imageData,
                              0};
    uint32_t i;
    frame.isJpeg = info->payloadFlag;
    frame.codes = info->barcodeCount;
    roadFrame(&frame);
    for (i = 0; i < info->barcodeCount; ++i) {
        const kstBarcodeInfo* barcode = &info->barcodes[i];
        struct RoadCode code = {0};
        int corner;
        code.type = barcode->codeType;
        code.ppm = barcode->ppm;
        code.text = barcode->codeData;
        code.typeName = barcode->codeTypeName;
        for (corner = 0; corner < 4; ++corner) {
            code.corners[corner][0] = barcode->points[corner].x;
            code.corners[corner][1] = barcode->points[corner].y;
        }
        roadCode(&code);
    }
}

static void onFrame(const kstFrameInfo* info, void* user) {
    struct Mailbox* mailbox = user;
    printFrame("callback", info);
    post(mailbox, &mailbox->frames);
}

static void readByCallback(void* camera, struct Mailbox* mailbox) {
    int frames;
    CHECK(kstRegisterFrameCallback(camera, onFrame, mailbox));
    CHECK(kstStartGrabbing(camera, kBuffers));
    if (!kstIsGrabbing(camera)) roadFail("kstIsGrabbing", 0);
    for (frames = 1; frames <= kFramesByCallback; ++frames) {
        CHECK(kstExecCommandFeature(camera, "TriggerSoftware"));
        await(mailbox, &mailbox->frames, frames, "too few frames came by callback");
    }
    CHECK(kstStopGrabbing(camera));
    CHECK(kstRegisterFrameCallback(camera, NULL, NULL));
}

static void readByPolling(void* camera) {
    int frames;
    CHECK(kstStartGrabbing(camera, kBuffers));
    for (frames = 0; frames < kFramesByPolling; ++frames) {
        kstFrameInfo info;
        void* frame;
        CHECK(kstExecCommandFeature(camera, "TriggerSoftware"));
        frame = kstGetFrame(camera, kPatienceSeconds * 1000);
        if (!frame) roadFail("kstGetFrame gave no frame after", frames);
        if (!kstIsFrameValid(frame)) roadFail("kstIsFrameValid of a frame", 0);
        CHECK(kstGetFrameInfo(frame, &info));
        printFrame("polled", &info);
        kstReleaseHandle(frame);
        if (kstIsFrameValid(frame)) roadFail("kstIsFrameValid of a released frame", 1);
    }
    CHECK(kstStopGrabbing(camera));
}

int main(int argc, char** argv) {
    const struct RoadArguments arguments = roadArguments(argc, argv);
    struct Mailbox mailbox = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0, 0};
    void* camera = openCamera(arguments.serial);
    setFeatures(camera, &arguments, &mailbox);
    readByCallback(camera, &mailbox);
    readByPolling(camera);
    CHECK(kstCloseDevice(camera));
    kstReleaseHandle(camera);
    if (kstOpenDevice(camera) != KST_ERROR_HANDLE) roadFail("a released handle was taken", 0);
    return 0;
}
