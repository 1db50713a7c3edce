// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Camera.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrocli {

/** What discovery told of a camera: the bytes as the camera sent them. */
struct CameraRecord {
    std::string key;
    std::string serialNumber;
    std::string model;
    std::string vendor;
    std::string userName;
    std::string version;
    std::string manufactureInfo;
    std::string ip;
    std::string mask;
    std::string gateway;
    std::string mac;
    std::string interfaceName;
    std::string interfaceText;  ///< for people, "eth0 192.168.1.1/24"
};

/** What has to be asked of the camera now; that may wait for its answer. */
struct CameraState {
    bool ipValid = false;
    kestro::DeviceInfo::AccessPermission access = kestro::DeviceInfo::Unknown;
};

struct FoundCamera {
    std::shared_ptr<kestro::Camera> camera;
    CameraRecord record;
};

[[nodiscard]] CameraRecord recordOf(const std::shared_ptr<kestro::Camera>& camera);
[[nodiscard]] CameraState stateOf(const std::shared_ptr<kestro::Camera>& camera);

/** "open", "exclusive", "control", "switchover" or "unknown". */
[[nodiscard]] std::string_view accessName(kestro::DeviceInfo::AccessPermission access);

/**
 * The indices of the cameras that a user means by a text: key, serial number, user-given name, IP
 * or MAC address. A key that fits decides alone.
 */
[[nodiscard]] std::vector<std::size_t> matching(const std::vector<CameraRecord>& cameras,
                                                std::string_view text);

/** How messages name the camera: the serial number, the key where there is none. */
[[nodiscard]] std::string nameOf(const CameraRecord& camera);

}  // namespace kestrocli
