// SPDX-License-Identifier: Apache-2.0
//
// What the calls of the C interface work on: two scripted cameras, and a list of the handles that
// are good at this moment.
#pragma once

#include <kestro/kestro_c.h>

#include "DeviceSdkDouble.h"
#include "FrameDouble.h"
#include "FuzzInput.h"
#include "RecordingLogger.h"

#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kestro::fuzz {

/** Memory of just so many bytes, each of them kUntouched. */
class Room {
 public:
    static constexpr std::uint8_t kUntouched = 0xa5;

    explicit Room(std::size_t size) : size_(size), bytes_(std::make_unique<std::uint8_t[]>(size)) {
        std::memset(bytes_.get(), kUntouched, size);
    }
    [[nodiscard]] std::uint8_t* bytes() { return bytes_.get(); }
    template <typename Record>
    [[nodiscard]] Record* as() {
        return reinterpret_cast<Record*>(bytes_.get());
    }
    [[nodiscard]] bool isUntouched(std::size_t from = 0) const {
        return std::all_of(bytes_.get() + from, bytes_.get() + size_,
                           [](std::uint8_t byte) { return byte == kUntouched; });
    }

 private:
    std::size_t size_;
    std::unique_ptr<std::uint8_t[]> bytes_;
};

class CApiScene {
 public:
    enum class Kind { none, camera, frame };

    explicit CApiScene(Choices& choices) : choices_(choices) {
        sdk_.reset();
        log_.reset();
        log_.setEnabledLevel(800);
        first_->script.features = features();
        test::CameraScript& script = second_->script;
        script.key = "Acme:1002";
        script.serialNumber = "1002";
        script.type = choices.below(3) == 0 ? 1 : 0;
        script.interfaceType = choices.below(8) == 0 ? 1 : 0;
        if (choices.flag()) script.ipValidity = "Invalid";
        if (choices.flag()) script.name.reset();
        script.model = std::string(choices.byte(), 'm');
        sdk_.setDevices({first_, nullptr, second_});
        Room list(sizeof(kstDeviceList));
        KESTRO_EXPECT(kstEnumDevices(list.as<kstDeviceList>(), 0) == 0);
        noteCamera(kstCreateDevice("Acme:1001", KST_BY_KEY));
        begin(choices.below(6));
    }
    CApiScene(const CApiScene&) = delete;
    CApiScene& operator=(const CApiScene&) = delete;
    /** Leaves nothing behind: no handle, no camera, no script. */
    ~CApiScene() {
        sdk_.reset();
        for (const auto& [handle, entry] : live_) {
            if (entry.kind == Kind::camera) static_cast<void>(kstCloseDevice(handle));
            for (unsigned i = 0; i < entry.count; ++i) kstReleaseHandle(handle);
        }
        Room list(sizeof(kstDeviceList));
        KESTRO_EXPECT(kstEnumDevices(list.as<kstDeviceList>(), 0) == 0);
        KESTRO_EXPECT(list.as<kstDeviceList>()->deviceCount == 0);
        for (const auto& [handle, entry] : live_) KESTRO_EXPECT(kstIsFrameValid(handle) == 0);
        log_.reset();
        sdk_.reset();
    }

