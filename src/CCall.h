// SPDX-License-Identifier: Apache-2.0
//
// What all C functions share: the pointers are checked, then the handle, then the work is done, and
// nothing that is thrown meanwhile gets out.
#pragma once

#include <kestro/Camera.h>
#include <kestro/System.h>

#include "CHandles.h"
#include "LogLine.h"
#include "ResultCodes.h"
#include "VordaInfra.h"

#include <memory>

namespace kestro::internal {

/** What a function returns when it does not get to its work, or through it. */
template <typename Returned>
struct Refusals {
    Returned badArgument;
    Returned unknownHandle;
    Returned exception;  ///< also in a forked child
};

inline constexpr Refusals<int> kCode{kInvalidArgument, kUnknownHandle, kSdkFailure};
inline constexpr Refusals<int> kTruth{0, 0, 0};
inline constexpr Refusals<void*> kHandle{nullptr, nullptr, nullptr};

/** The camera that a call's handle stands for. */
struct CameraCall {
    LogSite site;
    std::shared_ptr<Camera> camera;

    /** At level 800 only when such lines are written. */
    void log(int level, const char* what) const {
        if (level == VXlog4cpp::kTrace && !KESTRO_TRACE_ENABLED()) return;
        KESTRO_LOG_FROM(site, level, "%s, SerialNumber=[%s]", what, camera->getKey());
    }
};

/** One of its features. */
struct FeatureCall : CameraCall {
    const char* name;  // null is passed on: it is the empty name

    template <typename Kind>
    Kind as() const {
        return Kind(camera, name);
    }
};

/** One call of a C function, which its lines name: CCall(kCode, KESTRO_LOG_SITE()). */
template <typename Returned>
class CCall {
 public:
    CCall(const Refusals<Returned>& refusals, const LogSite& site)
        : refusals_(refusals), site_(site) {}

    /** What is checked before the handle; the first complaint counts. */
    CCall& needs(bool given, const char* complaint) {
        if (!given && !complaint_) complaint_ = complaint;
        return *this;
    }

    /** `work()` returns the function's result. */
    template <typename Work>
    Returned run(const Work& work) const {
        if (Vorda::Infra::isForkedChild()) return refusals_.exception;  // without a line
        return guarded([&] {
            System::getInstance();  // configures the log, so it comes before the first line
            if (!complaint_) return work();
            KESTRO_LOG_FROM(site_, VXlog4cpp::kError, "%s", complaint_);
            return refusals_.badArgument;
        });
    }

    /** `work(const CameraCall&)` is done when the handle is good. */
    template <typename Work>
    Returned withCamera(const void* handle, const Work& work) const {
        return run([&] {
            const CameraCall call{site_, cameraHandles().find(handle).object};
            if (call.camera) return work(call);
            KESTRO_LOG_FROM(site_, VXlog4cpp::kError, "The camera is NULL!");
            return refusals_.unknownHandle;
        });
    }

    /** The same between a begin and an end line; the end line is written in every case. */
    template <typename Work>
    Returned onCamera(const void* handle, int level, const Work& work) const {
        return withCamera(handle, [&](const CameraCall& call) {
            call.log(level, "begin");
            const Returned result = guarded([&] { return work(call); });
            call.log(level, "end");
            return result;
        });
    }

    /** `work(const FeatureCall&)` is done when the handle is good. */
    template <typename Work>
    Returned onFeature(const void* handle, const char* name, const Work& work) const {
        return withCamera(handle, [&](const CameraCall& call) {
            return work(FeatureCall{call, name});
        });
    }

 private:
    template <typename Work>
    Returned guarded(const Work& work) const {
        try {
            return work();
        } catch (...) {
            reportException();
            return refusals_.exception;
        }
    }

    // Runs in a catch block, where a second exception would end the process.
    void reportException() const noexcept {
        try {
            KESTRO_LOG_FROM(site_, VXlog4cpp::kError, "exception. [%s]", exceptionText().c_str());
        } catch (...) {  // no memory even for the line
        }
    }

    const Refusals<Returned>& refusals_;
    const LogSite site_;
    const char* complaint_ = nullptr;
};

}  // namespace kestro::internal

/**
 * A trace line of a feature's function: `what` and `tail` are literals, the values for the tail
 * follow.
 */
#define KESTRO_LOG_FEATURE(call, what, tail, ...)                                       \
    do {                                                                                \
        if (KESTRO_TRACE_ENABLED()) {                                                   \
            KESTRO_LOG_FROM((call).site, ::VXlog4cpp::kTrace,                           \
                            what ", SerialNumber=[%s], FeatureName=[%s]" tail,          \
                            (call).camera->getKey(),                                    \
                            (call).name ? (call).name : "" __VA_OPT__(, ) __VA_ARGS__); \
        }                                                                               \
    } while (false)
