// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ApplicationPort.h"
#include "AppliedSettings.h"
#include "CameraLink.h"
#include "CameraSearch.h"
#include "ControlChannel.h"
#include "Discovery.h"
#include "Environment.h"
#include "EventData.h"
#include "EventDispatcher.h"
#include "FeatureModel.h"
#include "FeaturePoller.h"
#include "Features.h"
#include "HeldLines.h"
#include "MessageChannel.h"
#include "Reconnector.h"
#include "Signal.h"
#include "StreamCounters.h"
#include "VordaGenICam.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Vorda::Gige {

struct DescriptionFile;

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
 *
 * What the application connected stays connected until it disconnects: a lost connection is made
 * again (CameraRecovery.cpp).
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
    bool openStreamChannel(StreamInlet& inlet, StreamSetup& setup,
                           const std::weak_ptr<LinkedStream>& stream) override;
    void closeStreamChannel(const std::weak_ptr<LinkedStream>& stream) override;
    bool startAcquisition() override;
    bool stopAcquisition(const std::weak_ptr<LinkedStream>& stream) override;
    void requestResend(const ResendRequest& request) override;

 private:
    /** A control connection and what was learnt through it; constant once made, but for the flags.
     */
    struct Connection {
        CameraLocation location;
        std::shared_ptr<ControlChannel> channel;
        std::shared_ptr<ApplicationPort> port;  ///< the channel, as the application uses it
        std::shared_ptr<FeatureModel> model;
        std::shared_ptr<EventData> eventData = std::make_shared<EventData>();
        std::shared_ptr<Features> features;
        std::unique_ptr<MessageChannel> messages;
        std::unique_ptr<FeaturePoller> poller;
        bool canResend = false;
        std::atomic<bool> streamOpen{false};  ///< the stream channel is in use
        /** The features were listed, so someone wants to know what changes. */
        std::atomic<bool> isWatched{false};
        std::atomic<bool> lossReported{false};
        bool isAnnounced = false;  ///< the application knows of it; guarded by mutex_

        /** Ends its threads and gives the control back. May be repeated. */
        void close();
    };

    /** From an application's connect() to its disConnect(), over all losses between them. */
    struct Session {
        Session(const DeviceIdentity& camera, const std::string& key)
            : settings(std::make_shared<AppliedSettings>(key)), search(camera) {}

        const bool reconnects = Environment::reconnects();
        Signal ended;  ///< ends what waits for the camera's return
        const std::shared_ptr<AppliedSettings> settings;

        // Guarded by connectMutex_.
        std::shared_ptr<const DescriptionFile> file;  ///< the latest; others may push it out
        std::shared_ptr<FeatureModel> model;          ///< of it

        // Of the outage that there is, or of the next one. Likewise.
        CameraSearch search;
        std::shared_ptr<ControlChannel> latest;  ///< of the latest attempt that came so far
        unsigned attempts = 0;
        unsigned silentRestores = 0;  ///< attempts that a setting without an answer has ended
        std::string complaint;        ///< the latest that was logged
    };

    /** What is left to do once connectMutex_ is free again. */
    struct Aftermath {
        std::shared_ptr<LinkedStream> stream;  ///< to be let go, if nobody else holds it
        HeldLines lines;                       ///< written before that
    };

    [[nodiscard]] bool connectAnew();
    [[nodiscard]] bool announce(const std::shared_ptr<Connection>& made);
    [[nodiscard]] bool takeControl(const std::shared_ptr<Connection>& made);
    [[nodiscard]] bool learn(Session& session, const std::shared_ptr<Connection>& connection);
    [[nodiscard]] bool takeModel(Session& session, Connection& connection) const;
    [[nodiscard]] std::shared_ptr<Features> makeFeatures(
        const Session& session, const std::shared_ptr<Connection>& connection);
    static void startPolling(Connection& connection);
    void postUpdates(const std::vector<std::string>& names);
    [[nodiscard]] bool setUpStream(const Connection& connection, StreamInlet& inlet,
                                   StreamSetup& setup);
    [[nodiscard]] static bool pointStream(const Connection& connection, StreamInlet& inlet);
    [[nodiscard]] bool sizePackets(const Connection& connection, StreamInlet& inlet,
                                   std::uint32_t& packetBytes);
    static void shutStreamChannel(Connection& connection);
    [[nodiscard]] static bool stopAcquisition(const Connection& connection);
    [[nodiscard]] bool claimChannel(Connection& connection,
                                    const std::weak_ptr<LinkedStream>& stream);
    [[nodiscard]] bool hasChannel(const std::weak_ptr<LinkedStream>& stream) const;

    void reportLoss(Connection& connection);
    [[nodiscard]] bool recoverIfWanted();
    [[nodiscard]] bool recover(Session& session, Aftermath& after);
    [[nodiscard]] std::shared_ptr<Connection> reach(Session& session);
    [[nodiscard]] bool find(Session& session);
    [[nodiscard]] bool restore(Session& session, const std::shared_ptr<Connection>& made,
                               const Connection& lost, Aftermath& after);
    void withdraw(Connection& made);
    void complain(Session& session, bool isError) const;
    [[nodiscard]] std::string backAgainText(const Connection& made, unsigned attempts) const;
    void endSession();
    void interruptRecovery();

    [[nodiscard]] std::shared_ptr<Session> session() const;
    [[nodiscard]] std::shared_ptr<Connection> connection() const;
    /** The connection that streams use. */
    [[nodiscard]] std::shared_ptr<Connection> streamConnection() const;
    /** The connection while it is online; else empty, with the last error. */
    [[nodiscard]] std::shared_ptr<Connection> onlineConnection() const;
    [[nodiscard]] std::shared_ptr<Connection> onlineStreamConnection() const;
    [[nodiscard]] static std::shared_ptr<Connection> ifOnline(std::shared_ptr<Connection> current);
    std::shared_ptr<Connection> exchangeConnection(std::shared_ptr<Connection> next);

    const Gvcp::Announcement texts_;  ///< its addresses are those of the first answer
    const std::string key_;
    const std::shared_ptr<StreamCounters> streamCounters_ = std::make_shared<StreamCounters>();
    EventDispatcher events_;

    std::mutex connectMutex_;  // connecting, also again, and disconnecting, one at a time
    /** Made at the first connect(), before anything can be lost. */
    std::unique_ptr<Reconnector> reconnector_;

    mutable std::mutex mutex_;  // guards what follows
    CameraLocation location_;
    std::shared_ptr<Session> session_;           ///< while the application wants to be connected
    std::shared_ptr<Connection> connection_;     ///< also a lost one, until there is another
    std::shared_ptr<Connection> restoring_;      ///< the next one, on which a stream is resumed
    std::shared_ptr<ControlChannel> attempted_;  ///< of an attempt under way
    std::weak_ptr<LinkedStream> stream_;         ///< that has the stream channel
    std::chrono::steady_clock::time_point lostAt_{};
};

}  // namespace Vorda::Gige
