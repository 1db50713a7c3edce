// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Parameter.h>

#include "CameraImpl.h"
#include "VordaGenICam.h"

#include <cstdint>
#include <memory>
#include <string>

namespace kestro {

/** A feature's camera and name. Without a camera the device SDK refuses every node. */
class ParameterImpl {
 public:
    ParameterImpl(const std::shared_ptr<Camera>& camera, const char* featureName)
        : device(deviceOf(camera)), name(featureName ? featureName : "") {}
    ParameterImpl(const ParameterImpl&) = delete;
    ParameterImpl& operator=(const ParameterImpl&) = delete;
    virtual ~ParameterImpl() = default;

    /**
     * A fresh node; it is closed when it goes out of scope. In a forked child it is of no camera,
     * and so refuses everything without asking anybody.
     */
    [[nodiscard]] Vorda::GenICam::CInternalParameterNode open() const {
        return {Vorda::Infra::isForkedChild() ? nullptr : device, Vorda::Infra::CString(name)};
    }

    const Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera> device;
    const std::string name;
};

class ParameterIntImpl final : public ParameterImpl {
    using ParameterImpl::ParameterImpl;
};
class ParameterFloatImpl final : public ParameterImpl {
    using ParameterImpl::ParameterImpl;
};
class ParameterEnumImpl final : public ParameterImpl {
    using ParameterImpl::ParameterImpl;
};
class ParameterBoolImpl final : public ParameterImpl {
    using ParameterImpl::ParameterImpl;
};
class ParameterStringImpl final : public ParameterImpl {
    using ParameterImpl::ParameterImpl;
};

/** Keeps the camera too: its children are made by it. */
class ParameterGroupImpl final : public ParameterImpl {
 public:
    ParameterGroupImpl(const std::shared_ptr<Camera>& owner, const char* featureName)
        : ParameterImpl(owner, featureName), camera(owner) {}

    const std::shared_ptr<Camera> camera;
};

/** An address in place of a name. */
class ParameterRegisterImpl final : public ParameterImpl {
 public:
    ParameterRegisterImpl(const std::shared_ptr<Camera>& camera, std::uint64_t registerAddress)
        : ParameterImpl(camera, nullptr),
          assistant(Vorda::GenICam::CInternalAssistantEx::getInstance(device)),
          address(registerAddress) {}

    /** Empty for a camera without registers, and stays so. */
    const Vorda::Memory::TSharedPtr<Vorda::GenICam::IAssistant> assistant;
    const std::uint64_t address;
};

}  // namespace kestro
