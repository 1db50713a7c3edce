// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DescriptionCheck.h"
#include "PayloadLayout.h"

#include <memory>

namespace Vorda::Gige {

/**
 * A description made ready to be evaluated: its features, what they need, and the nodes that give
 * their values.
 *
 * It is large, and a camera that comes back mostly has the description that it had. So it outlives
 * the connection, whose Features it is lent to: of all that were made of it only the latest asks a
 * camera, and the operations of the others fail as those on a lost connection do. Threads: any.
 */
class FeatureModel {
 public:
    /**
     * Empty, with the last error, when the description cannot be used. `layout` is that of another
     * model of it; without one it has its own.
     */
    [[nodiscard]] static std::unique_ptr<FeatureModel> make(
        std::shared_ptr<const CheckedDescription> description,
        std::shared_ptr<const PayloadLayout> layout = nullptr);
    ~FeatureModel();
    FeatureModel(const FeatureModel&) = delete;
    FeatureModel& operator=(const FeatureModel&) = delete;

    [[nodiscard]] const std::shared_ptr<const CheckedDescription>& description() const {
        return description_;
    }
    [[nodiscard]] const std::shared_ptr<const PayloadLayout>& layout() const { return layout_; }
    /** Makes it as it was made, for another camera: some values are kept in the model itself. */
    void renew();

 private:
    friend class Features;
    struct Parts;

    FeatureModel(std::shared_ptr<const CheckedDescription> description,
                 std::shared_ptr<const PayloadLayout> layout);

    const std::shared_ptr<const CheckedDescription> description_;
    const std::shared_ptr<const PayloadLayout> layout_;
    const std::unique_ptr<Parts> parts_;
};

}  // namespace Vorda::Gige