    /** Any handle that a caller may come with. */
    void* someHandle() {
        static int foreign = 0;
        const std::size_t which = choices_.byte();
        if (which < 0xc0 && !known_.empty()) return known_[which % known_.size()];
        if (which < 0xd0) return nullptr;
        if (which < 0xe0) return &foreign;
        if (which < 0xf0 && !known_.empty())
            return static_cast<char*>(known_[which % known_.size()]) + 8;
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(which));
    }
    [[nodiscard]] Kind kindOf(void* handle) const {
        const auto found = live_.find(handle);
        return found == live_.end() ? Kind::none : found->second.kind;
    }
    void noteCamera(void* handle) { note(handle, Kind::camera); }
    void noteFrame(void* handle) { note(handle, Kind::frame); }
    void release(void* handle) {
        kstReleaseHandle(handle);
        const auto found = live_.find(handle);
        if (found != live_.end() && --found->second.count == 0) live_.erase(found);
    }

    /** Null for an absent name. */
    const char* someName() {
        static constexpr const char* kNames[] = {"Width", "Gain", "Flip",  "User",    "Mode",
                                                 "Start", "Root", "Other", "Nothing", ""};
        const std::size_t which = choices_.below(13);
        if (which < std::size(kNames)) return kNames[which];
        return which == 10 ? nullptr : someText();
    }
    /** Null, or a text that ends where its memory ends. */
    const char* someText() {
        if (choices_.below(16) == 0) return nullptr;
        const ByteView bytes = choices_.bytes(choices_.below(80));
        auto text = std::make_unique<char[]>(bytes.size() + 1);
        std::copy(bytes.begin(), bytes.end(), text.get());
        texts_.push_back(std::move(text));
        return texts_.back().get();
    }

    Choices& choices() { return choices_; }
    test::DeviceSdkDouble& sdk() { return sdk_; }
    test::RecordingLogger& log() { return log_; }
    test::CameraDouble& device() { return *first_; }

 private:
    struct Entry {
        Kind kind = Kind::none;
        unsigned count = 0;
    };

    static std::map<std::string, test::FeatureScript> features() {
        using Node = test::FeatureScript::Node;
        std::map<std::string, test::FeatureScript> made;
        made["Root"] = test::featureGroup({"Width", "Gain", "Other"});
        made["Other"] = test::featureGroup({"Root", "Nothing"});
        made["Width"].max = 5000;
        made["Gain"].type = Node::kFeatureFloat;
        made["Flip"].type = Node::kFeatureBool;
        made["User"].type = Node::kFeatureString;
        made["User"].text = "gate";
        made["Mode"].type = Node::kFeatureEnum;
        made["Mode"].entries = {{0, "Off", ""}, {0xffffffffffffffff, "Once", "just once"}};
        made["Start"].type = Node::kFeatureCommand;
        return made;
    }
    /** How far the first camera is on its road already. */
    void begin(std::size_t steps) {
        void* const camera = known_.front();
        if (steps > 0) KESTRO_EXPECT(kstOpenDevice(camera) == 0);
        if (steps > 1) KESTRO_EXPECT(kstStartGrabbing(camera, 2) == 0);
        if (steps < 3) return;
        test::FrameContent content;
        content.image.resize(16);
        test::ChunkContent chunk;
        chunk.id = 0x80000000;
        chunk.lines = {"BarCodeNum Value:2", "BarCode0_CodeData Value:x", "BarCode1_PPM Value:2"};
        content.chunks.push_back(std::move(chunk));
        const auto frame = test::makeFrame(std::move(content));
        for (std::size_t i = 0; i < steps; ++i) KESTRO_EXPECT(first_->deliver(frame));
        if (steps > 3) noteFrame(kstGetFrame(camera, 0));
    }
    void note(void* handle, Kind kind) {
        if (!handle) return;
        Entry& entry = live_[handle];
        KESTRO_EXPECT(entry.count == 0 || entry.kind == kind);
        entry.kind = kind;
        ++entry.count;
        if (std::find(known_.begin(), known_.end(), handle) == known_.end())
            known_.push_back(handle);
    }

    Choices& choices_;
    test::DeviceSdkDouble& sdk_ = test::DeviceSdkDouble::instance();
    test::RecordingLogger& log_ = test::RecordingLogger::instance();
    std::shared_ptr<test::CameraDouble> first_ =
        std::make_shared<test::CameraDouble>(test::CameraScript());
    std::shared_ptr<test::CameraDouble> second_ =
        std::make_shared<test::CameraDouble>(test::CameraScript());
    std::map<void*, Entry> live_;
    std::vector<void*> known_;  ///< those that were good once, too
    std::vector<std::unique_ptr<char[]>> texts_;
};

}  // namespace kestro::fuzz
