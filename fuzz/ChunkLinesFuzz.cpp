// SPDX-License-Identifier: Apache-2.0
//
// The lines of chunks by their keys, the keys of codes, and the numbers that stand in the lines. A
// plain list and the standard's streams say what is to come out.
#include "ChunkLines.h"
#include "CodeKeys.h"
#include "FuzzInput.h"
#include "StreamNumbers.h"

#include <algorithm>
#include <bit>
#include <locale>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace kestro::fuzz;
using kestro::decode::ChunkKey;
using kestro::decode::ChunkLines;
using kestro::decode::CodeKeys;
using kestro::decode::CodeKeyTable;

// With pairs of one hash: h = 131 h + c over signed bytes.
constexpr const char* kKeys[] = {"BarCodeNum",
                                 "BarCode0_CodeType",
                                 "BarCode0_CodeData",
                                 "BarCode1_CodeType",
                                 "k\x42",
                                 "l\xbf",
                                 "longer key \x42",
                                 "longer key!\xbf",
                                 "",
                                 "a",
                                 " Value",
                                 "key Value"};

std::uint32_t plainHash(std::string_view text) {
    std::uint32_t hash = 0;
    for (const char each : text)
        hash = hash * 131 + static_cast<std::uint32_t>(static_cast<signed char>(each));
    return hash;
}

/** The lines of one chunk after the other in one table, as frames go through it. */
class Lines {
 public:
    explicit Lines(Choices& choices) : choices_(choices) {}

    void run() {
        for (int chunks = 0; chunks < 6 && !choices_.isEmpty(); ++chunks) runChunk();
    }

 private:
    void runChunk() {
        const std::size_t count = choices_.below(80);
        texts_.clear();
        texts_.reserve(count);  // the table looks at them
        model_.clear();
        asked_.clear();
        table_.reset(count);
        for (int step = 0; step < 200 && !choices_.isEmpty(); ++step) {
            const std::size_t what = choices_.below(8);
            if (what == 0) return;
            if (what < 4 && texts_.size() < count && asked_.empty()) {
                add();
            } else if (what < 7) {
                find();
            } else {
                goOn();
            }
        }
    }
    std::string key() {
        if (choices_.flag()) return choices_.oneOf(kKeys);
        const ByteView bytes = choices_.bytes(choices_.below(20));
        return {bytes.begin(), bytes.end()};
    }
    void add() {
        const bool isLine = choices_.below(8) != 0;
        const std::string name = key();
        const ByteView value = choices_.bytes(choices_.below(6));
        texts_.push_back(name + (isLine ? " Value:" : ":") +
                         std::string(value.begin(), value.end()));
        const std::string& line = texts_.back();
        table_.add(line);
        const std::size_t colon = line.find(':');
        const std::string before = line.substr(0, colon);
        if (!before.ends_with(" Value")) return;
        model_.emplace_back(before.substr(0, before.size() - 6), line.substr(colon + 1));
    }
    std::string expected(const std::string& name) const {
        const auto first = std::find_if(model_.begin(), model_.end(),
                                        [&](const auto& line) { return line.first == name; });
        return first == model_.end() ? "" : first->second;
    }
    void find() {
        const std::string name = key();
        KESTRO_EXPECT(table_.find(ChunkKey(name)) == expected(name));
    }
    /** Asks for a key, mostly for that of the next line, as if none were to come again. */
    void goOn() {
        const bool isInOrder = asked_.size() < model_.size() && choices_.below(4) != 0;
        const std::string name = isInOrder ? model_[asked_.size()].first : key();
        if (name.find(':') != std::string::npos || !asked_.insert(name).second) return;
        const std::string_view whole = name;
        const std::size_t head = choices_.below(whole.size() + 1);
        const ChunkKey parts(whole.substr(0, head), plainHash(whole.substr(0, head)),
                             whole.substr(head));
        KESTRO_EXPECT(parts.hash() == plainHash(name) && parts.text() == name);
        if (choices_.below(8) == 0) {
            table_.skip(parts);
        } else {
            KESTRO_EXPECT(table_.next(parts) == expected(name));
        }
    }

    Choices& choices_;
    ChunkLines table_;
    std::vector<std::string> texts_;
    std::vector<std::pair<std::string, std::string>> model_;
    std::set<std::string> asked_;
};

void checkKey(const ChunkKey& key, const std::string& prefix, std::uint32_t index,
              const char* tail) {
    KESTRO_EXPECT(key.text() == prefix + std::to_string(index) + tail);
    KESTRO_EXPECT(key.hash() == plainHash(key.text()));
}

void checkKeys(CodeKeyTable& table, const std::string& prefix, std::uint32_t index) {
    CodeKeys spare;
    const CodeKeys& keys = table.keys(index, spare);
    KESTRO_EXPECT((&keys == &spare) == (index >= CodeKeyTable::kMostKept));
    KESTRO_EXPECT(table.size() <= CodeKeyTable::kMostKept);
    checkKey(keys.codeType(), prefix, index, "_CodeType");
    checkKey(keys.codeData(), prefix, index, "_CodeData");
    checkKey(keys.positionPointCount(), prefix, index, "_PosPointNum");
    checkKey(keys.pointX(0), prefix, index, "_Point0_X");
    checkKey(keys.pointY(3), prefix, index, "_Point3_Y");
    checkKey(keys.ppm(), prefix, index, "_PPM");
}

void checkKeys(Choices& choices) {
    const std::size_t which = choices.below(16);
    const auto index = static_cast<std::uint32_t>(choices.number(choices.below(5)));
    if (which == 0) {
        CodeKeyTable fresh("Fresh");
        checkKeys(fresh, "Fresh", index);
    } else if (which < 8) {
        checkKeys(CodeKeyTable::barcodes(), "BarCode", index);
    } else {
        checkKeys(CodeKeyTable::qrCodes(), "QR", index);
    }
}

template <typename T>
T fromStream(const std::string& text) {
    static std::istringstream& stream = *new std::istringstream;
    stream.clear();
    stream.imbue(std::locale::classic());
    stream.str(text);
    T value{};
    stream >> value;
    return value;
}

void checkNumbers(const std::string& text) {
    using kestro::decode::streamNumber;
    KESTRO_EXPECT(streamNumber<std::int32_t>(text) == fromStream<std::int32_t>(text));
    KESTRO_EXPECT(streamNumber<std::uint32_t>(text) == fromStream<std::uint32_t>(text));
    const float number = kestro::decode::streamFloat(text);
    KESTRO_EXPECT(std::bit_cast<std::uint32_t>(number) ==
                  std::bit_cast<std::uint32_t>(fromStream<float>(text)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    switch (choices.below(3)) {
        case 0:
            Lines(choices).run();
            break;
        case 1:
            checkKeys(choices);
            break;
        default: {
            const ByteView text = choices.rest();
            checkNumbers({text.begin(), text.end()});
        }
    }
    return 0;
}
