// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace kestro::test {

/** One UDP datagram of a capture; addresses and ports in host byte order. */
struct UdpDatagram {
    std::uint32_t sourceAddress = 0;
    std::uint32_t destinationAddress = 0;
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::vector<std::uint8_t> payload;
};

/**
 * Reads the UDP datagrams of a capture file: classic pcap, little endian, link type Ethernet, IPv4
 * without fragments. Throws std::runtime_error for anything that is no such file.
 */
class PcapReader {
 public:
    static std::vector<UdpDatagram> read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        PcapReader reader;
        reader.bytes_.assign(std::istreambuf_iterator<char>(file), {});
        if (reader.little32(0) != 0xa1b2c3d4 && reader.little32(0) != 0xa1b23c4d)
            throw std::runtime_error("no little-endian pcap file: " + path);
        if (reader.little32(20) != 1)
            throw std::runtime_error("link type is not Ethernet: " + path);
        std::vector<UdpDatagram> datagrams;
        for (std::size_t at = 24; at < reader.bytes_.size();) {
            const std::size_t frameBytes = reader.little32(at + 8);
            reader.addUdp(at + 16, frameBytes, datagrams);
            at += 16 + frameBytes;
        }
        return datagrams;
    }

 private:
    [[nodiscard]] std::uint32_t byte(std::size_t at) const {
        if (at >= bytes_.size()) throw std::runtime_error("capture file is cut");
        return static_cast<std::uint8_t>(bytes_[at]);
    }
    [[nodiscard]] std::uint32_t little32(std::size_t at) const {
        return byte(at) | byte(at + 1) << 8 | byte(at + 2) << 16 | byte(at + 3) << 24;
    }
    [[nodiscard]] std::uint16_t big16(std::size_t at) const {
        return static_cast<std::uint16_t>(byte(at) << 8 | byte(at + 1));
    }
    [[nodiscard]] std::uint32_t big32(std::size_t at) const {
        return static_cast<std::uint32_t>(big16(at)) << 16 | big16(at + 2);
    }

    void addUdp(std::size_t frame, std::size_t frameBytes,
                std::vector<UdpDatagram>& datagrams) const {
        constexpr std::size_t kEthernetBytes = 14;
        constexpr std::size_t kUdpHeaderBytes = 8;
        constexpr std::uint32_t kUdp = 17;
        const std::size_t ip = frame + kEthernetBytes;
        if (frameBytes < kEthernetBytes + 20 || big16(frame + 12) != 0x0800) return;
        if (byte(ip + 9) != kUdp) return;
        const std::size_t udp = ip + (byte(ip) & 15) * 4;
        const std::size_t udpBytes = big16(udp + 4);
        if (udpBytes < kUdpHeaderBytes || udp + udpBytes > frame + frameBytes)
            throw std::runtime_error("capture holds a cut datagram");
        UdpDatagram datagram;
        datagram.sourceAddress = big32(ip + 12);
        datagram.destinationAddress = big32(ip + 16);
        datagram.sourcePort = big16(udp);
        datagram.destinationPort = big16(udp + 2);
        for (std::size_t at = udp + kUdpHeaderBytes; at < udp + udpBytes; ++at)
            datagram.payload.push_back(static_cast<std::uint8_t>(byte(at)));
        datagrams.push_back(std::move(datagram));
    }

    std::vector<char> bytes_;
};

}  // namespace kestro::test
