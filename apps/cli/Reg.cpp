// SPDX-License-Identifier: Apache-2.0
#include "Control.h"
#include "FeatureValue.h"
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

#include <limits>

namespace kestrocli {
namespace {

constexpr std::uint32_t kRegisterBytes = 4;

/** ADDRESS, ADDRESS VALUE, ADDRESS =VALUE and ADDRESS=VALUE mean the same with and without "=". */
struct Access {
    std::uint64_t address = 0;
    std::optional<std::uint32_t> value;  ///< empty: read
};

std::int64_t numberOf(const std::string& text, const char* what) {
    const auto number = wholeNumberFrom(text);
    if (number) return *number;
    throw Failure("\"" + visible(text) + "\" is no " + what + " (decimal, or hexadecimal after 0x)",
                  ExitCode::usage);
}

std::uint32_t registerValue(const std::string& text) {
    const std::int64_t value = numberOf(text, "value");
    if (value >= std::numeric_limits<std::int32_t>::min() &&
        value <= std::numeric_limits<std::uint32_t>::max()) {
        return static_cast<std::uint32_t>(value);
    }
    throw Failure(visible(text) + " does not fit into the four bytes of a register",
                  ExitCode::usage);
}

Access accessOf(const RegOptions& options) {
    const std::size_t equals = options.address.find('=');
    std::string value = options.value;
    if (equals != std::string::npos) value = options.address.substr(equals) + value;
    if (value.starts_with('=')) value.erase(0, 1);
    Access access;
    const std::int64_t address = numberOf(options.address.substr(0, equals), "address");
    if (address < 0) throw Failure("an address is not negative", ExitCode::usage);
    access.address = static_cast<std::uint64_t>(address);
    const bool writes = equals != std::string::npos || !options.value.empty();
    if (writes) access.value = registerValue(value);
    if (writes && options.length != kRegisterBytes) {
        throw Failure("only single registers, of 4 bytes, are written", ExitCode::usage);
    }
    return access;
}

Failure noAnswer(const Control& control, const Access& access) {
    return control.failure("the camera did not " +
                           std::string(access.value ? "take the value at " : "give the bytes at ") +
                           hexNumber(access.address) + "; the log line above says why");
}

}  // namespace

ExitCode runReg(const RegOptions& options, Output& output) {
    const Access access = accessOf(options);
    const Control control(findCamera(options.camera));
    kestro::ParameterRegister place(control.camera(), access.address);
    if (access.value) {
        if (place.setValue(static_cast<int>(*access.value)).isFailure()) {
            throw noAnswer(control, access);
        }
        say(hexNumber(*access.value) + " is written to " + hexNumber(access.address));
        return ExitCode::ok;
    }
    if (options.length == kRegisterBytes) {
        int value = 0;
        if (place.getValue(value).isFailure()) throw noAnswer(control, access);
        const auto shown = static_cast<std::uint32_t>(value);
        output.write((options.json ? registerLine(access.address, shown) : hexNumber(shown)) +
                     "\n");
        return ExitCode::ok;
    }
    std::vector<std::uint8_t> bytes(options.length);
    if (place.getValue(bytes.data(), options.length).isFailure()) throw noAnswer(control, access);
    output.write(options.json ? memoryLine(access.address, bytes) + "\n"
                              : hexDump(access.address, bytes));
    return ExitCode::ok;
}

}  // namespace kestrocli
