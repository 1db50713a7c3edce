// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Control.h"
#include "Mailbox.h"

#include <cstddef>
#include <memory>

namespace kestrocli {

/** One camera under control, whose frames go to a mailbox; given back when destroyed. */
class Grab {
 public:
    /** Connects; throws Failure with what is wrong and what to do about it. */
    Grab(FoundCamera found, std::size_t source, std::shared_ptr<Mailbox> mailbox);
    ~Grab();
    Grab(const Grab&) = delete;
    Grab& operator=(const Grab&) = delete;

    /** Throws Failure when the camera does not start. */
    void start();
    /** When it returns, no more frames are put into the mailbox. */
    void stop();

    [[nodiscard]] const CameraRecord& record() const { return control_.record(); }
    [[nodiscard]] const Control& control() const { return control_; }

 private:
    Control control_;
    std::size_t source_;
    std::shared_ptr<Mailbox> mailbox_;
    bool started_ = false;
};

}  // namespace kestrocli
