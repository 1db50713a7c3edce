// SPDX-License-Identifier: Apache-2.0
#include "ModelStore.h"

#include "Descriptions.h"
#include "Features.h"
#include "LastError.h"
#include "MemoryPort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Vorda::Gige {
namespace {

using kestro::test::checked;
using kestro::test::MemoryPort;
using File = std::shared_ptr<const DescriptionFile>;

/** A file of its own, however often it is made, with `mark` in it. */
File fileWith(const std::string& mark) {
    auto file = std::make_shared<DescriptionFile>();
    std::string xml = kestro::test::goldenDescription("small.xml");
    xml.insert(xml.rfind('<'), "<!--" + mark + "-->");
    file->bytes.assign(xml.begin(), xml.end());
    file->description = checked(std::move(xml));
    return file;
}

ModelName named(const std::string& model) { return {"Acme", model, "1", "Local:a.xml;0;1"}; }

TEST(ModelStore, LendsAModelToOneAtATime) {
    ModelStore store;
    const File file = store.keep(named("A"), fileWith("a"));
    auto first = store.lend(*file);
    auto second = store.lend(*file);
    ASSERT_TRUE(first && second) << lastErrorMessage();
    EXPECT_NE(first, second);
    EXPECT_EQ(first->layout(), second->layout());
    const FeatureModel* const was = first.get();
    first.reset();
    EXPECT_EQ(1u, store.freeModels());
    EXPECT_EQ(was, store.lend(*file).get());
}

TEST(ModelStore, HasOneFileUnderAName) {
    ModelStore store;
    const File first = fileWith("a");
    EXPECT_EQ(first, store.keep(named("A"), first));
    EXPECT_EQ(first, store.keep(named("A"), fileWith("a")));
    const auto lent = store.lend(*first);
    store.lend(*first).reset();
    EXPECT_EQ(1u, store.freeModels());
    const File updated = fileWith("b");
    EXPECT_EQ(updated, store.keep(named("A"), updated));
    EXPECT_EQ(updated, store.find(named("A")));
    EXPECT_EQ(0u, store.freeModels());
    EXPECT_FALSE(store.find(named("B")));
}

TEST(ModelStore, KeepsWhatWasUsedLately) {
    ModelStore store;
    const auto nth = [](std::size_t i) { return named(std::to_string(i)); };
    for (std::size_t i = 0; i < ModelStore::kMostDescriptions; ++i)
        static_cast<void>(store.keep(nth(i), fileWith(std::to_string(i))));
    const File oldest = store.find(nth(0));
    ASSERT_TRUE(oldest);
    store.lend(*store.find(nth(1))).reset();
    static_cast<void>(store.find(nth(0)));
    for (std::size_t i = 2; i < ModelStore::kMostDescriptions; ++i)
        static_cast<void>(store.find(nth(i)));
    static_cast<void>(store.keep(named("one more"), fileWith("one more")));
    EXPECT_FALSE(store.find(nth(1)));
    EXPECT_EQ(0u, store.freeModels());

    std::vector<std::shared_ptr<FeatureModel>> lent;
    for (std::size_t i = 0; i < ModelStore::kMostFreeModels + 2; ++i)
        lent.push_back(store.lend(*oldest));
    lent.clear();
    EXPECT_EQ(ModelStore::kMostFreeModels, store.freeModels());
}

TEST(ModelStore, LendsModelsAsTheyWereMade) {
    constexpr const char* kOwnValues = R"(<RegisterDescription>
        <Category Name="Root"><pFeature>Direct</pFeature></Category>
        <Integer Name="Direct"><Value> 3 </Value></Integer>
        <Integer Name="Behind"><pValue>Direct2</pValue></Integer>
        <Integer Name="Direct2"><Value>4</Value></Integer>
        <Float Name="Real"><Value>0.5</Value></Float>
        <Enumeration Name="Choice"><EnumEntry Name="One"><Value>1</Value></EnumEntry>
            <EnumEntry Name="Two"><Value>2</Value></EnumEntry><Value>2</Value></Enumeration>
        <Integer Name="Indexed"><pIndex>Direct</pIndex><ValueIndexed Index="7">70</ValueIndexed>
            <ValueDefault>80</ValueDefault></Integer>
        <String Name="Text"><Value>as made</Value></String>
        </RegisterDescription>)";
    const std::pair<const char*, const char*> settings[] = {
        {"Indexed", "81"}, {"Direct", "7"},   {"Indexed", "71"}, {"Behind", "5"},
        {"Real", "2.5"},   {"Choice", "One"}, {"Text", "as set"}};
    const auto valuesOf = [](const Features& features) {
        std::string values;
        for (const char* name : {"Indexed", "Direct", "Behind", "Real", "Choice", "Text"}) {
            std::string text;
            EXPECT_TRUE(features.getText(name, text)) << lastErrorMessage();
            values += text + ";";
        }
        return values;
    };
    ModelStore store;
    auto file = std::make_shared<DescriptionFile>();
    file->description = checked(kOwnValues);
    static_cast<void>(store.keep(named("A"), file));
    FeatureSources sources;
    sources.camera = std::make_shared<MemoryPort>();
    sources.model = store.lend(*file);
    const FeatureModel* const was = sources.model.get();
    ASSERT_TRUE(was) << lastErrorMessage();
    {
        Features features(std::exchange(sources, {}));
        for (const auto& [name, text] : settings)
            EXPECT_TRUE(features.setText(name, text)) << lastErrorMessage();
        EXPECT_EQ("71;7;5;2.5;One;as set;", valuesOf(features));
    }
    sources.camera = std::make_shared<MemoryPort>();
    sources.model = store.lend(*file);
    ASSERT_EQ(was, sources.model.get());
    Features features(std::exchange(sources, {}));
    EXPECT_EQ("80;3;4;0.5;Two;as made;", valuesOf(features));
    EXPECT_TRUE(features.setInteger("Direct", 7));
    EXPECT_EQ("70;7;4;0.5;Two;as made;", valuesOf(features));
}

}  // namespace
}  // namespace Vorda::Gige
