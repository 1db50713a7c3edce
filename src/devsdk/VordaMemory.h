// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace Vorda::Memory {

/** The device SDK's shared pointer. */
template <typename T>
using TSharedPtr = std::shared_ptr<T>;

/** Base of the device SDK's frames. */
class CBlock {
 public:
    CBlock() = default;
    CBlock(const CBlock&) = default;
    CBlock& operator=(const CBlock&) = default;
    virtual ~CBlock() = default;
};

}  // namespace Vorda::Memory
