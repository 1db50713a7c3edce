// SPDX-License-Identifier: Apache-2.0
#include "Features.h"

#include "AppliedSettings.h"
#include "Descriptions.h"
#include "LastError.h"
#include "MemoryPort.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <mutex>
#include <ostream>
#include <thread>

namespace Vorda::Gige {
namespace {

using namespace std::string_literals;
using kestro::test::checked;
using kestro::test::golden;
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
        sources.model = FeatureModel::make(checked(golden("features.xml")));
        sources.onChanged = [this](const Names& names) { changes.push_back(names); };
        sources.onListed = [this] { ++listings; };
        make();
    }
    void make() {
        ASSERT_TRUE(sources.model) << lastErrorMessage();
        features = std::make_shared<Features>(sources);
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

void PrintTo(const RefusedWrite& write, std::ostream* out) {
    *out << write.feature << '=' << write.value;
}

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
        RefusedWrite{"LineHeight", "0", Error::outOfRange, "LineHeight 0: cannot be converted"},
        RefusedWrite{"LineHeight", "0.0001", Error::outOfRange,
                     "LineHeight 0.0001: beyond what LineHeightReg holds"},
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
    [](const auto& each) { return std::string(each.param.feature) + std::to_string(each.index); });

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
    camera->setNumber(kHasBinning, 1);
    EXPECT_FALSE(features->setInteger("Binning", 2));  // by the node that its value goes through
    EXPECT_EQ("Binning: locked", lastErrorMessage());
    EXPECT_FALSE(features->isWritable("Width"));
    EXPECT_TRUE(features->isReadable("Width"));
    EXPECT_EQ(1, camera->writes());
    features->lockTransport(false);
    EXPECT_TRUE(features->setInteger("Width", 640)) << lastErrorMessage();
}

TEST_F(FeaturesOfACamera, CostOneRequestAndNoMoreThanTheirConditions) {
    camera->setNumber(kHasBinning, 1);
    camera->setNumber(kHasMono10, 1);
    sources.settings = std::make_shared<AppliedSettings>("Acme:1");  // they cost nothing
    make();
    std::string unused;
    const auto cost = [&](const std::function<bool()>& operation) {
        EXPECT_TRUE(operation()) << lastErrorMessage();
        return camera->takeAccesses();
    };
    const auto get = [&](const char* name) {
        return cost([&] { return features->getText(name, unused); });
    };
    const auto set = [&](const char* name, const char* value) {
        return cost([&] { return features->setText(name, value); });
    };
    EXPECT_EQ(1, get("Width"));
    EXPECT_EQ(1, get("PixelFormat"));
    EXPECT_EQ(1, get("ExposureTime"));
    EXPECT_EQ(1, get("DeviceUserID"));
    EXPECT_EQ(2, get("Binning"));   // and whether it is available
    EXPECT_EQ(2, get("Gain"));      // and which one is selected
    EXPECT_EQ(2, get("WidthMax"));  // of two registers
    EXPECT_EQ(0, get("ScratchPad"));
    EXPECT_EQ(1, set("ExposureTime", "100"));
    EXPECT_EQ(1, set("ReverseX", "1"));
    EXPECT_EQ(1, set("PixelFormat", "Mono8"));
    EXPECT_EQ(2, set("PixelFormat", "Mono10"));  // and whether that one is available
    EXPECT_EQ(2, set("OffsetX", "2"));           // and the lock
    EXPECT_EQ(4, set("Width", "640"));           // and the lock and the two of the maximum
    EXPECT_EQ(2, set("Gain", "3"));              // and which one is selected
    EXPECT_EQ(1, set("Gamma", "3"));             // and that is known by now
    EXPECT_EQ(2, cost([&] { return features->execute("AcquisitionStart"); }));
    EXPECT_EQ(2, set("Gamma", "3"));  // what a command has moved is asked for again, once
    EXPECT_EQ(1, set("Gamma", "4"));
    EXPECT_EQ(1, set("GainSelector", "Blue"));
    EXPECT_EQ(1, set("Gamma", "3"));
    EXPECT_EQ(0, cost([&] {
                  FeatureRange<double> range;
                  return features->getRange("ExposureTime", range) &&
                         features->getUnit("ExposureTime", unused);
              }));
    Names names;
    EXPECT_TRUE(features->getChildren("Root", names) && features->getSelectors("Gain", names));
    EXPECT_EQ(0, camera->takeAccesses());
}

