// SPDX-License-Identifier: Apache-2.0
//
// Descriptions that cameras get wrong, or that mean harm: each is a clear error or a neutral
// answer, and never the end of the process.
#include "Descriptions.h"
#include "Features.h"
#include "LastError.h"
#include "MemoryPort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace Vorda::Gige {
namespace {

using kestro::test::checked;
using kestro::test::golden;
using kestro::test::MemoryPort;
using testing::ElementsAre;
using Names = std::vector<std::string>;

constexpr std::uint64_t kLengthRegister = 0x14;

class FeatureTraps : public testing::Test {
 protected:
    void SetUp() override {
        FeatureSources sources;
        sources.camera = camera;
        sources.model = FeatureModel::make(checked(golden("traps.xml")));
        ASSERT_TRUE(sources.model) << lastErrorMessage();
        features = std::make_shared<Features>(sources);
    }
    std::string text(const std::string& name) const {
        std::string value;
        return features->getText(name, value) ? value : lastErrorMessage();
    }

    std::shared_ptr<MemoryPort> camera = std::make_shared<MemoryPort>();
    std::shared_ptr<Features> features;
};

TEST_F(FeatureTraps, HaveTextsOfTheirOwn) {
    const std::pair<const char*, const char*> texts[] = {
        {"Lost", "Lost: refers to Nowhere, which does not exist"},
        {"LostBelow", "LostBelow: Lost refers to Nowhere, which does not exist"},
        {"LostState", "LostState: refers to Nowhere, which does not exist"},
        {"LostOffset", "LostOffset: refers to Nowhere, which does not exist"},
        {"LostAddress", "LostAddress: refers to Nowhere, which does not exist"},
        {"LostIndexed", "LostIndexed: refers to Nowhere, which does not exist"},
        {"LostPort", "LostPort: refers to Nowhere, which does not exist"},
        {"Portless", "Portless: is in no port"},
        {"Stray", "Stray: is in no register"},
        {"Empty", "Empty: has no value"},
        {"EmptyFloat", "EmptyFloat: has no value"},
        {"EmptyBoolean", "EmptyBoolean: has no value"},
        {"EmptyText", "EmptyText: has no value"},
        {"EmptyEnum", "EmptyEnum: has no value"},
        {"EmptyConverter", "EmptyConverter: has no formula"},
        {"EmptyFormula", "EmptyFormula: has no formula"},
        {"OfText", "OfText: refers to Text, which has no such value"},
        {"OfCategory", "OfCategory: refers to Root, which has no such value"},
        {"TextOfNumber", "TextOfNumber: refers to Reg, which has no such value"},
        {"OfOddBoolean", "OfOddBoolean: refers to OddFlag, which is no number"},
        {"Nonsense", "Nonsense: has a formula that makes no sense"},
        {"Backwards", "Backwards: has its bits in the wrong order"},
        {"WideInt", "WideInt: is too long for a number"},
        {"Outside", "Outside: has bits outside of its register"},
        {"Foreign", "Foreign: there is no such feature"},
        {"ForeignValue", "ForeignValue: has no value"},
        {"InOdd", "InOdd: there is no such feature"},
        {"Choice", "Choice: no entry has the value 0"},
        // The node map's formulas count as 0 where they cannot tell.
        {"ByZero", "0"},
        {"OfBoolean", "2"},
        {"Spaced", "1"},
        {"Indexed", "1"},
        {"LostMax", "0"},
        {"LostLock", "0"}};
    for (const auto& [name, expected] : texts) {
        EXPECT_EQ(expected, text(name));
        if (features->kind(name) == FeatureKind::enumeration) continue;
        const bool isReadable = std::string(expected).find(name) != 0;
        EXPECT_EQ(isReadable, features->isReadable(name)) << name;
    }
    camera->setNumber(0x10, 1);
    EXPECT_EQ("5", text("Indexed"));
    camera->setNumber(0x10, 2);
    EXPECT_EQ("Indexed: has no value for index 2", text("Indexed"));
}

TEST_F(FeatureTraps, AreNotWritten) {
    const std::pair<const char*, const char*> texts[] = {
        {"Lost", "Lost: refers to Nowhere, which does not exist"},
        {"LostMax", "LostMax: refers to Nowhere, which does not exist"},
        {"LimitOfLost", "LimitOfLost: refers to Nowhere, which does not exist"},
        {"LostLock", "LostLock: refers to Nowhere, which does not exist"},
        {"Empty", "Empty: has no value"},
        {"Inverse", "Inverse 1: below the minimum 9"},
        {"Backwards", "Backwards: has its bits in the wrong order"}};
    for (const auto& [name, expected] : texts) {
        EXPECT_FALSE(features->setInteger(name, 1)) << name;
        EXPECT_EQ(expected, lastErrorMessage());
    }
    EXPECT_FALSE(features->execute("EmptyCommand"));
    EXPECT_EQ("EmptyCommand: has nothing to write to", lastErrorMessage());
    EXPECT_FALSE(features->execute("NoValueCommand"));
    EXPECT_EQ("NoValueCommand: has no value to write", lastErrorMessage());
    EXPECT_FALSE(features->setBoolean("EmptyBoolean", true));
    EXPECT_FALSE(features->setEnumeration("Choice", "NoValue"));
    EXPECT_EQ("Choice NoValue: no such entry (Yes)", lastErrorMessage());
    EXPECT_EQ(0, camera->writes());
    EXPECT_TRUE(features->setInteger("NoStep", 7)) << lastErrorMessage();
}

TEST_F(FeatureTraps, OfLengthAreNotAllocated) {
    for (const std::int32_t length : {-1, 0, 0x7fffffff, 16 * 1024 * 1024 + 1}) {
        camera->setNumber(kLengthRegister, static_cast<std::uint32_t>(length));
        for (const char* name : {"LongText", "LongFloat", "LongInt"}) {
            EXPECT_EQ(
                std::string(name) + ": " + name + " is " + std::to_string(length) + " bytes long",
                text(name));
            EXPECT_FALSE(features->setText(name, "1"));
        }
    }
    EXPECT_EQ(0, camera->writes());
    camera->setNumber(kLengthRegister, 9);
    EXPECT_EQ("LongInt: LongInt is 9 bytes long", text("LongInt"));
    camera->setNumber(kLengthRegister, 8);
    camera->set(0x20, "eight");
    EXPECT_EQ("eight", text("LongText"));
}

/** Says another length each time that it is asked. */
class FickleCamera final : public RegisterPort {
 public:
    bool readRegister(std::uint64_t, std::uint32_t&) override { return false; }
    bool writeRegister(std::uint64_t, std::uint32_t) override { return false; }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        std::ranges::fill(data, std::uint8_t{0});
        if (address == kLengthRegister) data.back() = ++answers_ % 2 == 0 ? 1 : 4;
        return true;
    }
    bool writeMemory(std::uint64_t, ByteView data) override {
        written_ = data.size();
        return true;
    }
    [[nodiscard]] std::size_t written() const { return written_; }

