// SPDX-License-Identifier: Apache-2.0
//
// Values of the classes as the C interface's records.
#pragma once

#include <kestro/DeviceInfo.h>
#include <kestro/Frame.h>
#include <kestro/InterfaceInfo.h>
#include <kestro/Parameter.h>
#include <kestro/kestro_c.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

namespace kestro::internal {

/** Cuts `text` to what the field holds beside a NUL; null is the empty text. */
template <std::size_t Size>
void copyText(char (&field)[Size], const char* text) {
    const std::size_t length = text ? strnlen(text, Size - 1) : 0;
    if (length > 0) std::memcpy(field, text, length);
    field[length] = '\0';
}

kstDeviceInfo deviceRecord(const DeviceInfo& device, const InterfaceInfo& interface);

/** Their texts point into the frame. */
std::vector<kstBarcodeInfo> barcodeRecords(const Frame& frame);
/** Writes the named fields and nothing else. */
void describeFrame(const Frame& frame, const std::vector<kstBarcodeInfo>& barcodes,
                   kstFrameInfo& info);

/** Writes as many entries as there is room for; false when there are more. */
bool fillEntryList(const std::vector<ParameterEnum::Entry>& entries, kstEnumEntryList& list);

/** The records of the latest enumeration. Threads: any. */
class DeviceRecords {
 public:
    void replace(std::vector<kstDeviceInfo> records);
    /** Copies the first record whose `id` is `key`; false when there is none. */
    bool find(const char* key, kstDeviceInfo& record) const;

 private:
    mutable std::mutex mutex_;
    std::vector<kstDeviceInfo> records_;  // guarded by mutex_
};

DeviceRecords& deviceRecords();

}  // namespace kestro::internal
