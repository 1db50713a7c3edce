// SPDX-License-Identifier: Apache-2.0
//
// The device SDK for tests, in this process: cameras that behave (connect, grab, deliver, raise
// events on the thread of the test) and a script that makes any operation fail. Calls are kept in
// one journal, in order, with their arguments.
#pragma once

#include "VordaGenICam.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestro::test {

/** One feature; an operation uses what its kind calls for. */
struct FeatureScript {
    using Node = Vorda::GenICam::CInternalParameterNode;

    Node::EFeatureType type = Node::kFeatureInt;
    Node::EFeatureVisibility visibility = Node::kVisibilityBeginner;
    bool isAvailable = true;
    bool isReadable = true;
    bool isWritable = true;

    std::int64_t integer = 0;  ///< also a boolean (0 or 1) and an enumeration's current value
    std::int64_t min = 0;
    std::int64_t max = 100;
    std::int64_t increment = 1;
    double number = 0;
    double numberMin = 0;
    double numberMax = 1;
    std::string unit;
    std::string text;
    std::uint32_t maxLength = 16;
    std::vector<Node::SEnumEntry> entries;
    int executions = 0;
    std::vector<std::string> children;
    std::vector<std::string> selectors;
};

inline FeatureScript featureGroup(std::vector<std::string> children) {
    FeatureScript group;
    group.type = FeatureScript::Node::kFeatureGroup;
    group.children = std::move(children);
    return group;
}

/** What a camera says of itself; a text without value is a null pointer. */
struct CameraScript {
    using Text = std::optional<std::string>;

    int type = 0;
    int interfaceType = 0;
    Text key = "Acme:1001";
    Text name = "left gate";
    Text vendor = "Acme";
    Text model = "Reader 5";
    Text serialNumber = "1001";
    Text deviceVersion = "2.3";
    Text manufacturerInfo = "Acme readers";

    std::string ipValidity = "Valid";
    int accessPermission = 2;
    std::string ipAddress = "192.168.1.7";
    std::string macAddress = "02:00:00:00:00:07";
    std::string subnetMask = "255.255.255.0";
    std::string gateway = "192.168.1.254";
    std::string interfaceName = "eth7";

    std::map<std::string, FeatureScript> features = {{"Root", featureGroup({})}};
    std::map<std::uint64_t, std::uint8_t> memory;  ///< 0 where it has no byte
    std::deque<std::uint32_t> memoryCounts;  ///< lengths that the next readMem hands back, if any
};

class StreamDouble;
class EventsDouble;

class CameraDouble final : public Vorda::GenICam::ICamera {
 public:
    explicit CameraDouble(CameraScript cameraScript) : script(std::move(cameraScript)) {}

    int getType() const override;
    const char* getName() const override;
    const char* getKey() const override;
    bool isConnected() const override;
    int getInterfaceType() const override;
    bool downloadGenICamXML(const char* path) override;
    const char* getVendor() const override;
    const char* getModelName() const override;
    const char* getSerialNumber() const override;
    const char* getDeviceVersion() const override;
    const char* getManufactureInfo() const override;
    int saveDeviceConfig(const char* path) override;
    int loadDeviceConfig(const char* path, Vorda::GenICam::CString& errors) override;
    bool connect(int access) override;
    bool disConnect() override;

    /** A frame arrives: the handler gets it on this thread, or it waits; false when none grabs. */
    bool deliver(const Vorda::GenICam::CFrame& frame);
    /** An event arrives, on this thread; false when nobody has subscribed. */
    bool raiseConnect(std::int32_t state);
    bool raiseUpdates(const std::vector<std::string>& names);

    CameraScript script;  ///< change it only while no other thread uses the camera
    std::atomic<bool> connected{false};

 private:
    friend class Vorda::GenICam::CSystem;
    std::shared_ptr<StreamDouble> stream();
    std::shared_ptr<EventsDouble> events();

    std::mutex mutex_;  // guards both below
    std::weak_ptr<StreamDouble> stream_;
    std::weak_ptr<EventsDouble> events_;
};

class StreamDouble final : public Vorda::GenICam::IStreamSource {
 public:
    ~StreamDouble() override;
    bool startGrabbing(std::uint64_t maxImages, int strategy) override;
    bool stopGrabbing() override;
    bool isGrabbing() const override;
    bool getFrame(Vorda::GenICam::CFrame& frame, std::uint32_t timeoutMs) override;
    bool attachGrabbing(const Vorda::GenICam::FrameBinding& handler) override;
    bool detachGrabbing(const Vorda::GenICam::FrameBinding& handler) override;
    bool setBufferCount(std::uint32_t count) override;
    bool clearFrameBuffer() override;

