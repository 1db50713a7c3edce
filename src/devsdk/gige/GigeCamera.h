// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ApplicationPort.h"
#include "CameraLink.h"
#include "ControlChannel.h"
#include "Discovery.h"
#include "EventData.h"
#include "EventDispatcher.h"
#include "FeaturePoller.h"
#include "Features.h"
#include "MessageChannel.h"
#include "PayloadLayout.h"
#include "StreamCounters.h"
#include "VordaGenICam.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Vorda::Gige {

/** Where a camera is, as its latest answer said. */
struct CameraLocation {
    Ipv4 address;
    Ipv4 mask;
    Ipv4 gateway;
    HostInterface via;
    bool answeredItsAddress = false;

    /** "Valid", or why nothing may be sent to the camera's address from here. */
    [[nodiscard]] std::string validity() const;
    [[nodiscard]] bool isValid() const;
};

/**
 * A GigE Vision camera: what it said of itself, its control connection while there is one, and its
 * events. One object stands for a device as long as anyone holds it.
 */
class GigeCamera final : public GenICam::ICamera,
                         public CameraLink,
                         public std::enable_shared_from_this<GigeCamera> {
 public:
    GigeCamera(const FoundDevice& found, std::string key);
    ~GigeCamera() override;
    GigeCamera(const GigeCamera&) = delete;
    GigeCamera& operator=(const GigeCamera&) = delete;

    /** The camera behind the device SDK's pointer; empty when it is none of ours. */
    [[nodiscard]] static std::shared_ptr<GigeCamera> from(
        const std::shared_ptr<GenICam::ICamera>& camera);

    [[nodiscard]] CameraLocation location() const;
    /** Takes over where the camera answered from now. */
    void relocate(const FoundDevice& found);
    [[nodiscard]] std::string macText() const { return texts_.mac.text(); }
    [[nodiscard]] bool forceIpAddress(const char* ip, const char* mask, const char* gateway);
    [[nodiscard]] int accessPermission() const;
    [[nodiscard]] EventDispatcher& events() { return events_; }
    /** The features while the camera is online; else empty, with the last error. */
    [[nodiscard]] std::shared_ptr<Features> features() const;
    /** The registers while the camera is online; else empty, with the last error. */
    [[nodiscard]] std::shared_ptr<RegisterPort> registers() const;
    /** Of the camera's latest stream; they outlive it. */
    [[nodiscard]] const std::shared_ptr<StreamCounters>& streamCounters() const {
        return streamCounters_;
    }

    // ICamera
    int getType() const override { return 0; }
    const char* getName() const override { return texts_.userName.c_str(); }
    const char* getKey() const override { return key_.c_str(); }
    bool isConnected() const override { return isOnline(); }
    int getInterfaceType() const override { return 0; }
    bool downloadGenICamXML(const char* path) override;
    const char* getVendor() const override { return texts_.manufacturer.c_str(); }
    const char* getModelName() const override { return texts_.model.c_str(); }
    const char* getSerialNumber() const override { return texts_.serial.c_str(); }
    const char* getDeviceVersion() const override { return texts_.version.c_str(); }
    const char* getManufactureInfo() const override { return texts_.information.c_str(); }
    int saveDeviceConfig(const char* path) override;
    int loadDeviceConfig(const char* path, Infra::CString& errors) override;
    bool connect(int access) override;
    bool disConnect() override;

    // CameraLink
    const char* key() const override { return key_.c_str(); }
    Ipv4 cameraAddress() const override;
    Ipv4 hostAddress() const override;
    bool isOnline() const override;
    bool openStreamChannel(StreamInlet& inlet, StreamSetup& setup) override;
    void closeStreamChannel() override;
    bool startAcquisition() override;
    bool stopAcquisition() override;
    void requestResend(const ResendRequest& request) override;

 private:
    /** A control connection and what was learnt through it; constant once made, but for the flag.
     */
    struct Connection {
        CameraLocation location;
        std::shared_ptr<ControlChannel> channel;
        std::shared_ptr<ApplicationPort> port;  ///< the channel, as the application uses it
        std::shared_ptr<const CheckedDescription> description;
        std::shared_ptr<const PayloadLayout> layout;
        std::shared_ptr<EventData> eventData = std::make_shared<EventData>();
        std::shared_ptr<Features> features;
        std::unique_ptr<MessageChannel> messages;
        std::unique_ptr<FeaturePoller> poller;
        bool canResend = false;
        std::atomic<bool> streamOpen{false};  ///< the stream channel is in use
        /** The features were listed, so someone wants to know what changes. */
        std::atomic<bool> isWatched{false};

        /** Ends its threads and gives the control back. */
        void close();
    };

    [[nodiscard]] std::shared_ptr<Connection> makeConnection();
    [[nodiscard]] bool learn(const std::shared_ptr<Connection>& connection);
    [[nodiscard]] std::shared_ptr<Features> makeFeatures(
        const std::shared_ptr<Connection>& connection);
    static void startPolling(Connection& connection);
    void postUpdates(const std::vector<std::string>& names);
    [[nodiscard]] bool setUpStream(const Connection& connection, StreamInlet& inlet,
                                   StreamSetup& setup);
    [[nodiscard]] static bool pointStream(const Connection& connection, StreamInlet& inlet);
    [[nodiscard]] bool sizePackets(const Connection& connection, StreamInlet& inlet,
                                   std::uint32_t& packetBytes);
    void reportLoss();
    [[nodiscard]] std::shared_ptr<Connection> connection() const;
    /** The connection while it is online; else empty, with the last error. */
    [[nodiscard]] std::shared_ptr<Connection> onlineConnection() const;
    [[nodiscard]] std::shared_ptr<Connection> exchangeConnection(std::shared_ptr<Connection> next);

    const Gvcp::Announcement texts_;  ///< its addresses are those of the first answer
    const std::string key_;
    const std::shared_ptr<StreamCounters> streamCounters_ = std::make_shared<StreamCounters>();
    EventDispatcher events_;

    std::mutex connectMutex_;   // connecting and disconnecting, one at a time
    mutable std::mutex mutex_;  // guards what follows
    CameraLocation location_;
    std::shared_ptr<Connection> connection_;
};

}  // namespace Vorda::Gige
