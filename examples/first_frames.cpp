#include <kestro/kestro.h>

#include <cstdio>

int main() {
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    if (!kestro::System::getInstance().discovery(cameras, 0) || cameras.empty()) return 3;
    const std::shared_ptr<kestro::Camera> camera = cameras.front();
    if (!camera->connect() || !camera->startGrabbing(0)) return 1;  // the log says why
    for (int frames = 0; frames < 3;) {
        const std::shared_ptr<kestro::Frame> frame = camera->getFrame(2000);
        if (!frame) return 5;
        std::printf("frame %d: %u x %u\n", ++frames, frame->getWidth(), frame->getHeight());
        for (const auto& code : frame->getBarcodes()) {
            std::printf("  %-9s %s\n", code->getCodeTypeName().c_str(),
                        code->getCodeData().c_str());
        }
    }
    camera->stopGrabbing();
    camera->disconnect();
}
