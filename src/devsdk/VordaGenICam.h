// SPDX-License-Identifier: Apache-2.0
//
// The device SDK as the library sees it. Operations stand in the order in which the device SDK
// declares them. Every operation that answers bool is true on success; after a false, the thread's
// Vorda::Infra::getLastError() says why. Objects may be used from any thread.
#pragma once

#include "VordaInfra.h"
#include "VordaMemory.h"

#include <cstdint>
#include <memory>

namespace Vorda::GenICam {

using Infra::CString;
using Infra::TVector;
using Memory::TSharedPtr;

/** Pixel formats are PFNC codes; any 32-bit value may occur. */
enum class EPixelType : std::uint32_t {
    Mono8 = 0x01080001,
    Mono16 = 0x01100007,
    RGB8 = 0x02180014
};

/** Kinds of payload in a frame: GVSP's payload types without the chunk bit. */
enum EPayloadType : std::uint32_t {
    kPayloadImage = 1,
    kPayloadRaw = 2,
    kPayloadChunk = 4,
    kPayloadJpeg = 6
};

/**
 * One received frame; empty when made, and once its bytes were given away. Copies share the
 * received bytes, which live as long as any of them. Its content depends on who implements the
 * device SDK.
 */
class CFrame : public Memory::CBlock {
 public:
    using EPayloadType = GenICam::EPayloadType;
    class Impl;

    CFrame();
    explicit CFrame(std::shared_ptr<const Impl> impl);
    CFrame(const CFrame&);
    CFrame& operator=(const CFrame&);
    ~CFrame() override;

    bool valid() const;
    std::uint64_t getBlockId() const;
    const void* getImage() const;
    std::uint32_t getImageSize() const;
    std::uint32_t getImageWidth() const;
    std::uint32_t getImageHeight() const;
    /** 0xFFFFFFFF when the payload does not tell. */
    EPixelType getImagePixelFormat() const;
    /** Ticks of the camera's clock. */
    std::uint64_t getImageTimeStamp() const;
    bool getPayLoadTypes(TVector<EPayloadType>& types) const;
    unsigned getChunkCount() const;
    /** `texts` gets lines of the form "Name Value:text". */
    bool getChunkDataByIndex(unsigned index, unsigned& id, TVector<CString>& texts) const;
    /**
     * Gives the received bytes away: they stay as they are, where getImage() found them, until what
     * is returned goes, and this frame is empty from now on. Threads: while no other uses it.
     *
     * @param usedBytes  how many of them are wanted.
     * @return empty, and the frame is as it was, when it has copies, when nothing can take the
     *         bytes' place in the stream, or when less than half of their memory would be used.
     */
    TSharedPtr<const void> giveBuffer(std::uint32_t usedBytes) const;

 private:
    mutable std::shared_ptr<const Impl> impl_;  // handlers get a const frame and may give it away
};

/**
 * Names a member function of an object as the receiver of events.
 *
 * It holds the object weakly, and strongly only while the member runs, so that events in flight
 * neither keep an object alive nor meet a destroyed one. Two bindings of one member of one object
 * are equal.
 */
template <typename Arg>
class TBinding {
 public:
    static constexpr int kMember = 1;

    TBinding() = default;
    template <auto Member, typename T>
    static TBinding toMember(const std::shared_ptr<T>& object) {
        TBinding binding;
        binding.kind_ = kMember;
        binding.object_ = object.get();
        binding.owner_ = object;
        binding.call_ = [](void* target, const Arg& arg) {
            (static_cast<T*>(target)->*Member)(arg);
        };
        return binding;
    }

    int kind() const { return kind_; }
    /** Calls the member; does nothing when the object is gone. */
    void operator()(const Arg& arg) const {
        if (const std::shared_ptr<void> keep = owner_.lock()) call_(object_, arg);
    }
    bool operator==(const TBinding& other) const {
        return kind_ == other.kind_ && object_ == other.object_ && call_ == other.call_;
    }
    explicit operator bool() const { return call_ != nullptr; }

