// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_DEVICEINFO_H
#define KESTRO_DEVICEINFO_H

#include <kestro/Export.h>
#include <kestro/InterfaceInfo.h>

#include <cstdint>
#include <memory>

namespace kestro {

class Camera;
class DeviceInfoImpl;
class DeviceInfoGEVImpl;

/**
 * What a camera says of itself.
 *
 * The texts point into the camera's own storage and stay valid as long as this object lives; the
 * object keeps its camera alive. Made from an empty pointer, texts are null (those of a
 * DeviceInfoGEV itself empty) and getType() is 0.
 * Threads: any.
 */
class KESTRO_API DeviceInfo {
 public:
    /**
     * Who controls a camera: the control privilege as the camera reports it (GigE Vision's CCP
     * register), or why that is not known.
     */
    enum AccessPermission : std::int32_t {
        Open = 0,               ///< nobody controls it
        Exclusive = 1,          ///< controlled by one program, which nobody may read beside
        Control = 2,            ///< controlled by one program (also by this one)
        ControlSwitchover = 6,  ///< controlled, and the control may be taken over with a key
        Undefined = 254,        ///< no GigE Vision camera
        Unknown = 255  ///< the camera did not answer, or its address is not valid from here
    };

    /** Of a camera of any kind; Camera::getDeviceInfo() makes the class that fits. */
    explicit DeviceInfo(const std::shared_ptr<Camera>& camera);
    DeviceInfo(const DeviceInfo&) = delete;
    DeviceInfo& operator=(const DeviceInfo&) = delete;
    virtual ~DeviceInfo();

    /** 1 GigE Vision, 2 USB3 Vision, 0 anything else. */
    int getType() const;
    /** The name that a user gave to the camera; empty when none was given. */
    const char* getName() const;
    /** The camera's key, the same text as Camera::getKey(). */
    const char* getID() const;
    /** The manufacturer's name. */
    const char* getVendorName() const;
    /** The model's name. */
    const char* getModelName() const;
    /** The serial number, a text; empty when the camera has none. */
    const char* getSerialNumber() const;
    /** The version of the camera or of its firmware, as the manufacturer writes it. */
    const char* getDeviceVersion() const;
    /** What else the manufacturer says of it; may be empty. */
    const char* getManufactureInfo() const;
    /** The interface through which the camera is reached; empty for one that is no network card. */
    std::shared_ptr<InterfaceInfo> getInterfaceInfo() const;

 protected:
    /** @private Takes ownership of a ready implementation object. */
    explicit DeviceInfo(DeviceInfoImpl* impl);
    DeviceInfoImpl* impl_;  ///< @private
};

/** A GigE Vision camera: the addresses are those it had when this object was made. */
class KESTRO_API DeviceInfoGEV : public DeviceInfo {
 public:
    /** Copies the camera's addresses; those of another kind of camera are empty. */
    explicit DeviceInfoGEV(const std::shared_ptr<Camera>& camera);
    ~DeviceInfoGEV() override;

    /** Dotted IPv4 address, "192.168.1.7". */
    const char* getIpAddress() const;
    /** Its MAC address, "01:23:45:67:89:ab". */
    const char* getMacAddress() const;
    /** Dotted IPv4 mask, "255.255.255.0". */
    const char* getSubnetMask() const;
    /** Dotted IPv4 address; "0.0.0.0" when the camera has none. */
    const char* getDefaultGateway() const;
    /** Asked now: true when the camera can be reached at its address from its interface. */
    bool isIpValid() const;
    /** Asked now, without taking control; may wait for the camera's answer (under a second). */
    AccessPermission getAccessPermission() const;

 private:
    const DeviceInfoGEVImpl& gev() const;
};

}  // namespace kestro

#endif
