// SPDX-License-Identifier: Apache-2.0
//
// What a stream asks of a GigeCamera.
#include "Environment.h"
#include "GigeCamera.h"
#include "Gvcp.h"
#include "HeldLines.h"
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

/** Also of streams that are being destroyed. */
bool areSame(const std::weak_ptr<LinkedStream>& one, const std::weak_ptr<LinkedStream>& other) {
    return !one.owner_before(other) && !other.owner_before(one);
}

}  // namespace

/** A stream is resumed before the application sees the connection that it is resumed on. */
std::shared_ptr<GigeCamera::Connection> GigeCamera::streamConnection() const {
    const std::lock_guard lock(mutex_);
    return restoring_ ? restoring_ : connection_;
}

std::shared_ptr<GigeCamera::Connection> GigeCamera::onlineStreamConnection() const {
    return ifOnline(streamConnection());
}

Ipv4 GigeCamera::cameraAddress() const {
    const auto current = streamConnection();
    return current ? current->location.address : location().address;
}

Ipv4 GigeCamera::hostAddress() const {
    const auto current = streamConnection();
    return current ? current->location.via.address : location().via.address;
}

bool GigeCamera::openStreamChannel(StreamInlet& inlet, StreamSetup& setup,
                                   const std::weak_ptr<LinkedStream>& stream) {
    const auto current = onlineStreamConnection();
    if (!current) return false;
    if (!claimChannel(*current, stream))
        return fail(Error::alreadyGrabbing, "another stream of this camera is grabbing");
    if (!setUpStream(*current, inlet, setup)) {
        shutStreamChannel(*current);
        return false;
    }
    const std::lock_guard lock(mutex_);
    // One that was lost meanwhile and is there again looked for its stream too early.
    if (current != (restoring_ ? restoring_ : connection_))
        return fail(Error::connectionLost, "the connection to the camera is lost");
    stream_ = stream;
    return true;
}

/**
 * Two objects of one camera share the connection, and with it the one channel; a stream keeps it
 * while the camera is away.
 */
bool GigeCamera::claimChannel(Connection& connection, const std::weak_ptr<LinkedStream>& stream) {
    const std::lock_guard lock(mutex_);
    const bool isOthers = !areSame(stream_, stream) && !stream_.expired();
    if (isOthers || connection.streamOpen.exchange(true)) return false;
    // One that is just being destroyed must not close what is another's now.
    if (!areSame(stream_, stream)) stream_.reset();
    return true;
}

bool GigeCamera::hasChannel(const std::weak_ptr<LinkedStream>& stream) const {
    const std::lock_guard lock(mutex_);
    return areSame(stream_, stream);
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
    setup.layout = connection.model->layout();
    // Not when the first frame is taken apart: the ones behind it would wait.
    if (sendsChunks(*connection.features)) connection.model->layout()->prepare();
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
    GIGE_LOG_WHEN_FREE(kTrace, "The packets of the stream of [" + key_ + "] have " +
                                   std::to_string(chosen.bytes) + " bytes: " + chosen.reason);
    if (chosen.isChanged && connection.isWatched && connection.features->has(kPacketSizeFeature))
        postUpdates({kPacketSizeFeature});
    return true;
}

void GigeCamera::closeStreamChannel(const std::weak_ptr<LinkedStream>& stream) {
    const KeepLastError quiet;
    {
        const std::lock_guard lock(mutex_);
        if (!areSame(stream_, stream)) return;
        stream_.reset();
    }
    if (const auto current = onlineStreamConnection()) shutStreamChannel(*current);
}

void GigeCamera::shutStreamChannel(Connection& connection) {
    const KeepLastError quiet;
    if (!connection.streamOpen) return;
    static_cast<void>(connection.channel->writeRegister(Gvcp::Register::kStreamPort, 0));
    connection.streamOpen = false;  // not before: the 0 would close the port of the next stream
}

bool GigeCamera::startAcquisition() {
    const auto current = onlineStreamConnection();
    if (!current) return false;
    current->features->lockTransport(true);
    if (current->features->execute("AcquisitionStart")) return true;
    const KeepLastError why;
    current->features->lockTransport(false);
    return false;
}

bool GigeCamera::stopAcquisition(const std::weak_ptr<LinkedStream>& stream) {
    if (!hasChannel(stream)) return true;
    const auto current = onlineStreamConnection();
    return current && stopAcquisition(*current);
}

bool GigeCamera::stopAcquisition(const Connection& connection) {
    const bool stopped = connection.features->execute("AcquisitionStop");
    const KeepLastError why;
    connection.features->lockTransport(false);
    return stopped;
}

void GigeCamera::requestResend(const ResendRequest& request) {
    if (const auto current = streamConnection()) current->channel->requestResend(request);
}

}  // namespace Vorda::Gige
