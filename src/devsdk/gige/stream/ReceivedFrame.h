// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BufferPool.h"
#include "FrameAssembler.h"
#include "VordaGenICam.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Vorda::GenICam {

/**
 * What a CFrame shares with its copies: a description, and bytes that live as long as this. It lies
 * in the record of its buffer, which keeps the pool.
 */
class CFrame::Impl {
 public:
    Impl(Gige::BufferPool& pool, Gige::FrameBuffer& buffer, const Gige::FrameInfo& info)
        : pool_(pool), buffer_(buffer), info_(info) {}

    [[nodiscard]] const std::uint8_t* data() const { return buffer_.data; }
    [[nodiscard]] const Gige::FrameInfo& info() const { return info_; }

    /** Nothing may be asked of the bytes after they were given. */
    [[nodiscard]] std::shared_ptr<const void> giveBuffer(std::size_t usedBytes) const {
        if (2 * usedBytes < buffer_.capacity) return nullptr;  // a copy takes less memory
        return pool_.giveAway(buffer_);
    }

 private:
    Gige::BufferPool& pool_;
    Gige::FrameBuffer& buffer_;
    Gige::FrameInfo info_;
};

}  // namespace Vorda::GenICam