TEST_F(FeaturesOfACamera, HaveTheLimitsOfAllThatTheirValueGoesThrough) {
    FeatureRange<std::int64_t> range;
    const auto limits = [&](const char* name) {
        EXPECT_TRUE(features->getRange(name, range)) << lastErrorMessage();
        return std::pair(range.min, range.max);
    };
    using Limits = std::pair<std::int64_t, std::int64_t>;
    EXPECT_EQ(Limits(64, 2448), limits("Width"));
    camera->setNumber(kOffsetX, 400);
    EXPECT_EQ(Limits(64, 2048), limits("Width"));
    EXPECT_EQ(Limits(1, 4), limits("Binning"));
    EXPECT_EQ(Limits(0, 0xffffffff), limits("SensorWidth"));
    EXPECT_EQ(Limits(0, 0xffff), limits("BlackLevel"));
    EXPECT_EQ(Limits(-0x8000, 0x7fff), limits("Signed"));
    EXPECT_EQ(Limits(0, 15), limits("Flags"));
    EXPECT_EQ(Limits(INT64_MIN, INT64_MAX), limits("WidthMax"));
    std::int64_t increment = 0;
    EXPECT_TRUE(features->getIncrement("Width", increment));
    EXPECT_EQ(4, increment);
    EXPECT_TRUE(features->getIncrement("Gain", increment));
    EXPECT_EQ(1, increment);
    FeatureRange<double> floats;
    EXPECT_TRUE(features->getRange("ExposureTime", floats));
    EXPECT_EQ(std::pair(10.0, 100000.5), std::pair(floats.min, floats.max));
    // 1000000 / 0 is no limit, and no reason to refuse.
    EXPECT_TRUE(features->getRange("LineHeight", floats)) << lastErrorMessage();
    EXPECT_EQ(std::numeric_limits<double>::max(), floats.max);
    EXPECT_TRUE(features->setFloat("LineHeight", 500)) << lastErrorMessage();
    std::string unit;
    EXPECT_TRUE(features->getUnit("Width", unit));
    EXPECT_EQ("px", unit);
    std::uint32_t bytes = 0;
    EXPECT_TRUE(features->getMaxLength("DeviceUserID", bytes));
    EXPECT_EQ(16u, bytes);
}

TEST_F(FeaturesOfACamera, AreListedInTheOrderOfTheDescription) {
    EXPECT_EQ(0, listings);
    EXPECT_THAT(children("Root"),
                ElementsAre("ImageFormat", "Acquisition", "Analog", "Device", "Events"));
    EXPECT_THAT(children("Analog"), ElementsAre("GainSelector", "Gain", "BlackLevel", "Gamma"));
    static_cast<void>(children("Root"));
    EXPECT_EQ(1, listings);
    Names names;
    EXPECT_FALSE(features->getChildren("Width", names));
    EXPECT_EQ("Width: is an integer, not a category", lastErrorMessage());
    EXPECT_EQ(0u, features->visibility("Width"));
    EXPECT_EQ(1u, features->visibility("ImageFormat"));
    EXPECT_EQ(2u, features->visibility("TriggerMode"));
    EXPECT_EQ(3u, features->visibility("TLParamsLocked"));
    EXPECT_EQ(255u, features->visibility("Nothing"));
    EXPECT_TRUE(features->getSelectors("Gain", names));
    EXPECT_THAT(names, ElementsAre("GainSelector"));
    EXPECT_THAT(features->selected("GainSelector"), ElementsAre("Gain", "BlackLevel", "Gamma"));
    EXPECT_THAT(features->persistent(), ElementsAre("Width", "PixelFormat"));
    const auto polled = features->polled();
    ASSERT_EQ(1u, polled.size());
    EXPECT_EQ("DeviceTemperature", polled[0].name);
    EXPECT_EQ(std::chrono::seconds(1), polled[0].period);
}

