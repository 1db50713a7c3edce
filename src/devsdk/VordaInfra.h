// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Vorda::Infra {

/** Memory of the device SDK's containers: what one side allocates, either side may free. */
class CAllocator {
 public:
    static void* allocate(std::size_t bytes) { return ::operator new(bytes); }
    // Without the size: clang 14 has no sized operator delete unless asked for it.
    static void dealocate(void* memory, std::size_t) noexcept { ::operator delete(memory); }
};

/** CAllocator in the shape that standard containers ask for. */
template <typename T>
struct TAllocator {
    using value_type = T;
    TAllocator() = default;
    template <typename U>
    TAllocator(const TAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor)
    T* allocate(std::size_t count) {
        return static_cast<T*>(CAllocator::allocate(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept {
        CAllocator::dealocate(memory, count * sizeof(T));
    }
    template <typename U>
    bool operator==(const TAllocator<U>&) const noexcept {
        return true;
    }
};

/** The device SDK's vector: filled on its side, iterated on ours. */
template <typename T>
using TVector = std::vector<T, TAllocator<T>>;

/** The device SDK's string: bytes with a NUL behind them. A null pointer makes an empty string. */
class CString {
 public:
    static constexpr std::size_t npos = std::string::npos;

    CString() = default;
    CString(const char* text) : text_(text ? text : "") {}  // NOLINT(google-explicit-constructor)
    CString(std::string text) : text_(std::move(text)) {}   // NOLINT(google-explicit-constructor)
    /** `count` times `character`. */
    CString(char character, std::size_t count) : text_(count, character) {}

    bool operator==(const char* other) const { return compare(other) == 0; }
    /** As strcmp does; a null pointer compares as the empty text. */
    int compare(const char* other) const { return text_.compare(other ? other : ""); }
    const char* c_str() const noexcept { return text_.c_str(); }
    const char* data() const noexcept { return text_.data(); }
    std::size_t size() const noexcept { return text_.size(); }
    bool empty() const noexcept { return text_.empty(); }
    std::size_t find(char character, std::size_t from) const noexcept {
        return text_.find(character, from);
    }

 private:
    std::string text_;
};

/** Number of the calling thread's latest device-SDK error; 0 when there was none. */
int getLastError();
/**
 * Text of an error. When `number` is the calling thread's latest one it is that error's own text
 * ("Width 5001: above the maximum 2448"), else the number's general text; null for unknown numbers.
 * Valid until the thread's next device-SDK call.
 */
const char* getErrMsg(int number);

class CTime {
 public:
    /** Microseconds of a monotonic clock. */
    static std::uint64_t getCurrentMicroSecond();
};

}  // namespace Vorda::Infra
