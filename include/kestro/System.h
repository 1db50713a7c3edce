// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_SYSTEM_H
#define KESTRO_SYSTEM_H

#include <kestro/Camera.h>
#include <kestro/Export.h>
#include <kestro/Result.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace kestro {

/**
 * The library's entry: configures logging at its first use, finds cameras, keeps the list of those
 * found last. Threads: any.
 */
class KESTRO_API System {
 public:
    /** What kind of text getCamera() is given. */
    enum CameraDataType : std::int32_t {
        Key = 0,           ///< Camera::getKey()
        SerialNumber = 1,  ///< DeviceInfo::getSerialNumber()
        IpAddress = 2,     ///< DeviceInfoGEV::getIpAddress()
        MacAddress = 3     ///< DeviceInfoGEV::getMacAddress()
    };

    /**
     * The one System. Its first call loads the log configuration: the file
     * "SDKLOG_default.properties" of the current directory, or the default (warnings and errors to
     * stderr).
     */
    static System& getInstance();

    /** The library's version, "1.1.0.307039"; a static text. */
    const char* getVersion() const;

    /**
     * Finds the cameras on the network and replaces the kept list by them.
     *
     * Takes up to a second; with the same cameras as last time a quarter of one. Cameras found
     * again are new Camera objects that share the connection of the earlier ones.
     *
     * @param cameras  replaced by the cameras found; left as it is on failure.
     * @param typeMask  bit 0 network interface cards, bit 1 USB ports; 0 means all.
     * @return 0 (also when no camera was found), 2 when the search could not be made (not logged).
     */
    Result discovery(std::vector<std::shared_ptr<Camera>>& cameras, unsigned int typeMask);
    /** The same; only the kept list changes. */
    Result discovery(unsigned int typeMask);
    /** A copy of the kept list: the cameras of the latest successful discovery. */
    std::vector<std::shared_ptr<Camera>> getCameraList() const;
    /**
     * Looks a camera up in the kept list by a text that must match exactly.
     *
     * @return the first match; empty when there is none or `data` is null or empty (logged).
     */
    std::shared_ptr<Camera> getCamera(const char* data, CameraDataType type) const;

    System(const System&) = delete;
    System& operator=(const System&) = delete;

 private:
    System();
    ~System();
    struct State;
    State* state_;
};

}  // namespace kestro

#endif
