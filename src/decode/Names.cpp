// SPDX-License-Identifier: Apache-2.0
#include "Names.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

template <typename Number>
struct Entry {
    std::string_view name;
    Number number;
};

// Both tables are sorted by name (byte order), for the binary search.
constexpr std::array kCodeTypes = std::to_array<Entry<std::int32_t>>({
    {"CODABAR", 8},   {"CODABARAA", 8}, {"CODABARAB", 8},  {"CODABARAC", 8}, {"CODABARAD", 8},
    {"CODABARBA", 8}, {"CODABARBB", 8}, {"CODABARBC", 8},  {"CODABARBD", 8}, {"CODABARCA", 8},
    {"CODABARCB", 8}, {"CODABARCC", 8}, {"CODABARCD", 8},  {"CODABARDA", 8}, {"CODABARDB", 8},
    {"CODABARDC", 8}, {"CODABARDD", 8}, {"CODE128", 4},    {"CODE128A", 9},  {"CODE128B", 10},
    {"CODE128C", 11}, {"CODE39", 2},    {"CODE93", 3},     {"DM", 101},      {"EAN13", 1},
    {"EAN8", 0},      {"ITF25", 7},     {"MQR", 104},      {"PDF417", 102},  {"QR", 100},
    {"UPCA", 5},      {"UPCE", 6},      {"VERICODE", 103},
});

constexpr std::array kStatuses = std::to_array<Entry<std::uint32_t>>({
    {"Complete", 2},
    {"Fail", 5},
    {"NA", 1},
    {"NoRead", 3},
    {"Partial", 4},
    {"PhaseComplete", 7},
    {"PhaseFail", 10},
    {"PhaseNA", 6},
    {"PhaseNoRead", 8},
    {"PhasePartial", 9},
});

template <typename Number, std::size_t N>
constexpr bool isSorted(const std::array<Entry<Number>, N>& table) {
    return std::is_sorted(table.begin(), table.end(),
                          [](const auto& a, const auto& b) { return a.name < b.name; });
}
static_assert(isSorted(kCodeTypes) && isSorted(kStatuses));

template <typename Number, std::size_t N>
Number lookUp(const std::array<Entry<Number>, N>& table, std::string_view name, Number unknown) {
    const auto found = std::lower_bound(
        table.begin(), table.end(), name,
        [](const Entry<Number>& entry, std::string_view n) { return entry.name < n; });
    return found != table.end() && found->name == name ? found->number : unknown;
}

}  // namespace

namespace kestro::decode {

std::int32_t codeTypeFromName(std::string_view name) { return lookUp(kCodeTypes, name, -1); }

std::uint32_t statusFromName(std::string_view name) { return lookUp(kStatuses, name, 0U); }

}  // namespace kestro::decode
