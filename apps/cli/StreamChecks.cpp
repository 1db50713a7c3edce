// SPDX-License-Identifier: Apache-2.0
//
// What is made of the facts of a trial.
#include "CameraChecks.h"
#include "HostChecks.h"
#include "Ipv4Text.h"
#include "StreamTrial.h"
#include "Text.h"

#include <algorithm>

namespace kestrocli {
namespace {

/** What lets the camera's packets in. */
std::string firewallMend(const Host& host, const CameraRecord& camera) {
    const HostAddress* const here = addressTowards(host, camera);
    const std::string card = visible(camera.interfaceName);
    const std::string subnet =
        here == nullptr ? camera.ip : dotted(here->address & here->mask, here->mask);
    if (isUfwOn(host)) return "sudo ufw allow in on " + card + " proto udp from " + subnet;
    // Whoever manages the rules writes them anew some time, and one of ours would be gone.
    if (isFirewalldOn(host)) {
        return "sudo firewall-cmd --permanent --zone=trusted --add-source=" + subnet +
               " && sudo firewall-cmd --reload";
    }
    return "sudo nft insert rule inet filter input iifname " + card + " ip saddr " + subnet +
           " meta l4proto udp accept";
}

std::string during(const StreamFacts& facts) { return " in " + fixed(facts.seconds, 1) + " s"; }

bool hasPackets(const StreamFacts& facts) {
    return facts.frames != 0 || facts.framesLost != 0 || facts.packetsLost != 0;
}

Finding checkArrival(const Host& host, const StreamFacts& facts) {
    const std::string name = "stream";
    const std::string camera = nameOf(facts.camera);
    if (!facts.startError.empty()) {
        return {Verdict::fail, name, facts.startError, "kestro -v read " + camera + " tells more"};
    }
    if (hasPackets(facts)) {
        return {
            Verdict::pass,
            name,
            "packets come in" +
                std::string(facts.trigger.empty() ? "" : " (triggered by " + facts.trigger + ")"),
            {}};
    }
    if (!facts.trigger.empty()) {
        return {Verdict::skip, name,
                "it waits for a trigger (" + facts.trigger + "), none came" + during(facts),
                "kestro doctor " + camera + " --free-run switches triggers off meanwhile"};
    }
    return {Verdict::fail, name,
            "it runs, but not a packet came" + during(facts) +
                ": a firewall or the routing of this host",
            firewallMend(host, facts.camera)};
}

/** What the way could take: the smaller of card and camera; 0 when one is not known. */
std::int64_t possibleBytes(const Host& host, const StreamFacts& facts) {
    const HostAddress* const here = addressTowards(host, facts.camera);
    return here == nullptr ? 0 : std::min(here->mtuBytes, facts.mostPacketBytes);
}

Finding checkPacketSize(const Host& host, const StreamFacts& facts) {
    constexpr std::int64_t kStep = 64;  // a camera may take only multiples of some number
    const std::string name = "packet size";
    const std::string card = visible(facts.camera.interfaceName);
    if (facts.packetBytes == 0) {
        return {Verdict::skip, name, "the camera has no GevSCPSPacketSize", {}};
    }
    const std::string seen = std::to_string(facts.packetBytes) + " bytes";
    if (!hasPackets(facts)) {
        return {
            Verdict::skip, name, seen + " are set, no frame has shown that they get through", {}};
    }
    const std::int64_t possible = possibleBytes(host, facts);
    if (facts.packetBytes + kStep > possible) {
        return {Verdict::pass, name, seen + ", all that " + card + " and the camera take", {}};
    }
    const std::string ping =
        "ping -M do -s " + std::to_string(possible - 28) + " " + facts.camera.ip;
    return {Verdict::warn, name,
            seen + ", though " + card + " and the camera take " + std::to_string(possible) +
                ": something between them does not",
            "switch jumbo frames on at each switch; " + ping + " is answered then"};
}

Finding checkBufferFor(const Host& host, const StreamFacts& facts) {
    const std::string name = "stream buffer";
    if (facts.payloadBytes == 0) return {Verdict::skip, name, "the camera has no PayloadSize", {}};
    const std::uint64_t wanted = wantedBuffer(facts.payloadBytes);
    const std::string seen =
        sizeText(wanted) + " wanted for frames of " + sizeText(facts.payloadBytes);
    if (host.grantedBuffer >= wanted) return {Verdict::pass, name, seen + " and granted", {}};
    return {Verdict::warn, name, seen + ", " + sizeText(host.grantedBuffer) + " granted",
            bufferMend()};
}

std::string lossMend(const Host& host, const StreamFacts& facts) {
    constexpr std::int64_t kGigabit = 1000;
    const std::string card = visible(facts.camera.interfaceName);
    const std::int64_t speed = host.cardNumber(facts.camera.interfaceName, "speed").value_or(0);
    if (facts.hostDrops > 0 && host.grantedBuffer < wantedBuffer(facts.payloadBytes)) {
        return bufferMend();
    }
    if (facts.hostDrops > 0)
        return "end other programs, or larger packets: sudo ip link set " + card + " mtu 9000";
    if (speed > 0 && speed < kGigabit) return "another cable or switch port: ethtool " + card;
    const std::string look = "cables, switches: ip -s link show " + card;
    if (facts.frameRate < 2) return look;
    return look + "; or less at once: kestro set " + nameOf(facts.camera) +
           " AcquisitionFrameRate=" + std::to_string(facts.frameRate / 2);
}

std::string resent(const StreamFacts& facts) {
    return counted(facts.packetsResent, "packet") + " came only after " +
           counted(facts.resendRequests, "request");
}

Finding checkLoss(const Host& host, const StreamFacts& facts) {
    const std::string name = "losses";
    const std::string drops =
        facts.hostDrops == 0
            ? ""
            : "; this host dropped " + counted(facts.hostDrops, "packet") + " for want of buffer";
    if (!hasPackets(facts)) return {Verdict::skip, name, "no packet came", {}};
    const std::string frames = counted(facts.frames, "frame") + during(facts);
    if (facts.framesLost != 0 || facts.packetsLost != 0) {
        return {Verdict::fail, name,
                frames + ", " + std::to_string(facts.framesLost) + " lost; " +
                    counted(facts.packetsLost, "packet") + " lost, " + resent(facts) + drops,
                lossMend(host, facts)};
    }
    if (facts.packetsResent != 0 || facts.resendRequests != 0) {
        return {Verdict::warn, name, frames + ", none lost, but " + resent(facts) + drops,
                lossMend(host, facts)};
    }
    return {Verdict::pass, name, frames + ", no packet lost", {}};
}

}  // namespace

Findings checkStream(const Host& host, const StreamFacts& facts) {
    Findings findings = {checkArrival(host, facts)};
    if (!facts.startError.empty()) return findings;
    findings.push_back(checkPacketSize(host, facts));
    findings.push_back(checkBufferFor(host, facts));
    findings.push_back(checkLoss(host, facts));
    return findings;
}

}  // namespace kestrocli
