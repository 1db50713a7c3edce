// SPDX-License-Identifier: Apache-2.0
//
// The C interface as a program may use it that does everything wrong: a row of calls of all 45
// functions with good, released, null and foreign handles, any names, values and sizes, and with a
// device SDK that fails now and then. Every answer must be one of those in kestro_c.h, and every
// output ends where its memory ends.
#include "CApiScene.h"

#include <stdexcept>

namespace {

using namespace kestro::fuzz;
using kestro::test::ChunkContent;
using kestro::test::FeatureScript;
using kestro::test::FrameContent;
using Kind = CApiScene::Kind;

/** What an application's function does; it may be called while the machine is in a call. */
class Program {
 public:
    Program(CApiScene& scene, void* handle) : scene_(scene), handle_(handle) {}

    void act() {
        if (isIn_) return;  // not again from within
        isIn_ = true;
        const std::size_t what = scene_.choices().below(12);
        if (what == 0) static_cast<void>(kstStopGrabbing(handle_));
        if (what == 1) static_cast<void>(kstCloseDevice(handle_));
        if (what == 2) scene_.release(handle_);
        if (what == 3) static_cast<void>(kstRegisterFrameCallback(handle_, nullptr, nullptr));
        if (what == 4) static_cast<void>(kstOpenDevice(handle_));
        if (what == 5) static_cast<void>(kstStartGrabbing(handle_, 0));
        isIn_ = false;
        if (what == 6) throw std::runtime_error("of the application");
        if (what == 7) throw 7;
    }

 private:
    CApiScene& scene_;
    void* handle_;
    bool isIn_ = false;
};

void onFrame(const kstFrameInfo* info, void* user) {
    KESTRO_EXPECT(info && (info->barcodeCount == 0 || info->barcodes));
    volatile std::size_t sum = 0;
    for (std::uint32_t i = 0; i < info->barcodeCount; ++i)
        sum = sum + std::strlen(info->barcodes[i].codeData) +
              std::strlen(info->barcodes[i].codeTypeName);
    for (std::uint32_t i = 0; i < info->imageSize; ++i) sum = sum + info->imageData[i];
    static_cast<Program*>(user)->act();
}

void onConnection(const kstConnectionEvent* event, void* user) {
    KESTRO_EXPECT(event && (event->state == 0 || event->state == 1));
    static_cast<Program*>(user)->act();
}

void onName(const char* name, void* user) {
    KESTRO_EXPECT(name && std::strlen(name) < 10000);
    static_cast<Program*>(user)->act();
}

class Machine {
 public:
    explicit Machine(CApiScene& scene) : scene_(scene), choices_(scene.choices()) {}

    void run() {
        for (int calls = 0; calls < 60 && !choices_.isEmpty(); ++calls) {
            handle_ = scene_.someHandle();
            kind_ = scene_.kindOf(handle_);
            scene_.log().reset();
            scene_.log().setEnabledLevel(800);
            step();
        }
    }

 private:
    void step() {
        switch (choices_.below(8)) {
            case 0:
                return world();
            case 1:
            case 2:
                return deviceCall();
            case 3:
            case 4:
                return streamCall();
            default:
                return featureCall();
        }
    }

    /** Ends a call that returns a code: one of the listed ones, in this order of checks. */
    int expect(int code, bool hasArguments, std::initializer_list<int> others,
               bool isLogged = true) {
        if (!hasArguments) {
            KESTRO_EXPECT(code == KST_ERROR_ARGUMENT);
        } else if (kind_ != Kind::camera) {
            KESTRO_EXPECT(code == KST_ERROR_HANDLE);
        } else if (code != KST_OK && !(code == KST_ERROR_SDK && hasThrown())) {
            KESTRO_EXPECT(std::find(others.begin(), others.end(), code) != others.end());
        }
        const bool isRefused = !hasArguments || kind_ != Kind::camera;
        if (code != KST_OK && (isLogged || isRefused))
            KESTRO_EXPECT(!scene_.log().lines(0, 700).empty());
        return code;
    }
    /** Whether something below threw an exception, which ends any call with 2. */
    bool hasThrown() const {
        for (const std::string& line : scene_.log().lines(300, 300))
            if (line.find(": exception. [") != std::string::npos) return true;
        return false;
    }
    /** Ends a call that returns 1 or 0. */
    void expectTruth(int truth) const {
        KESTRO_EXPECT(truth == 0 || (truth == 1 && kind_ == Kind::camera));
    }

