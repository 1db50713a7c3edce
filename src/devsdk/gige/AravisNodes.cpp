// SPDX-License-Identifier: Apache-2.0
//
// Aravis' node map over our own transport: a device class whose register access goes to a
// RegisterPort.
#include "AravisNodes.h"

#include "FormulaGuard.h"
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

/** The node map reads descriptions to the letter; this reads what they mean. */
class DescriptionRepair {
 public:
    explicit DescriptionRepair(ArvGc* nodes) : nodes_(nodes) {}

    /** Before the first evaluation: the node map keeps what it read. */
    void run() {
        repair(ARV_DOM_NODE(nodes_), &DescriptionRepair::trim);
        repair(ARV_DOM_NODE(nodes_), &DescriptionRepair::lookThroughBoolean);
        repair(ARV_DOM_NODE(nodes_), &DescriptionRepair::guardFormula);
    }

 private:
    using Step = void (DescriptionRepair::*)(ArvDomNode*, ArvGcPropertyNode*);

    void repair(ArvDomNode* parent, Step step) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (ARV_IS_GC_PROPERTY_NODE(child))
                (this->*step)(parent, ARV_GC_PROPERTY_NODE(child));
            else if (ARV_IS_GC_NODE(child))
                repair(child, step);
        }
    }

    /** Null when a comment parts it, or it is empty. */
    static ArvDomCharacterData* data(ArvGcPropertyNode* property) {
        ArvDomNode* first = arv_dom_node_get_first_child(ARV_DOM_NODE(property));
        if (first == nullptr || arv_dom_node_get_next_sibling(first) != nullptr) return nullptr;
        return ARV_IS_DOM_CHARACTER_DATA(first) ? ARV_DOM_CHARACTER_DATA(first) : nullptr;
    }

    static std::string textOf(ArvGcPropertyNode* property) {
        ArvDomCharacterData* const found = data(property);
        const char* const text = found ? arv_dom_character_data_get_data(found) : nullptr;
        return text ? text : "";
    }

    /** Blanks around a name or a keyword would be taken for a part of it. */
    void trim(ArvDomNode* parent, ArvGcPropertyNode* property) {
        const bool isText =
            ARV_IS_GC_STRING(parent) &&
            arv_gc_property_node_get_node_type(property) == ARV_GC_PROPERTY_NODE_TYPE_VALUE;
        ArvDomCharacterData* const found = data(property);
        if (isText || !found) return;
        constexpr const char* kBlanks = " \t\r\n";
        const std::string text = textOf(property);
        const std::size_t first = text.find_first_not_of(kBlanks);
        if (first == std::string::npos) return;
        const std::size_t end = text.find_last_not_of(kBlanks) + 1;
        if (end - first != text.size())
            arv_dom_character_data_set_data(found, text.substr(first, end - first).c_str());
    }

    /** A formula's variable that is a boolean would be left out of it. */
    void lookThroughBoolean(ArvDomNode*, ArvGcPropertyNode* property) {
        if (arv_gc_property_node_get_node_type(property) != ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE)
            return;
        ArvDomCharacterData* const found = data(property);
        if (!found) return;
        ArvGcNode* const variable = arv_gc_get_node(nodes_, textOf(property).c_str());
        if (!ARV_IS_GC_BOOLEAN(variable)) return;
        const std::string number = numberBehind(ARV_DOM_NODE(variable));
        if (!number.empty()) arv_dom_character_data_set_data(found, number.c_str());
    }

    /** See guardedFormula(); what cannot be guarded is left out, and cannot be evaluated. */
    void guardFormula(ArvDomNode* parent, ArvGcPropertyNode* property) {
        switch (arv_gc_property_node_get_node_type(property)) {
            case ARV_GC_PROPERTY_NODE_TYPE_FORMULA:
            case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_TO:
            case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_FROM:
            case ARV_GC_PROPERTY_NODE_TYPE_EXPRESSION:
                break;
            default:
                return;
        }
        std::string formula;
        std::vector<ArvDomCharacterData*> pieces;  // a comment may part it
        for (ArvDomNode* piece = arv_dom_node_get_first_child(ARV_DOM_NODE(property));
             piece != nullptr; piece = arv_dom_node_get_next_sibling(piece)) {
            if (!ARV_IS_DOM_CHARACTER_DATA(piece)) continue;
            pieces.push_back(ARV_DOM_CHARACTER_DATA(piece));
            formula += arv_dom_character_data_get_data(pieces.back());
        }
        const bool isInteger = ARV_IS_GC_INTEGER(parent) != 0;
        const std::string guarded = guardedFormula(formula, isInteger).value_or("");
        if (guarded == formula) return;
        for (ArvDomCharacterData* const piece : pieces) {
            const bool isFirst = piece == pieces.front();
            arv_dom_character_data_set_data(piece, isFirst ? guarded.c_str() : "");
        }
    }

    /** Of a boolean whose number is its own: 1 or 0. */
    static std::string numberBehind(ArvDomNode* boolean) {
        std::string number;
        for (ArvDomNode* child = arv_dom_node_get_first_child(boolean); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (!ARV_IS_GC_PROPERTY_NODE(child)) continue;
            ArvGcPropertyNode* const property = ARV_GC_PROPERTY_NODE(child);
            switch (arv_gc_property_node_get_node_type(property)) {
                case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
                    number = textOf(property);
                    break;
                case ARV_GC_PROPERTY_NODE_TYPE_ON_VALUE:
                case ARV_GC_PROPERTY_NODE_TYPE_OFF_VALUE:
                    return {};
                default:
                    break;
            }
        }
        return number;
    }

    ArvGc* const nodes_;
};

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
    DescriptionRepair(device->nodes).run();
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
