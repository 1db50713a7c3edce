// SPDX-License-Identifier: Apache-2.0
#include "DeviceConfig.h"

#include "LastError.h"

namespace Vorda::Gige {

bool saveConfiguration(Features&, const std::string&, const std::string&) {
    return fail(Error::notSupported, "configuration files are not supported yet");
}

bool loadConfiguration(Features&, const std::string&, std::vector<std::string>&) {
    return fail(Error::notSupported, "configuration files are not supported yet");
}

}  // namespace Vorda::Gige
