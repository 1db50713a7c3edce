#include <kestro/kestro_c.h>

#include <stdio.h>

int main(void) {
    kstDeviceList list;
    if (kstEnumDevices(&list, 0) != KST_OK || list.deviceCount == 0) return 3;
    void* camera = kstCreateDevice(list.devices[0].id, KST_BY_KEY);
    bool isGood = kstOpenDevice(camera) == KST_OK && kstStartGrabbing(camera, 0) == KST_OK;
    for (int frames = 0; isGood && frames < 3;) {
        kstFrameInfo info;
        void* frame = kstGetFrame(camera, 2000);
        isGood = frame && kstGetFrameInfo(frame, &info) == KST_OK;
        if (isGood) printf("frame %d: %u x %u\n", ++frames, info.width, info.height);
        for (uint32_t i = 0; isGood && i < info.barcodeCount; ++i) {
            printf("  %-9s %s\n", info.barcodes[i].codeTypeName, info.barcodes[i].codeData);
        }
        kstReleaseHandle(frame);
    }
    kstCloseDevice(camera);
    kstReleaseHandle(camera);
    return isGood ? 0 : 1;  // the log says why
}
