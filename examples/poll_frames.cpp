// SPDX-License-Identifier: Apache-2.0
//
// Asks the first camera for three frames, one after the other, and prints the codes that it read
// in them. With `kestro sim --seed 7` in another terminal you should see:
//
//     block 1: 1280 x 1024, codes: 2
//         CODE39: P9330.87
//         PDF417: ORDER 28481263; BOX 1/6
//     block 2: 1280 x 1024, codes: 5
//         CODABARAB: 922281766
//         CODE128: LOT546671
//         ITF25: 22413652079195
//         QR: 北京 75810
//         QR: Σύρος 46704
//     block 3: 1280 x 1024, codes: 1
//         ITF25: 22385937021451
#include <kestro/kestro.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

// Why stands in the log (stderr, unless configured); only a search that fails writes nothing.
static bool isDone(const char* what, const kestro::Result& result) {
    if (!result) std::fprintf(stderr, "%s failed with code %d\n", what, result.getCode());
    return result.isOK();
}

static std::shared_ptr<kestro::Camera> findCamera() {
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    if (!isDone("the search", kestro::System::getInstance().discovery(cameras, 0))) return nullptr;
    if (cameras.empty()) std::fprintf(stderr, "no camera found\n");
    return cameras.empty() ? nullptr : cameras.front();
}

// A frame is a copy of its own, and the codes share its life: keep them as long as you like.
static void print(const kestro::Frame& frame) {
    const auto codes = frame.getBarcodes();
    std::printf("block %llu: %u x %u, codes: %zu\n",
                static_cast<unsigned long long>(frame.getBlockId()), frame.getWidth(),
                frame.getHeight(), codes.size());
    for (const auto& code : codes) {
        std::printf("    %s: %s\n", code->getCodeTypeName().c_str(), code->getCodeData().c_str());
    }
}

static bool readFrames(kestro::Camera& camera, int count) {
    if (!isDone("the start", camera.startGrabbing(0))) return false;
    for (int i = 0; i < count; ++i) {
        const std::shared_ptr<kestro::Frame> frame = camera.getFrame(2000);
        if (!frame) {  // a camera that waits for a trigger is no failure: ask again
            std::fprintf(stderr, camera.isConnected() ? "no frame in 2 s\n" : "camera lost\n");
            return false;
        }
        print(*frame);
    }
    return true;
}

int main() {
    const std::shared_ptr<kestro::Camera> camera = findCamera();
    if (!camera || !isDone("the connection", camera->connect())) return EXIT_FAILURE;
    const bool isRead = readFrames(*camera, 3);
    camera->disconnect();  // stops it first
    return isRead ? EXIT_SUCCESS : EXIT_FAILURE;
}
