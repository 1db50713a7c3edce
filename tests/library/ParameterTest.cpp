// SPDX-License-Identifier: Apache-2.0
#include <kestro/Parameter.h>

#include "CameraFixture.h"

#include <cstring>
#include <ostream>

namespace kestro::test {
namespace {

using Node = Vorda::GenICam::CInternalParameterNode;
using CameraPtr = std::shared_ptr<Camera>;
using Names = std::vector<std::string>;

#define ERROR_TEXT "[code: 0x0000000b, msg: timeout.]"

FeatureScript feature(std::uint32_t type) {
    FeatureScript script;
    script.type = static_cast<Node::EFeatureType>(type);
    return script;
}

Node::SEnumEntry entry(std::uint64_t value, const char* symbol, const char* description = "") {
    Node::SEnumEntry entry = {value, {}, {}};
    std::strncpy(entry.symbol, symbol, sizeof entry.symbol - 1);
    std::strncpy(entry.description, description, sizeof entry.description - 1);
    return entry;
}

/** A camera of the application's own making. */
class ForeignCamera final : public Camera {
 public:
    Result connect() override { return 0; }
    void disconnect() override {}
    bool isConnected() const override { return true; }
    Result startGrabbing(std::int32_t) override { return 0; }
    void stopGrabbing() override {}
    bool isGrabbing() const override { return false; }
    std::shared_ptr<Frame> getFrame(std::uint32_t) override { return nullptr; }
    Result clearFrameBuffer() override { return 0; }
    std::shared_ptr<DeviceInfo> getDeviceInfo() override { return nullptr; }
    std::shared_ptr<InterfaceInfo> getInterfaceInfo() override { return nullptr; }
    std::shared_ptr<Parameter> getParameter(const char*) override { return nullptr; }
    Result forceIpAddress(const char*, const char*, const char*) override { return 0; }
    Result downloadGenICamXML(const char*) override { return 0; }
    Result saveDeviceConfig(const char*) override { return 0; }
    Result loadDeviceConfig(const char*) override { return 0; }
    Result registerFrameCallback(std::function<void(const std::shared_ptr<Frame>&)>) override {
        return 0;
    }
    Result registerConnectCallback(std::function<void(const ConnectEventArg&)>) override {
        return 0;
    }
    Result registerParamUpdateCallback(std::function<void(const ParamUpdateEventArg&)>) override {
        return 0;
    }
    const char* getKey() const override { return "Acme:1001"; }
};

/** A connected camera with one feature of each kind, named like its class. */
class Parameters : public CameraFixture {
 protected:
    Parameters() {
        script("Int") = feature(Node::kFeatureInt);
        script("Float") = feature(Node::kFeatureFloat);
        script("Enum") = feature(Node::kFeatureEnum);
        script("Enum").entries = {entry(3, "Three", "the third"), entry(7, "Seven")};
        script("Bool") = feature(Node::kFeatureBool);
        script("String") = feature(Node::kFeatureString);
        script("Command") = feature(Node::kFeatureCommand);
        script("Register") = feature(Node::kFeatureRegister);
        script("Group") = featureGroup({"Int", "Register", "Command", "Group"});
        connect();
    }