    // What happens by itself

    void world() {
        switch (choices_.below(8)) {
            case 0:
                return failOperation();
            case 1:
                return scene_.sdk().reset(), forgetDevices();
            case 2:
                return changeFeature();
            case 3:
            case 4:
                static_cast<void>(scene_.device().deliver(kestro::test::makeFrame(frame())));
                return;
            case 5:
                static_cast<void>(scene_.device().raiseConnect(choices_.byte() % 3));
                return;
            case 6:
                static_cast<void>(scene_.device().raiseUpdates({"Width", "", "Nothing"}));
                return;
            default:
                scene_.device().connected = choices_.flag();
                return;
        }
    }
    /** The next enumeration finds no camera any more; the handles stay. */
    void forgetDevices() { scene_.sdk().setDevices({}); }
    void failOperation() {
        static constexpr const char* kOperations[] = {"IGigECamera::getInstance",
                                                      "IGigEInterface::getInstance",
                                                      "connect",
                                                      "disConnect",
                                                      "createEventSubscribe",
                                                      "createStreamSource",
                                                      "discoveryEx",
                                                      "getFrame",
                                                      "startGrabbing",
                                                      "stopGrabbing",
                                                      "setBufferCount",
                                                      "clearFrameBuffer",
                                                      "forceIpAddress",
                                                      "downloadGenICamXML",
                                                      "saveDeviceConfig",
                                                      "loadDeviceConfig",
                                                      "getIntValue",
                                                      "setIntValue",
                                                      "getIntMinValue",
                                                      "getFloatValue",
                                                      "getFloatUnit",
                                                      "getStringValue",
                                                      "getStringMaxLength",
                                                      "getEnumSymbol",
                                                      "getEnumValue",
                                                      "getChildren",
                                                      "execute",
                                                      "isConnected",
                                                      "isGrabbing"};
        const char* const operation = choices_.oneOf(kOperations);
        const bool hasText = choices_.flag();
        if (choices_.below(8) == 0) {
            scene_.sdk().before(operation, [] { throw std::runtime_error("of the device SDK"); });
        } else {
            scene_.sdk().fail(operation, 6,
                              hasText ? std::optional<std::string>("no") : std::nullopt);
        }
    }
    void changeFeature() {
        static constexpr const char* kNames[] = {"Width", "Gain", "User", "Mode", "Root"};
        FeatureScript& feature = scene_.device().script.features[choices_.oneOf(kNames)];
        const std::size_t size = choices_.byte() * choices_.below(3);
        feature.text = std::string(size, 't');
        feature.unit = std::string(size, 'u');
        feature.maxLength = static_cast<std::uint32_t>(choices_.number(4));
        feature.integer = static_cast<std::int64_t>(choices_.number(choices_.below(9)));
        feature.isReadable = choices_.below(4) != 0;
        feature.isWritable = choices_.below(4) != 0;
        feature.isAvailable = choices_.below(8) != 0;
        feature.entries.clear();
        for (std::size_t i = choices_.below(70); i-- > 0;) {
            FeatureScript::Node::SEnumEntry entry{i, "", "x"};
            std::memset(entry.symbol, 'e', size % sizeof entry.symbol);
            feature.entries.push_back(entry);
        }
    }
    FrameContent frame() {
        FrameContent content;
        content.image.resize(choices_.byte());
        content.isValid = choices_.below(8) != 0;
        ChunkContent chunk;
        chunk.id = 0x80000000;
        chunk.lines.push_back("BarCodeNum Value:" + std::to_string(choices_.below(5)));
        chunk.lines.push_back("BarCode0_CodeData Value:" + choices_.text());
        chunk.lines.push_back("BarCode0_CodeType Value:EAN13");
        content.chunks.push_back(std::move(chunk));
        return content;
    }

    // Devices

