// SPDX-License-Identifier: Apache-2.0
//
// All functions of the C interface against the same questions: what they refuse, in which order,
// what they log, what becomes of an exception. A function without a row fails the first test.
#include "CScene.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <new>
#include <regex>
#include <set>
#include <type_traits>
#include <utility>

namespace kestro::test {
namespace {

/** An argument of any type, as the bits that a table can hold. */
struct Value {
    template <typename T>
    Value(T* pointer) : bits(reinterpret_cast<std::uintptr_t>(pointer)) {}
    Value(unsigned number) : bits(number) {}
    Value() = default;
    std::uintptr_t bits = 0;
};
using Values = std::array<Value, 4>;
using Call = std::function<std::intptr_t(const Values&)>;

template <typename T>
T as(const Value& value) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(value.bits);
    } else {
        return static_cast<T>(value.bits);
    }
}

template <typename R, typename... Args, std::size_t... I>
std::intptr_t apply(R (*function)(Args...), [[maybe_unused]] const Values& values,
                    std::index_sequence<I...>) {
    if constexpr (std::is_void_v<R>) {
        function(as<Args>(values[I])...);
        return 0;
    } else if constexpr (std::is_pointer_v<R>) {
        return reinterpret_cast<std::intptr_t>(function(as<Args>(values[I])...));
    } else {
        return function(as<Args>(values[I])...);
    }
}

template <typename R, typename... Args>
Call callerOf(R (*function)(Args...)) {
    return [function](const Values& values) {
        return apply(function, values, std::index_sequence_for<Args...>());
    };
}

/** What the caller hands in to be filled; large enough for every record. */
struct Outputs {
    alignas(8) std::array<unsigned char, 8192> memory;
    std::uint32_t size;
} outputs;

// The lines that a call writes, and how many of them when the camera refuses.
struct Talk {
    Lines lines;
    std::size_t linesOnFailure = 0;
};

Talk between(const std::string& level, const std::string& begin, const std::string& end = "") {
    const std::string key = ", SerialNumber=[Acme:1001]";
    return {{level + " begin" + key + begin, level + " end" + key + end}, 2};
}

Talk feature(const std::string& name, const std::string& setting = "") {
    const std::string tail = ", FeatureName=[" + name + "]";
    return between("800", tail + setting, tail);
}

Talk valueOf(const std::string& name, const std::string& value) {
    Talk talk = feature(name);
    talk.lines[1] += ", " + value;
    talk.linesOnFailure = 1;
    return talk;
}

Talk registration(Value proc) {
    return between("700", ", proc=[" + pointerText(as<void*>(proc)) + "]");
}

enum class Handle { kNone, kCamera, kFrame, kEither };
enum class Stage { kClosed, kOpen, kGrabbing };

struct Check {
    std::size_t argument = 0;  ///< refused when NULL or 0
    const char* message = nullptr;
};

constexpr std::intptr_t kSomePointer = -1;

struct Row {
    std::string function;
    Call call;
    Handle handle = Handle::kCamera;    ///< what the first argument stands for
    std::vector<Value> arguments;       ///< the others
    std::vector<Check> checks = {};     ///< in their order
    Talk talk = {};                     ///< when all is well
    std::intptr_t answer = 0;           ///< then
    std::string operation = "";         ///< of the device SDK, which may fail...
    std::intptr_t answerToFailure = 2;  ///< ... and what comes of it
    Stage stage = Stage::kGrabbing;     ///< in which all is well