    FeatureScript& script(const char* name) { return device->script.features[name]; }
};

// Each operation is one node, opened and closed, and one call in between.

struct Operation {
    const char* call;     ///< of the device SDK
    const char* feature;  ///< that it is done on
    int (*act)(const CameraPtr&, const char* feature);
    std::string line;  ///< when it fails
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
    return out << operation.call;
}

struct Values {
    std::int64_t whole = 0, whole2 = 0;
    double real = 0, real2 = 0;
    std::uint64_t number = 0;
    unsigned length = 0;
    bool flag = false;
    std::string text = "Three";
    Names names;
    std::vector<ParameterEnum::Entry> entries;
};

#define OPERATION(call, kind, function, arguments, message)                        \
    Operation {                                                                    \
        call, #kind,                                                               \
            [](const CameraPtr& camera, const char* name) {                        \
                [[maybe_unused]] Values v;                                         \
                return Parameter##kind(camera, name).function arguments.getCode(); \
            },                                                                     \
            "300 " #function ": " message " error. "                               \
    }

// clang-format off
const Operation kOperations[] = {
    OPERATION("getSelectorsName", Int, getSelectors, (v.names), "get param selecotrs"),
    OPERATION("getIntValue", Int, getValue, (v.whole), "get int param value"),
    OPERATION("setIntValue", Int, setValue, (v.whole), "set int param value"),
    OPERATION("getIntMaxMin", Int, getRange, (v.whole, v.whole2), "get int param range"),
    OPERATION("getIntIncrement", Int, getIncrement, (v.whole), "get int param increment"),
    OPERATION("getFloatValue", Float, getValue, (v.real), "get float param value"),
    OPERATION("setFloatValue", Float, setValue, (v.real), "set float param value"),
    OPERATION("getFloatMaxMin", Float, getRange, (v.real, v.real2), "get float param range"),
    OPERATION("getUnit", Float, getUnit, (v.text), "get float param unit"),
    OPERATION("getEnumValue", Enum, getValue, (v.number), "get enum param value"),
    OPERATION("setEnumValue", Enum, setValue, (v.number), "set enum param value"),
    OPERATION("setEnumValueBySymbol", Enum, setValue, (v.text), "set enum param value"),
    OPERATION("getEnumEntry", Enum, getEntryList, (v.entries), "set enum param value"),
    OPERATION("getBoolValue", Bool, getValue, (v.flag), "get bool param value"),
    OPERATION("setBoolValue", Bool, setValue, (v.flag), "set bool param value"),
    OPERATION("getStringValue", String, getValue, (v.text), "get string param value"),
    OPERATION("setStringValue", String, setValue, (v.text), "set string param value"),
    OPERATION("getMaxStringLen", String, getMaxLength, (v.length), "get string param max length"),
    OPERATION("execute", Command, execute, (), "execute command param"),
    OPERATION("getChildren", Group, getChildren, (v.names), "get param children"),
};
// clang-format on

class ParameterOperation : public Parameters, public testing::WithParamInterface<Operation> {};

TEST_P(ParameterOperation, IsOneCallOfTheDevice) {
    const std::string name = GetParam().feature;
    EXPECT_EQ(GetParam().act(camera, name.c_str()), 0);
    EXPECT_EQ(log.lines(), Lines{});
    Calls calls = sdk.journal();
    if (name == "Group") calls.erase(calls.begin() + 2, calls.end() - 1);  // the children's nodes
    EXPECT_THAT(calls, testing::ElementsAre("open(" + name + ")",
                                            testing::StartsWith(GetParam().call + ("(" + name)),
                                            "close(" + name + ")"));
}

TEST_P(ParameterOperation, LogsTheErrorThatItsOwnCallSet) {
    sdk.fail(GetParam().call, 11, "timeout");
    EXPECT_EQ(GetParam().act(camera, GetParam().feature), 2);
    EXPECT_EQ(log.lines(), Lines{GetParam().line + ERROR_TEXT});
    EXPECT_EQ(log.records().at(0).file, "Parameter.cpp");
}

TEST_P(ParameterOperation, FailsWhereThereIsNoSuchFeature) {
    const auto expectFailure = [this](const CameraPtr& owner, const char* name) {
        log.reset();
        EXPECT_EQ(GetParam().act(owner, name), 2);
        EXPECT_THAT(log.lines(),
                    testing::ElementsAre(testing::StartsWith(GetParam().line + "[code: 0x")));
    };
    const char* const name = GetParam().feature;
    expectFailure(camera, "NoSuchFeature");
    expectFailure(camera, nullptr);
    expectFailure(nullptr, name);
    expectFailure(std::make_shared<CameraImpl>(nullptr), name);
    expectFailure(std::make_shared<ForeignCamera>(), name);
    script(name).type = Node::kFeatureRegister;  // of another kind
    if (GetParam().call != std::string("getSelectorsName")) expectFailure(camera, name);
    device->connected = false;
    expectFailure(camera, name);
}

INSTANTIATE_TEST_SUITE_P(All, ParameterOperation, testing::ValuesIn(kOperations),
                         testing::PrintToStringParamName());

// What comes through

TEST_F(Parameters, SetValuesReachTheDeviceAndGetValuesComeFromIt) {
    Values v;
    ParameterInt(camera, "Int").setValue(INT64_MIN);
    ParameterInt(camera, "Int").getValue(v.whole);
    EXPECT_EQ(v.whole, INT64_MIN);
    ParameterFloat(camera, "Float").setValue(0.1);
    ParameterFloat(camera, "Float").getValue(v.real);
    EXPECT_EQ(v.real, 0.1);
    ParameterBool(camera, "Bool").setValue(true);
    ParameterBool(camera, "Bool").getValue(v.flag);
    EXPECT_TRUE(v.flag);
    ParameterString(camera, "String").setValue("gate 5");
    ParameterString(camera, "String").getValue(v.text);
    EXPECT_EQ(v.text, "gate 5");
    ParameterEnum(camera, "Enum").setValue(std::string("Three"));
    ParameterEnum(camera, "Enum").getValue(v.number);
    EXPECT_EQ(v.number, 3U);
    ParameterEnum(camera, "Enum").setValue(std::uint64_t{7});
    ParameterEnum(camera, "Enum").getValue(v.text);
    EXPECT_EQ(v.text, "Seven");
    ParameterCommand(camera, "Command").execute();
    EXPECT_EQ(script("Command").executions, 1);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Parameters, LimitsComeInTheOrderOfTheArguments) {
    script("Int").min = -5;
    script("Int").max = 9;
    script("Int").increment = 2;
    script("Float").numberMin = -0.5;
    script("Float").numberMax = 1e300;
    script("Float").unit = "us";
    script("String").maxLength = 63;
    Values v;
    ParameterInt(camera, "Int").getRange(v.whole, v.whole2);
    EXPECT_EQ(std::pair(v.whole, v.whole2), std::pair(std::int64_t{-5}, std::int64_t{9}));
    ParameterInt(camera, "Int").getIncrement(v.whole);
    EXPECT_EQ(v.whole, 2);
    ParameterFloat(camera, "Float").getRange(v.real, v.real2);
    EXPECT_EQ(std::pair(v.real, v.real2), std::pair(-0.5, 1e300));
    ParameterFloat(camera, "Float").getUnit(v.text);
    EXPECT_EQ(v.text, "us");
    ParameterString(camera, "String").getMaxLength(v.length);
    EXPECT_EQ(v.length, 63U);
}

TEST_F(Parameters, ListsAreAppendedInTheirOrderAndOutputsLeftAloneOnFailure) {
    script("Int").selectors = {"Second", "First"};
    Names names = {"before"};
    EXPECT_EQ(Parameter(camera, "Int").getSelectors(names), 0);
    EXPECT_EQ(names, (Names{"before", "Second", "First"}));
    EXPECT_EQ(Parameter(camera, "NoSuchFeature").getSelectors(names), 2);
    EXPECT_EQ(ParameterGroup(camera, "Int").getChildren(names), 2);
    EXPECT_EQ(names.size(), 3U);
    EXPECT_EQ(ParameterGroup(camera, "Group").getChildren(names), 0);
    EXPECT_EQ(names, (Names{"before", "Second", "First", "Int", "Register", "Command", "Group"}));

    std::vector<ParameterEnum::Entry> entries = {{1, "before", ""}};
    EXPECT_EQ(ParameterEnum(camera, "Enum").getEntryList(entries), 0);
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].symbol, "before");
    EXPECT_EQ(entries[1].value, 3U);
    EXPECT_EQ(entries[1].symbol, "Three");
    EXPECT_EQ(entries[1].description, "the third");
    EXPECT_EQ(entries[2].value, 7U);

