// SPDX-License-Identifier: Apache-2.0
//
// What is in a FeatureModel; for the .cpp files of it and of Features.
#pragma once

#include "DescriptionTree.h"
#include "FeatureGraph.h"
#include "FeatureModel.h"
#include "FeatureRules.h"
#include "NodeMap.h"
#include "RegisterPort.h"
#include "StreamFeatures.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace Vorda::Gige {

inline constexpr const char* kRootCategory = "Root";

/** What stands behind a name: a node of the description, or a feature of ours. */
struct Feature {
    NodeId id = kNoNode;
    const StreamFeature* stream = nullptr;
    FeatureKind kind = FeatureKind::unknown;

    [[nodiscard]] bool isOurs() const { return id == kNoNode; }
};

/** The registers of the camera that a model is lent out for. */
class LentPort final : public RegisterPort {
 public:
    /** Of the camera that is connected now; empty for none. */
    void lead(std::shared_ptr<RegisterPort> camera) { camera_ = std::move(camera); }

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        return camera_->readRegister(address, value);
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        return camera_->writeRegister(address, value);
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        return camera_->readMemory(address, data);
    }
    bool writeMemory(std::uint64_t address, ByteView data) override {
        return camera_->writeMemory(address, data);
    }

 private:
    std::shared_ptr<RegisterPort> camera_;
};

struct FeatureModel::Parts {
    explicit Parts(const DescriptionTree& of) : tree(of), graph(tree) {}

    [[nodiscard]] bool open(const CheckedDescription& description);

    const DescriptionTree& tree;  ///< that of the description
    std::unordered_map<std::string, Feature> features;

    std::mutex mutex;  ///< one operation at a time; guards what follows, but for what never changes
    std::atomic<const void*> user{nullptr};  ///< whom it is lent to; read without the mutex too
    LentPort port;
    FeatureGraph graph;
    std::unique_ptr<NodeMap> nodes;
    std::optional<FeatureRules> rules;
};

}  // namespace Vorda::Gige
