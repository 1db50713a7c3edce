// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/kestro_c.h>

namespace kestro {

// The codes of a Result; Result.h says what each means.
inline constexpr int kSdkFailure = KST_ERROR_SDK;
inline constexpr int kInvalidArgument = KST_ERROR_ARGUMENT;
inline constexpr int kNotFound = KST_ERROR_NOT_FOUND;
inline constexpr int kAlreadyGrabbing = KST_ERROR_GRABBING;
inline constexpr int kObjectAbsent = KST_ERROR_ABSENT;
inline constexpr int kUnknownHandle = KST_ERROR_HANDLE;
inline constexpr int kBufferTooSmall = KST_ERROR_BUFFER;
inline constexpr int kSubnetMismatch = KST_ERROR_SUBNET;
inline constexpr int kIsConnected = KST_ERROR_CONNECTED;

}  // namespace kestro
