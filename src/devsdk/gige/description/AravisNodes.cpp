// SPDX-License-Identifier: Apache-2.0
//
// Aravis' node map over our own transport: a device class whose register access goes to a
// RegisterPort.
#include "AravisNodes.h"

#include "DescriptionRepair.h"
#include "LastError.h"
#include "VordaInfra.h"

#include <array>
#include <cstring>
#include <mutex>
#include <string_view>
#include <vector>

namespace {

G_BEGIN_DECLS
/** An ArvDevice that is nothing but register access. */
G_DECLARE_FINAL_TYPE(KestroDevice, kestro_device, KESTRO, DEVICE, ArvDevice)
G_END_DECLS

/** What was read of a register during a snapshot. */
struct KnownRegister {
    static constexpr guint32 kMostBytes = 8;
    guint64 address;
    guint32 size;
    std::array<std::uint8_t, kMostBytes> bytes;
};

struct _KestroDevice {
    ArvDevice parent;
    Vorda::Gige::RegisterPort* camera;  ///< outlives the device
    ArvGc* nodes;                       ///< owned
    gboolean readsWordsAsRegisters;     ///< see readMemory()
    gboolean isSnapshot;
    std::vector<KnownRegister>* known;  ///< owned; empty outside of a snapshot
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
gboolean readCamera(KestroDevice* self, guint64 address, guint32 size, void* buffer,
                    GError** error) {
    if (!self->readsWordsAsRegisters || size != sizeof(guint32))
        return passOn(self->camera->readMemory(address, asBytes(buffer, size)), error);
    guint32 value = 0;
    if (!passOn(self->camera->readRegister(address, value), error)) return FALSE;
    value = GUINT32_TO_BE(value);
    std::memcpy(buffer, &value, sizeof value);
    return TRUE;
}

gboolean readMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                    GError** error) {
    KestroDevice* self = KESTRO_DEVICE(device);
    if (!self->isSnapshot || size > KnownRegister::kMostBytes)
        return readCamera(self, address, size, buffer, error);
    for (const KnownRegister& each : *self->known) {
        if (each.address != address || each.size != size) continue;
        std::memcpy(buffer, each.bytes.data(), size);
        return TRUE;
    }
    if (!readCamera(self, address, size, buffer, error)) return FALSE;
    KnownRegister known{address, size, {}};
    std::memcpy(known.bytes.data(), buffer, size);
    self->known->push_back(known);
    return TRUE;
}

gboolean writeMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer,
                     GError** error) {
    KestroDevice* self = KESTRO_DEVICE(device);
    self->known->clear();  // a write may change other registers
    if (!self->readsWordsAsRegisters || size != sizeof(guint32))
        return passOn(self->camera->writeMemory(address, asBytes(buffer, size)), error);
    guint32 value = 0;
    std::memcpy(&value, buffer, sizeof value);
    return passOn(self->camera->writeRegister(address, GUINT32_FROM_BE(value)), error);
}

void kestro_device_init(KestroDevice* self) {
    self->camera = nullptr;
    self->nodes = nullptr;
    self->readsWordsAsRegisters = FALSE;
    self->isSnapshot = FALSE;
    self->known = new std::vector<KnownRegister>;
}

void finalize(GObject* object) {
    KestroDevice* self = KESTRO_DEVICE(object);
    if (self->nodes != nullptr) g_object_unref(self->nodes);
    delete self->known;
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

}  // namespace

namespace Vorda::Gige {

Refusal GuardedError::refusal() const {
    if (error_ == nullptr) return {};
    std::string_view reason = error_->message ? error_->message : "";
    while (reason.starts_with('[')) {
        const std::size_t end = reason.find("] ");
        if (end == std::string_view::npos) break;
        reason.remove_prefix(end + 2);
    }
    const bool isOurs = error_->domain == ownErrors();
    return {isOurs ? static_cast<Error>(error_->code) : Error::feature, std::string(reason)};
}

bool GuardedError::finish(const std::string& name) const {
    if (error_ == nullptr) return true;
    const bool isOurs = error_->domain == ownErrors();
    const std::string message = error_->message ? error_->message : "";
    return fail(isOurs ? static_cast<Error>(error_->code) : Error::feature, name + ": " + message);
}

namespace {

ArvGc* parse(ArvDevice* device, const std::string& xml) {
    static std::mutex& parserMutex = *new std::mutex;
    const std::lock_guard lock(parserMutex);
    return arv_gc_new(device, xml.data(), xml.size());
}

bool hasLegacyEndianness(ArvGc* nodes) {
    ArvDomElement* root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(nodes));
    return ARV_IS_GC_REGISTER_DESCRIPTION_NODE(root) &&
           arv_gc_register_description_node_compare_schema_version(
               ARV_GC_REGISTER_DESCRIPTION_NODE(root), 1, 1, 0) < 0;
}

}  // namespace

std::unique_ptr<AravisNodes> AravisNodes::make(RegisterPort& camera, const std::string& xml) {
    GuardedError error;
    KestroDevice* device =
        KESTRO_DEVICE(g_initable_new(kestro_device_get_type(), nullptr, error.out(), nullptr));
    if (device == nullptr) {
        static_cast<void>(error.finish("device"));
        return nullptr;
    }
    std::unique_ptr<AravisNodes> made(new AravisNodes(ARV_DEVICE(device)));
    device->camera = &camera;
    device->nodes = parse(ARV_DEVICE(device), xml);
    if (device->nodes == nullptr) {
        setLastError(Error::description, "the GenICam description cannot be evaluated");
        return nullptr;
    }
    repairDescription(device->nodes);
    device->readsWordsAsRegisters = hasLegacyEndianness(device->nodes) ? TRUE : FALSE;
    return made;
}

AravisNodes::~AravisNodes() { g_object_unref(device_); }

AravisNodes::Snapshot::Snapshot(AravisNodes& nodes) : nodes_(nodes) {
    KESTRO_DEVICE(nodes_.device_)->isSnapshot = TRUE;
}

AravisNodes::Snapshot::~Snapshot() {
    KestroDevice* device = KESTRO_DEVICE(nodes_.device_);
    device->isSnapshot = FALSE;
    device->known->clear();
}

ArvGc* AravisNodes::all() const { return KESTRO_DEVICE(device_)->nodes; }

ArvGcNode* AravisNodes::node(const std::string& name) const {
    return arv_gc_get_node(all(), name.c_str());
}

}  // namespace Vorda::Gige
