// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
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

/**
 * The device SDK's string: bytes with a NUL behind them. A null pointer makes an empty string.
 *
 * Texts of up to 47 bytes, which nearly all lines of chunks are, live in the object: a frame has
 * hundreds of them, and what they cost is mostly their memory's allocation.
 */
class CString {
 public:
    static constexpr std::size_t npos = std::string::npos;

    CString() { inside_[0] = '\0'; }
    CString(const char* text)  // NOLINT(google-explicit-constructor)
        : CString(std::string_view(text ? text : ""), {}) {}
    CString(const std::string& text)  // NOLINT(google-explicit-constructor)
        : CString(std::string_view(text), {}) {}
    /** Both texts together. */
    CString(std::string_view head, std::string_view tail) {
        char* bytes = make(head.size() + tail.size());
        std::copy(tail.begin(), tail.end(), std::copy(head.begin(), head.end(), bytes));
    }
    /** `count` times `character`. */
    CString(char character, std::size_t count) { std::fill_n(make(count), count, character); }
    CString(const CString& other) : CString(other.view(), {}) {}
    CString(CString&& other) noexcept { take(other); }
    CString& operator=(CString other) noexcept {
        release();
        take(other);
        return *this;
    }
    ~CString() { release(); }

    bool operator==(const char* other) const { return compare(other) == 0; }
    /** As strcmp does; a null pointer compares as the empty text. */
    int compare(const char* other) const { return view().compare(other ? other : ""); }
    const char* c_str() const noexcept { return bytes_; }
    const char* data() const noexcept { return bytes_; }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    std::size_t find(char character, std::size_t from) const noexcept {
        return view().find(character, from);
    }

 private:
    static constexpr std::size_t kInsideBytes = 48;

    std::string_view view() const noexcept { return {bytes_, size_}; }
    bool isInside() const noexcept { return bytes_ == inside_; }
    /** Room for `size` bytes in an object that is new; the NUL stands already. */
    char* make(std::size_t size) {
        if (size >= kInsideBytes) bytes_ = static_cast<char*>(CAllocator::allocate(size + 1));
        size_ = size;
        bytes_[size] = '\0';
        return bytes_;
    }
    void take(CString& other) noexcept {
        bytes_ = other.isInside() ? inside_ : other.bytes_;
        size_ = other.size_;
        std::memcpy(inside_, other.inside_, kInsideBytes);
        other.bytes_ = other.inside_;
        other.size_ = 0;
        other.inside_[0] = '\0';
    }
    void release() noexcept {
        if (!isInside()) CAllocator::dealocate(bytes_, size_ + 1);
    }

    char* bytes_ = inside_;
    std::size_t size_ = 0;
    char inside_[kInsideBytes];
};

/** Number of the calling thread's latest device-SDK error; 0 when there was none. */
int getLastError();
/**
 * Text of an error. When `number` is the calling thread's latest one it is that error's own text
 * ("Width 5001: above the maximum 2448"), else the number's general text; null for unknown numbers.
 * Valid until the thread's next device-SDK call.
 */
const char* getErrMsg(int number);

/**
 * True in a child that a process made by fork() after it had asked this for the first time.
 *
 * There is only one thread there, whatever others held at the fork they hold for ever, and the
 * sockets are the parent's. So nothing of the device SDK may be used: whoever asks does so before
 * he takes a lock. Threads: any; takes none itself.
 */
bool isForkedChild();

class CTime {
 public:
    /** Microseconds of a monotonic clock. */
    static std::uint64_t getCurrentMicroSecond();
};

}  // namespace Vorda::Infra
