/* SPDX-License-Identifier: Apache-2.0
 *
 * What programs in C were compiled with: where each field of a record lies, and how each function
 * is declared. The numbers and declarations stand here a second time and on purpose, so that a
 * change of the header shows. A declaration that differs does not compile.
 */
#include <kestro/kestro_c.h>

#include <stdio.h>

typedef struct Place {
    const char* what;
    size_t offset, wantedOffset;
    size_t size, wantedSize;
} Place;

typedef char Text32[32];
typedef char Text64[64];
typedef char Text128[128];
typedef char Text256[256];
typedef kstPoint FourPoints[4];
typedef kstEnumEntry Entries[64];

#define NAME(record, field) #record "." #field
/* Comparing the pointers does not compile where the field is of another type. */
#define HAS_TYPE(record, field, type) sizeof(&((record*)NULL)->field == (type*)NULL)
#define AT(record, field, offset, type)                                                      \
    {                                                                                        \
        NAME(record, field), offsetof(record, field), (offset),                              \
            sizeof(((record*)NULL)->field) + 0 * HAS_TYPE(record, field, type), sizeof(type) \
    }
#define SIZE(record, size) \
    { #record, 0, 0, sizeof(record), (size) }
/* The bytes between a field and the next one. */
#define RESERVED(record, field, offset)                                                  \
    {                                                                                    \
        NAME(record, field)                                                              \
        " end", offsetof(record, field) + sizeof(((record*)NULL)->field), (offset), 0, 0 \
    }

static const Place kPlaces[] = {
    SIZE(kstDeviceList, 80),
    AT(kstDeviceList, deviceCount, 0, uint32_t),
    AT(kstDeviceList, devices, 8, kstDeviceInfo*),
    RESERVED(kstDeviceList, devices, 16),

    SIZE(kstDeviceInfo, 2048),
    AT(kstDeviceInfo, deviceType, 0, int32_t),
    AT(kstDeviceInfo, interfaceType, 4, int32_t),
    AT(kstDeviceInfo, id, 8, Text64),
    AT(kstDeviceInfo, name, 72, Text64),
    AT(kstDeviceInfo, serialNumber, 136, Text64),
    AT(kstDeviceInfo, vendorName, 200, Text64),
    AT(kstDeviceInfo, modelName, 264, Text64),
    AT(kstDeviceInfo, manufactureInfo, 328, Text64),
    AT(kstDeviceInfo, deviceVersion, 392, Text64),
    AT(kstDeviceInfo, interfaceName, 456, Text128),
    RESERVED(kstDeviceInfo, interfaceName, 584),
    AT(kstDeviceInfo, macAddress, 1024, Text64),
    AT(kstDeviceInfo, ipAddress, 1088, Text64),
    AT(kstDeviceInfo, subnetMask, 1152, Text64),
    AT(kstDeviceInfo, defaultGateway, 1216, Text64),
    AT(kstDeviceInfo, isIpValid, 1280, uint8_t),
    RESERVED(kstDeviceInfo, isIpValid, 1281),

    SIZE(kstFrameInfo, 312),
    AT(kstFrameInfo, blockId, 0, uint64_t),
    AT(kstFrameInfo, timestamp, 8, uint64_t),
    AT(kstFrameInfo, width, 16, uint32_t),
    AT(kstFrameInfo, height, 20, uint32_t),
    AT(kstFrameInfo, pixelFormat, 24, uint32_t),
    AT(kstFrameInfo, status, 28, int32_t),
    AT(kstFrameInfo, barcodeCount, 32, uint32_t),
    AT(kstFrameInfo, imageSize, 36, uint32_t),
    AT(kstFrameInfo, imageData, 40, const uint8_t*),
    AT(kstFrameInfo, barcodes, 48, const kstBarcodeInfo*),
    AT(kstFrameInfo, payloadFlag, 56, uint8_t),
    RESERVED(kstFrameInfo, payloadFlag, 57),

    SIZE(kstBarcodeInfo, 312),
    AT(kstBarcodeInfo, codeType, 0, int32_t),
    AT(kstBarcodeInfo, ppm, 4, float),
    AT(kstBarcodeInfo, points, 8, FourPoints),
    AT(kstBarcodeInfo, points[1].x, 16, int32_t),
    AT(kstBarcodeInfo, points[1].y, 20, int32_t),
    AT(kstBarcodeInfo, codeData, 40, const char*),
    AT(kstBarcodeInfo, codeTypeName, 48, const char*),
    RESERVED(kstBarcodeInfo, codeTypeName, 56),

    SIZE(kstConnectionEvent, 68),
    AT(kstConnectionEvent, state, 0, int32_t),
    RESERVED(kstConnectionEvent, state, 4),

    SIZE(kstIntFeatureInfo, 32),
    AT(kstIntFeatureInfo, curValue, 0, int64_t),
    AT(kstIntFeatureInfo, minValue, 8, int64_t),
    AT(kstIntFeatureInfo, maxValue, 16, int64_t),
    AT(kstIntFeatureInfo, incValue, 24, int64_t),

    SIZE(kstFloatFeatureInfo, 56),
    AT(kstFloatFeatureInfo, curValue, 0, double),
    AT(kstFloatFeatureInfo, minValue, 8, double),
    AT(kstFloatFeatureInfo, maxValue, 16, double),
    AT(kstFloatFeatureInfo, unit, 24, Text32),

    SIZE(kstStringFeatureInfo, 260),
    AT(kstStringFeatureInfo, maxLen, 0, uint32_t),
    AT(kstStringFeatureInfo, curValue, 4, Text256),

    SIZE(kstEnumEntry, 72),
    AT(kstEnumEntry, value, 0, uint64_t),
    AT(kstEnumEntry, symbol, 8, Text64),
    SIZE(kstEnumEntryList, 4616),
    AT(kstEnumEntryList, count, 0, uint32_t),
    AT(kstEnumEntryList, entries, 8, Entries),
};

typedef void (*FrameProc)(const kstFrameInfo*, void*);
typedef void (*ConnectionProc)(const kstConnectionEvent*, void*);
typedef void (*NameProc)(const char*, void*);

const char* kstGetVersion(void);
int kstEnumDevices(kstDeviceList*, unsigned int);
void* kstCreateDevice(const char*, int);
void kstReleaseHandle(void*);
int kstGetDeviceInfo(void*, kstDeviceInfo*);
int kstOpenDevice(void*);
int kstCloseDevice(void*);
int kstIsDeviceOpen(void*);
int kstForceIpAddress(void*, const char*, const char*, const char*);
int kstDownloadGenICamXML(void*, const char*);
int kstSaveDeviceConfig(void*, const char*);
int kstLoadDeviceConfig(void*, const char*);
int kstStartGrabbing(void*, int);
int kstStopGrabbing(void*);
int kstIsGrabbing(void*);
int kstClearFrameBuffer(void*);
void* kstGetFrame(void*, unsigned int);
int kstIsFrameValid(void*);
int kstGetFrameInfo(void*, kstFrameInfo*);
int kstRegisterFrameCallback(void*, FrameProc, void*);
int kstRegisterConnectionCallback(void*, ConnectionProc, void*);
int kstRegisterFeatureUpdateCallback(void*, NameProc, void*);
int kstGetFeatureType(void*, const char*);
int kstIsFeatureValid(void*, const char*);
int kstIsFeatureAvailable(void*, const char*);
int kstIsFeatureReadable(void*, const char*);
int kstIsFeatureWriteable(void*, const char*);
int kstGetIntFeatureValue(void*, const char*, int64_t*);
int kstSetIntFeatureValue(void*, const char*, int64_t);
int kstGetIntFeatureInfo(void*, const char*, kstIntFeatureInfo*);
int kstGetFloatFeatureValue(void*, const char*, double*);
int kstSetFloatFeatureValue(void*, const char*, double);
int kstGetFloatFeatureInfo(void*, const char*, kstFloatFeatureInfo*);
int kstGetBoolFeatureValue(void*, const char*, bool*);
int kstSetBoolFeatureValue(void*, const char*, bool);
int kstGetStringFeatureValue(void*, const char*, char*, uint32_t*);
int kstSetStringFeatureValue(void*, const char*, const char*);
int kstGetStringFeatureInfo(void*, const char*, kstStringFeatureInfo*);
int kstGetEnumFeatureValue(void*, const char*, uint64_t*);
int kstSetEnumFeatureValue(void*, const char*, uint64_t);
int kstGetEnumFeatureSymbol(void*, const char*, char*, uint32_t);
int kstSetEnumFeatureSymbol(void*, const char*, const char*);
int kstGetEnumFeatureEntryList(void*, const char*, kstEnumEntryList*);
int kstExecCommandFeature(void*, const char*);
int kstEnumFeatureChildren(void*, const char*, NameProc, void*);

int main(void) {
    int wrong = sizeof(bool) != 1;
    for (size_t i = 0; i < sizeof kPlaces / sizeof *kPlaces; ++i) {
        const Place* const place = &kPlaces[i];
        if (place->offset == place->wantedOffset && place->size == place->wantedSize) continue;
        printf("%s: %zu bytes at %zu, not %zu at %zu\n", place->what, place->size, place->offset,
               place->wantedSize, place->wantedOffset);
        ++wrong;
    }
    return wrong != 0;
}