    std::string text = "before";
    EXPECT_EQ(ParameterString(camera, "Int").getValue(text), 2);
    EXPECT_EQ(ParameterFloat(camera, "Int").getUnit(text), 2);
    EXPECT_EQ(text, "before");
}

TEST_F(Parameters, TheSymbolIsThatOfTheFirstEntryWithTheValueIfAny) {
    script("Enum").entries = {entry(3, "Three"), entry(7, "A"), entry(7, "B")};
    script("Enum").integer = 7;
    const ParameterEnum enumeration(camera, "Enum");
    Values v;
    EXPECT_EQ(enumeration.getValue(v.text), 0);
    EXPECT_EQ(v.text, "A");
    script("Enum").integer = 8;
    EXPECT_EQ(enumeration.getValue(v.text), 5);
    EXPECT_EQ(v.text, "A") << "left alone";
    EXPECT_EQ(enumeration.getValue(v.number), 0);
    EXPECT_EQ(v.number, 8U);
    sdk.fail("getEnumEntry", 11, "timeout");
    EXPECT_EQ(enumeration.getValue(v.text), 2);
    sdk.fail("getEnumValue", 11, "timeout");
    EXPECT_EQ(enumeration.getValue(v.text), 2);
    EXPECT_EQ(log.lines(), (Lines{"300 getValue: No corresponding value found",
                                  "300 getEntryList: set enum param value error. " ERROR_TEXT,
                                  "300 getValue: get enum param value error. " ERROR_TEXT}));
}

