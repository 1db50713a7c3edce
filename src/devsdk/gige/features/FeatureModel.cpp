// SPDX-License-Identifier: Apache-2.0
#include "FeatureModel.h"

#include "FeatureModelParts.h"
#include "LastError.h"

#include <utility>

namespace Vorda::Gige {

FeatureModel::FeatureModel(std::shared_ptr<const CheckedDescription> description,
                           std::shared_ptr<const PayloadLayout> layout)
    : description_(std::move(description)),
      layout_(layout ? std::move(layout) : std::make_shared<PayloadLayout>(description_)),
      parts_(std::make_unique<Parts>(description_->tree())) {}

FeatureModel::~FeatureModel() = default;

std::unique_ptr<FeatureModel> FeatureModel::make(
    std::shared_ptr<const CheckedDescription> description,
    std::shared_ptr<const PayloadLayout> layout) {
    std::unique_ptr<FeatureModel> made(new FeatureModel(std::move(description), std::move(layout)));
    if (!made->parts_->open(*made->description_)) return nullptr;
    return made;
}

void FeatureModel::renew() {
    const std::lock_guard lock(parts_->mutex);
    parts_->nodes->renew();
}

bool FeatureModel::Parts::open(const CheckedDescription& description) {
    nodes = NodeMap::make(port, description, graph);
    if (!nodes) return false;
    const NodeId root = tree.find(kRootCategory);
    if (root == kNoNode || tree[root].kind != NodeKind::category)
        return fail(Error::description, "the GenICam description has no category [Root]");
    rules.emplace(tree, graph, *nodes);
    for (NodeId id = 0; id < tree.size(); ++id) {
        if (tree.find(tree[id].name) == id) features[tree[id].name] = {id, nullptr, graph.kind(id)};
    }
    return true;
}

}  // namespace Vorda::Gige
