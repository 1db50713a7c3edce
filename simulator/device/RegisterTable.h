// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace kestrosim {

enum class Access : std::uint8_t { none, read, readWrite };

/** What a register holds, and so what its limits are limits of. */
enum class Content : std::uint8_t { bytes, word, real };

/** A register of the camera, or a row of equal ones. */
struct Register {
    std::uint32_t address = 0;
    std::uint32_t size = 4;  ///< bytes
    Content content = Content::word;
    Access access = Access::readWrite;
    // A double holds every word exactly.
    double initial = 0;
    double lowest = 0;
    double highest = 0xffffffff;
    std::uint32_t step = 1;           ///< words are multiples of it
    std::uint32_t kept = 0xffffffff;  ///< the bits of a word that stay set when written
    std::uint32_t count = 1;          ///< how many there are
    std::uint32_t stride = 4;         ///< bytes from one to the next
    bool isSaved = false;             ///< belongs to a user set
    bool isFrozen = false;            ///< must not change while frames are sent
    bool isLasting = false;           ///< outlasts a restart

    template <typename Value>
    [[nodiscard]] constexpr Register with(Value Register::*member, Value value) const {
        Register changed = *this;
        changed.*member = value;
        return changed;
    }

    [[nodiscard]] constexpr Register from(double low, double high) const {
        return with(&Register::lowest, low).with(&Register::highest, high);
    }
    [[nodiscard]] constexpr Register inStepsOf(std::uint32_t wanted) const {
        return with(&Register::step, wanted);
    }
    [[nodiscard]] constexpr Register keeping(std::uint32_t bits) const {
        return with(&Register::kept, bits);
    }
    [[nodiscard]] constexpr Register times(std::uint32_t wanted, std::uint32_t apart = 4) const {
        return with(&Register::count, wanted).with(&Register::stride, apart);
    }
    [[nodiscard]] constexpr Register saved() const { return with(&Register::isSaved, true); }
    [[nodiscard]] constexpr Register lasting() const { return with(&Register::isLasting, true); }
    [[nodiscard]] constexpr Register frozen() const { return with(&Register::isFrozen, true); }
};

/** All registers but the description's; where two overlap, the later one holds. */
[[nodiscard]] std::span<const Register> registerTable();

/** Calls `visit(address, register)` for every single register. */
template <typename Visit>
void forEachRegister(Visit visit) {
    for (const Register& entry : registerTable()) {
        for (std::uint32_t i = 0; i < entry.count; ++i) {
            visit(entry.address + i * entry.stride, entry);
        }
    }
}

}  // namespace kestrosim