 private:
    int kind_ = 0;
    void* object_ = nullptr;
    std::weak_ptr<void> owner_;
    void (*call_)(void*, const Arg&) = nullptr;
};

/** A change of the control connection. */
struct SConnectArg {
    std::int32_t state = 0;  ///< 1 online, anything else offline
};

/** Features that changed, in the order of change. */
struct SParamsUpdateArg {
    TVector<CString> names;
};

using FrameBinding = TBinding<CFrame>;
using ConnectBinding = TBinding<SConnectArg>;
using ParamsUpdateBinding = TBinding<SParamsUpdateArg>;

/** A camera. Texts are immutable and live as long as the object. */
class ICamera {
 public:
    virtual ~ICamera() = default;
    /** 0 GigE Vision, 1 USB3 Vision. */
    virtual int getType() const = 0;
    virtual const char* getName() const = 0;
    virtual const char* getKey() const = 0;
    virtual bool isConnected() const = 0;
    /** 0 network interface card, 1 USB. */
    virtual int getInterfaceType() const = 0;
    virtual bool downloadGenICamXML(const char* path) = 0;
    virtual const char* getVendor() const = 0;
    virtual const char* getModelName() const = 0;
    virtual const char* getSerialNumber() const = 0;
    virtual const char* getDeviceVersion() const = 0;
    virtual const char* getManufactureInfo() const = 0;
    /** 0 is success. */
    virtual int saveDeviceConfig(const char* path) = 0;
    /** 0 is success; `errors` gets one line per refused feature. */
    virtual int loadDeviceConfig(const char* path, CString& errors) = 0;
    /** `access` is the privilege to take: 2 is control. */
    virtual bool connect(int access) = 0;
    virtual bool disConnect() = 0;
};

/** The GigE Vision view of a camera; addresses are dotted texts, as they are now. */
class IGigECamera {
 public:
    /** Empty for a camera of another kind. */
    static TSharedPtr<IGigECamera> getInstance(const TSharedPtr<ICamera>& camera);
    virtual ~IGigECamera() = default;
    virtual bool forceIpAddress(const char* ip, const char* mask, const char* gateway) = 0;
    /** The control privilege register's value; 255 when it is not known. */
    virtual int getAccessPermission() const = 0;
    /** "Valid", or a sentence that says why the camera cannot be reached. */
    virtual CString getIpValidity() const = 0;
    virtual CString getIpAddress() const = 0;
    virtual CString getMacAddress() const = 0;
    virtual CString getSubnetMask() const = 0;
    virtual CString getGateway() const = 0;
};

/** The host interface through which a GigE Vision camera is reached. */
class IGigEInterface {
 public:
    static TSharedPtr<IGigEInterface> getInstance(const TSharedPtr<ICamera>& camera);
    virtual ~IGigEInterface() = default;
    virtual CString getIpAddress() const = 0;
    virtual CString getMacAddress() const = 0;
    virtual CString getSubnetMask() const = 0;
    virtual CString getGateway() const = 0;
    virtual CString getName() const = 0;
    virtual CString getDescription() const = 0;
};

/** The image stream of a connected camera; its destructor stops it. */
class IStreamSource {
 public:
    virtual ~IStreamSource() = default;
    /** `maxImages` 0 is no limit; strategy 0 delivers frames in order, the oldest first. */
    virtual bool startGrabbing(std::uint64_t maxImages, int strategy) = 0;
    virtual bool stopGrabbing() = 0;
    virtual bool isGrabbing() const = 0;
    virtual bool getFrame(CFrame& frame, std::uint32_t timeoutMs) = 0;
    /** The handler takes every frame from now on; binding it twice changes nothing. */
    virtual bool attachGrabbing(const FrameBinding& handler) = 0;
    /** When it returns, the handler does not run (unless called from it). */
    virtual bool detachGrabbing(const FrameBinding& handler) = 0;
    virtual bool setBufferCount(std::uint32_t count) = 0;
    virtual bool clearFrameBuffer() = 0;
};

/** The events of a camera; its destructor ends them. */
class IEventSubscribe {
 public:
    virtual ~IEventSubscribe() = default;
    virtual bool subscribeConnectArgs(const ConnectBinding& handler) = 0;
    virtual bool unsubscribeConnectArgs(const ConnectBinding& handler) = 0;
    virtual bool subscribeParamsUpdate(const ParamsUpdateBinding& handler) = 0;
    virtual bool unsubscribeParamsUpdate(const ParamsUpdateBinding& handler) = 0;
    /** Bounds the updates, by features, that may wait; connection events are never dropped. */
    virtual bool setEventQueueSize(std::uint32_t count) = 0;
};

/**
 * One feature of a camera's GenICam description, by name. A node keeps no value: every operation
 * asks the camera. It is not valid when the camera has no such feature or is not connected; then
 * questions get the neutral answer and everything else false.
 */
class CInternalParameterNode {
 public:
    enum EFeatureType : std::uint32_t {
        kFeatureUnknown = 0,
        kFeatureInt = 0x10000000,
        kFeatureFloat = 0x20000000,
        kFeatureEnum = 0x30000000,
        kFeatureBool = 0x40000000,
        kFeatureString = 0x50000000,
        kFeatureCommand = 0x60000000,
        kFeatureGroup = 0x70000000,
        kFeatureRegister = 0x80000000  ///< bytes without a meaning of their own
    };
    /** GenICam's levels of visibility. */
    enum EFeatureVisibility : std::uint32_t {
        kVisibilityBeginner = 0,
        kVisibilityExpert = 1,
        kVisibilityGuru = 2,
        kVisibilityInvisible = 3,
        kVisibilityUnknown = 255
    };
    /** An entry of an enumeration; both texts end in a NUL, longer ones are cut. */
    struct SEnumEntry {
        std::uint64_t value;
        char symbol[64];
        char description[256];
    };
    class Impl;

