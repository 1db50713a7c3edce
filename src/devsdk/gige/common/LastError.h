// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Vorda::Gige {

/** Numbers of the device SDK's errors; their general texts stand in LastError.cpp. */
enum class Error : int {
    none = 0,
    invalidArgument = 1,
    notConnected = 2,
    accessDenied = 3,  ///< another program controls the camera
    notReachable = 4,  ///< no route, wrong subnet, interface gone
    notSupported = 5,
    refused = 6,      ///< the camera answered with a GVCP status
    badAnswer = 7,    ///< the camera's answer cannot be understood
    description = 8,  ///< the GenICam description is missing, cut or no XML
    feature = 9,      ///< a feature is missing or failed
    system = 10,      ///< the operating system refused (socket, thread, file)
    timeout = 11,
    connectionLost = 12,
    notGrabbing = 13,
    alreadyGrabbing = 14,
    notAvailable = 15,  ///< a feature that the camera does not offer at this moment
    notReadable = 16,
    notWritable = 17,
    locked = 18,      ///< not to be written at this moment
    outOfRange = 19,  ///< a value beyond a feature's limits, between its steps, no entry, too long
};

/** Keeps the calling thread's last error, number and own text (no full stop at the end). */
void setLastError(Error number, std::string text);
/** The same and false, so that operations can `return fail(...)`. */
[[nodiscard]] bool fail(Error number, std::string text);
/** The calling thread's last error text; the general one's when it has none of its own. */
std::string lastErrorMessage();

/** True when the last error leaves nothing more to try with a camera. */
[[nodiscard]] bool isConnectionGone();

/** Keeps the thread's last error over work whose own failures are nobody's business. */
class KeepLastError {
 public:
    KeepLastError();
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;
    ~KeepLastError();

 private:
    Error number_;
    std::string text_;
};

}  // namespace Vorda::Gige
