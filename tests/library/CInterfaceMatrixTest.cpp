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
#include <stdexcept>
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

    void reset() {
        memory.fill(kUntouched);
        size = 64;
    }
    bool isUntouched() const {
        return std::all_of(memory.begin(), memory.end(),
                           [](unsigned char byte) { return byte == kUntouched; });
    }
} outputs;

// The lines that a call writes, and how many of them when the camera refuses.
struct Talk {
    Lines lines;
    std::size_t linesOnFailure = 0;
};

Talk pair(int level, const std::string& more = "") {
    const std::string start = std::to_string(level) + " ";
    return {
        {start + "begin, SerialNumber=[Acme:1001]" + more, start + "end, SerialNumber=[Acme:1001]"},
        2};
}

Talk feature(const std::string& name, const std::string& setting = "") {
    const std::string tail = ", SerialNumber=[Acme:1001], FeatureName=[" + name + "]";
    return {{"800 begin" + tail + setting, "800 end" + tail}, 2};
}

Talk valueOf(const std::string& name, const std::string& value) {
    Talk talk = feature(name);
    talk.lines.back() += ", " + value;
    talk.linesOnFailure = 1;
    return talk;
}

Talk registration(Value proc) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), ", proc=[%p]", as<void*>(proc));
    return pair(700, text.data());
}

enum class Handle { kNone, kCamera, kFrame };
enum class Stage { kClosed, kOpen, kGrabbing };

struct Check {
    std::size_t argument = 0;  ///< refused when NULL or 0
    const char* message = nullptr;
};

constexpr std::intptr_t kSomePointer = -1;

struct Row {
    const char* function = nullptr;
    Call call;
    Handle handle = Handle::kCamera;    ///< what the first argument stands for
    std::vector<Value> arguments;       ///< the others
    std::vector<Check> checks = {};     ///< in their order
    Talk talk = {};                     ///< when all is well
    std::intptr_t answer = 0;           ///< then
    const char* operation = nullptr;    ///< of the device SDK, which may fail...
    std::intptr_t answerToFailure = 2;  ///< ... and what comes of it
    Stage stage = Stage::kGrabbing;     ///< in which all is well
    std::intptr_t unknown = 20;         ///< the answer to a bad handle
    const char* complaint = "The camera is NULL!";