    CInternalParameterNode(const TSharedPtr<ICamera>& camera, const CString& name);
    ~CInternalParameterNode();
    CInternalParameterNode(const CInternalParameterNode&) = delete;
    CInternalParameterNode& operator=(const CInternalParameterNode&) = delete;

    bool isValid() const;
    bool isAvailable() const;
    bool isReadable() const;
    bool isWriteable() const;
    EFeatureType getType() const;
    EFeatureVisibility getVisibility() const;
    CString getName() const;

    bool getIntValue(std::int64_t& value) const;
    bool setIntValue(std::int64_t value);
    bool getIntMaxMin(std::int64_t& max, std::int64_t& min) const;
    bool getIntIncrement(std::int64_t& increment) const;
    bool getFloatValue(double& value) const;
    bool setFloatValue(double value);
    bool getFloatMaxMin(double& max, double& min) const;
    bool getUnit(CString& unit) const;
    bool getBoolValue(bool& value) const;
    bool setBoolValue(bool value);
    bool getStringValue(CString& value) const;
    bool setStringValue(const CString& value);
    /** Bytes, a terminating NUL not counted. */
    bool getMaxStringLen(std::uint32_t& length) const;
    bool getEnumValue(std::uint64_t& value) const;
    bool setEnumValue(std::uint64_t value);
    bool setEnumValueBySymbol(const CString& symbol);
    /** The entries that the camera has, in the order of the description. */
    bool getEnumEntry(TVector<SEnumEntry>& entries) const;
    /** Executes a command; does not wait for its completion. */
    bool execute();
    /** The features of a category, in the order of the description. */
    bool getChildren(TVector<TSharedPtr<CInternalParameterNode>>& children) const;
    /** The features that select this one. */
    bool getSelectorsName(TVector<CString>& names) const;

 private:
    std::unique_ptr<Impl> impl_;
};
static_assert(sizeof(CInternalParameterNode::SEnumEntry) == 328,
              "the record's layout is part of the interface");

/** The registers and the memory of a connected camera, by address. */
class IAssistant {
 public:
    virtual ~IAssistant() = default;
    /**
     * Reads a register of 4 bytes. `value` gets its bytes as they lie in the camera, the first one
     * lowest: a register that holds 0x12345678 in network order gives 0x78563412. `length` gets
     * their number.
     */
    virtual bool readReg(std::uint64_t address, std::int64_t& value, std::uint32_t& length) = 0;
    /** Writes a register of `length` bytes, which is 4; the order is that of readReg(). */
    virtual bool writeReg(std::uint64_t address, std::int64_t value, std::uint32_t& length) = 0;
    /** Reads `length` bytes, at most 512; `length` gets how many came. */
    virtual bool readMem(std::uint64_t address, void* buffer, std::uint32_t& length) = 0;
    /** Writes `length` bytes, at most 512; `length` gets how many were written. */
    virtual bool writeMem(std::uint64_t address, const void* buffer, std::uint32_t& length) = 0;
};

class CInternalAssistantEx {
 public:
    /** Empty when `camera` is, or when it is of another kind. It need not be connected yet. */
    static TSharedPtr<IAssistant> getInstance(const TSharedPtr<ICamera>& camera);
};

/** The process-wide device SDK. */
class CSystem {
 public:
    enum EDiscoveryMode { kDiscoveryModeAll = 2 };
    struct _DiscoveryModeInfo {  // NOLINT(bugprone-reserved-identifier): the device SDK's name
        std::uint32_t mode;
        std::uint32_t reserved[7];
    };

    static CSystem& getInstance();
    /** Fills `cameras` with every camera found, in the order of their keys. */
    bool discoveryEx(TVector<TSharedPtr<ICamera>>& cameras, EDiscoveryMode mode,
                     _DiscoveryModeInfo info);
    TSharedPtr<IStreamSource> createStreamSource(const TSharedPtr<ICamera>& camera,
                                                 unsigned short channel);
    TSharedPtr<IEventSubscribe> createEventSubscribe(const TSharedPtr<ICamera>& camera);

    CSystem(const CSystem&) = delete;
    CSystem& operator=(const CSystem&) = delete;

 private:
    CSystem() = default;
    ~CSystem() = default;
};

}  // namespace Vorda::GenICam
