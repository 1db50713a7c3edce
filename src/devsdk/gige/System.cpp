// SPDX-License-Identifier: Apache-2.0
#include "CameraRegistry.h"
#include "Discovery.h"
#include "GigeCamera.h"
#include "LastError.h"
#include "StreamSource.h"
#include "VordaGenICam.h"

namespace Vorda::GenICam {
namespace {

using Gige::Error;

// Never destroyed: cameras may outlive every static object.
Gige::Discovery& discovery() {
    static auto& instance = *new Gige::Discovery;
    return instance;
}

Gige::CameraRegistry& registry() {
    static auto& instance = *new Gige::CameraRegistry;
    return instance;
}

}  // namespace

CSystem& CSystem::getInstance() {
    static auto& instance = *new CSystem;
    return instance;
}

bool CSystem::discoveryEx(TVector<TSharedPtr<ICamera>>& cameras, EDiscoveryMode,
                          _DiscoveryModeInfo) {
    const auto found = discovery().run();
    if (!found) return false;
    const auto ours = registry().update(*found);
    cameras.assign(ours.begin(), ours.end());
    return true;
}

TSharedPtr<IStreamSource> CSystem::createStreamSource(const TSharedPtr<ICamera>& camera,
                                                      unsigned short channel) {
    auto ours = Gige::GigeCamera::from(camera);
    if (!ours) {
        Gige::setLastError(Error::invalidArgument, "this is no GigE Vision camera");
        return nullptr;
    }
    if (channel != 0) {
        Gige::setLastError(Error::notSupported, "only stream channel 0 is supported");
        return nullptr;
    }
    if (!ours->isConnected()) {
        Gige::setLastError(Error::notConnected, "the camera is not connected");
        return nullptr;
    }
    const auto counters = ours->streamCounters();
    return Gige::makeStreamSource(std::move(ours), counters);
}

TSharedPtr<IEventSubscribe> CSystem::createEventSubscribe(const TSharedPtr<ICamera>& camera) {
    const auto ours = Gige::GigeCamera::from(camera);
    if (ours) return ours->events().subscribe();
    Gige::setLastError(Error::invalidArgument, "this is no GigE Vision camera");
    return nullptr;
}

}  // namespace Vorda::GenICam
