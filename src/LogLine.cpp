// SPDX-License-Identifier: Apache-2.0
#include "LogLine.h"

#include "VordaInfra.h"

#include <array>
#include <cstdint>
#include <exception>

namespace {

// By hand: stream manipulators drop the prefix of 0 and group digits under some locales.
std::string eightHexDigits(int number) {
    static constexpr std::array<char, 17> kDigits = {"0123456789abcdef"};
    std::string text = "0x00000000";
    auto rest = static_cast<std::uint32_t>(number);
    for (std::size_t place = text.size() - 1; rest != 0; --place, rest >>= 4) {
        text[place] = kDigits[rest & 0xf];
    }
    return text;
}

}  // namespace

namespace kestro {

std::string lastErrorText() {
    const int number = Vorda::Infra::getLastError();
    std::string text = "code: " + eightHexDigits(number);
    if (number != 0) {
        const char* message = Vorda::Infra::getErrMsg(number);
        text += ", msg: ";
        text += message ? message : "<null>";
    }
    return text + ".";
}

std::string exceptionText() {
    try {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "unknown exception";
    }
}

}  // namespace kestro