    bool givesHandle() const { return answer == kSomePointer; }
    bool isQuestion() const {
        return function.starts_with("kstIs") || function == "kstGetFeatureType";
    }
    /** Lines that say nothing but the key come in every case. */
    bool isPlainlyEnded() const {
        return !talk.lines.empty() && talk.lines[0].ends_with("SerialNumber=[Acme:1001]");
    }
    std::string complaint() const {
        if (handle == Handle::kEither || function == "kstIsFrameValid") return "";
        return handle == Handle::kFrame ? "The frame is NULL!" : "The camera is NULL!";
    }
    /** What comes instead of a code. */
    std::intptr_t refusal(std::intptr_t code) const {
        return givesHandle() || isQuestion() || handle == Handle::kEither ? 0 : code;
    }
    bool checksArgument(std::size_t argument) const {
        return std::any_of(checks.begin(), checks.end(),
                           [=](const Check& check) { return check.argument == argument; });
    }
    Values values(const void* handleValue) const {
        Values all;
        auto next = all.begin();
        if (handle != Handle::kNone) *next++ = handleValue;
        std::copy(arguments.begin(), arguments.end(), next);
        return all;
    }
    std::string line(int level, const std::string& message) const {
        return std::to_string(level) + " " + function + ": " + message;
    }
};

void onFrame(const kstFrameInfo*, void*) {}
void onConnection(const kstConnectionEvent*, void*) {}
void onName(const char*, void*) {}