    bool givesHandle() const { return answer == kSomePointer; }
    std::intptr_t answerToException() const {
        return givesHandle() ? 0 : std::min<std::intptr_t>(unknown, 2);
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
};

void onFrame(const kstFrameInfo*, void*) {}
void onConnection(const kstConnectionEvent*, void*) {}
void onName(const char*, void*) {}

constexpr const char* kName = "The name is NULL!";
constexpr const char* kValue = "The value is NULL!";
constexpr const char* kInfo = "The info is NULL!";
constexpr const char* kPath = "The path is NULL!";
constexpr const char* kMask = "SubnetMask or Gateway is NULL!";

#define ROW(function) #function, callerOf(function)

// clang-format off
const std::vector<Row>& table() {
    constexpr Handle kCamera = Handle::kCamera, kFrame = Handle::kFrame, kNone = Handle::kNone;
    unsigned char* const out = outputs.memory.data();
    static const std::vector<Row> rows = {
        {ROW(kstGetVersion), kNone, {}, {}, {}, kSomePointer},
        {ROW(kstEnumDevices), kNone, {out, 0U}, {{0, "The deviceList is NULL!"}}, {}, 0, "discoveryEx", 2},
        {ROW(kstCreateDevice), kNone, {"Acme:1001", 0U}, {{0, "The data is NULL!"}},
            {{"700 type=[0], identifier=[Acme:1001]"}, 1}, kSomePointer},
        {ROW(kstReleaseHandle), kCamera, {}, {}, {}, 0, nullptr, 0, Stage::kGrabbing, 0, nullptr},
        {ROW(kstGetDeviceInfo), kCamera, {out}, {{0, "The handle is NULL!"}, {1, kInfo}}, pair(800)},
        {ROW(kstOpenDevice), kCamera, {}, {}, pair(700), 0, "connect", 2, Stage::kClosed},
        {ROW(kstCloseDevice), kCamera, {}, {}, pair(700), 0, "disConnect", 0},
        {ROW(kstIsDeviceOpen), kCamera, {}, {}, pair(800), 1, "isConnected", 0, Stage::kOpen, 0},
        {ROW(kstForceIpAddress), kCamera, {"192.168.1.9", "255.255.0.0", "192.168.1.1"},
            {{1, "The ipAddr is NULL!"}, {2, kMask}, {3, kMask}}, pair(700), 0, "forceIpAddress", 2, Stage::kClosed},
        {ROW(kstDownloadGenICamXML), kCamera, {"a.xml"}, {{1, kPath}}, pair(800), 0, "downloadGenICamXML"},
        {ROW(kstSaveDeviceConfig), kCamera, {"b.txt"}, {{1, kPath}}, pair(800), 0, "saveDeviceConfig"},
        {ROW(kstLoadDeviceConfig), kCamera, {"c.txt"}, {{1, kPath}}, pair(800), 0, "loadDeviceConfig"},

        {ROW(kstStartGrabbing), kCamera, {3U}, {}, pair(700), 0, "createStreamSource", 9, Stage::kOpen},
        {ROW(kstStopGrabbing), kCamera, {}, {}, pair(700), 0, "stopGrabbing", 0},
        {ROW(kstIsGrabbing), kCamera, {}, {}, pair(800), 1, "isGrabbing", 0, Stage::kGrabbing, 0},
        {ROW(kstClearFrameBuffer), kCamera, {}, {}, pair(800), 0, "clearFrameBuffer"},
        {ROW(kstGetFrame), kCamera, {0U}, {}, {}, kSomePointer, "getFrame", 0, Stage::kGrabbing, 0},
        {ROW(kstIsFrameValid), kFrame, {}, {}, {}, 1, nullptr, 0, Stage::kGrabbing, 0, nullptr},
        {ROW(kstGetFrameInfo), kFrame, {out}, {{1, kInfo}}, {}, 0, nullptr, 0, Stage::kGrabbing, 20, "The frame is NULL!"},
        {ROW(kstRegisterFrameCallback), kCamera, {onFrame, 0U}, {}, registration(onFrame)},
        {ROW(kstRegisterConnectionCallback), kCamera, {onConnection, 0U}, {}, registration(onConnection)},
        {ROW(kstRegisterFeatureUpdateCallback), kCamera, {onName, 0U}, {}, registration(onName)},

        {ROW(kstGetFeatureType), kCamera, {"Width"}, {}, feature("Width"), 1, nullptr, 0, Stage::kOpen, 0},
        {ROW(kstIsFeatureValid), kCamera, {"Width"}, {}, valueOf("Width", "isValid = [1]"), 1, nullptr, 0, Stage::kOpen, 0},
        {ROW(kstIsFeatureAvailable), kCamera, {"Width"}, {}, valueOf("Width", "isAvailable = [1]"), 1, nullptr, 0, Stage::kOpen, 0},
        {ROW(kstIsFeatureReadable), kCamera, {"Width"}, {}, valueOf("Width", "isReadable = [1]"), 1, nullptr, 0, Stage::kOpen, 0},
        {ROW(kstIsFeatureWriteable), kCamera, {"Width"}, {}, valueOf("Width", "isWritable = [1]"), 1, nullptr, 0, Stage::kOpen, 0},
        {ROW(kstGetIntFeatureValue), kCamera, {"Width", out}, {{1, kName}, {2, kValue}},
            valueOf("Width", "CurValue[4294967936]"), 0, "getIntValue"},
        {ROW(kstSetIntFeatureValue), kCamera, {"Width", 32U}, {}, feature("Width", ", setValue=[32]"), 0, "setIntValue"},
        {ROW(kstGetIntFeatureInfo), kCamera, {"Width", out}, {{1, kName}, {2, kInfo}},
            valueOf("Width", "curValue[4294967936], maxValue[8589934592], minValue[-4294967297], incValue[4294967300]"),
            0, "getIntIncrement"},
        {ROW(kstGetFloatFeatureValue), kCamera, {"Gain", out}, {{1, kName}, {2, kValue}},
            valueOf("Gain", "curValue=[1.24]"), 0, "getFloatValue"},
        {ROW(kstSetFloatFeatureValue), kCamera, {"Gain", 2U}, {}, feature("Gain", ", setValue=[2.00]"), 0, "setFloatValue"},
        {ROW(kstGetFloatFeatureInfo), kCamera, {"Gain", out}, {{1, kName}, {2, kInfo}},
            valueOf("Gain", "curValue[1.24], maxValue[12.76], minValue[-0.50], unit[dB]"), 0, "getUnit"},
        {ROW(kstGetBoolFeatureValue), kCamera, {"Flip", out}, {{1, kName}, {2, kValue}},
            valueOf("Flip", "curValue=[1]"), 0, "getBoolValue"},
        {ROW(kstSetBoolFeatureValue), kCamera, {"Flip", 1U}, {}, feature("Flip", ", setValue=[1]"), 0, "setBoolValue"},
        {ROW(kstGetStringFeatureValue), kCamera, {"User", out, &outputs.size},
            {{1, kName}, {2, kValue}, {3, "The size is NULL!"}}, valueOf("User", "curValue=[gate]"), 0, "getStringValue"},
        {ROW(kstSetStringFeatureValue), kCamera, {"User", "a b"}, {{1, kName}, {2, kValue}},
            feature("User", ", setValue=[a b]"), 0, "setStringValue"},
        {ROW(kstGetStringFeatureInfo), kCamera, {"User", out}, {{1, kName}, {2, kInfo}},
            valueOf("User", "curValue=[gate], maxLen=[64]"), 0, "getStringValue"},
        {ROW(kstGetEnumFeatureValue), kCamera, {"Mode", out}, {{1, kName}, {2, kValue}},
            valueOf("Mode", "curValue=[18446744073709551615]"), 0, "getEnumValue"},
        {ROW(kstSetEnumFeatureValue), kCamera, {"Mode", 1U}, {}, feature("Mode", ", setValue=[1]"), 0, "setEnumValue"},
        {ROW(kstGetEnumFeatureSymbol), kCamera, {"Mode", out, 64U},
            {{3, "invalid input param, size: 0"}, {1, kName}, {2, kValue}}, valueOf("Mode", "curEnumSymbol=[Once]"), 0, "getEnumEntry"},
        {ROW(kstSetEnumFeatureSymbol), kCamera, {"Mode", "Off"}, {{1, kName}, {2, kValue}},
            feature("Mode", ", setEnumSymbol=[Off]"), 0, "setEnumValueBySymbol"},
        {ROW(kstGetEnumFeatureEntryList), kCamera, {"Mode", out}, {{1, kName}, {2, "The entryList is NULL!"}},
            feature("Mode"), 0, "getEnumEntry"},
        {ROW(kstExecCommandFeature), kCamera, {"Start"}, {}, feature("Start"), 0, "execute"},
        {ROW(kstEnumFeatureChildren), kCamera, {"Root", onName, 0U}, {{1, kName}, {2, "The fn is NULL!"}},
            feature("Root"), 0, "getChildren"},
    };
    return rows;
}
// clang-format on

Lines named(const Row& row, const Lines& lines, std::size_t count) {
    Lines all;
    for (std::size_t i = 0; i < count; ++i) {
        all.push_back(std::string(lines[i]).insert(4, row.function + std::string(": ")));
    }
    return all;
}

/** A scene of its own for each call of a row. */
class RowScene : public Scene {
 public:
    explicit RowScene(const Row& tableRow, Stage stage) : row(tableRow) {
        outputs.reset();
        if (stage == Stage::kOpen) open();
        if (stage == Stage::kGrabbing) grab();
    }
    explicit RowScene(const Row& tableRow) : RowScene(tableRow, tableRow.stage) {}

