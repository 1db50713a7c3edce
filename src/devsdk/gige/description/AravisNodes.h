// SPDX-License-Identifier: Apache-2.0
//
// Aravis' node map over registers of our own. Only the .cpp files that evaluate descriptions
// include this: GLib goes no further.
#pragma once

#include "Refusal.h"
#include "RegisterPort.h"

#include <arv.h>
#include <memory>
#include <string>

namespace Vorda::Gige {

/** A GError that frees itself. */
class GuardedError {
 public:
    GuardedError() = default;
    GuardedError(const GuardedError&) = delete;
    GuardedError& operator=(const GuardedError&) = delete;
    ~GuardedError() { g_clear_error(&error_); }

    [[nodiscard]] GError** out() { return &error_; }
    [[nodiscard]] const GError* get() const { return error_; }
    /** Without the names of the nodes that it passed through; empty without an error. */
    [[nodiscard]] Refusal refusal() const;
    /** Ends an operation on feature `name`: true without an error, else false with the last error.
     */
    [[nodiscard]] bool finish(const std::string& name) const;

 private:
    GError* error_ = nullptr;
};

/**
 * The nodes of a GenICam description, evaluated over a RegisterPort whose own errors pass through.
 *
 * Making one takes a process-wide lock, because Aravis' parser keeps its state in a static
 * variable. Threads: one at a time.
 */
class AravisNodes {
 public:
    /**
     * Empty, with the last error, when the description cannot be used. `xml` is the text of a
     * CheckedDescription, or has its structure. `camera` outlives this.
     */
    [[nodiscard]] static std::unique_ptr<AravisNodes> make(RegisterPort& camera,
                                                           const std::string& xml);
    AravisNodes(const AravisNodes&) = delete;
    AravisNodes& operator=(const AravisNodes&) = delete;
    ~AravisNodes();

    /**
     * From now on, until the end of this object, no register is asked twice: the node map asks for
     * an index or a limit as often as it comes upon it.
     */
    class Snapshot {
     public:
        explicit Snapshot(AravisNodes& nodes);
        Snapshot(const Snapshot&) = delete;
        Snapshot& operator=(const Snapshot&) = delete;
        ~Snapshot();

     private:
        AravisNodes& nodes_;
    };

    [[nodiscard]] ArvGc* all() const;
    /** Null when there is none. */
    [[nodiscard]] ArvGcNode* node(const std::string& name) const;

 private:
    explicit AravisNodes(ArvDevice* device) : device_(device) {}

    ArvDevice* device_;  ///< owned; owns the nodes
};

}  // namespace Vorda::Gige
