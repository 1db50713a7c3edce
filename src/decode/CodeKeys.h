// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChunkLines.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestro::decode {

/** The twelve keys of one code, "BarCode3_CodeType" and so on. */
class CodeKeys {
 public:
    CodeKeys() = default;
    CodeKeys(std::string_view prefix, std::uint32_t codeIndex);

    [[nodiscard]] ChunkKey codeType() const { return key("CodeType"); }
    [[nodiscard]] ChunkKey codeData() const { return key("CodeData"); }
    [[nodiscard]] ChunkKey positionPointCount() const { return key("PosPointNum"); }
    [[nodiscard]] ChunkKey pointX(std::size_t point) const { return key(kPointTails[point].x); }
    [[nodiscard]] ChunkKey pointY(std::size_t point) const { return key(kPointTails[point].y); }
    [[nodiscard]] ChunkKey ppm() const { return key("PPM"); }

 private:
    struct PointTails {
        char x[sizeof "Point0_X"];
        char y[sizeof "Point0_Y"];
    };
    static constexpr PointTails kPointTails[] = {{"Point0_X", "Point0_Y"},
                                                 {"Point1_X", "Point1_Y"},
                                                 {"Point2_X", "Point2_Y"},
                                                 {"Point3_X", "Point3_Y"}};

    // By its array: that the size is known makes comparing a matter of a few instructions.
    template <std::size_t Size>
    [[nodiscard]] ChunkKey key(const char (&tail)[Size]) const {
        return {std::string_view(head_.data(), headSize_), headHash_,
                std::string_view(tail, Size - 1)};
    }

    // What all keys begin with; kept so short, that of hundreds of codes stays in the near caches.
    std::uint32_t headHash_ = 0;
    std::uint8_t headSize_ = 0;
    std::array<char, 27> head_{};  // "BarCode4294967295_" at the longest
};

/**
 * The keys of one reader's codes, formatted once a process.
 *
 * Begins with 64 sets and doubles as codes with higher numbers come, up to kMostKept; keys beyond
 * are formatted anew each time. Threads: any, without a lock: a part of the table that two threads
 * make at once is kept from one of them.
 */
class CodeKeyTable {
 public:
    static constexpr std::size_t kFirstPart = 64;
    static constexpr std::size_t kMostKept = 1024;

    explicit CodeKeyTable(std::string_view prefix);
    ~CodeKeyTable();
    CodeKeyTable(const CodeKeyTable&) = delete;
    CodeKeyTable& operator=(const CodeKeyTable&) = delete;

    /** The process-wide tables; never destroyed. */
    static CodeKeyTable& barcodes();
    static CodeKeyTable& qrCodes();

    /** The keys of code `codeIndex`; `spare` holds them where the table does not. */
    [[nodiscard]] const CodeKeys& keys(std::uint32_t codeIndex, CodeKeys& spare);
    /** How many codes' keys the table holds. */
    [[nodiscard]] std::size_t size() const;

 private:
    // The first part has 64 sets, every further one as many as all parts before it together.
    static constexpr std::size_t kParts = 5;
    static constexpr std::size_t partBegin(std::size_t part) {
        return part == 0 ? 0 : kFirstPart << (part - 1);
    }
    static constexpr std::size_t partSize(std::size_t part) {
        return part == 0 ? kFirstPart : partBegin(part);
    }

    const CodeKeys* makePart(std::size_t part);

    std::string_view prefix_;
    std::array<std::atomic<const CodeKeys*>, kParts> parts_{};
};

}  // namespace kestro::decode
