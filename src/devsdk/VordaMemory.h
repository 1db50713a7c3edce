// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VordaInfra.h"

#include <memory>
#include <utility>

namespace Vorda::Memory {

/** The device SDK's shared pointer. */
template <typename T>
using TSharedPtr = std::shared_ptr<T>;

/**
 * Makes an object that ends only in the process that made it: in a forked child it stays as it is,
 * since its end would wait for threads that are not there or speak to the camera.
 */
template <typename T, typename... Arguments>
TSharedPtr<T> makeForThisProcess(Arguments&&... arguments) {
    return TSharedPtr<T>(new T(std::forward<Arguments>(arguments)...), [](T* object) {
        if (!Infra::isForkedChild()) delete object;
    });
}

/** Base of the device SDK's frames. */
class CBlock {
 public:
    CBlock() = default;
    CBlock(const CBlock&) = default;
    CBlock& operator=(const CBlock&) = default;
    virtual ~CBlock() = default;
};

}  // namespace Vorda::Memory
