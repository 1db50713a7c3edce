// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_RESULT_H
#define KESTRO_RESULT_H

#include <kestro/Export.h>

#include <cstdint>
#include <type_traits>

namespace kestro {

/**
 * The outcome of an operation: one signed 32-bit code, 0 on success.
 *
 * The codes that the library produces:
 *
 * | code | meaning                                                          |
 * |------|------------------------------------------------------------------|
 * | 0    | success                                                          |
 * | 2    | the device refused or failed the operation; the log line says why |
 * | 3    | invalid argument: a required pointer is NULL or a size is 0      |
 * | 5    | not found                                                        |
 * | 8    | acquisition is already running                                   |
 * | 9    | what the operation needs does not exist (no stream, no GigE view) |
 * | 20   | unknown handle (C interface)                                     |
 * | 21   | the caller's buffer is too small (C interface)                   |
 * | 22   | camera and host interface are not in one subnet                  |
 * | 23   | refused because the camera is connected                          |
 *
 * Note the sense of the conversion to bool: a Result tests true when nothing went wrong.
 * Threads: a plain value; not shared by the library.
 */
class KESTRO_API Result {
 public:
    /** Success: code 0. */
    Result() noexcept;
    /** Holds `code` as it is; implicit, so that operations can `return 2;`. */
    Result(int code) noexcept;                        // NOLINT(google-explicit-constructor)
    Result(const Result& other) noexcept;             ///< copies the code
    Result& operator=(const Result& other) noexcept;  ///< copies the code
    ~Result() = default;

    bool operator==(int code) const noexcept;             ///< compares the code
    bool operator==(const Result& other) const noexcept;  ///< compares the codes
    bool operator!=(int code) const noexcept;             ///< compares the code
    bool operator!=(const Result& other) const noexcept;  ///< compares the codes

    /** True when the code is 0. */
    bool isOK() const noexcept;
    /** The same as isOK(). */
    operator bool() const noexcept;  // NOLINT(google-explicit-constructor)
    /**
     * A Result is not a number: without this, `int code = camera->connect();` would compile through
     * the conversion to bool and be 1 on success. Use getCode().
     */
    template <typename T, typename = typename std::enable_if<std::is_arithmetic<T>::value &&
                                                             !std::is_same<T, bool>::value>::type>
    operator T() const = delete;
    /** True when the code is not 0. */
    bool isFailure() const noexcept;
    /** Replaces the code. */
    void setCode(int code) noexcept;
    /** The code as a number. */
    int getCode() const noexcept;

 private:
    std::int32_t code_;
};

}  // namespace kestro

#endif
