// SPDX-License-Identifier: Apache-2.0
#include "Names.h"

#include "SameBytes.h"

#include <algorithm>
#include <array>

namespace {

template <typename Number>
struct Entry {
    std::string_view name;
    Number number;
};

// Both tables are sorted by the names' lengths, so that few are compared.
constexpr std::array kCodeTypes = std::to_array<Entry<std::int32_t>>({
    {"DM", 101},      {"QR", 100},       {"MQR", 104},     {"EAN8", 0},      {"UPCA", 5},
    {"UPCE", 6},      {"EAN13", 1},      {"ITF25", 7},     {"CODE39", 2},    {"CODE93", 3},
    {"PDF417", 102},  {"CODABAR", 8},    {"CODE128", 4},   {"CODE128A", 9},  {"CODE128B", 10},
    {"CODE128C", 11}, {"VERICODE", 103}, {"CODABARAA", 8}, {"CODABARAB", 8}, {"CODABARAC", 8},
    {"CODABARAD", 8}, {"CODABARBA", 8},  {"CODABARBB", 8}, {"CODABARBC", 8}, {"CODABARBD", 8},
    {"CODABARCA", 8}, {"CODABARCB", 8},  {"CODABARCC", 8}, {"CODABARCD", 8}, {"CODABARDA", 8},
    {"CODABARDB", 8}, {"CODABARDC", 8},  {"CODABARDD", 8},
});

constexpr std::array kStatuses = std::to_array<Entry<std::uint32_t>>({
    {"NA", 1},
    {"Fail", 5},
    {"NoRead", 3},
    {"Partial", 4},
    {"PhaseNA", 6},
    {"Complete", 2},
    {"PhaseFail", 10},
    {"PhaseNoRead", 8},
    {"PhasePartial", 9},
    {"PhaseComplete", 7},
});

template <typename Number, std::size_t N>
constexpr bool isSorted(const std::array<Entry<Number>, N>& table) {
    return std::is_sorted(table.begin(), table.end(), [](const auto& a, const auto& b) {
        return a.name.size() < b.name.size();
    });
}
static_assert(isSorted(kCodeTypes) && isSorted(kStatuses));

/** By length, where in a table the names begin that are that long or longer. */
template <const auto& kTable>
constexpr auto begins() {
    std::array<std::size_t, kTable.back().name.size() + 2> result{};
    for (const auto& entry : kTable) {
        for (std::size_t size = entry.name.size() + 1; size < result.size(); ++size) ++result[size];
    }
    return result;
}

template <const auto& kTable, typename Number>
Number lookUp(std::string_view name, Number unknown) {
    static constexpr auto kBegins = begins<kTable>();
    if (name.size() + 1 >= kBegins.size()) return unknown;
    for (std::size_t i = kBegins[name.size()]; i < kBegins[name.size() + 1]; ++i) {
        if (kestro::decode::areSameBytes(kTable[i].name.data(), name.data(), name.size()))
            return kTable[i].number;
    }
    return unknown;
}

}  // namespace

namespace kestro::decode {

std::int32_t codeTypeFromName(std::string_view name) { return lookUp<kCodeTypes>(name, -1); }

std::uint32_t statusFromName(std::string_view name) { return lookUp<kStatuses>(name, 0U); }

}  // namespace kestro::decode