// clang-format off
#define ROW(function) #function, callerOf(function)
const std::vector<Row>& table() {
    constexpr Handle kNone = Handle::kNone, kCamera = Handle::kCamera, kFrame = Handle::kFrame;
    constexpr Stage kClosed = Stage::kClosed, kOpen = Stage::kOpen;
    const char* const mask = "SubnetMask or Gateway is NULL!";
    const std::vector<Check> path = {{1, "The path is NULL!"}};
    const std::vector<Check> value = {{1, "The name is NULL!"}, {2, "The value is NULL!"}};
    const std::vector<Check> info = {{1, "The name is NULL!"}, {2, "The info is NULL!"}};
    unsigned char* const out = outputs.memory.data();
    static const std::vector<Row> rows = {
        {ROW(kstGetVersion), kNone, {}, {}, {}, kSomePointer},
        {ROW(kstEnumDevices), kNone, {out, 0U}, {{0, "The deviceList is NULL!"}}, {}, 0, "discoveryEx(2, {1 0 0 0 0 0 0 0})"},
        {ROW(kstCreateDevice), kNone, {"Acme:1001", 0U}, {{0, "The data is NULL!"}},
            {{"700 type=[0], identifier=[Acme:1001]"}, 1}, kSomePointer},
        {ROW(kstReleaseHandle), Handle::kEither, {}},
        {ROW(kstGetDeviceInfo), kCamera, {out}, {{0, "The handle is NULL!"}, {1, "The info is NULL!"}}, between("800", "")},
        {ROW(kstOpenDevice), kCamera, {}, {}, between("700", ""), 0, "connect(2)", 2, kClosed},
        {ROW(kstCloseDevice), kCamera, {}, {}, between("700", ""), 0, "disConnect", 0},
        {ROW(kstIsDeviceOpen), kCamera, {}, {}, between("800", ""), 1, "isConnected", 0},
        {ROW(kstForceIpAddress), kCamera, {"10.0.0.2", "255.0.0.0", "10.0.0.1"}, {{1, "The ipAddr is NULL!"}, {2, mask}, {3, mask}},
            between("700", ""), 0, "forceIpAddress(10.0.0.2, 255.0.0.0, 10.0.0.1)", 2, kClosed},
        {ROW(kstDownloadGenICamXML), kCamera, {"a.xml"}, path, between("800", ""), 0, "downloadGenICamXML(a.xml)"},
        {ROW(kstSaveDeviceConfig), kCamera, {"b.txt"}, path, between("800", ""), 0, "saveDeviceConfig(b.txt)"},
        {ROW(kstLoadDeviceConfig), kCamera, {"c.txt"}, path, between("800", ""), 0, "loadDeviceConfig(c.txt)"},

        {ROW(kstStartGrabbing), kCamera, {3U}, {}, between("700", ""), 0, "setBufferCount(3)", 2, kOpen},
        {ROW(kstStopGrabbing), kCamera, {}, {}, between("700", ""), 0, "stopGrabbing", 0},
        {ROW(kstIsGrabbing), kCamera, {}, {}, between("800", ""), 1, "isGrabbing", 0},
        {ROW(kstClearFrameBuffer), kCamera, {}, {}, between("800", ""), 0, "clearFrameBuffer"},
        {ROW(kstGetFrame), kCamera, {4000000000U}, {}, {}, kSomePointer, "getFrame(4000000000)", 0},
        {ROW(kstIsFrameValid), kFrame, {}, {}, {}, 1},
        {ROW(kstGetFrameInfo), kFrame, {out}, {{1, "The info is NULL!"}}},
        {ROW(kstRegisterFrameCallback), kCamera, {onFrame, 0U}, {}, registration(onFrame)},
        {ROW(kstRegisterConnectionCallback), kCamera, {onConnection, 0U}, {}, registration(onConnection)},
        {ROW(kstRegisterFeatureUpdateCallback), kCamera, {onName, 0U}, {}, registration(onName)},

        {ROW(kstGetFeatureType), kCamera, {"Width"}, {}, feature("Width"), 1},
        {ROW(kstIsFeatureValid), kCamera, {"Width"}, {}, valueOf("Width", "isValid = [1]"), 1},
        {ROW(kstIsFeatureAvailable), kCamera, {"Width"}, {}, valueOf("Width", "isAvailable = [1]"), 1},
        {ROW(kstIsFeatureReadable), kCamera, {"Width"}, {}, valueOf("Width", "isReadable = [1]"), 1},
        {ROW(kstIsFeatureWriteable), kCamera, {"Width"}, {}, valueOf("Width", "isWritable = [1]"), 1},
        {ROW(kstGetIntFeatureValue), kCamera, {"Width", out}, value, valueOf("Width", "CurValue[4294967936]"), 0, "getIntValue(Width)"},
        {ROW(kstSetIntFeatureValue), kCamera, {"Width", 32U}, {}, feature("Width", ", setValue=[32]"), 0, "setIntValue(Width, 32)"},
        {ROW(kstGetIntFeatureInfo), kCamera, {"Width", out}, info, valueOf("Width",
            "curValue[4294967936], maxValue[8589934592], minValue[-4294967297], incValue[4294967300]"), 0, "getIntIncrement(Width)"},
        {ROW(kstGetFloatFeatureValue), kCamera, {"Gain", out}, value, valueOf("Gain", "curValue=[1.24]"), 0, "getFloatValue(Gain)"},
        {ROW(kstSetFloatFeatureValue), kCamera, {"Gain", 2U}, {}, feature("Gain", ", setValue=[2.00]"), 0, "setFloatValue(Gain, 2.000000)"},
        {ROW(kstGetFloatFeatureInfo), kCamera, {"Gain", out}, info,
            valueOf("Gain", "curValue[1.24], maxValue[12.76], minValue[-0.50], unit[dB]"), 0, "getUnit(Gain)"},
        {ROW(kstGetBoolFeatureValue), kCamera, {"Flip", out}, value, valueOf("Flip", "curValue=[1]"), 0, "getBoolValue(Flip)"},
        {ROW(kstSetBoolFeatureValue), kCamera, {"Flip", 1U}, {}, feature("Flip", ", setValue=[1]"), 0, "setBoolValue(Flip, 1)"},
        {ROW(kstGetStringFeatureValue), kCamera, {"User", out, &outputs.size},
            {{1, "The name is NULL!"}, {2, "The value is NULL!"}, {3, "The size is NULL!"}},
            valueOf("User", "curValue=[gate]"), 0, "getStringValue(User)"},
        {ROW(kstSetStringFeatureValue), kCamera, {"User", "a b"}, value, feature("User", ", setValue=[a b]"), 0, "setStringValue(User, a b)"},
        {ROW(kstGetStringFeatureInfo), kCamera, {"User", out}, info,
            valueOf("User", "curValue=[gate], maxLen=[64]"), 0, "getStringValue(User)"},
        {ROW(kstGetEnumFeatureValue), kCamera, {"Mode", out}, value,
            valueOf("Mode", "curValue=[18446744073709551615]"), 0, "getEnumValue(Mode)"},
        {ROW(kstSetEnumFeatureValue), kCamera, {"Mode", 1U}, {}, feature("Mode", ", setValue=[1]"), 0, "setEnumValue(Mode, 1)"},
        {ROW(kstGetEnumFeatureSymbol), kCamera, {"Mode", out, 64U},
            {{3, "invalid input param, size: 0"}, {1, "The name is NULL!"}, {2, "The value is NULL!"}},
            valueOf("Mode", "curEnumSymbol=[Once]"), 0, "getEnumEntry(Mode)"},
        {ROW(kstSetEnumFeatureSymbol), kCamera, {"Mode", "Off"}, value,
            feature("Mode", ", setEnumSymbol=[Off]"), 0, "setEnumValueBySymbol(Mode, Off)"},
        {ROW(kstGetEnumFeatureEntryList), kCamera, {"Mode", out}, {{1, "The name is NULL!"}, {2, "The entryList is NULL!"}},
            feature("Mode"), 0, "getEnumEntry(Mode)"},
        {ROW(kstExecCommandFeature), kCamera, {"Start"}, {}, feature("Start"), 0, "execute(Start)"},
        {ROW(kstEnumFeatureChildren), kCamera, {"Root", onName, 0U}, {{1, "The name is NULL!"}, {2, "The fn is NULL!"}},
            feature("Root"), 0, "getChildren(Root)"},
    };
    return rows;
}
// clang-format on

