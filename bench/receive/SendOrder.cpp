// SPDX-License-Identifier: Apache-2.0
#include "SendOrder.h"

#include <sstream>
#include <stdexcept>

namespace kestro::bench {

namespace {

std::vector<std::uint16_t> portsOf(const std::string& text) {
    std::vector<std::uint16_t> ports;
    std::istringstream list(text);
    for (std::string port; std::getline(list, port, ',');)
        ports.push_back(static_cast<std::uint16_t>(std::stoul(port)));
    return ports;
}

void take(SendOrder& order, const std::string& name, const std::string& value) {
    if (name == "cameras")
        order.cameras = std::stoul(value);
    else if (name == "seconds")
        order.seconds = std::stod(value);
    else if (name == "batched")
        order.isBatched = value == "1";
    else if (name == "rate")
        order.bytesPerSecond = std::stod(value);
    else if (name == "fps")
        order.framesPerSecond = std::stod(value);
    else if (name == "link")
        order.linkBytesPerSecond = std::stod(value);
    else if (name == "to")
        order.ports = portsOf(value);
    else if (name == "packet")
        order.packetBytes = static_cast<std::uint32_t>(std::stoul(value));
    else if (name == "times")
        order.timesFile = value;
    else
        throw std::runtime_error(name + ": nothing that can be ordered");
}

}  // namespace

SendOrder parseOrder(const std::string& line) {
    SendOrder order;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) throw std::runtime_error(word + ": no name=value");
        take(order, word.substr(0, equals), word.substr(equals + 1));
    }
    if (!order.ports.empty() && order.ports.size() < order.cameras)
        throw std::runtime_error("fewer ports than cameras");
    return order;
}

}  // namespace kestro::bench
