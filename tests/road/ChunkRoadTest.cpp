// SPDX-License-Identifier: Apache-2.0
//
// Chunks with more and other than a camera should send, from the packets to the application's
// codes.
#include "../gige/Descriptions.h"
#include "../gige/FrameReceiver.h"
#include "FrameImpl.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kestro::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr unsigned kSlots = 64;
constexpr std::size_t kImageBytes = 1200;
constexpr std::uint16_t kImageWithChunks = 0x4001;
constexpr std::uint32_t kBarcodes = 0x80000000;
constexpr std::uint32_t kQrCodes = 0x80000001;

// One code: its kind 0..8, its data 8..24, four corners 24..56, its module size 56..60.
constexpr unsigned kFirstSlot = 8;
constexpr unsigned kSlotBytes = 60;
constexpr unsigned kDataAt = 8;
constexpr unsigned kCornersAt = 24;
constexpr unsigned kPpmAt = 56;

std::string node(const char* kind, const std::string& name, unsigned address, unsigned length,
                 const std::string& port) {
    return std::string("<") + kind + " Name=\"" + name + "\"><Address>" + std::to_string(address) +
           "</Address><Length>" + std::to_string(length) + "</Length><pPort>" + port +
           "</pPort><Sign>Signed</Sign><Endianess>BigEndian</Endianess></" + kind + ">\n";
}

/** A reader's chunk with kSlots places for codes. */
std::string readerNodes(const std::string& prefix, std::uint32_t id) {
    const std::string port = prefix + "Port";
    std::string xml = "<Port Name=\"" + port + "\"><ChunkID>" +
                      (id == kBarcodes ? "80000000" : "80000001") + "</ChunkID></Port>\n";
    xml += node("IntReg", prefix + "DetectTime", 0, 4, port);
    xml += "<IntReg Name=\"" + prefix + "Num\"><Address>4</Address><Length>4</Length><pPort>" +
           port + "</pPort><Endianess>BigEndian</Endianess></IntReg>\n";
    for (unsigned i = 0; i < kSlots; ++i) {
        const std::string code = prefix + std::to_string(i) + "_";
        const unsigned at = kFirstSlot + i * kSlotBytes;
        xml += node("StringReg", code + "CodeType", at, kDataAt, port);
        xml += node("StringReg", code + "CodeData", at + kDataAt, kCornersAt - kDataAt, port);
        for (unsigned j = 0; j < 4; ++j) {
            const std::string corner = code + "Point" + std::to_string(j);
            xml += node("IntReg", corner + "_X", at + kCornersAt + j * 8, 4, port);
            xml += node("IntReg", corner + "_Y", at + kCornersAt + j * 8 + 4, 4, port);
        }
        xml += node("FloatReg", code + "PPM", at + kPpmAt, 4, port);
    }
    return xml;
}

std::shared_ptr<const Vorda::Gige::PayloadLayout> readerLayout() {
    return std::make_shared<Vorda::Gige::PayloadLayout>(kestro::test::checked(
        R"(<RegisterDescription SchemaMajorVersion="1" SchemaMinorVersion="1"
             SchemaSubMinorVersion="0" ModelName="M" VendorName="V"><Category Name="Root"/>)" +
        readerNodes("BarCode", kBarcodes) + readerNodes("QR", kQrCodes) +
        "</RegisterDescription>"));
}

void appendText(Bytes& bytes, const std::string& text, std::size_t length) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.resize(bytes.size() + length - text.size());
}

/** A reader's results: all slots filled, code i with corners (i, -j). */
Bytes results(const char* kind, std::uint32_t announced, unsigned slots = kSlots) {
    Bytes bytes;
    appendBig(bytes, 1000, 4);
    appendBig(bytes, announced, 4);
    for (unsigned i = 0; i < slots; ++i) {
        appendText(bytes, kind, kDataAt);
        appendText(bytes, kind + std::to_string(i), kCornersAt - kDataAt);
        for (unsigned j = 0; j < 4; ++j) {
            appendBig(bytes, i, 4);
            appendBig(bytes, std::uint64_t{0} - j, 4);
        }
        appendBig(bytes, 0x40200000, 4);  // 2.5
    }
    return bytes;
}

Bytes payload(const Bytes& barcodes, const Bytes& qrCodes) {
    return joined(
        {chunk(1, content(kImageBytes, 1)), chunk(kBarcodes, barcodes), chunk(kQrCodes, qrCodes)});
}

