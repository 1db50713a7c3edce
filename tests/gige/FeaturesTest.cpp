// SPDX-License-Identifier: Apache-2.0
#include "Features.h"

#include "LastError.h"
#include "MemoryPort.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

namespace Vorda::Gige {
namespace {

using namespace std::string_literals;
using kestro::test::MemoryPort;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Names = std::vector<std::string>;

constexpr std::uint64_t kWidth = 0x1004;
constexpr std::uint64_t kOffsetX = 0x1008;
constexpr std::uint64_t kPixelFormat = 0x100c;
constexpr std::uint64_t kReverseX = 0x1010;
constexpr std::uint64_t kBinning = 0x1014;
constexpr std::uint64_t kHasMono10 = 0x1018;
constexpr std::uint64_t kHasBinning = 0x101c;
constexpr std::uint64_t kAcquisitionStart = 0x1020;
constexpr std::uint64_t kExposureTime = 0x1028;
constexpr std::uint64_t kTransportLock = 0x1030;
constexpr std::uint64_t kGainSelector = 0x1034;
constexpr std::uint64_t kTemperature = 0x1040;
constexpr std::uint64_t kFlags = 0x1048;
constexpr std::uint64_t kSigned = 0x104c;
constexpr std::uint64_t kUserId = 0x2000;

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

std::string featuresDescription() {
    std::ifstream file(KESTRO_GOLDEN_DIR "/features.xml", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}


/** The features of the description of tests/golden over the memory of a camera. */
class FeaturesOfACamera : public testing::Test {
 protected:
    void SetUp() override {
        camera->setNumber(0x1000, 2448);
        camera->setNumber(kWidth, 1280);
        camera->setNumber(kPixelFormat, 0x01080001);
        camera->setNumber(kReverseX, 3);
        camera->setNumber(kExposureTime, 50000);
        camera->setNumber(0x102c, 1000);
        sources.camera = camera;
        sources.description = featuresDescription();
        sources.onChanged = [this](const Names& names) { changes.push_back(names); };
        sources.onListed = [this] { ++listings; };
        make();
    }
    void make() {
        features = Features::make(sources);
        ASSERT_TRUE(features) << lastErrorMessage();
        static_cast<void>(camera->takeAccesses());
    }
    std::string text(const std::string& name) const {
        std::string value;
        return features->getText(name, value) ? value : "error: " + lastErrorMessage();
    }
    Names children(const std::string& name) const {
        Names names;
        EXPECT_TRUE(features->getChildren(name, names)) << lastErrorMessage();
        return names;
    }

    std::shared_ptr<MemoryPort> camera = std::make_shared<MemoryPort>();
    FeatureSources sources;
    std::shared_ptr<Features> features;
    std::vector<Names> changes;
    int listings = 0;
};

TEST_F(FeaturesOfACamera, AreOfTheirKinds) {
    const std::pair<const char*, FeatureKind> kinds[] = {
        {"Root", FeatureKind::category},         {"Width", FeatureKind::integer},
        {"WidthMax", FeatureKind::integer},      {"PixelFormat", FeatureKind::enumeration},
        {"ReverseX", FeatureKind::boolean},      {"AcquisitionStart", FeatureKind::command},
        {"ExposureTime", FeatureKind::floating}, {"FrameRate", FeatureKind::floating},
        {"LineHeight", FeatureKind::floating},   {"DeviceUserID", FeatureKind::text},
        {"DeviceModelName", FeatureKind::text},  {"HighFlags", FeatureKind::integer},
        {"Device1", FeatureKind::unknown},       {"Nothing", FeatureKind::unknown},
        {"Mono8", FeatureKind::unknown}};
    for (const auto& [name, kind] : kinds) EXPECT_EQ(kind, features->kind(name)) << name;
}

TEST_F(FeaturesOfACamera, HaveValuesAsText) {
    camera->setNumber(kTemperature, 0x4042800000000000, 8);  // 37.0
    camera->setNumber(kFlags, 0xabcd000f);
    camera->setNumber(kSigned, 0xfffe, 2);
    camera->set(kUserId, "left\0junk"s);
    const std::pair<const char*, const char*> values[] = {
        {"Width", "1280"},           {"WidthMax", "2448"},
        {"PayloadSize", "128000"},   {"PixelFormat", "Mono8"},
        {"ReverseX", "0"},           {"ExposureTime", "5000"},
        {"FrameRate", "200"},        {"LineHeight", "1000"},
        {"DeviceTemperature", "37"}, {"Flags", "15"},
        {"HighFlags", "43981"},      {"Signed", "-2"},
        {"ScratchPad", "11"},        {"DeviceModelName", "Features"},
        {"DeviceUserID", "left"}};
    for (const auto& [name, value] : values) EXPECT_EQ(value, text(name)) << name;
}

TEST_F(FeaturesOfACamera, AreWritten) {
    EXPECT_TRUE(features->setInteger("Width", 640)) << lastErrorMessage();
    EXPECT_EQ(640u, camera->number(kWidth));
    EXPECT_TRUE(features->setFloat("ExposureTime", 12.5)) << lastErrorMessage();
    EXPECT_EQ(125u, camera->number(kExposureTime));
    EXPECT_TRUE(features->setEnumeration("PixelFormat", "BayerRG8")) << lastErrorMessage();
    EXPECT_EQ(0x01080009u, camera->number(kPixelFormat));
    EXPECT_TRUE(features->setBoolean("ReverseX", true)) << lastErrorMessage();
    EXPECT_EQ(5u, camera->number(kReverseX));
    camera->set(kUserId, "a long name once");
    EXPECT_TRUE(features->setString("DeviceUserID", "left")) << lastErrorMessage();
    EXPECT_EQ("left", text("DeviceUserID"));
    EXPECT_TRUE(features->execute("AcquisitionStart")) << lastErrorMessage();
    EXPECT_EQ(7u, camera->number(kAcquisitionStart));
    EXPECT_TRUE(features->setInteger("Signed", -3)) << lastErrorMessage();
    EXPECT_EQ(0xfffdu, camera->number(kSigned, 2));
    camera->setNumber(kFlags, 0xabcd0000);
    EXPECT_TRUE(features->setInteger("Flags", 9)) << lastErrorMessage();
    EXPECT_EQ(0xabcd0009u, camera->number(kFlags));
    EXPECT_TRUE(features->setInteger("ScratchPad", 13)) << lastErrorMessage();
    EXPECT_EQ("13", text("ScratchPad"));
}

struct RefusedWrite {
    const char* feature;
    const char* value;
    Error number;
    const char* text;
};

class RefusedWrites : public FeaturesOfACamera, public testing::WithParamInterface<RefusedWrite> {};

TEST_P(RefusedWrites, SayWhyAndChangeNothing) {
    const RefusedWrite& refused = GetParam();
    const std::string before = text(refused.feature);
    const std::string feature = refused.feature;
    if (features->kind(feature) == FeatureKind::command)
        EXPECT_FALSE(features->execute(feature));
    else
        EXPECT_FALSE(features->setText(feature, refused.value));
    EXPECT_EQ(refused.number, lastError());
    EXPECT_EQ(refused.text, lastErrorMessage());
    EXPECT_EQ(0, camera->writes());
    EXPECT_EQ(before, text(feature));
    EXPECT_THAT(changes, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Features, RefusedWrites,
    testing::Values(
        RefusedWrite{"Nothing", "1", Error::feature, "Nothing: there is no such feature"},
        RefusedWrite{"Root", "1", Error::feature, "Root: is a category, without a value"},
        RefusedWrite{"Width", "5001", Error::outOfRange, "Width 5001: above the maximum 2448"},
        RefusedWrite{"Width", "63", Error::outOfRange, "Width 63: below the minimum 64"},
        RefusedWrite{"Width", "1281", Error::outOfRange,
                     "Width 1281: not the minimum 64 plus a multiple of 4"},
        RefusedWrite{"Width", "wide", Error::invalidArgument, "Width wide: is not an integer"},
        RefusedWrite{"SensorWidth", "1", Error::notWritable, "SensorWidth: cannot be written"},
        RefusedWrite{"WidthMax", "1", Error::notWritable, "WidthMax: cannot be written"},
        RefusedWrite{"FrameRate", "1", Error::notWritable, "FrameRate: cannot be written"},
        RefusedWrite{"DeviceTemperature", "1", Error::notWritable,
                     "DeviceTemperature: cannot be written"},
        RefusedWrite{"DeviceModelName", "x", Error::notWritable,
                     "DeviceModelName: cannot be written"},
        RefusedWrite{"Binning", "2", Error::notAvailable, "Binning: not available at this moment"},
        RefusedWrite{"BinningPreset", "1", Error::notAvailable,
                     "BinningPreset: not implemented by this camera"},
        RefusedWrite{"BinningInner", "5", Error::outOfRange, "BinningInner 5: above the maximum 4"},
        RefusedWrite{"TriggerMode", "Foo", Error::outOfRange,
                     "TriggerMode Foo: no such entry (On, Off)"},
        RefusedWrite{"PixelFormat", "Mono10", Error::outOfRange,
                     "PixelFormat Mono10: not available at this moment"},
        RefusedWrite{"PixelFormat", "Mono12", Error::outOfRange,
                     "PixelFormat Mono12: not available at this moment"},
        RefusedWrite{"DeviceUserID", "twenty bytes are long", Error::outOfRange,
                     "DeviceUserID: 21 bytes, 16 is the most"},
        RefusedWrite{"ExposureTime", "9.99", Error::outOfRange,
                     "ExposureTime 9.99: below the minimum 10"},
        RefusedWrite{"ExposureTime", "100001", Error::outOfRange,
                     "ExposureTime 100001: above the maximum 100000.5"},
        RefusedWrite{"ExposureTime", "nan", Error::outOfRange, "ExposureTime nan: is no number"},
        RefusedWrite{"ReverseX", "yes", Error::invalidArgument, "ReverseX yes: is not a boolean"},
        RefusedWrite{"BlackLevel", "65536", Error::outOfRange,
                     "BlackLevel 65536: above the maximum 65535"},
        RefusedWrite{"Signed", "-32769", Error::outOfRange,
                     "Signed -32769: below the minimum -32768"},
        RefusedWrite{"Flags", "16", Error::outOfRange, "Flags 16: above the maximum 15"},
        RefusedWrite{"Gamma", "1e39", Error::outOfRange,
                     "Gamma 1e+39: above the maximum 3.4028234663852886e+38"},
        RefusedWrite{"ScratchPad", "12", Error::outOfRange,
                     "ScratchPad 12: not the minimum 10 plus a multiple of 3"},
        RefusedWrite{"ExposureEndTimestamp", "1", Error::notWritable,
                     "ExposureEndTimestamp: cannot be written"}),
    [](const auto& each) { return "Nr" + std::to_string(each.index); });

TEST_F(FeaturesOfACamera, AreOfOneKindOnly) {
    double number = 0;
    EXPECT_FALSE(features->getFloat("Width", number));
    EXPECT_EQ(Error::feature, lastError());
    EXPECT_EQ("Width: is an integer, not a float", lastErrorMessage());
    EXPECT_FALSE(features->execute("PixelFormat"));
    EXPECT_EQ("PixelFormat: is an enumeration, not a command", lastErrorMessage());
    EXPECT_FALSE(features->setInteger("AcquisitionStart", 1));
    EXPECT_EQ("AcquisitionStart: is a command, not an integer", lastErrorMessage());
}

TEST_F(FeaturesOfACamera, AreLockedWithTheTransport) {
    features->lockTransport(true);
    EXPECT_EQ(1u, camera->number(kTransportLock));
    EXPECT_FALSE(features->setInteger("Width", 640));
    EXPECT_EQ(Error::locked, lastError());
    EXPECT_EQ("Width: locked", lastErrorMessage());
    EXPECT_FALSE(features->execute("AcquisitionStart"));
    EXPECT_EQ("AcquisitionStart: locked", lastErrorMessage());
    EXPECT_FALSE(features->isWritable("Width"));
    EXPECT_TRUE(features->isReadable("Width"));
    EXPECT_EQ(1, camera->writes());
    features->lockTransport(false);
    EXPECT_TRUE(features->setInteger("Width", 640)) << lastErrorMessage();
}

}  // namespace
}  // namespace Vorda::Gige
