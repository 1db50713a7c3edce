// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/** Where the fields of the result chunks lie: what frames hold and what the description says. */
namespace kestrosim::chunk {

/** Whether each chunk is sent: barcodes, QR codes, pipeline, scaling; as reg::kChunkIds. */
using Choice = std::array<bool, 4>;

enum class ByteOrder : bool { big, little };

inline constexpr std::uint32_t kImageId = 0x00000001;  ///< the picture's own chunk, always first
inline constexpr std::size_t kTrailerBytes = 8;        ///< behind a chunk's data: id32, length32

// A reader's chunk: a head, then a record for each code, as far as there are slots.
inline constexpr std::uint32_t kDetectTime = 0;  ///< ms
inline constexpr std::uint32_t kCodeCount = 4;   ///< of all codes, with a record or without
inline constexpr std::uint32_t kReaderHeadBytes = 8;
inline constexpr std::uint32_t kCodeSlots = 64;

// A code's record.
inline constexpr std::uint32_t kCodeType = 0;  ///< text, as kCodeData ended by NUL if it is shorter
inline constexpr std::uint32_t kCodeTypeBytes = 32;
inline constexpr std::uint32_t kCodeData = 32;
inline constexpr std::uint32_t kCodeDataBytes = 256;
inline constexpr std::uint32_t kPoints = 288;  ///< x32 and y32 of each, signed
inline constexpr std::uint32_t kPointBytes = 8;
inline constexpr std::uint32_t kPointSlots = 4;
inline constexpr std::uint32_t kPixelsPerModule = 320;  ///< 32-bit float
inline constexpr std::uint32_t kPointCount = 324;
inline constexpr std::uint32_t kRecordBytes = 328;

// The pipeline's chunk.
inline constexpr std::uint32_t kStatus = 0;  ///< text
inline constexpr std::uint32_t kStatusBytes = 32;
inline constexpr std::uint32_t kTriggerHigh = 32;
inline constexpr std::uint32_t kTriggerLow = 36;
inline constexpr std::uint32_t kPipelineBytes = 40;

// The scaling's chunk.
inline constexpr std::uint32_t kOutWidth = 0;
inline constexpr std::uint32_t kOutHeight = 4;
inline constexpr std::uint32_t kScalingBytes = 8;

// Both orders occur, as they do in one camera whose parts come from several hands.
inline constexpr ByteOrder kBarcodeOrder = ByteOrder::big;
inline constexpr ByteOrder kQrOrder = ByteOrder::little;
inline constexpr ByteOrder kPipelineOrder = ByteOrder::big;
inline constexpr ByteOrder kScalingOrder = ByteOrder::little;

}  // namespace kestrosim::chunk