void expectRead(const BarcodeInfo& code, const std::string& kind, int type, int index) {
    EXPECT_EQ(code.getCodeType(), type);
    EXPECT_EQ(code.getCodeTypeName(), kind);
    EXPECT_EQ(code.getCodeData(), kind + std::to_string(index));
    EXPECT_EQ(code.getPPM(), 2.5f);
    ASSERT_EQ(code.getPoints().size(), 4u);
    for (int j = 0; j < 4; ++j) {
        EXPECT_EQ(code.getPoints()[static_cast<std::size_t>(j)].x, index);
        EXPECT_EQ(code.getPoints()[static_cast<std::size_t>(j)].y, -j);
    }
}

void expectEmpty(const BarcodeInfo& code) {
    EXPECT_EQ(code.getCodeType(), -1);
    EXPECT_EQ(code.getCodeTypeName(), "");
    EXPECT_EQ(code.getCodeData(), "");
    EXPECT_EQ(code.getPPM(), 0.f);
    ASSERT_EQ(code.getPoints().size(), 4u);
    for (const Point& corner : code.getPoints()) EXPECT_EQ(corner.x | corner.y, 0);
}

class ChunkRoad : public testing::Test {
 protected:
    ChunkRoad() { RecordingLogger::instance().reset(); }
    std::vector<std::shared_ptr<BarcodeInfo>> codesOf(const Bytes& bytes) {
        const auto frame = FrameImpl::create(receiver_.receive(kImageWithChunks, bytes));
        EXPECT_TRUE(frame);
        if (!frame) return {};
        EXPECT_EQ(frame->getImageSize(), kImageBytes);
        return frame->getBarcodes();
    }

    FrameReceiver receiver_{readerLayout()};
};

TEST_F(ChunkRoad, BringsEveryCodeThatTheSlotsHold) {
    const auto codes = codesOf(payload(results("CODE128", kSlots), results("QR", kSlots)));
    ASSERT_EQ(codes.size(), 2 * kSlots);
    for (unsigned i = 0; i < kSlots; ++i) {
        expectRead(*codes[i], "CODE128", 4, static_cast<int>(i));
        expectRead(*codes[kSlots + i], "QR", 100, static_cast<int>(i));
    }
}

TEST_F(ChunkRoad, HasEmptyCodesWhereMoreAreAnnouncedThanSlotsHold) {
    const auto codes = codesOf(payload(results("CODE128", 70), results("QR", 70)));
    ASSERT_EQ(codes.size(), 140u);
    for (unsigned i = 0; i < 70; ++i) {
        if (i < kSlots) {
            expectRead(*codes[i], "CODE128", 4, static_cast<int>(i));
            expectRead(*codes[70 + i], "QR", 100, static_cast<int>(i));
        } else {
            expectEmpty(*codes[i]);
            expectEmpty(*codes[70 + i]);
        }
    }
    EXPECT_THAT(RecordingLogger::instance().lines(300, 400), IsEmpty());
}

TEST_F(ChunkRoad, HasNothingOfACodeThatIsCutOff) {
    Bytes cut = results("CODE128", 3, 3);
    cut.resize(kFirstSlot + 2 * kSlotBytes + kCornersAt);
    const auto codes = codesOf(payload(cut, {}));
    ASSERT_EQ(codes.size(), 3u);
    expectRead(*codes[1], "CODE128", 4, 1);
    EXPECT_EQ(codes[2]->getCodeData(), "CODE1282");  // it came whole, its corners did not
    EXPECT_EQ(codes[2]->getPoints()[3].x, 0);
    EXPECT_THAT(codesOf(payload(Bytes(3), Bytes(7))), IsEmpty());
}

TEST_F(ChunkRoad, LosesOneFramesResultsToABrokenPayload) {
    Bytes broken = payload(results("CODE128", 2, 2), results("QR", 2, 2));
    broken[broken.size() - 1] ^= 0x40;  // the length of the last chunk
    EXPECT_THAT(codesOf(broken), IsEmpty());
    EXPECT_EQ(codesOf(payload(results("CODE128", 2, 2), results("QR", 2, 2))).size(), 4u);
}

TEST_F(ChunkRoad, BelievesNoAbsurdCount) {
    const auto codes = codesOf(payload(results("CODE128", 0xffffffff, 1), results("QR", 1, 1)));
    ASSERT_EQ(codes.size(), 65536u + 1);
    expectRead(*codes.front(), "CODE128", 4, 0);
    expectEmpty(*codes[65535]);
    expectRead(*codes.back(), "QR", 100, 0);
    EXPECT_THAT(RecordingLogger::instance().lines(300, 300), ElementsAre(HasSubstr("4294967295")));
}

}  // namespace
}  // namespace kestro::test