std::string operationOf(const std::string& call) { return call.substr(0, call.find('(')); }

/** A scene of its own for each call of a row. */
class RowScene : public Scene {
 public:
    RowScene(const Row& tableRow, Stage stage) : row(tableRow) {
        outputs = {};
        outputs.size = 64;
        if (stage == Stage::kOpen) open();
        if (stage == Stage::kGrabbing) grab();
    }
    explicit RowScene(const Row& tableRow) : RowScene(tableRow, tableRow.stage) {}

    const void* goodHandle() const { return row.handle == Handle::kFrame ? frame : camera; }
    /** The answer to the row's good arguments; a handle that it gave is released. */
    std::intptr_t run() {
        const std::intptr_t answer = row.call(row.values(goodHandle()));
        if (row.handle == Handle::kEither) camera = nullptr;
        if (!row.givesHandle() || answer == 0) return answer;
        if (!row.arguments.empty()) kstReleaseHandle(reinterpret_cast<void*>(answer));
        return kSomePointer;
    }
    /** What the C function says of the row's lines, the first `count`, up to this level. */
    Lines expected(std::size_t count, char level = '8') const {
        Lines all;
        for (const std::string& line : row.talk.lines) {
            if (all.size() < count && line[0] <= level) {
                all.push_back(std::string(line).insert(4, row.function + ": "));
            }
        }
        return all;
    }
    /** Nothing came of the call but this line, or no line where it is empty. */
    void expectRefusal(const std::string& message) const {
        Lines line;
        if (!message.empty()) line = {row.line(300, message)};
        EXPECT_EQ(lines(), line);
        EXPECT_EQ(log.lines(), line);
        EXPECT_EQ(sdk.journal(), Calls{});
        EXPECT_EQ(othersThan(0, outputs.memory), 0);
    }

    const Row& row;
};

/** What the row asks of the device when all is well. */
std::set<std::string> operationsOf(const Row& row) {
    RowScene scene(row);
    scene.run();
    std::set<std::string> operations;
    for (const std::string& call : scene.sdk.journal()) operations.insert(operationOf(call));
    return operations;
}

template <typename Body>
void forEachRow(const Body& body) {
    for (const Row& row : table()) {
        SCOPED_TRACE(row.function);
        body(row);
    }
}

TEST(CInterfaceMatrix, CoversEveryFunctionOfTheHeader) {
    std::ifstream file(KESTRO_C_HEADER);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::regex declaration(R"(\nKESTRO_API [^;(]*?(kst\w+)\()");
    std::multiset<std::string> declared;
    for (std::sregex_iterator found(text.begin(), text.end(), declaration), end; found != end;
         ++found) {
        declared.insert((*found)[1]);
    }
    std::multiset<std::string> covered;
    for (const Row& row : table()) covered.insert(row.function);
    EXPECT_EQ(covered.size(), 45U);
    EXPECT_EQ(covered, declared);
}

