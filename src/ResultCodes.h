// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace kestro {

// The codes of a Result; Result.h says what each means.
inline constexpr int kSdkFailure = 2;
inline constexpr int kInvalidArgument = 3;
inline constexpr int kNotFound = 5;
inline constexpr int kAlreadyGrabbing = 8;
inline constexpr int kObjectAbsent = 9;
inline constexpr int kSubnetMismatch = 22;

}  // namespace kestro
