// SPDX-License-Identifier: Apache-2.0
#include "CRecords.h"

namespace kestro::internal {

kstDeviceInfo deviceRecord(const DeviceInfo& device, const InterfaceInfo& interface) {
    kstDeviceInfo record{};
    copyText(record.id, device.getID());
    copyText(record.name, device.getName());
    copyText(record.serialNumber, device.getSerialNumber());
    copyText(record.vendorName, device.getVendorName());
    copyText(record.modelName, device.getModelName());
    copyText(record.manufactureInfo, device.getManufactureInfo());
    copyText(record.deviceVersion, device.getDeviceVersion());
    copyText(record.interfaceName, interface.getName());
    if (const auto* gev = dynamic_cast<const DeviceInfoGEV*>(&device)) {
        record.deviceType = 1;
        record.interfaceType = 1;
        copyText(record.macAddress, gev->getMacAddress());
        copyText(record.ipAddress, gev->getIpAddress());
        copyText(record.subnetMask, gev->getSubnetMask());
        copyText(record.defaultGateway, gev->getDefaultGateway());
        record.isIpValid = gev->isIpValid() ? 1 : 0;
    }
    return record;
}

std::vector<kstBarcodeInfo> barcodeRecords(const Frame& frame) {
    const std::vector<std::shared_ptr<BarcodeInfo>> codes = frame.getBarcodes();
    std::vector<kstBarcodeInfo> records(codes.size());
    auto record = records.begin();
    for (const std::shared_ptr<BarcodeInfo>& code : codes) {
        record->codeType = code->getCodeType();
        record->ppm = code->getPPM();
        const std::vector<Point>& points = code->getPoints();
        const std::size_t count = std::min(points.size(), std::size(record->points));
        for (std::size_t i = 0; i < count; ++i) record->points[i] = {points[i].x, points[i].y};
        record->codeData = code->getCodeData().c_str();
        record->codeTypeName = code->getCodeTypeName().c_str();
        ++record;
    }
    return records;
}

void describeFrame(const Frame& frame, const std::vector<kstBarcodeInfo>& barcodes,
                   kstFrameInfo& info) {
    info.blockId = frame.getBlockId();
    info.timestamp = frame.getTimestamp();
    info.width = frame.getWidth();
    info.height = frame.getHeight();
    info.pixelFormat = frame.getPixelFormat();
    info.status = static_cast<std::int32_t>(frame.getStatus());
    info.barcodeCount = static_cast<std::uint32_t>(barcodes.size());
    info.imageSize = frame.getImageSize();
    info.imageData = frame.getImageData();
    info.barcodes = barcodes.data();
    info.payloadFlag = frame.getPayloadFlag() ? 1 : 0;
}

bool fillEntryList(const std::vector<ParameterEnum::Entry>& entries, kstEnumEntryList& list) {
    const std::size_t count = std::min(entries.size(), std::size(list.entries));
    list.count = static_cast<std::uint32_t>(count);
    for (std::size_t i = 0; i < count; ++i) {
        list.entries[i].value = entries[i].value;
        copyText(list.entries[i].symbol, entries[i].symbol.c_str());
    }
    return count == entries.size();
}

void DeviceRecords::replace(std::vector<kstDeviceInfo> records) {
    const std::lock_guard<std::mutex> lock(mutex_);
    records_.swap(records);
}

bool DeviceRecords::find(const char* key, kstDeviceInfo& record) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = std::find_if(records_.begin(), records_.end(), [&](const auto& candidate) {
        return std::strcmp(candidate.id, key) == 0;
    });
    if (found == records_.end()) return false;
    record = *found;
    return true;
}

DeviceRecords& deviceRecords() {
    static auto& records = *new DeviceRecords;  // like the registries of handles
    return records;
}

}  // namespace kestro::internal
