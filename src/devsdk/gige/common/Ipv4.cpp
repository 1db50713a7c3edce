// SPDX-License-Identifier: Apache-2.0
#include "Ipv4.h"

#include <arpa/inet.h>

namespace Vorda::Gige {

std::string Ipv4::text() const {
    char buffer[INET_ADDRSTRLEN] = "";
    const in_addr address{htonl(value)};
    inet_ntop(AF_INET, &address, buffer, sizeof buffer);
    return buffer;
}

std::optional<Ipv4> Ipv4::parse(std::string_view text) {
    in_addr address{};
    if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
    return Ipv4{ntohl(address.s_addr)};
}

}  // namespace Vorda::Gige