    void deviceCall() {
        switch (choices_.below(13)) {
            case 0:
                KESTRO_EXPECT(std::strlen(kstGetVersion()) > 4);
                return;
            case 1:
                return enumerate();
            case 2:
            case 3:
                return create();
            case 4:
                return scene_.release(handle_);
            case 5:
                return deviceInfo();
            case 6:
            case 7:
                expect(kstOpenDevice(handle_), true, {2, 9, 22});
                return;
            case 8:
                expect(kstCloseDevice(handle_), true, {});
                return;
            case 9:
                return expectTruth(kstIsDeviceOpen(handle_));
            case 10:
                return forceIp();
            default:
                return files();
        }
    }
    void enumerate() {
        Room list(sizeof(kstDeviceList));
        const bool hasList = choices_.below(8) != 0;
        const int code =
            kstEnumDevices(hasList ? list.as<kstDeviceList>() : nullptr, choices_.byte());
        KESTRO_EXPECT(code == KST_OK || code == KST_ERROR_SDK || code == KST_ERROR_ARGUMENT);
        KESTRO_EXPECT((code == KST_ERROR_ARGUMENT) == !hasList);
        KESTRO_EXPECT(code == KST_OK || list.isUntouched());
        if (code != KST_OK) return;
        const auto* const found = list.as<kstDeviceList>();
        KESTRO_EXPECT(found->deviceCount <= 2);
        for (std::uint32_t i = 0; i < found->deviceCount; ++i) checkRecord(found->devices[i]);
    }
    static void checkRecord(const kstDeviceInfo& record) {
        for (const char* const text :
             {record.id, record.name, record.serialNumber, record.vendorName, record.modelName,
              record.manufactureInfo, record.deviceVersion, record.macAddress, record.ipAddress,
              record.subnetMask, record.defaultGateway})
            KESTRO_EXPECT(::strnlen(text, 64) < 64);
        KESTRO_EXPECT(::strnlen(record.interfaceName, 128) < 128);
        KESTRO_EXPECT(record.isIpValid <= 1);
    }
    void create() {
        static constexpr const char* kIdentifiers[] = {"Acme:1001", "1001", "192.168.1.7",
                                                       "Acme:1002", "02:00:00:00:00:07"};
        const std::size_t which = choices_.below(8);
        const char* const identifier =
            which < std::size(kIdentifiers) ? kIdentifiers[which] : scene_.someText();
        const int type = static_cast<int>(choices_.below(6)) - 1;
        void* const made = kstCreateDevice(identifier, type);
        KESTRO_EXPECT(!made || (identifier && *identifier));
        if (!made) KESTRO_EXPECT(!scene_.log().lines(0, 300).empty());
        scene_.noteCamera(made);
    }
    void deviceInfo() {
        Room info(sizeof(kstDeviceInfo));
        const bool hasInfo = choices_.below(8) != 0;
        const int code =
            expect(kstGetDeviceInfo(handle_, hasInfo ? info.as<kstDeviceInfo>() : nullptr),
                   handle_ && hasInfo, {5});
        KESTRO_EXPECT(code == KST_OK || info.isUntouched());
        if (code == KST_OK) checkRecord(*info.as<kstDeviceInfo>());
    }
    void forceIp() {
        const char* const address = scene_.someText();
        const char* const mask = scene_.someText();
        const char* const gateway = scene_.someText();
        expect(kstForceIpAddress(handle_, address, mask, gateway), address && mask && gateway,
               {2, 9, 23});
    }
    void files() {
        const char* const path = scene_.someText();
        switch (choices_.below(3)) {
            case 0:
                expect(kstDownloadGenICamXML(handle_, path), path, {2}, false);
                return;
            case 1:
                expect(kstSaveDeviceConfig(handle_, path), path, {2});
                return;
            default:
                expect(kstLoadDeviceConfig(handle_, path), path, {2});
                return;
        }
    }

    // Acquisition and frames