    bool deliver(const Vorda::GenICam::CFrame& frame);

 private:
    std::recursive_mutex delivery_;  // held while the handler runs, so that a stop waits for it
    mutable std::mutex mutex_;       // guards all below
    std::condition_variable changed_;
    bool grabbing_ = false;
    std::size_t bufferCount_ = 8;
    std::deque<Vorda::GenICam::CFrame> waiting_;
    Vorda::GenICam::FrameBinding handler_;
};

class EventsDouble final : public Vorda::GenICam::IEventSubscribe {
 public:
    ~EventsDouble() override;
    bool subscribeConnectArgs(const Vorda::GenICam::ConnectBinding& handler) override;
    bool unsubscribeConnectArgs(const Vorda::GenICam::ConnectBinding& handler) override;
    bool subscribeParamsUpdate(const Vorda::GenICam::ParamsUpdateBinding& handler) override;
    bool unsubscribeParamsUpdate(const Vorda::GenICam::ParamsUpdateBinding& handler) override;
    bool setEventQueueSize(std::uint32_t count) override;

    Vorda::GenICam::ConnectBinding connectHandler() const;
    Vorda::GenICam::ParamsUpdateBinding updateHandler() const;

 private:
    mutable std::mutex mutex_;  // guards all below
    Vorda::GenICam::ConnectBinding connectHandler_;
    Vorda::GenICam::ParamsUpdateBinding updateHandler_;
};

/**
 * The script and the journal; one for the process. Call reset() first in every test.
 *
 * Operations go by the name that the journal gives them: "connect", "IGigECamera::getInstance",
 * "discoveryEx"... A failing call sets the thread's last error, and every call that does not fail
 * sets another one: an error text that is read too late shows. A feature's node notes "open(Width)"
 * and "close(Width)", and its name first: "setIntValue(Width, 5)". Threads: any.
 */
class DeviceSdkDouble {
 public:
    static DeviceSdkDouble& instance();

    void reset();

    /** What discoveryEx finds, null entries included. */
    void setDevices(std::vector<std::shared_ptr<Vorda::GenICam::ICamera>> devices);
    /**
     * From now on the operation fails with this error: it answers false or an empty object, or,
     * where it answers int, the number. A text without value is a null pointer.
     */
    void fail(const std::string& operation, int number, std::optional<std::string> text);
    /** Called at the start of each call of the operation, with no lock held. */
    void before(const std::string& operation, std::function<void()> hook);
    void advanceClock(std::uint64_t microseconds);
    /** Whether this process passes for a forked child, until the next reset. */
    void setForkedChild(bool isChild) { forkedChild_ = isChild; }
    bool isForkedChild() const { return forkedChild_; }

    /** The calls so far, such as "connect(2)"; handlers as "handler 1", equal ones alike. */
    std::vector<std::string> journal() const;
    void clearJournal();

    /** For the doubles: notes a call; the error's number when it shall fail. */
    std::optional<int> enter(const std::string& operation, const std::string& arguments = "");
    template <typename Arg>
    std::optional<int> enter(const std::string& operation,
                             const Vorda::GenICam::TBinding<Arg>& handler) {
        return enter(operation, nameOf(handler));
    }
    static void setLastError(int number, std::optional<std::string> text);
    std::vector<std::shared_ptr<Vorda::GenICam::ICamera>> devices() const;
    std::uint64_t clock() const;

 private:
    struct Failure {
        int number = 0;
        std::optional<std::string> text;
    };

    template <typename Arg>
    std::string nameOf(const Vorda::GenICam::TBinding<Arg>& handler);
    template <typename Arg>
    std::vector<Vorda::GenICam::TBinding<Arg>>& known();

    std::atomic<bool> forkedChild_{false};

    mutable std::mutex mutex_;  // guards all below
    std::vector<std::string> journal_;
    std::map<std::string, Failure> failures_;
    std::map<std::string, std::function<void()>> hooks_;
    std::vector<std::shared_ptr<Vorda::GenICam::ICamera>> devices_;
    std::vector<Vorda::GenICam::FrameBinding> frameHandlers_;
    std::vector<Vorda::GenICam::ConnectBinding> connectHandlers_;
    std::vector<Vorda::GenICam::ParamsUpdateBinding> updateHandlers_;
    std::uint64_t clockUs_ = 1000;
};

}  // namespace kestro::test
