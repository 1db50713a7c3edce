// SPDX-License-Identifier: Apache-2.0
#include <kestro/Result.h>

namespace kestro {

Result::Result() noexcept : code_(0) {}
Result::Result(int code) noexcept : code_(code) {}
Result::Result(const Result& other) noexcept = default;
Result& Result::operator=(const Result& other) noexcept = default;

bool Result::operator==(int code) const noexcept { return code_ == code; }
bool Result::operator==(const Result& other) const noexcept { return code_ == other.code_; }
bool Result::operator!=(int code) const noexcept { return code_ != code; }
bool Result::operator!=(const Result& other) const noexcept { return code_ != other.code_; }

bool Result::isOK() const noexcept { return code_ == 0; }
Result::operator bool() const noexcept { return isOK(); }
bool Result::isFailure() const noexcept { return code_ != 0; }
void Result::setCode(int code) noexcept { code_ = code; }
int Result::getCode() const noexcept { return code_; }

}  // namespace kestro
