// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_INTERFACEINFO_H
#define KESTRO_INTERFACEINFO_H

#include <kestro/Export.h>

#include <memory>

namespace kestro {

class Camera;
class InterfaceInfoImpl;
class InterfaceInfoNICImpl;

/**
 * The host interface through which a camera is reached, as it was when this object was made.
 *
 * Texts are never null and stay valid as long as the object lives. Threads: any.
 */
class KESTRO_API InterfaceInfo {
 public:
    /** Copies the interface's data from `camera`; an empty pointer gives type 0 and empty texts. */
    explicit InterfaceInfo(const std::shared_ptr<Camera>& camera);
    InterfaceInfo(const InterfaceInfo&) = delete;
    InterfaceInfo& operator=(const InterfaceInfo&) = delete;
    virtual ~InterfaceInfo();

    /** 0 is a network interface card, 1 a USB port. */
    int getType() const;
    /** The system's name, such as "eth0". */
    const char* getName() const;
    /** A text for people, such as "eth0 192.168.1.1/24". (The operation's name is spelled so.) */
    const char* getDecription() const;

 protected:
    /** @private Takes ownership of a ready implementation object. */
    explicit InterfaceInfo(InterfaceInfoImpl* impl);
    InterfaceInfoImpl* impl_;  ///< @private
};

/** A network interface card. */
class KESTRO_API InterfaceInfoNIC : public InterfaceInfo {
 public:
    /** Copies the card's addresses; they are empty for an interface of another kind. */
    explicit InterfaceInfoNIC(const std::shared_ptr<Camera>& camera);
    ~InterfaceInfoNIC() override;

    /** Dotted IPv4 address, "192.168.1.1". */
    const char* getIpAddress() const;
    /** Its MAC address, "01:23:45:67:89:ab". */
    const char* getMacAddress() const;
    /** Dotted IPv4 mask, "255.255.255.0". */
    const char* getSubnetMask() const;
    /** Dotted IPv4 address; empty when the interface has no default route. */
    const char* getDefaultGateway() const;

 private:
    const InterfaceInfoNICImpl& nic() const;
};

}  // namespace kestro

#endif
