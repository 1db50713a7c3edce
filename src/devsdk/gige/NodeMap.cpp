// SPDX-License-Identifier: Apache-2.0
//
// Aravis' node map over our own transport: a device class whose register access goes to the
// camera's control channel. The only file that knows GLib.
#include "NodeMap.h"

#include "LastError.h"
#include "VordaInfra.h"

#include <arv.h>
#include <cstring>

namespace {

G_BEGIN_DECLS
/** An ArvDevice that is nothing but register access. */
G_DECLARE_FINAL_TYPE(KestroDevice, kestro_device, KESTRO, DEVICE, ArvDevice)
G_END_DECLS

struct _KestroDevice {
    ArvDevice parent;
    Vorda::Gige::RegisterPort* camera;  ///< outlives the device
    ArvGc* nodes;                       ///< owned
    gboolean readsWordsAsRegisters;     ///< see readMemory()
};

// GLib's macro casts in C's manner.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
G_DEFINE_TYPE(KestroDevice, kestro_device, ARV_TYPE_DEVICE)
#pragma GCC diagnostic pop

/** Our own errors travel through the node map under their own numbers. */
GQuark ownErrors() { return g_quark_from_static_string("kestro-device-error"); }

std::span<std::uint8_t> asBytes(void* buffer, guint32 size) {
    return {static_cast<std::uint8_t*>(buffer), size};
}

/** Passes the thread's last error on as a GError. */
gboolean passOn(bool success, GError** error) {
    if (success) return TRUE;
    g_set_error(error, ownErrors(), Vorda::Infra::getLastError(), "%s",
                Vorda::Gige::lastErrorMessage().c_str());
    return FALSE;
}

gboolean readRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
    return passOn(KESTRO_DEVICE(device)->camera->readRegister(address, *value), error);
}

gboolean writeRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
    return passOn(KESTRO_DEVICE(device)->camera->writeRegister(address, value), error);
}

/**
 * Descriptions of a schema before 1.1 mean registers where they name 4 bytes: the camera's READREG
 * gives them in network order whatever the order of its memory.
 */
gboolean readMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                    GError** error) {
    KestroDevice* self = KESTRO_DEVICE(device);
    if (!self->readsWordsAsRegisters || size != sizeof(guint32))
        return passOn(self->camera->readMemory(address, asBytes(buffer, size)), error);
    guint32 value = 0;
    if (!readRegister(device, address, &value, error)) return FALSE;
    value = GUINT32_TO_BE(value);
    std::memcpy(buffer, &value, sizeof value);
    return TRUE;
}

gboolean writeMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                     GError** error) {
    return passOn(KESTRO_DEVICE(device)->camera->writeMemory(address, asBytes(buffer, size)),
                  error);
}

void kestro_device_init(KestroDevice* self) {
    self->camera = nullptr;
    self->nodes = nullptr;
    self->readsWordsAsRegisters = FALSE;
}

void finalize(GObject* object) {
    KestroDevice* self = KESTRO_DEVICE(object);
    if (self->nodes != nullptr) g_object_unref(self->nodes);
    G_OBJECT_CLASS(kestro_device_parent_class)->finalize(object);
}

void kestro_device_class_init(KestroDeviceClass* type) {
    G_OBJECT_CLASS(type)->finalize = finalize;
    ArvDeviceClass* device = ARV_DEVICE_CLASS(type);
    device->read_memory = readMemory;
    device->write_memory = writeMemory;
    device->read_register = readRegister;
    device->write_register = writeRegister;
    device->get_genicam = [](ArvDevice* self) { return KESTRO_DEVICE(self)->nodes; };
    device->get_genicam_xml = [](ArvDevice*, std::size_t* size) -> const char* {
        *size = 0;
        return nullptr;
    };
    device->create_stream = [](ArvDevice*, ArvStreamCallback, void*, GDestroyNotify,
                               GError**) -> ArvStream* { return nullptr; };
}

/** A GError that frees itself. */
class GuardedError {
 public:
    GuardedError() = default;
    GuardedError(const GuardedError&) = delete;
    GuardedError& operator=(const GuardedError&) = delete;
    ~GuardedError() { g_clear_error(&error_); }

    [[nodiscard]] GError** out() { return &error_; }
    /** Ends an operation on feature `name`: true without an error, else false with the last error.
     */
    [[nodiscard]] bool finish(const std::string& name) const {
        using Vorda::Gige::Error;
        if (error_ == nullptr) return true;
        const bool isOurs = error_->domain == ownErrors();
        const std::string message = error_->message ? error_->message : "";
        return Vorda::Gige::fail(isOurs ? static_cast<Error>(error_->code) : Error::feature,
                                 name + ": " + message);
    }

 private:
    GError* error_ = nullptr;
};

}  // namespace

namespace Vorda::Gige {

struct NodeMap::Impl {
    std::shared_ptr<RegisterPort> camera;
    KestroDevice* device = nullptr;

    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        if (device != nullptr) g_object_unref(device);
    }

    [[nodiscard]] ArvGcNode* node(const std::string& name) const {
        return arv_gc_get_node(device->nodes, name.c_str());
    }
    [[nodiscard]] bool open(const std::string& xml);
};

namespace {

bool failFeature(const std::string& name, const char* why) {
    return fail(Error::feature, name + ": " + why);
}

ArvGc* parse(ArvDevice* device, const std::string& xml) {
    // The parser keeps its state in a static variable.
    static std::mutex& parserMutex = *new std::mutex;
    const std::lock_guard lock(parserMutex);
    return arv_gc_new(device, xml.data(), xml.size());
}

}  // namespace

bool NodeMap::Impl::open(const std::string& xml) {
    GuardedError error;
    device = KESTRO_DEVICE(g_initable_new(kestro_device_get_type(), nullptr, error.out(), nullptr));
    if (device == nullptr) return error.finish("device");
    device->camera = camera.get();
    device->nodes = parse(ARV_DEVICE(device), xml);
    if (device->nodes == nullptr)
        return fail(Error::description, "the GenICam description cannot be evaluated");
    if (!ARV_IS_GC_CATEGORY(node("Root")))
        return fail(Error::description, "the GenICam description has no category [Root]");
    ArvDomElement* root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(device->nodes));
    if (ARV_IS_GC_REGISTER_DESCRIPTION_NODE(root))
        device->readsWordsAsRegisters = arv_gc_register_description_node_compare_schema_version(
                                            ARV_GC_REGISTER_DESCRIPTION_NODE(root), 1, 1, 0) < 0;
    return true;
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