TEST_F(FeaturesOfACamera, WithoutMarksPersistWhereTheyCanBeWritten) {
    std::string unmarked = golden("features.xml");
    for (std::size_t at = 0; (at = unmarked.find("<Streamable>Yes")) != std::string::npos;)
        unmarked.replace(at, 15, "<Streamable>No");
    sources.model = FeatureModel::make(checked(unmarked));
    make();
    EXPECT_THAT(
        features->persistent(),
        ElementsAre("Width", "OffsetX", "PixelFormat", "ReverseX", "TriggerMode", "ExposureTime",
                    "LineHeight", "TLParamsLocked", "GainSelector", "Gain", "BlackLevel", "Gamma",
                    "DeviceUserID", "Flags", "Signed", "Secret", "ScratchPad"));
}

TEST_F(FeaturesOfACamera, HaveTheEntriesThatTheCameraOffers) {
    const auto entries = [this] {
        std::vector<FeatureEntry> found;
        EXPECT_TRUE(features->getEntries("PixelFormat", found)) << lastErrorMessage();
        Names names;
        for (const FeatureEntry& each : found)
            names.push_back(each.symbol + "/" + each.description);
        return names;
    };
    EXPECT_THAT(entries(), ElementsAre("Mono8/Eight bits", "BayerRG8/"));
    camera->setNumber(kHasMono10, 1);
    EXPECT_THAT(entries(), ElementsAre("Mono8/Eight bits", "Mono10/Ten bits", "BayerRG8/"));
    camera->setNumber(kPixelFormat, 77);
    EXPECT_EQ("error: PixelFormat: no entry has the value 77", text("PixelFormat"));
    std::int64_t value = 0;
    EXPECT_TRUE(features->getEnumeration("PixelFormat", value));
    EXPECT_EQ(77, value);
    EXPECT_FALSE(features->setEnumeration("PixelFormat", 77));
    EXPECT_EQ("PixelFormat 77: no such entry (Mono8, Mono10, Mono12, BayerRG8)",
              lastErrorMessage());
}

TEST_F(FeaturesOfACamera, TellWhetherTheyCanBeUsed) {
    struct Access {
        const char* name;
        bool isAvailable;
        bool isReadable;
        bool isWritable;
    };
    const Access accesses[] = {{"Width", true, true, true},
                               {"SensorWidth", true, true, false},
                               {"WidthMax", true, true, false},
                               {"Secret", true, false, true},
                               {"AcquisitionStart", true, false, true},
                               {"Binning", false, false, false},
                               {"BinningPreset", false, false, false},
                               {"ChunkFrameCounter", false, false, false},
                               {"ExposureEndTimestamp", false, false, false},
                               {"ImageFormat", true, true, false},
                               {"Nothing", false, false, false}};
    for (const Access& each : accesses) {
        EXPECT_EQ(each.isAvailable, features->isAvailable(each.name)) << each.name;
        EXPECT_EQ(each.isReadable, features->isReadable(each.name)) << each.name;
        EXPECT_EQ(each.isWritable, features->isWritable(each.name)) << each.name;
    }
    camera->setNumber(kHasBinning, 1);
    camera->setNumber(kBinning, 2);
    EXPECT_TRUE(features->isAvailable("Binning"));
    EXPECT_EQ("2", text("Binning"));
    EXPECT_EQ("error: Secret: cannot be read", text("Secret"));
}

