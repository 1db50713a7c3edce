// SPDX-License-Identifier: Apache-2.0
//
// The GigE Vision views of a camera: its addresses and the interface that it is reached through.
#include "GigeCamera.h"
#include "LastError.h"
#include "VordaGenICam.h"

#include <utility>

namespace Vorda::GenICam {
namespace {

using Gige::GigeCamera;

std::shared_ptr<GigeCamera> gigeCamera(const TSharedPtr<ICamera>& camera) {
    auto ours = GigeCamera::from(camera);
    if (!ours) Gige::setLastError(Gige::Error::invalidArgument, "this is no GigE Vision camera");
    return ours;
}

class CameraView final : public IGigECamera {
 public:
    explicit CameraView(std::shared_ptr<GigeCamera> camera) : camera_(std::move(camera)) {}

    bool forceIpAddress(const char* ip, const char* mask, const char* gateway) override {
        return camera_->forceIpAddress(ip, mask, gateway);
    }
    int getAccessPermission() const override { return camera_->accessPermission(); }
    CString getIpValidity() const override { return camera_->location().validity(); }
    CString getIpAddress() const override { return camera_->location().address.text(); }
    CString getMacAddress() const override { return camera_->macText(); }
    CString getSubnetMask() const override { return camera_->location().mask.text(); }
    CString getGateway() const override { return camera_->location().gateway.text(); }

 private:
    std::shared_ptr<GigeCamera> camera_;
};

class InterfaceView final : public IGigEInterface {
 public:
    explicit InterfaceView(Gige::HostInterface via) : via_(std::move(via)) {}

    CString getIpAddress() const override { return via_.address.text(); }
    CString getMacAddress() const override { return via_.mac.text(); }
    CString getSubnetMask() const override { return via_.mask.text(); }
    CString getGateway() const override {
        return via_.gateway.isZero() ? std::string() : via_.gateway.text();
    }
    CString getName() const override { return via_.name; }
    CString getDescription() const override { return via_.description(); }

 private:
    Gige::HostInterface via_;
};

}  // namespace

TSharedPtr<IGigECamera> IGigECamera::getInstance(const TSharedPtr<ICamera>& camera) {
    auto ours = gigeCamera(camera);
    return ours ? std::make_shared<CameraView>(std::move(ours)) : nullptr;
}

TSharedPtr<IGigEInterface> IGigEInterface::getInstance(const TSharedPtr<ICamera>& camera) {
    const auto ours = gigeCamera(camera);
    return ours ? std::make_shared<InterfaceView>(ours->location().via) : nullptr;
}

}  // namespace Vorda::GenICam
