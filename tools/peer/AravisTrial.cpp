// SPDX-License-Identifier: Apache-2.0
//
// aravis_trial ADDRESS PACKET_BYTES [packet-socket]: streams until its standard input ends, then
// closes. Receives through a UDP socket, as Aravis does for programs without special rights.
#include "Trial.h"

#include <arv.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int kBuffers = 16;
constexpr guint64 kFrameWait = 100'000;  // microseconds

struct Counts {
    long long good = 0;
    long long bad = 0;
};

bool inputHasEnded() {
    pollfd waiting{STDIN_FILENO, POLLIN | POLLHUP, 0};
    char unused = 0;
    return ::poll(&waiting, 1, 0) > 0 && ::read(STDIN_FILENO, &unused, 1) <= 0;
}

void onLost(ArvDevice*, void*) { trial::say("lost"); }

void orGiveUp(GError* error) {
    if (error) trial::giveUp(error->message);
}

ArvCamera* open(const char* address, int packetBytes, bool isByPacketSocket) {
    GError* error = nullptr;
    ArvCamera* const camera = arv_camera_new(address, &error);
    orGiveUp(error);
    arv_camera_gv_set_packet_size(camera, packetBytes, &error);
    orGiveUp(error);
    if (!isByPacketSocket)
        arv_camera_gv_set_stream_options(camera, ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    g_signal_connect(arv_camera_get_device(camera), "control-lost", G_CALLBACK(onLost), nullptr);
    return camera;
}

ArvStream* start(ArvCamera* camera) {
    GError* error = nullptr;
    ArvStream* const stream = arv_camera_create_stream(camera, nullptr, nullptr, &error);
    orGiveUp(error);
    // As large as the kernel lets a program without special rights have it.
    g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                 4 << 20, nullptr);
    const guint payload = arv_camera_get_payload(camera, &error);
    orGiveUp(error);
    for (int i = 0; i < kBuffers; ++i)
        arv_stream_push_buffer(stream, arv_buffer_new(payload, nullptr));
    arv_camera_start_acquisition(camera, &error);
    orGiveUp(error);
    return stream;
}

void count(ArvStream* stream, Counts& counts, ArvBuffer* buffer) {
    ++(arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS ? counts.good : counts.bad);
    arv_stream_push_buffer(stream, buffer);
}

}  // namespace

int main(int wordCount, char** words) {
    if (wordCount != 3 && wordCount != 4)
        trial::giveUp("aravis_trial ADDRESS PACKET_BYTES [packet-socket]");
    ArvCamera* const camera = open(words[1], std::atoi(words[2]), wordCount == 4);
    ArvStream* const stream = start(camera);
    trial::say("streaming");
    Counts counts;
    while (!inputHasEnded()) {
        if (ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(stream, kFrameWait))
            count(stream, counts, buffer);
    }
    trial::say("closing");
    arv_camera_stop_acquisition(camera, nullptr);
    g_object_unref(stream);
    g_object_unref(camera);
    trial::say("closed");
    std::printf("frames %lld %lld\n", counts.good, counts.bad);
}
