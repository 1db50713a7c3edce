// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Control.h"
#include "Mailbox.h"
#include "Outages.h"

#include <cstddef>
#include <memory>

namespace kestrocli {

/**
 * One camera under control, whose frames go to a mailbox; given back when destroyed. When it goes
 * away, the mailbox is told that it is lost, or, to wait for it, gets that and its return.
 */
class Grab {
 public:
    /** Connects; throws Failure with what is wrong and what to do about it. */
    Grab(FoundCamera found, std::size_t source, std::shared_ptr<Mailbox> mailbox,
         WhenLost whenLost = WhenLost::end);
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
    WhenLost whenLost_;
    bool started_ = false;
};

}  // namespace kestrocli
