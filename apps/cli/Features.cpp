// SPDX-License-Identifier: Apache-2.0
#include "Feature.h"
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

#include <algorithm>

namespace kestrocli {
namespace {

constexpr std::size_t kLongestColumn = 40;

/** Long values are cut so that a table stays one: --json and get show all of them. */
std::size_t longestValue(std::size_t columns) {
    constexpr std::size_t kColumnsInAll = 5;
    return columns == 0 ? kLongestColumn : std::min(kLongestColumn, columns / kColumnsInAll);
}

/** As wide as the terminal; whole where output is none. */
std::string fitted(const std::string& table, std::size_t columns) {
    if (columns == 0) return table;
    std::string text;
    for (std::size_t at = 0; at < table.size();) {
        const std::size_t end = table.find('\n', at);
        text += shortened(std::string_view(table).substr(at, end - at), columns) + "\n";
        at = end + 1;
    }
    return text;
}

class Listing {
 public:
    Listing(const Control& control, const FeaturesOptions& options)
        : control_(control), tree_(featureTree(control)), shown_(tree_.size()) {
        for (std::size_t i = 0; i < tree_.size(); ++i) {
            if (tree_[i].type == kestro::ParameterType::Group) continue;
            if (options.all || isVisible(tree_[i].name, options.visibility)) shown_[i] = true;
        }
        if (!options.all) hideUnavailable();
        for (std::size_t i = 0; i < tree_.size(); ++i) {
            if (tree_[i].type == kestro::ParameterType::Group) continue;
            if (shown_[i]) {
                showCategories(i);
            } else {
                ++hidden_;
            }
        }
    }

    [[nodiscard]] std::string asTable(const Output& output, bool indented) const {
        const std::size_t columns = output.columns();
        std::vector<std::vector<std::string>> rows = {{"NAME", "TYPE", "ACCESS", "VALUE", "RANGE"}};
        for (std::size_t i = 1; i < tree_.size(); ++i) {
            if (!shown_[i]) continue;
            const std::string indent(indented ? (tree_[i].depth - 1) * 2 : 0, ' ');
            if (tree_[i].type != kestro::ParameterType::Group) {
                rows.push_back(
                    row(indent, Feature(control_, tree_[i].name).record(), longestValue(columns)));
            } else if (indented) {
                rows.push_back({indent + visible(tree_[i].name)});
            }
            control_.requireConnection();
        }
        const std::string text = fitted(table(rows), columns);
        const std::size_t headEnd = text.find('\n');
        return output.bold(text.substr(0, headEnd)) + text.substr(headEnd);
    }

    void writeAsJson(Output& output) const {
        for (std::size_t i = 1; i < tree_.size(); ++i) {
            if (!shown_[i] || tree_[i].type == kestro::ParameterType::Group) continue;
            const FeatureRecord record = Feature(control_, tree_[i].name).record();
            control_.requireConnection();
            output.write(featureLine(record, categoriesOf(i)) + "\n");
        }
    }

    [[nodiscard]] std::size_t hidden() const { return hidden_; }

 private:
    [[nodiscard]] bool isVisible(const std::string& name, const std::string& least) const {
        const auto visibility = kestro::Parameter(control_.camera(), name.c_str()).getVisibility();
        for (const auto level :
             {kestro::ParameterVisibility::Beginner, kestro::ParameterVisibility::Expert,
              kestro::ParameterVisibility::Guru}) {
            if (visibility == level) return true;
            if (visibilityName(level) == least) return false;
        }
        return true;
    }

    /** Leaves out categories of which nothing is available: what only comes with frames, say. */
    void hideUnavailable() {
        std::vector<bool> hasAvailable(tree_.size());
        for (std::size_t i = 0; i < tree_.size(); ++i) {
            if (!shown_[i] || hasAvailable[tree_[i].parent]) continue;
            const kestro::Parameter parameter(control_.camera(), tree_[i].name.c_str());
            hasAvailable[tree_[i].parent] = parameter.isAvailable();
        }
        for (std::size_t i = 0; i < tree_.size(); ++i) {
            if (!hasAvailable[tree_[i].parent]) shown_[i] = false;
        }
    }

    /** The categories that a feature lies in. */
    void showCategories(std::size_t index) {
        for (index = tree_[index].parent; !shown_[index] && index != 0;
             index = tree_[index].parent) {
            shown_[index] = true;
        }
    }

    [[nodiscard]] std::vector<std::string> categoriesOf(std::size_t index) const {
        std::vector<std::string> names;
        for (std::size_t at = tree_[index].parent; at != 0; at = tree_[at].parent) {
            names.push_back(tree_[at].name);
        }
        std::reverse(names.begin(), names.end());
        return names;
    }

    static std::vector<std::string> row(const std::string& indent, const FeatureRecord& feature,
                                        std::size_t longest) {
        std::vector<std::string> cells = {
            indent + visible(feature.name), std::string(typeName(feature.type)),
            std::string(accessText(feature)),
            feature.value ? shortened(visible(textOf(*feature.value)), longest) : "-",
            feature.isWritable() ? shortened(rangeText(feature), kLongestColumn)
                                 : visible(feature.unit)};
        if (cells.back().empty()) cells.pop_back();
        return cells;
    }

    const Control& control_;
    std::vector<FeaturePlace> tree_;
    std::vector<bool> shown_;
    std::size_t hidden_ = 0;
};

}  // namespace

ExitCode runFeatures(const FeaturesOptions& options, Output& output) {
    const Control control(findCamera(options.camera));
    const Listing listing(control, options);
    if (options.json) {
        listing.writeAsJson(output);
        return ExitCode::ok;
    }
    output.write(listing.asTable(output, options.tree));
    if (listing.hidden() > 0) {
        say(std::to_string(listing.hidden()) +
            " more with --all: less visible ones, and categories that are not available now");
    }
    return ExitCode::ok;
}

}  // namespace kestrocli
