// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"
#include "Failure.h"

#include <memory>
#include <string>

namespace kestrocli {

/** One camera under the control of this program; given back when destroyed. */
class Control {
 public:
    /** Connects; throws Failure with what is wrong and what to do about it. */
    explicit Control(FoundCamera found);
    ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    [[nodiscard]] const std::shared_ptr<kestro::Camera>& camera() const { return found_.camera; }
    [[nodiscard]] const CameraRecord& record() const { return found_.record; }

    /** This failure; if the camera has stopped answering, which explains it, that instead. */
    [[nodiscard]] Failure failure(const std::string& text) const;
    /** Throws Failure (ExitCode::lost) when the camera has stopped answering. */
    void requireConnection() const;

 private:
    FoundCamera found_;
};

/** That a camera under control has stopped answering. */
[[nodiscard]] Failure lostFailure(const CameraRecord& camera);

}  // namespace kestrocli