    void streamCall() {
        switch (choices_.below(12)) {
            case 0:
            case 1:
                expect(kstStartGrabbing(handle_, static_cast<int>(choices_.number(4))), true,
                       {2, 8, 9});
                return;
            case 2:
                expect(kstStopGrabbing(handle_), true, {});
                return;
            case 3:
                return expectTruth(kstIsGrabbing(handle_));
            case 4:
                expect(kstClearFrameBuffer(handle_), true, {2, 9});
                return;
            case 5:
            case 6:
                return getFrame();
            case 7:
                KESTRO_EXPECT((kstIsFrameValid(handle_) == 1) == (kind_ == Kind::frame));
                return;
            case 8:
            case 9:
                return frameInfo();
            default:
                return registerCallback();
        }
    }
    void getFrame() {
        void* const made = kstGetFrame(handle_, 0);
        KESTRO_EXPECT(!made || kind_ == Kind::camera);
        if (!made) KESTRO_EXPECT(!scene_.log().lines(0, 300).empty());
        scene_.noteFrame(made);
        KESTRO_EXPECT(!made || kstIsFrameValid(made) == 1);
    }
    void frameInfo() {
        Room info(sizeof(kstFrameInfo));
        const bool hasInfo = choices_.below(8) != 0;
        auto* const record = hasInfo ? info.as<kstFrameInfo>() : nullptr;
        const int code = kstGetFrameInfo(handle_, record);
        if (!hasInfo || kind_ != Kind::frame) {
            KESTRO_EXPECT(code == (hasInfo ? KST_ERROR_HANDLE : KST_ERROR_ARGUMENT));
            KESTRO_EXPECT(info.isUntouched());
            return;
        }
        KESTRO_EXPECT(code == KST_OK);
        KESTRO_EXPECT(info.isUntouched(offsetof(kstFrameInfo, reserved)));
        volatile std::size_t sum = 0;
        for (std::uint32_t i = 0; i < record->barcodeCount; ++i)
            sum = sum + std::strlen(record->barcodes[i].codeData);
        Room again(sizeof(kstFrameInfo));
        KESTRO_EXPECT(kstGetFrameInfo(handle_, again.as<kstFrameInfo>()) == KST_OK);
        KESTRO_EXPECT(std::memcmp(info.bytes(), again.bytes(), sizeof(kstFrameInfo)) == 0);
    }
    void registerCallback() {
        const bool isRemoved = choices_.below(4) == 0;
        programs_.push_back(std::make_unique<Program>(scene_, handle_));
        Program* const user = programs_.back().get();
        switch (choices_.below(3)) {
            case 0:
                expect(kstRegisterFrameCallback(handle_, isRemoved ? nullptr : onFrame, user), true,
                       {});
                return;
            case 1:
                expect(kstRegisterConnectionCallback(handle_, isRemoved ? nullptr : onConnection,
                                                     user),
                       true, {});
                return;
            default:
                expect(
                    kstRegisterFeatureUpdateCallback(handle_, isRemoved ? nullptr : onName, user),
                    true, {});
                return;
        }
    }

    // Features

