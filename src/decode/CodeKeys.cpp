// SPDX-License-Identifier: Apache-2.0
#include "CodeKeys.h"

#include <fmt/format.h>

#include <bit>
#include <memory>

namespace kestro::decode {

CodeKeys::CodeKeys(std::string_view prefix, std::uint32_t codeIndex) {
    const auto made = fmt::format_to_n(head_.data(), head_.size(), "{}{}_", prefix, codeIndex);
    headSize_ = static_cast<std::uint8_t>(made.out - head_.data());
    headHash_ = chunkKeyHash({head_.data(), headSize_});
}

CodeKeyTable::CodeKeyTable(std::string_view prefix) : prefix_(prefix) { makePart(0); }

CodeKeyTable::~CodeKeyTable() {
    for (const auto& part : parts_) delete[] part.load();
}

CodeKeyTable& CodeKeyTable::barcodes() {
    static CodeKeyTable* const table = new CodeKeyTable("BarCode");
    return *table;
}

CodeKeyTable& CodeKeyTable::qrCodes() {
    static CodeKeyTable* const table = new CodeKeyTable("QR");
    return *table;
}

const CodeKeys& CodeKeyTable::keys(std::uint32_t codeIndex, CodeKeys& spare) {
    if (codeIndex >= kMostKept) {
        spare = CodeKeys(prefix_, codeIndex);
        return spare;
    }
    const auto part = static_cast<std::size_t>(std::bit_width(codeIndex / kFirstPart));
    const CodeKeys* sets = parts_[part].load(std::memory_order_acquire);
    if (!sets) sets = makePart(part);
    return sets[codeIndex - partBegin(part)];
}

std::size_t CodeKeyTable::size() const {
    std::size_t count = 0;
    for (std::size_t part = 0; part < kParts; ++part) {
        if (parts_[part].load(std::memory_order_acquire)) count += partSize(part);
    }
    return count;
}

const CodeKeys* CodeKeyTable::makePart(std::size_t part) {
    static_assert(partBegin(kParts - 1) + partSize(kParts - 1) == kMostKept);
    auto made = std::make_unique<CodeKeys[]>(partSize(part));
    for (std::size_t i = 0; i < partSize(part); ++i) {
        made[i] = CodeKeys(prefix_, static_cast<std::uint32_t>(partBegin(part) + i));
    }
    const CodeKeys* published = nullptr;
    if (parts_[part].compare_exchange_strong(published, made.get(), std::memory_order_acq_rel)) {
        return made.release();
    }
    return published;
}

}  // namespace kestro::decode
