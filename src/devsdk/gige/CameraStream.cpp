// SPDX-License-Identifier: Apache-2.0
//
// What a stream asks of a GigeCamera.
#include "DeviceLog.h"
#include "Environment.h"
#include "GigeCamera.h"
#include "Gvcp.h"
#include "LastError.h"
#include "PacketSize.h"

#include <limits>
#include <string>

namespace Vorda::Gige {

namespace {

/** True where the camera says so by the standard's feature. */
bool sendsChunks(const Features& features) {
    const KeepLastError none;
    const char* const name = "ChunkModeActive";
    bool isActive = false;
    return features.has(name) && features.getBoolean(name, isActive) && isActive;
}

}  // namespace

Ipv4 GigeCamera::cameraAddress() const {
    const auto current = connection();
    return current ? current->location.address : location().address;
}

Ipv4 GigeCamera::hostAddress() const {
    const auto current = connection();
    return current ? current->location.via.address : location().via.address;
}

bool GigeCamera::openStreamChannel(StreamInlet& inlet, StreamSetup& setup) {
    const auto current = onlineConnection();
    if (!current) return false;
    // Two objects of one camera share the connection, and with it the one channel.
    if (current->streamOpen.exchange(true))
        return fail(Error::alreadyGrabbing, "another stream of this camera is grabbing");
    if (setUpStream(*current, inlet, setup)) return true;
    closeStreamChannel();
    return false;
}

bool GigeCamera::setUpStream(const Connection& connection, StreamInlet& inlet, StreamSetup& setup) {
    if (!pointStream(connection, inlet) || !sizePackets(connection, inlet, setup.packetBytes))
        return false;
    // Last, for a camera may count in whole packets.
    std::int64_t payloadBytes = 0;
    if (!connection.features->getInteger("PayloadSize", payloadBytes)) return false;
    if (payloadBytes <= 0 || payloadBytes > std::numeric_limits<std::uint32_t>::max())
        return fail(Error::badAnswer,
                    "PayloadSize " + std::to_string(payloadBytes) + " is no size of an image");
    setup.payloadBytes = static_cast<std::uint32_t>(payloadBytes);
    setup.canResend = connection.canResend;
    setup.layout = connection.layout;
    // Not when the first frame is taken apart: the ones behind it would wait.
    if (sendsChunks(*connection.features)) connection.layout->prepare();
    setup.extendedIds = false;
    setup.inBatches = Environment::receivesBatches();
    return true;
}

bool GigeCamera::pointStream(const Connection& connection, StreamInlet& inlet) {
    ControlChannel& channel = *connection.channel;
    const std::uint32_t host = connection.location.via.address.value;
    if (!channel.writeRegister(Gvcp::Register::kStreamDestination, host) ||
        !channel.writeRegister(Gvcp::Register::kStreamPort, inlet.port()))
        return false;
    // Cameras of the standard's first version do not have the register.
    const KeepLastError none;
    std::uint32_t cameraPort = 0;
    if (channel.readRegister(Gvcp::Register::kStreamSourcePort, cameraPort))
        inlet.openFirewall(static_cast<std::uint16_t>(cameraPort));
    return true;
}

bool GigeCamera::sizePackets(const Connection& connection, StreamInlet& inlet,
                             std::uint32_t& packetBytes) {
    PacketSize chosen;
    const PacketSizeBasis basis{connection.location.via.mtuBytes,
                                connection.port->hasSetPacketSize(),
                                packetSizeLimits(*connection.features)};
    if (!choosePacketSize(*connection.channel, inlet, basis, chosen)) return false;
    packetBytes = chosen.bytes;
    GIGE_TRACE("The packets of the stream of [%s] have %I64u bytes: %s", getKey(),
               std::uint64_t{chosen.bytes}, chosen.reason);
    if (chosen.isChanged && connection.isWatched && connection.features->has(kPacketSizeFeature))
        postUpdates({kPacketSizeFeature});
    return true;
}

void GigeCamera::closeStreamChannel() {
    const KeepLastError quiet;
    const auto current = onlineConnection();
    if (!current || !current->streamOpen.exchange(false)) return;
    [[maybe_unused]] const bool closed =
        current->channel->writeRegister(Gvcp::Register::kStreamPort, 0);
}

bool GigeCamera::startAcquisition() {
    const auto current = onlineConnection();
    if (!current) return false;
    current->features->lockTransport(true);
    if (current->features->execute("AcquisitionStart")) return true;
    const KeepLastError why;
    current->features->lockTransport(false);
    return false;
}

bool GigeCamera::stopAcquisition() {
    const auto current = onlineConnection();
    if (!current) return false;
    const bool stopped = current->features->execute("AcquisitionStop");
    const KeepLastError why;
    current->features->lockTransport(false);
    return stopped;
}

void GigeCamera::requestResend(const ResendRequest& request) {
    if (const auto current = connection()) current->channel->requestResend(request);
}

}  // namespace Vorda::Gige