    void featureCall() {
        const char* const name = scene_.someName();
        switch (choices_.below(6)) {
            case 0:
                return questions(name);
            case 1:
                return numbers(name);
            case 2:
                return records(name);
            case 3:
                return texts(name);
            case 4:
                return settings(name);
            default:
                return lists(name);
        }
    }
    void questions(const char* name) {
        const int type = kstGetFeatureType(handle_, name);
        KESTRO_EXPECT(type >= 0 && type <= 7 && (type == 0 || kind_ == Kind::camera));
        expectTruth(kstIsFeatureValid(handle_, name));
        expectTruth(kstIsFeatureAvailable(handle_, name));
        expectTruth(kstIsFeatureReadable(handle_, name));
        expectTruth(kstIsFeatureWriteable(handle_, name));
    }
    /** A getter that writes nothing unless it succeeds. */
    template <typename Value>
    void get(int (*function)(void*, const char*, Value*), const char* name) {
        Room value(sizeof(Value));
        const bool hasValue = choices_.below(8) != 0;
        const int code = expect(function(handle_, name, hasValue ? value.as<Value>() : nullptr),
                                name && hasValue, {2});
        KESTRO_EXPECT(code == KST_OK || value.isUntouched());
    }
    void numbers(const char* name) {
        switch (choices_.below(4)) {
            case 0:
                return get(kstGetIntFeatureValue, name);
            case 1:
                return get(kstGetFloatFeatureValue, name);
            case 2:
                return get(kstGetBoolFeatureValue, name);
            default:
                return get(kstGetEnumFeatureValue, name);
        }
    }
    template <typename Record>
    int getRecord(int (*function)(void*, const char*, Record*), const char* name,
                  std::initializer_list<int> others, Room& record, int unlogged = KST_OK) {
        const bool hasRecord = choices_.below(8) != 0;
        const int code = function(handle_, name, hasRecord ? record.as<Record>() : nullptr);
        expect(code, name && hasRecord, others, code != unlogged);
        if (!name || !hasRecord || kind_ != Kind::camera) KESTRO_EXPECT(record.isUntouched());
        return code;
    }
    void records(const char* name) {
        Room floats(sizeof(kstFloatFeatureInfo));
        Room strings(sizeof(kstStringFeatureInfo));
        Room integers(sizeof(kstIntFeatureInfo));
        switch (choices_.below(3)) {
            case 0:
                getRecord(kstGetIntFeatureInfo, name, {2}, integers);
                return;
            case 1:
                if (getRecord(kstGetFloatFeatureInfo, name, {2}, floats) == KST_OK)
                    KESTRO_EXPECT(::strnlen(floats.as<kstFloatFeatureInfo>()->unit, 32) < 32);
                return;
            default:
                getRecord(kstGetStringFeatureInfo, name, {2, 21}, strings);
                return;
        }
    }
    void texts(const char* name) {
        // Mostly about as much as there is.
        const std::size_t kind = choices_.below(4);
        const auto room = static_cast<std::uint32_t>(kind == 0   ? 64
                                                     : kind == 1 ? choices_.byte()
                                                                 : choices_.below(8));
        Room text(room);
        const bool hasText = choices_.below(8) != 0;
        auto* const buffer = hasText ? reinterpret_cast<char*>(text.bytes()) : nullptr;
        if (choices_.flag()) {
            const int code = expect(kstGetEnumFeatureSymbol(handle_, name, buffer, room),
                                    name && hasText && room != 0, {2, 5, 21});
            KESTRO_EXPECT(code == 0 || code == KST_ERROR_BUFFER || text.isUntouched());
            return;
        }
        std::uint32_t size = room;
        const bool hasSize = choices_.below(8) != 0;
        const int code =
            expect(kstGetStringFeatureValue(handle_, name, buffer, hasSize ? &size : nullptr),
                   name && hasText && hasSize, {2, 21}, false);
        if (code == KST_OK) KESTRO_EXPECT(size <= room);
        if (code == KST_OK && size < room) KESTRO_EXPECT(text.bytes()[size] == 0);
        if (code == KST_OK && size < room) KESTRO_EXPECT(text.isUntouched(size + 1));
        if (code == KST_ERROR_BUFFER) KESTRO_EXPECT(size > room);
        if (code != KST_OK && code != KST_ERROR_BUFFER)
            KESTRO_EXPECT(size == room && text.isUntouched());
    }
    void settings(const char* name) {
        const auto number = choices_.number(choices_.below(9));
        const char* const text = scene_.someText();
        switch (choices_.below(7)) {
            case 0:
                expect(kstSetIntFeatureValue(handle_, name, static_cast<std::int64_t>(number)),
                       true, {2});
                return;
            case 1: {
                double value = 0;
                std::memcpy(&value, &number, sizeof value);
                expect(kstSetFloatFeatureValue(handle_, name, value), true, {2});
                return;
            }
            case 2:
                expect(kstSetBoolFeatureValue(handle_, name, (number & 1) != 0), true, {2});
                return;
            case 3:
                expect(kstSetStringFeatureValue(handle_, name, text), name && text, {2});
                return;
            case 4:
                expect(kstSetEnumFeatureValue(handle_, name, number), true, {2});
                return;
            case 5:
                expect(kstSetEnumFeatureSymbol(handle_, name, text), name && text, {2});
                return;
            default:
                expect(kstExecCommandFeature(handle_, name), true, {2});
                return;
        }
    }
    void lists(const char* name) {
        if (choices_.flag()) {
            const bool hasFunction = choices_.below(8) != 0;
            Program program(scene_, handle_);
            expect(kstEnumFeatureChildren(handle_, name, hasFunction ? onName : nullptr, &program),
                   name && hasFunction, {2});
            return;
        }
        Room entries(sizeof(kstEnumEntryList));
        const int code =
            getRecord(kstGetEnumFeatureEntryList, name, {2, 21}, entries, KST_ERROR_BUFFER);
        if (code != KST_OK && code != KST_ERROR_BUFFER) return;
        const auto* const list = entries.as<kstEnumEntryList>();
        KESTRO_EXPECT(list->count <= 64 && (code == KST_OK || list->count == 64));
        for (std::uint32_t i = 0; i < list->count; ++i)
            KESTRO_EXPECT(::strnlen(list->entries[i].symbol, 64) < 64);
        KESTRO_EXPECT(entries.isUntouched(8 + list->count * sizeof(kstEnumEntry)));
    }

    CApiScene& scene_;
    Choices& choices_;
    void* handle_ = nullptr;
    Kind kind_ = Kind::none;
    std::vector<std::unique_ptr<Program>> programs_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    CApiScene scene(choices);
    Machine(scene).run();
    return 0;
}
