// SPDX-License-Identifier: Apache-2.0
#include "NodeMap.h"

#include "AravisNodes.h"
#include "LastError.h"

namespace Vorda::Gige {

struct NodeMap::Impl {
    std::shared_ptr<RegisterPort> camera;
    std::unique_ptr<AravisNodes> nodes;

    [[nodiscard]] ArvGcNode* node(const std::string& name) const { return nodes->node(name); }
    [[nodiscard]] bool open(const std::string& xml);
};

namespace {

bool failFeature(const std::string& name, const char* why) {
    return fail(Error::feature, name + ": " + why);
}

}  // namespace

bool NodeMap::Impl::open(const std::string& xml) {
    nodes = AravisNodes::make(*camera, xml);
    if (!nodes) return false;
    if (ARV_IS_GC_CATEGORY(node("Root"))) return true;
    return fail(Error::description, "the GenICam description has no category [Root]");
}

NodeMap::NodeMap(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

NodeMap::~NodeMap() = default;

std::unique_ptr<NodeMap> NodeMap::make(std::shared_ptr<RegisterPort> camera,
                                       const std::string& xml) {
    auto impl = std::make_unique<Impl>();
    impl->camera = std::move(camera);
    if (!impl->open(xml)) return nullptr;
    return std::unique_ptr<NodeMap>(new NodeMap(std::move(impl)));
}

bool NodeMap::has(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    return impl_->node(name) != nullptr;
}

bool NodeMap::getInteger(const std::string& name, std::int64_t& value) const {
    const std::lock_guard lock(mutex_);
    ArvGcNode* node = impl_->node(name);
    if (!ARV_IS_GC_INTEGER(node)) return failFeature(name, "there is no such integer feature");
    GuardedError error;
    value = arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.out());
    return error.finish(name);
}

bool NodeMap::setInteger(const std::string& name, std::int64_t value) {
    const std::lock_guard lock(mutex_);
    ArvGcNode* node = impl_->node(name);
    GuardedError error;
    if (ARV_IS_GC_BOOLEAN(node))
        arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), value != 0, error.out());
    else if (ARV_IS_GC_INTEGER(node))
        arv_gc_integer_set_value(ARV_GC_INTEGER(node), value, error.out());
    else
        return failFeature(name, "there is no such integer or boolean feature");
    return error.finish(name);
}

bool NodeMap::execute(const std::string& name) {
    const std::lock_guard lock(mutex_);
    ArvGcNode* node = impl_->node(name);
    if (!ARV_IS_GC_COMMAND(node)) return failFeature(name, "there is no such command");
    GuardedError error;
    arv_gc_command_execute(ARV_GC_COMMAND(node), error.out());
    return error.finish(name);
}

}  // namespace Vorda::Gige
