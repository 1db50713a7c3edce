// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Frame.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace kestrocli {

/** A folder that takes the pictures of a reading with what was read drawn on them. */
class OverlayFolder {
 public:
    /** Prepares the folder; throws Failure. */
    explicit OverlayFolder(std::string path);

    /**
     * Draws on the frame's picture and saves it as a PNG under its imageName().
     *
     * A frame that cannot be drawn on leaves no file; each reason for that is said once.
     */
    void save(const kestro::Frame& frame, std::string_view serial, std::uint64_t number);

 private:
    std::string path_;
    std::set<std::string> problems_;  // those that were already spoken of
};

}  // namespace kestrocli
