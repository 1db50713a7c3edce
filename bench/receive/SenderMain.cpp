// SPDX-License-Identifier: Apache-2.0
//
// kestro_receive_sender --cameras N --width W --height H --cpu C
//
// Simulated cameras on 127.0.0.2 and behind it, for the control of streams, and a sender of these
// streams that makes its frames beforehand and does nothing while it sends but sending. Says
// "ready", then carries out what lines of its standard input order (see SendOrder.h), answering
// each with a JSON object.
#include "Processor.h"
#include "QuietCameras.h"
#include "SendOrder.h"
#include "Sender.h"
#include "WireFrame.h"

#include <getopt.h>

#include <cstddef>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

namespace kestro::bench {
namespace {

struct Options {
    std::size_t cameras = 1;
    ImageShape shape{2448, 2048};
    int cpu = -1;
};

Options optionsOf(int count, char** words) {
    constexpr option kKnown[] = {{"cameras", required_argument, nullptr, 'n'},
                                 {"width", required_argument, nullptr, 'w'},
                                 {"height", required_argument, nullptr, 'h'},
                                 {"cpu", required_argument, nullptr, 'c'},
                                 {}};
    Options options;
    for (int found = 0; (found = ::getopt_long(count, words, "", kKnown, nullptr)) != -1;) {
        if (found == 'n')
            options.cameras = std::stoul(optarg);
        else if (found == 'w')
            options.shape.width = static_cast<std::uint32_t>(std::stoul(optarg));
        else if (found == 'h')
            options.shape.height = static_cast<std::uint32_t>(std::stoul(optarg));
        else if (found == 'c')
            options.cpu = std::stoi(optarg);
        else
            throw std::runtime_error("there is no such option");
    }
    return options;
}

void serve(Sender& sender) {
    std::puts("ready");
    std::fflush(stdout);
    for (std::string line; std::getline(std::cin, line);) sender.carryOut(parseOrder(line));
}

}  // namespace
}  // namespace kestro::bench

int main(int count, char** words) {
    using namespace kestro::bench;
    try {
        const Options options = optionsOf(count, words);
        stayOn(options.cpu);
        const QuietCameras cameras(options.cameras, options.shape);
        Sender sender(options.cameras, options.shape);
        serve(sender);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", words[0], error.what());
        return 2;
    }
}
