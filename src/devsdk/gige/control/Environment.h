// SPDX-License-Identifier: Apache-2.0
//
// The environment variables of this folder. A malformed entry costs one warning line, once, and is
// skipped.
//
// | variable                    | meaning                                                        |
// |-----------------------------|----------------------------------------------------------------|
// | KESTRO_INTERFACES           | names of the interfaces to use, comma separated; all when unset |
// | KESTRO_DISCOVERY_ADDRESSES  | addresses of cameras to ask one by one, comma separated         |
// | KESTRO_DISCOVERY_TIMEOUT_MS | longest wait for answers, 1 to 60000; 1000 when unset           |
// | KESTRO_GRO                  | 0: packets from the kernel one by one; 1, or unset: in batches  |
// | KESTRO_RECONNECT            | 0: a lost camera stays lost until connect(); 1, or unset: not   |
#pragma once

#include "Ipv4.h"

#include <chrono>
#include <string>
#include <vector>

namespace Vorda::Gige::Environment {

/** Empty when every interface may be used. */
[[nodiscard]] std::vector<std::string> interfaceNames();
[[nodiscard]] std::vector<Ipv4> discoveryAddresses();
[[nodiscard]] std::chrono::milliseconds discoveryTimeout();
/** True when streams let the kernel put packets together where it can (UDP GRO). */
[[nodiscard]] bool receivesBatches();
/** True when a camera that was lost is to be found and connected again by itself. */
[[nodiscard]] bool reconnects();

/** Writes a warning line unless the same one was written before. */
void warnOnce(const std::string& text);

}  // namespace Vorda::Gige::Environment