 private:
    int answers_ = 0;
    std::size_t written_ = 0;
};

TEST(FeaturesOfAFickleCamera, KeepToTheLengthThatWasChecked) {
    FeatureSources sources;
    const auto camera = std::make_shared<FickleCamera>();
    sources.camera = camera;
    sources.model = FeatureModel::make(checked(golden("traps.xml")));
    ASSERT_TRUE(sources.model) << lastErrorMessage();
    const auto features = std::make_shared<Features>(sources);
    features->lockTransport(true);
    EXPECT_EQ(4u, camera->written());
    EXPECT_TRUE(features->setInteger("LongInt", 1)) << lastErrorMessage();
    EXPECT_EQ(1u, camera->written());
}

TEST_F(FeatureTraps, OfDivisionDoNotEndTheProcess) {
    struct Division {
        std::int64_t dividend;
        std::int64_t divisor;
        const char* quotient;
        const char* remainder;
    };
    const Division divisions[] = {{7, 2, "3", "1"},
                                  {-7, 2, "-3", "-1"},
                                  {7, -1, "-7", "0"},
                                  {-7, -3, "2", "-1"},
                                  {INT64_MIN, 2, "-4611686018427387904", "0"},
                                  {INT64_MIN, -1, "-9223372036854775808", "0"}};
    for (const Division& each : divisions) {
        camera->setNumber(0x40, static_cast<std::uint64_t>(each.dividend), 8);
        camera->setNumber(0x48, static_cast<std::uint64_t>(each.divisor), 8);
        EXPECT_EQ(each.quotient, text("Quotient"));
        EXPECT_EQ(each.quotient, text("QuotientOfTerms"));
        EXPECT_EQ(each.remainder, text("Remainder"));
        EXPECT_EQ(each.remainder, text("FloatRemainder"));
    }
}

TEST_F(FeatureTraps, OfMalformedDivisionsAreNoValue) {
    camera->setNumber(0x40, static_cast<std::uint64_t>(INT64_MIN), 8);
    for (const std::int64_t divisor : {-1, 1}) {
        camera->setNumber(0x48, static_cast<std::uint64_t>(divisor), 8);
        for (const char* name : {"MissingOperators", "NumberThenName", "Commas", "BareFunction"})
            EXPECT_EQ(std::string(name) + ": has a formula that makes no sense", text(name));
    }
    // A converter counts in floats, and cuts what it divides by.
    camera->setNumber(0x48, static_cast<std::uint64_t>(-3), 8);
    EXPECT_EQ("0", text("ConvertedRemainder"));
}

TEST_F(FeatureTraps, DoNotListWithoutEnd) {
    Names names;
    EXPECT_TRUE(features->getChildren("Circle", names));
    EXPECT_THAT(names, ElementsAre("Root", "Circle"));
    EXPECT_TRUE(features->polled().empty());
    EXPECT_TRUE(features->persistent().empty());
    EXPECT_FALSE(features->has("Void"));
    EXPECT_TRUE(features->setInteger("Reg", 1)) << lastErrorMessage();
}

}  // namespace
}  // namespace Vorda::Gige
