// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Description.h"
#include "FeatureModel.h"

#include <cstddef>
#include <memory>
#include <string>

namespace Vorda::Gige {

/** What a camera says of itself that its description hangs on. */
struct ModelName {
    std::string manufacturer;
    std::string model;
    std::string version;
    std::string url;  ///< of the description

    bool operator==(const ModelName&) const = default;
};

/**
 * Keeps descriptions, and what they were made into, from one connection to the next: to read, check
 * and parse one takes many times what the rest of connecting does.
 *
 * Whether a camera still holds what is kept under its name is not asked here: readDescription()
 * does. A model is lent to one connection at a time, and comes back by itself. Threads: any; a
 * forked child leaves everything as it is.
 */
class ModelStore {
 public:
    /** A line has a few kinds of cameras; with their trees, descriptions take megabytes each. */
    static constexpr std::size_t kMostDescriptions = 8;
    /** As many cameras may be connected anew together; of what nobody uses, no more is kept. */
    static constexpr std::size_t kMostFreeModels = 8;

    ModelStore();
    ModelStore(const ModelStore&) = delete;
    ModelStore& operator=(const ModelStore&) = delete;
    /** That of all cameras; never destroyed, since they may outlive every static object. */
    [[nodiscard]] static ModelStore& ofThisProcess();

    /** Empty when none is kept. */
    [[nodiscard]] std::shared_ptr<const DescriptionFile> find(const ModelName& name);
    /**
     * Keeps a file in the place of what had the name before; gives back the one to use, which is
     * another with the same bytes where another connection came first.
     */
    [[nodiscard]] std::shared_ptr<const DescriptionFile> keep(
        const ModelName& name, std::shared_ptr<const DescriptionFile> file);
    /**
     * A model that nobody else uses: one that came back, or a new one, with the layout that all of
     * the description share. It comes back when nobody holds it any more. Empty, with the last
     * error, when the description cannot be used.
     */
    [[nodiscard]] std::shared_ptr<FeatureModel> lend(const DescriptionFile& file);
    /** How many wait to be lent. */
    [[nodiscard]] std::size_t freeModels() const;

 private:
    class Shelf;

    const std::shared_ptr<Shelf> shelf_;  ///< shared with what is lent
};

}  // namespace Vorda::Gige