// The first that is missing, in the order of the checks, is named, and neither the handle nor the
// device is looked at. The second time it is the only one.
TEST(CInterfaceMatrix, MissingArgumentsAreRefusedInTheirOrderAndBeforeTheHandle) {
    forEachRow([](const Row& row) {
        for (std::size_t first = 0; first < row.checks.size(); ++first) {
            for (const std::size_t end : {row.checks.size(), first + 1}) {
                RowScene scene(row, Stage::kClosed);
                Values values = row.values(&scene);
                for (std::size_t i = first; i < end; ++i) values[row.checks[i].argument] = Value();
                EXPECT_EQ(row.call(values), row.refusal(3));
                scene.expectRefusal(row.checks[first].message);
            }
        }
    });
}

TEST(CInterfaceMatrix, BadHandlesAreRefusedWithOneLine) {
    forEachRow([](const Row& row) {
        if (row.handle == Handle::kNone) return;
        const bool isFrame = row.handle == Handle::kFrame;
        for (const std::string bad : {"null", "unknown", "inside", "released", "foreign"}) {
            SCOPED_TRACE(bad);
            RowScene scene(row, Stage::kGrabbing);
            void* handle = nullptr;
            if (bad == "unknown") handle = &scene;
            if (bad == "inside") handle = static_cast<char*>(scene.camera) + 1;
            if (bad == "released") {
                handle = isFrame ? kstGetFrame(scene.camera, 0) : kstCreateDevice("Acme:1002", 0);
                ASSERT_TRUE(handle);
                kstReleaseHandle(handle);
                scene.quiet();
            }
            if (bad == "foreign" && row.handle != Handle::kEither) {
                handle = isFrame ? scene.camera : scene.frame;
            }
            if (!handle && row.checksArgument(0)) continue;
            EXPECT_EQ(row.call(row.values(handle)), row.refusal(20));
            scene.expectRefusal(row.complaint());
        }
    });
}

TEST(CInterfaceMatrix, AllIsDoneAndSaidWhenAllIsWell) {
    forEachRow([](const Row& row) {
        for (const int enabled : {800, 300}) {
            RowScene scene(row);
            scene.log.setEnabledLevel(enabled);
            EXPECT_EQ(scene.run(), row.answer);
            EXPECT_EQ(scene.lines(), scene.expected(2, enabled == 800 ? '8' : '7'));
            if (!row.operation.empty()) {
                EXPECT_THAT(scene.sdk.journal(), testing::Contains(row.operation));
            }
        }
    });
}

TEST(CInterfaceMatrix, FailuresOfTheDeviceAreAnsweredAndEnded) {
    forEachRow([](const Row& row) {
        if (row.operation.empty()) return;
        RowScene scene(row);
        scene.log.setEnabledLevel(800);
        scene.sdk.fail(operationOf(row.operation), 11, "timeout");
        EXPECT_EQ(scene.run(), row.answerToFailure);
        EXPECT_EQ(scene.lines(), scene.expected(row.talk.linesOnFailure));
    });
}

// Where nothing checks the name, NULL is the empty name, which no camera has.
TEST(CInterfaceMatrix, ANullNameThatIsNotCheckedIsUnknownToTheDevice) {
    int names = 0;
    forEachRow([&](const Row& row) {
        RowScene scene(row);
        const Lines lines = scene.expected(1);
        const std::size_t at = lines.empty() ? std::string::npos : lines[0].find("FeatureName=[");
        if (at == std::string::npos || row.checksArgument(1)) return;
        scene.log.setEnabledLevel(800);
        Values values = row.values(scene.camera);
        values[1] = Value();
        EXPECT_EQ(row.call(values), row.refusal(2));
        ASSERT_FALSE(scene.lines().empty());
        EXPECT_THAT(scene.lines()[0], testing::HasSubstr("FeatureName=[]"));
        ++names;
    });
    EXPECT_EQ(names, 10);
}