// Questions

TEST_F(Parameters, VisibilityIsOneOfFourLevelsOrUnknown) {
    const std::pair<std::uint32_t, std::uint32_t> levels[] = {{0, 0}, {1, 1},   {2, 2},
                                                              {3, 3}, {4, 255}, {255, 255}};
    for (const auto& [ofDevice, ofParameter] : levels) {
        script("Int").visibility = static_cast<Node::EFeatureVisibility>(ofDevice);
        EXPECT_EQ(Parameter(camera, "Int").getVisibility(), ParameterVisibility{ofParameter});
    }
}

TEST_F(Parameters, AnUnavailableFeatureHasNoAccess) {
    struct Access {
        bool isAvailable, isReadable, isWritable;
        unsigned mask;
    };
    const Parameter parameter(camera, "Int");
    for (const Access& access :
         {Access{true, false, false, 1}, Access{true, true, false, 3}, Access{true, false, true, 5},
          Access{true, true, true, 7}, Access{false, true, true, 0}}) {
        script("Int").isAvailable = access.isAvailable;
        script("Int").isReadable = access.isReadable;
        script("Int").isWritable = access.isWritable;
        sdk.clearJournal();
        EXPECT_EQ(parameter.getAccessibility(), access.mask);
    }
    EXPECT_EQ(sdk.journal(), (Calls{"open(Int)", "isValid(Int)", "isAvailable(Int)", "close(Int)"}))
        << "what cannot be had is not asked for";
}

