// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DescriptionTree.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace Vorda::Gige {

/**
 * A GenICam description that can be evaluated safely: its text, for the node map, and its tree.
 *
 * The node map takes a cut description for a small one, recurses without end where features refer
 * to each other in a circle, and allocates what a register says is its length. So a description
 * must be well-formed to its end, free of such circles, and its lengths must be of a size. It never
 * changes: all that is made of a description shares it.
 */
class CheckedDescription {
 public:
    /** Empty when `xml` cannot be evaluated safely; `reason` says why. */
    [[nodiscard]] static std::shared_ptr<const CheckedDescription> make(std::string xml,
                                                                        std::string& reason);

    [[nodiscard]] const std::string& text() const { return text_; }
    [[nodiscard]] const DescriptionTree& tree() const { return tree_; }

 private:
    CheckedDescription(std::string text, DescriptionTree tree)
        : text_(std::move(text)), tree_(std::move(tree)) {}

    const std::string text_;
    const DescriptionTree tree_;
};

/** Whether a register may be that long: the node map allocates its bytes. */
[[nodiscard]] bool isRegisterLength(std::int64_t bytes);

}  // namespace Vorda::Gige