TEST_F(FeaturesOfACamera, PassTheCamerasErrorOn) {
    camera->fail(Error::accessDenied);
    EXPECT_EQ("error: Width: scripted", text("Width"));
    EXPECT_EQ(Error::accessDenied, lastError());
    EXPECT_FALSE(features->setFloat("ExposureTime", 100));
    EXPECT_EQ("ExposureTime: scripted", lastErrorMessage());
    EXPECT_FALSE(features->isWritable("Width"));  // its lock cannot be asked
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(FeaturesOfACamera, LeaveResultsAloneThatTheyDoNotHave) {
    camera->fail(Error::timeout);
    std::int64_t integer = 42;
    double number = 42;
    std::vector<FeatureEntry> entries(1);
    std::string text = "before";
    FeatureRange<std::int64_t> range{42, 43};
    EXPECT_FALSE(features->getInteger("OffsetX", integer));
    EXPECT_FALSE(features->getEnumeration("PixelFormat", integer));
    EXPECT_FALSE(features->getFloat("ExposureTime", number));
    EXPECT_FALSE(features->getString("DeviceUserID", text));
    EXPECT_FALSE(features->getText("Width", text));
    EXPECT_FALSE(features->getEntries("PixelFormat", entries));
    EXPECT_FALSE(features->getRange("Width", range));
    EXPECT_EQ(42, integer);
    EXPECT_EQ(42, number);
    EXPECT_EQ("before", text);
    EXPECT_EQ(1u, entries.size());
    EXPECT_EQ(42, range.min);
}

TEST_F(FeaturesOfACamera, TellWhatChangesWithThem) {
    EXPECT_TRUE(features->setInteger("OffsetX", 4));
    EXPECT_TRUE(features->setEnumeration("GainSelector", "Blue"));
    EXPECT_TRUE(features->setEnumeration("PixelFormat", "Mono8"));
    EXPECT_TRUE(features->execute("AcquisitionStart"));
    EXPECT_TRUE(features->setInteger("Gain", 3));
    EXPECT_FALSE(features->setInteger("Gain", -1));
    EXPECT_THAT(changes, ElementsAre(ElementsAre("OffsetX", "WidthMax", "Width", "PayloadSize"),
                                     ElementsAre("GainSelector", "Gain", "BlackLevel", "Gamma"),
                                     ElementsAre("PixelFormat", "Gamma"),
                                     ElementsAre("AcquisitionStart"), ElementsAre("Gain")));
    changes.clear();
    features->lockTransport(true);
    EXPECT_THAT(changes, ElementsAre(ElementsAre("TLParamsLocked", "WidthMax", "Width", "OffsetX",
                                                 "PayloadSize", "Binning", "AcquisitionStart")));
}

TEST_F(FeaturesOfACamera, OfAnEventHaveTheValueOfItsLatest) {
    const auto events = std::make_shared<EventData>();
    sources.events = events;
    make();
    EXPECT_EQ("error: ExposureEndTimestamp: the event has not arrived yet",
              text("ExposureEndTimestamp"));
    EXPECT_EQ(Error::notAvailable, lastError());
    Bytes event(24);
    event[23] = 99;
    events->store(0x9001, event);
    EXPECT_EQ("99", text("ExposureEndTimestamp"));
    EXPECT_TRUE(features->isAvailable("ExposureEndTimestamp"));
    EXPECT_EQ("error: ChunkFrameCounter: chunk values come with frames", text("ChunkFrameCounter"));
    EXPECT_EQ(Error::notAvailable, lastError());
    EXPECT_FALSE(features->isAvailable("ChunkFrameCounter"));
    EXPECT_FALSE(features->isWritable("ChunkFrameCounter"));
    EXPECT_EQ(0, camera->takeAccesses());
}

TEST_F(FeaturesOfACamera, LeaveTheirModelToThoseOfTheNextConnection) {
    const auto earlier = std::exchange(features, nullptr);
    camera = std::make_shared<MemoryPort>();
    camera->setNumber(kWidth, 640);
    sources.camera = camera;
    make();
    std::int64_t width = 0;
    EXPECT_FALSE(earlier->getInteger("Width", width));
    EXPECT_EQ("Width: the connection to the camera is lost", lastErrorMessage());
    EXPECT_EQ(Error::connectionLost, lastError());
    EXPECT_FALSE(earlier->setInteger("Width", 320));
    EXPECT_FALSE(earlier->isReadable("Width"));
    earlier->lockTransport(true);
    EXPECT_EQ(0, camera->takeAccesses());
    EXPECT_EQ("640", text("Width"));
    // Also when the earlier ones go last.
    sources.camera = nullptr;
    features = nullptr;
    EXPECT_EQ(1, camera.use_count());
    EXPECT_FALSE(earlier->getInteger("Width", width));
}

TEST_F(FeaturesOfACamera, IncludeTheCountersOfTheStream) {
    const auto stream = std::make_shared<StreamCounters>();
    sources.stream = stream;
    // A camera's own feature of that name is another one.
    std::string renamed = golden("features.xml");
    renamed.replace(renamed.find("\"Secret\""), 8, "\"StreamDeliveredFrameCount\"");
    sources.model = FeatureModel::make(checked(renamed));
    make();
    stream->deliveredFrames.add(12);
    stream->lostFrames.add(2);
    stream->noBuffer.add(3);
    stream->lostPackets.add(7);
    stream->buffers.watch([] { return StreamBuffers::Count{8, 5, 2}; });
    EXPECT_EQ("BufferHandlingControl", children("Root").back());
    EXPECT_THAT(
        children("BufferHandlingControl"),
        ElementsAre("StreamAnnouncedBufferCount", "StreamInputBufferCount",
                    "StreamOutputBufferCount", "StreamDeliveredFrameCount", "StreamLostFrameCount",
                    "StreamLostPacketCount", "StreamResendRequestCount", "StreamResentPacketCount",
                    "StreamReconnectCount"));
    EXPECT_EQ("12", text("StreamDeliveredFrameCount"));
    EXPECT_EQ("5", text("StreamLostFrameCount"));
    EXPECT_EQ("7", text("StreamLostPacketCount"));
    EXPECT_EQ("5", text("StreamInputBufferCount"));
    EXPECT_EQ("2", text("StreamOutputBufferCount"));
    EXPECT_EQ(1u, features->visibility("StreamLostFrameCount"));
    EXPECT_TRUE(features->isReadable("StreamLostFrameCount"));
    EXPECT_FALSE(features->isWritable("StreamLostFrameCount"));
    EXPECT_FALSE(features->setInteger("StreamLostFrameCount", 0));
    EXPECT_EQ("StreamLostFrameCount: cannot be written", lastErrorMessage());
    EXPECT_EQ(0, camera->takeAccesses());
}

/** Gives way at each access, so that operations that may overlap do. */
class YieldingPort final : public kestro::test::ForwardingPort {
    using ForwardingPort::ForwardingPort;
    bool mayPass() override {
        std::this_thread::yield();
        return true;
    }
};

TEST_F(FeaturesOfACamera, AreWholeUnderManyThreads) {
    constexpr int kRounds = 600;
    std::mutex changesMutex;
    sources.camera = std::make_shared<YieldingPort>(camera);
    sources.onChanged = [&](const Names& names) {
        const std::lock_guard lock(changesMutex);
        changes.push_back(names);
    };
    std::atomic<int> listed{0};
    sources.onListed = [&] { ++listed; };
    make();
    std::vector<std::thread> threads;
    // Bits of one register: each write reads the others' first.
    for (const char* name : {"HighFlags", "LowFlags"}) {
        threads.emplace_back([&, name] {
            for (int round = 0; round < kRounds; ++round) {
                std::int64_t value = 0;
                ASSERT_TRUE(features->setInteger(name, round % 16)) << lastErrorMessage();
                ASSERT_TRUE(features->getInteger(name, value));
                ASSERT_EQ(round % 16, value);
                Names names;
                ASSERT_TRUE(features->getChildren("Root", names));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(1, listed);
    EXPECT_EQ(std::size_t{2 * kRounds}, changes.size());
}

}  // namespace
}  // namespace Vorda::Gige