    const void* goodHandle() const { return row.handle == Handle::kFrame ? frame : camera; }
    /** The answer to the row's good arguments; a handle that it gave is released. */
    std::intptr_t run() {
        const std::intptr_t answer = row.call(row.values(goodHandle()));
        if (row.function == std::string("kstReleaseHandle")) camera = nullptr;
        if (!row.givesHandle() || answer == 0) return answer;
        if (!row.arguments.empty()) kstReleaseHandle(reinterpret_cast<void*>(answer));
        return kSomePointer;
    }

    const Row& row;
};

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

// Of the arguments that are missing, the first in the order of the checks is named, and neither
// the handle nor the device is looked at.
TEST(CInterfaceMatrix, MissingArgumentsAreRefusedInTheirOrderAndBeforeTheHandle) {
    forEachRow([](const Row& row) {
        for (auto first = row.checks.begin(); first != row.checks.end(); ++first) {
            RowScene scene(row, Stage::kClosed);
            Values values = row.values(&scene);
            for (auto check = first; check != row.checks.end(); ++check) {
                values[check->argument] = Value();
            }
            EXPECT_EQ(row.call(values), row.givesHandle() ? 0 : 3);
            const Lines line{std::string("300 ") + row.function + ": " + first->message};
            EXPECT_EQ(scene.lines(), line);
            EXPECT_EQ(scene.log.lines(), line);
            EXPECT_EQ(scene.sdk.journal(), Calls{});
            EXPECT_TRUE(outputs.isUntouched());
        }
    });
}

TEST(CInterfaceMatrix, OneMissingArgumentIsEnough) {
    forEachRow([](const Row& row) {
        for (const Check& check : row.checks) {
            RowScene scene(row);
            Values values = row.values(scene.goodHandle());
            values[check.argument] = Value();
            EXPECT_EQ(row.call(values), row.givesHandle() ? 0 : 3);
            EXPECT_EQ(scene.log.lines(),
                      Lines{std::string("300 ") + row.function + ": " + check.message});
        }
    });
}

TEST(CInterfaceMatrix, BadHandlesAreRefusedWithOneLine) {
    forEachRow([](const Row& row) {
        if (row.handle == Handle::kNone) return;
        const bool isFrame = row.handle == Handle::kFrame;
        for (const char* bad : {"null", "unknown", "inside", "released", "foreign"}) {
            SCOPED_TRACE(bad);
            RowScene scene(row, Stage::kGrabbing);
            void* handle = nullptr;
            if (bad == std::string("unknown")) handle = &scene;
            if (bad == std::string("inside")) handle = static_cast<char*>(scene.camera) + 1;
            if (bad == std::string("released")) {
                handle = isFrame ? kstGetFrame(scene.camera, 0) : kstCreateDevice("Acme:1002", 0);
                ASSERT_TRUE(handle);
                kstReleaseHandle(handle);
            }
            if (bad == std::string("foreign")) handle = isFrame ? scene.camera : scene.frame;
            if (!handle && row.checksArgument(0)) continue;
            if (bad == std::string("foreign") && !row.complaint && !isFrame) continue;
            scene.quiet();
            EXPECT_EQ(row.call(row.values(handle)), row.unknown);
            Lines line;
            if (row.complaint) line = {std::string("300 ") + row.function + ": " + row.complaint};
            EXPECT_EQ(scene.lines(), line);
            EXPECT_EQ(scene.log.lines(), line);
            EXPECT_EQ(scene.sdk.journal(), Calls{});
            EXPECT_TRUE(outputs.isUntouched());
        }
    });
}

TEST(CInterfaceMatrix, AllIsSaidWhenAllIsWell) {
    forEachRow([](const Row& row) {
        for (const int enabled : {800, 300}) {
            RowScene scene(row);
            scene.log.setEnabledLevel(enabled);
            EXPECT_EQ(scene.run(), row.answer);
            Lines lines = named(row, row.talk.lines, row.talk.lines.size());
            if (enabled < 800) std::erase_if(lines, [](auto& line) { return line[0] == '8'; });
            EXPECT_EQ(scene.lines(), lines);
        }
    });
}

TEST(CInterfaceMatrix, FailuresOfTheDeviceAreAnsweredAndEnded) {
    forEachRow([](const Row& row) {
        if (!row.operation) return;
        RowScene scene(row);
        scene.log.setEnabledLevel(800);
        scene.sdk.fail(row.operation, 11, "timeout");
        EXPECT_EQ(scene.run(), row.answerToFailure);
        const std::size_t count =
            row.unknown == 0 ? row.talk.lines.size() : row.talk.linesOnFailure;
        EXPECT_EQ(scene.lines(), named(row, row.talk.lines, count));
    });
}

// Where nothing checks the name, NULL is the empty name, which no camera has.
TEST(CInterfaceMatrix, ANullNameThatIsNotCheckedIsUnknownToTheDevice) {
    forEachRow([](const Row& row) {
        const bool isFeature =
            !row.talk.lines.empty() && row.talk.lines[0].find("FeatureName") != std::string::npos;
        if (!isFeature || row.checksArgument(1)) return;
        RowScene scene(row);
        scene.log.setEnabledLevel(800);
        Values values = row.values(scene.camera);
        values[1] = Value();
        EXPECT_EQ(row.call(values), row.unknown == 0 ? 0 : 2);
        ASSERT_FALSE(scene.lines().empty());
        EXPECT_THAT(scene.lines()[0], testing::HasSubstr(", FeatureName=[]"));
    });
}

// Every operation that the good road makes of the device throws once. Some the library catches by
// itself; none comes out.
TEST(CInterfaceMatrix, ExceptionsBecomeAnAnswerAndALine) {
    const std::function<void()> throwers[] = {[] { throw std::bad_alloc(); },
                                              [] { throw std::runtime_error("broken"); },
                                              [] { throw 5; }};
    int caught = 0;
    forEachRow([&](const Row& row) {
        std::set<std::string> operations;
        {
            RowScene scene(row);
            scene.run();
            for (const std::string& call : scene.sdk.journal()) {
                operations.insert(call.substr(0, call.find('(')));
            }
        }
        for (const std::string& operation : operations) {
            if (operation[0] == '~' || operation == "close") continue;  // destructors do not throw
            SCOPED_TRACE(operation);
            RowScene scene(row);
            scene.sdk.before(operation, throwers[caught % 3]);
            const std::intptr_t answer = scene.run();
            const Lines errors = scene.log.lines(0, 300);
            EXPECT_FALSE(errors.empty());
            const std::string own = std::string("300 ") + row.function + ": ";
            Lines ours = scene.lines();
            std::erase_if(ours, [&](auto& line) { return !line.starts_with(own); });
            if (ours.empty() && answer == row.answer) continue;
            EXPECT_EQ(answer, row.answerToException());
            EXPECT_EQ(ours.size(), 1U);
            ++caught;
        }
    });
    EXPECT_GE(caught, 36);  // each function that asks the device for something
}

// Whatever runs meanwhile, a line's sink or the device, other threads are served.
TEST(CInterfaceMatrix, NoLockIsHeldWhileLoggingOrAskingTheDevice) {
    forEachRow([](const Row& row) {
        Calls calls;
        {
            RowScene scene(row);
            scene.run();
            calls = scene.sdk.journal();
        }
        auto scene = std::make_shared<RowScene>(row);
        scene->log.setEnabledLevel(800);
        const auto kept = std::make_shared<Outputs>();
        void* const camera = kstCreateDevice("Acme:1001", 0);
        int probes = 0;
        auto probe = [&, isProbing = std::make_shared<std::atomic<bool>>(false)] {
            if (isProbing->exchange(true)) return;
            void* const frame = scene->frame;
            EXPECT_TRUE(endsElsewhere([kept, camera, frame] {
                kstReleaseHandle(kept.get());
                kstGetDeviceInfo(camera, reinterpret_cast<kstDeviceInfo*>(kept->memory.data()));
                kstFrameInfo info;
                if (frame) kstGetFrameInfo(frame, &info);
            }));
            ++probes;
            *isProbing = false;
        };
        scene->log.onLine([&](const LogRecord&) { probe(); });
        for (const std::string& call : calls) {
            scene->sdk.before(call.substr(0, call.find('(')), probe);
        }
        scene->run();
        EXPECT_EQ(probes > 0, !calls.empty() || !row.talk.lines.empty());
        scene->quiet();
        scene->sdk.reset();
        kstReleaseHandle(camera);
    });
}

// The first call of a process configures the logging, so that no line goes before that.
TEST(CInterfaceMatrix, ConfiguresTheLoggingBeforeItsFirstLine) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    forEachRow([](const Row& row) {
        if (!row.complaint) return;
        auto callFirst = [&row] {
            row.call(Values());
            for (const std::string& line : RecordingLogger::instance().lines()) {
                std::fprintf(stderr, "%s|", line.c_str());
            }
            std::exit(0);
        };
        EXPECT_EXIT(callFirst(), testing::ExitedWithCode(0),
                    "^700 System: KestroSDK Version: .1\\.1\\.0\\.307039.\\|");
    });
}

}  // namespace
}  // namespace kestro::test
