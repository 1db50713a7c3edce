// SPDX-License-Identifier: Apache-2.0
// Prints a result record for every kind of frame, for the validator of the schema.
#include "Fakes.h"
#include "Json.h"

#include <cstdio>
#include <limits>

using kestrotest::FakeCode;
using kestrotest::FakeFrame;

namespace {

std::shared_ptr<FakeFrame> fullFrame() {
    auto frame = kestrotest::frameWithCode(7, "4006381333931");
    frame->image.resize(12);
    frame->width = 4;
    frame->height = 3;
    frame->timestamp = std::numeric_limits<std::uint64_t>::max();
    frame->detectTime = 31;
    return frame;
}

/** Bytes and numbers that a broken or hostile camera could send. */
std::shared_ptr<FakeFrame> oddFrame() {
    auto frame = fullFrame();
    for (const std::string& bytes :
         {std::string("\0nul", 4), std::string("\x1b[31m\"\\\n"), std::string("\xFF\xC3\x28"),
          std::string(), std::string("caf\xC3\xA9"), std::string("\xED\xA0\x80")}) {
        auto code = std::make_shared<FakeCode>(bytes);
        code->type = -1;
        code->typeName = std::string("\xFE");
        code->points = {{-2147483647 - 1, 2147483647}, {0, 0}, {0, 0}, {0, 0}};
        frame->codes.push_back(code);
    }
    const float limits[] = {0.0F,
                            0.1F,
                            1e-30F,
                            3e38F,
                            std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN(),
                            -1.0F};
    for (const float ppm : limits) {
        auto code = std::make_shared<FakeCode>("p");
        code->ppm = ppm;
        frame->codes.push_back(code);
    }
    return frame;
}

void print(const kestro::Frame& frame, const std::string& image) {
    const kestrocli::FrameContext context{
        "Maker:S\xFF"
        "1",
        std::chrono::system_clock::now(), image};
    std::puts(kestrocli::resultLine(frame, context).c_str());
}

}  // namespace

int main() {
    print(FakeFrame(), "");
    print(*fullFrame(), "S1-00000007.png");
    print(*oddFrame(), "");
    for (std::uint32_t status = 0; status <= 11; ++status) {
        FakeFrame frame;
        frame.status = status;
        frame.jpeg = status % 2 == 0;
        frame.pixelFormat = status % 3 == 0 ? 0xFFFFFFFF : 0x01100007;
        print(frame, "");
    }
    return 0;
}
