// SPDX-License-Identifier: Apache-2.0
#include "EventMessage.h"

#include "GigeWire.h"
#include "Registers.h"

#include <cstddef>

namespace kestrosim {
namespace {

constexpr std::uint16_t kEventCommand = 0x00c0;
constexpr std::uint16_t kEventDataCommand = 0x00c2;

// An item: 0 reserved16 | 2 event id16 | 4 stream channel16 | 6 block16 | 8 timestamp64
// and with data, here of readingDone: 16 block64 | 24 codes32 | 28 status32
constexpr std::size_t kItemBytes = 16;
constexpr std::size_t kReadingBytes = 16;
constexpr std::uint16_t kNoStreamChannel = 0xffff;

}  // namespace

std::vector<std::uint8_t> encodeEvent(const Happening& happening, std::uint16_t id,
                                      bool wantsAcknowledge) {
    const bool hasData = happening.event == CameraEvent::readingDone;
    const std::size_t itemBytes = kItemBytes + (hasData ? kReadingBytes : 0);
    std::vector<std::uint8_t> bytes(kGvcpHeaderBytes + itemBytes);
    bytes[0] = kGvcpKey;
    bytes[1] = wantsAcknowledge ? kFlagAcknowledge : 0;
    store16(&bytes[2], hasData ? kEventDataCommand : kEventCommand);
    store16(&bytes[4], static_cast<std::uint16_t>(itemBytes));
    store16(&bytes[6], id);
    std::uint8_t* const item = &bytes[kGvcpHeaderBytes];
    store16(item + 2, reg::kEventIds[static_cast<std::size_t>(happening.event)]);
    store16(item + 4, happening.blockId == 0 ? kNoStreamChannel : 0);
    store16(item + 6, static_cast<std::uint16_t>(happening.blockId));
    store64(item + 8, happening.timestamp);
    if (!hasData) return bytes;
    store64(item + 16, happening.blockId);
    store32(item + 24, happening.codes);
    store32(item + 28, happening.status);
    return bytes;
}

}  // namespace kestrosim
