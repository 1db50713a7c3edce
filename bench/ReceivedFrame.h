// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BufferPool.h"
#include "PayloadLayout.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace kestro::bench {

/** What the device SDK says of a payload that came in. */
inline Vorda::Gige::FrameInfo described(const Vorda::Gige::Bytes& payload,
                                        const Vorda::Gige::GvspLeader& leader,
                                        std::shared_ptr<const Vorda::Gige::PayloadLayout> layout) {
    Vorda::Gige::FrameInfo info;
    info.blockId = 1;
    info.sizeBytes = payload.size();
    info.leader = leader;
    info.layout = std::move(layout);
    takeApart(info.leader, payload, info.content);
    return info;
}

/** The device SDK's frame of a payload that came in; the pool has a buffer left and room for it. */
inline Vorda::GenICam::CFrame received(Vorda::Gige::BufferPool& pool,
                                       const Vorda::Gige::Bytes& payload,
                                       const Vorda::Gige::FrameInfo& info) {
    Vorda::Gige::FrameBuffer* buffer = pool.take();
    std::copy(payload.begin(), payload.end(), buffer->data);
    return Vorda::GenICam::CFrame(pool.makeFrame(*buffer, info));
}

}  // namespace kestro::bench
