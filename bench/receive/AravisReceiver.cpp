// SPDX-License-Identifier: Apache-2.0
//
// Receives with Aravis: a thread for each stream takes the frames and notes the time. The word
// "ring" has it receive through a packet socket, else it does through a UDP socket.
#include "Account.h"
#include "Processor.h"
#include "ReceiveBuffer.h"
#include "ReceiverOptions.h"

#include <arv.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kestro::bench;

constexpr guint64 kFrameWait = 100'000;  // microseconds

void orGiveUp(GError* error) {
    if (error) giveUp(error->message);
}

/** The same as this library asks the kernel for. */
std::uint64_t receiveBufferFor(std::uint64_t payloadBytes) {
    return std::clamp<std::uint64_t>(4 * payloadBytes, 4 << 20, 32 << 20);
}

class Stream {
 public:
    Stream(std::size_t camera, const ReceiverOptions& options, HandOvers& handOvers)
        : handOvers_(handOvers), camera_(open(camera, options)) {
        GError* error = nullptr;
        stream_ = arv_camera_create_stream(camera_, nullptr, nullptr, &error);
        orGiveUp(error);
        giveBuffers(options.buffers);
        arv_camera_start_acquisition(camera_, &error);
        orGiveUp(error);
        taker_ = std::thread([this] { take(); });
    }
    ~Stream() {
        isOver_ = true;
        taker_.join();
        arv_camera_stop_acquisition(camera_, nullptr);
        g_object_unref(stream_);
        g_object_unref(camera_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    [[nodiscard]] std::uint64_t receiveBuffer() const { return receiveBuffer_; }
    void addTo(Received& sum) const {
        sum.frames += info("n_completed_buffers");
        sum.badFrames += info("n_failures") + info("n_underruns") + info("n_missing_frames");
        sum.missingPackets += info("n_missing_packets");
        sum.resendRequests += info("n_resend_requests");
        sum.resentPackets += info("n_resent_packets");
        sum.packets += info("n_received_packets");
    }

 private:
    static ArvCamera* open(std::size_t camera, const ReceiverOptions& options) {
        GError* error = nullptr;
        ArvCamera* const opened = arv_camera_new(cameraAddress(camera).c_str(), &error);
        orGiveUp(error);
        // The camera itself is silent: it waits for a trigger that never comes.
        arv_camera_set_trigger(opened, "Software", &error);
        orGiveUp(error);
        arv_camera_gv_set_packet_size(opened, options.packetBytes, &error);
        orGiveUp(error);
        if (options.word != "ring")
            arv_camera_gv_set_stream_options(opened, ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        return opened;
    }

    void giveBuffers(int count) {
        GError* error = nullptr;
        const guint payload = arv_camera_get_payload(camera_, &error);
        orGiveUp(error);
        // It would ask for no more than net.core.rmem_max, and then only at the first frame.
        g_object_set(stream_, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED,
                     "socket-buffer-size", 0, nullptr);
        receiveBuffer_ = forceReceiveBuffer(arv_gv_stream_get_port(ARV_GV_STREAM(stream_)),
                                            receiveBufferFor(payload));
        for (int i = 0; i < count; ++i)
            arv_stream_push_buffer(stream_, arv_buffer_new(payload, nullptr));
    }

    void take() {
        while (!isOver_) {
            ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(stream_, kFrameWait);
            if (!buffer) continue;
            if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS)
                handOvers_.record(arv_buffer_get_frame_id(buffer));
            arv_stream_push_buffer(stream_, buffer);
        }
    }

    [[nodiscard]] std::uint64_t info(const char* name) const {
        return arv_stream_get_info_uint64_by_name(stream_, name);
    }

    HandOvers& handOvers_;
    ArvCamera* camera_;
    ArvStream* stream_ = nullptr;
    std::uint64_t receiveBuffer_ = 0;
    std::atomic<bool> isOver_{false};
    std::thread taker_;
};

using Streams = std::vector<std::unique_ptr<Stream>>;

Received sumOf(const Streams& streams) {
    Received sum;
    for (const auto& stream : streams) stream->addTo(sum);
    return sum;
}

}  // namespace

int main(int count, char** words) {
    const ReceiverOptions options = receiverOptions(count, words);
    stayOn(options.cpu);
    std::vector<HandOvers> handOvers(options.cameras);
    Streams streams;
    for (std::size_t i = 0; i < options.cameras; ++i)
        streams.push_back(std::make_unique<Stream>(i, options, handOvers[i]));
    giveAccount([&streams] { return sumOf(streams); }, handOvers,
                "\"receive_buffer\":" + std::to_string(streams.front()->receiveBuffer()));
}