TEST_F(Parameters, WithoutAFeatureAnswerNeutrallyAndSilently) {
    const auto expectNeutral = [](const Parameter& parameter) {
        EXPECT_FALSE(parameter.isValid());
        EXPECT_EQ(parameter.getType(), ParameterType::Unknown);
        EXPECT_EQ(parameter.getVisibility(), ParameterVisibility::Unknown);
        EXPECT_EQ(parameter.getAccessibility(), 0U);
        EXPECT_FALSE(parameter.isAvailable() || parameter.isReadable() || parameter.isWritable());
    };
    const ParameterInt kept(camera, "Int");
    EXPECT_TRUE(kept.isValid() && kept.isAvailable() && kept.isReadable() && kept.isWritable());
    expectNeutral(Parameter(camera, "NoSuchFeature"));
    expectNeutral(Parameter(camera, nullptr));
    expectNeutral(Parameter(nullptr, "Int"));
    expectNeutral(Parameter(std::make_shared<CameraImpl>(nullptr), "Int"));
    camera->disconnect();
    expectNeutral(kept);
    camera.reset();
    expectNeutral(kept);
    EXPECT_STREQ(kept.getName(), "Int");
    EXPECT_STREQ(Parameter(nullptr, nullptr).getName(), "");
    EXPECT_EQ(log.lines(), Lines{});
}

// The factory

template <typename P>
bool is(const Parameter& parameter) {
    return dynamic_cast<const P*>(&parameter) != nullptr;
}

TEST_F(Parameters, TheCameraMakesTheClassOfTheKind) {
    struct Kind {
        std::uint32_t ofDevice;
        ParameterType type;
        bool (*isItsClass)(const Parameter&);
    };
    for (const Kind& kind : {Kind{0x10000000, ParameterType::Int, is<ParameterInt>},
                             Kind{0x20000000, ParameterType::Float, is<ParameterFloat>},
                             Kind{0x30000000, ParameterType::Enum, is<ParameterEnum>},
                             Kind{0x40000000, ParameterType::Bool, is<ParameterBool>},
                             Kind{0x50000000, ParameterType::String, is<ParameterString>},
                             Kind{0x60000000, ParameterType::Command, is<ParameterCommand>},
                             Kind{0x70000000, ParameterType::Group, is<ParameterGroup>}}) {
        script("Any") = feature(kind.ofDevice);
        const auto made = camera->getParameter("Any");
        ASSERT_TRUE(made) << kind.ofDevice;
        EXPECT_EQ(made->getType(), kind.type);
        EXPECT_TRUE(kind.isItsClass(*made)) << kind.ofDevice;
        EXPECT_STREQ(made->getName(), "Any");
    }
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Parameters, TheCameraMakesNothingOfOtherKinds) {
    const std::uint32_t kinds[] = {0, 7, 0x10000001, 0x80000000, 0xFFFFFFFF};
    for (const std::uint32_t kind : kinds) {
        script("Any") = feature(kind);
        EXPECT_EQ(camera->getParameter("Any"), nullptr) << kind;
    }
    camera->disconnect();
    EXPECT_EQ(camera->getParameter("Int"), nullptr);
    EXPECT_EQ(log.lines(), Lines(6, "300 getParameter: error param type: [0]"));
    EXPECT_EQ(log.records().at(0).file, "CameraImpl.cpp");
}

TEST_F(Parameters, AGroupMakesItsChildrenAndLeavesOutThoseOfOtherKinds) {
    ParameterGroup group(camera, "Group");
    camera.reset();  // the group keeps it
    std::vector<std::shared_ptr<Parameter>> children = {nullptr};
    EXPECT_EQ(group.getChildren(children), 0);
    ASSERT_EQ(children.size(), 4U);
    EXPECT_TRUE(is<ParameterInt>(*children[1]));
    EXPECT_TRUE(is<ParameterCommand>(*children[2]));
    EXPECT_TRUE(is<ParameterGroup>(*children[3]));
    sdk.fail("getChildren", 11, "timeout");
    EXPECT_EQ(group.getChildren(children), 2);
    EXPECT_EQ(ParameterGroup(nullptr, "Group").getChildren(children), 2);
    EXPECT_EQ(children.size(), 4U);
    EXPECT_EQ(log.lines(), (Lines{"300 getParameter: error param type: [0]",
                                  "300 getChildren: get param children error. " ERROR_TEXT,
                                  "300 getChildren: get param children error. " ERROR_TEXT}));
}

}  // namespace
}  // namespace kestro::test
