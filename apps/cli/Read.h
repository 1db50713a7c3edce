// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"
#include "Options.h"
#include "Output.h"

#include <string>

namespace kestrocli {

/** `kestro read` from a camera that was found. */
[[nodiscard]] ExitCode readCamera(const FoundCamera& found, const ReadOptions& options,
                                  Output& output);

/** A line for each code of the frame: block id, type, text. */
[[nodiscard]] std::string codeLines(const kestro::Frame& frame, const Output& output);

}  // namespace kestrocli