// Every operation that the good road makes of the device throws once. Some the library catches by
// itself; none comes out.
TEST(CInterfaceMatrix, ExceptionsBecomeAnAnswerAndALine) {
    const std::function<void()> throwers[] = {[] { throw std::bad_alloc(); }, [] { throw 5; }};
    std::set<std::string> caught;
    forEachRow([&](const Row& row) {
        for (const std::string& operation : operationsOf(row)) {
            if (operation[0] == '~' || operation == "close") continue;  // destructors do not throw
            SCOPED_TRACE(operation);
            RowScene scene(row);
            scene.log.setEnabledLevel(800);
            scene.sdk.before(operation, throwers[caught.size() % 2]);
            const std::intptr_t answer = scene.run();
            Lines errors = scene.log.lines(0, 300);
            ASSERT_FALSE(errors.empty());
            const std::string own = row.line(300, "");
            std::erase_if(errors, [&](const auto& line) { return !line.starts_with(own); });
            EXPECT_EQ(answer, errors.empty() ? row.answer : row.refusal(2));
            EXPECT_LE(errors.size(), 1U);
            if (errors.empty()) continue;
            caught.insert(row.function);
            if (!row.isPlainlyEnded()) continue;
            EXPECT_EQ(scene.lines().back(), scene.expected(2).back());
        }
    });
    EXPECT_EQ(caught.size(), 37U);  // the others ask nothing of the device, or catch by themselves
}

// There, whatever a call would wait for may be held by a thread that does not exist.
TEST(CInterfaceMatrix, AForkedChildIsRefusedAtOnce) {
    forEachRow([](const Row& row) {
        RowScene scene(row);
        scene.log.setEnabledLevel(800);
        scene.sdk.setForkedChild(true);
        const std::intptr_t answer = row.call(row.values(scene.goodHandle()));
        scene.sdk.setForkedChild(false);
        if (row.function == "kstGetVersion") {
            EXPECT_NE(answer, 0);
        } else {
            EXPECT_EQ(answer, row.refusal(2));
        }
        scene.expectRefusal("");
        EXPECT_EQ(kstIsFrameValid(scene.frame), row.stage == Stage::kGrabbing ? 1 : 0);
    });
}

// Whatever runs meanwhile, a line's sink or the device, other threads are served.
TEST(CInterfaceMatrix, NoLockIsHeldWhileLoggingOrAskingTheDevice) {
    forEachRow([](const Row& row) {
        const std::set<std::string> operations = operationsOf(row);
        RowScene scene(row);
        scene.log.setEnabledLevel(800);
        void* const held = kstCreateDevice("Acme:1001", 0);
        int probes = 0;
        std::atomic<bool> isProbing{false};
        const auto probe = [&] {
            if (isProbing.exchange(true)) return;
            EXPECT_TRUE(endsElsewhere([held, frame = scene.frame] {
                kstDeviceInfo device;
                kstFrameInfo info;
                kstGetDeviceInfo(held, &device);
                kstGetFrameInfo(frame, &info);
            }));
            ++probes;
            isProbing = false;
        };
        scene.log.onLine([&](const LogRecord&) { probe(); });
        for (const std::string& operation : operations) scene.sdk.before(operation, probe);
        scene.run();
        EXPECT_EQ(probes > 0, !operations.empty() || !row.talk.lines.empty());
        scene.log.reset();
        kstReleaseHandle(held);
    });
}

// The first call of a process configures the logging, so that no line goes before that.
TEST(CInterfaceMatrix, ConfiguresTheLoggingBeforeItsFirstLine) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    forEachRow([](const Row& row) {
        if (row.complaint().empty()) return;
        auto callFirst = [&row] {
            row.call(Values());
            std::fputs(RecordingLogger::instance().lines().at(0).c_str(), stderr);
            std::exit(0);
        };
        EXPECT_EXIT(callFirst(), testing::ExitedWithCode(0),
                    "^700 System: KestroSDK Version: .1\\.1\\.0\\.307039.$");
    });
}

}  // namespace
}  // namespace kestro::test
