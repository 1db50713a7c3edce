// SPDX-License-Identifier: Apache-2.0
#include "ModelStore.h"

#include "VordaInfra.h"

#include <algorithm>
#include <iterator>
#include <list>
#include <mutex>
#include <utility>
#include <vector>

namespace Vorda::Gige {

/** What is let go is destroyed by the caller, after the lock: it is large. */
class ModelStore::Shelf {
 public:
    using File = std::shared_ptr<const DescriptionFile>;
    using Model = std::unique_ptr<FeatureModel>;

    Shelf() { free_.reserve(kMostFreeModels + 1); }
    [[nodiscard]] File find(const ModelName& name);
    [[nodiscard]] File keep(const ModelName& name, File file);
    /** A free one of the description; empty when there is none. */
    [[nodiscard]] Model take(const DescriptionFile& file);
    void giveBack(Model model);
    /** That of all models of the description; empty when it is not kept. */
    [[nodiscard]] std::shared_ptr<const PayloadLayout> layoutOf(const DescriptionFile& file) const;
    [[nodiscard]] std::size_t freeModels() const;

 private:
    struct Entry {
        ModelName name;
        File file;
        std::shared_ptr<const PayloadLayout> layout;
    };

    [[nodiscard]] bool isKept(const FeatureModel& model) const;

    mutable std::mutex mutex_;  // guards what follows
    std::list<Entry> entries_;  ///< those that were used lately first
    /** Those that came back lately last. It never grows: to give back must not fail. */
    std::vector<Model> free_;
};

ModelStore::Shelf::File ModelStore::Shelf::find(const ModelName& name) {
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(entries_, name, &Entry::name);
    if (found == entries_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found);
    return found->file;
}

ModelStore::Shelf::File ModelStore::Shelf::keep(const ModelName& name, File file) {
    std::list<Entry> dropped;
    std::vector<Model> droppedModels;
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(entries_, name, &Entry::name);
    if (found != entries_.end()) {
        if (found->file == file || found->file->bytes == file->bytes) return found->file;
        dropped.splice(dropped.begin(), entries_, found);
    }
    entries_.push_front({name, file, std::make_shared<PayloadLayout>(file->description)});
    if (entries_.size() > kMostDescriptions)
        dropped.splice(dropped.begin(), entries_, std::prev(entries_.end()));
    const auto unused = std::stable_partition(free_.begin(), free_.end(),
                                              [this](const Model& each) { return isKept(*each); });
    std::move(unused, free_.end(), std::back_inserter(droppedModels));
    free_.erase(unused, free_.end());
    return file;
}

bool ModelStore::Shelf::isKept(const FeatureModel& model) const {
    return std::ranges::any_of(entries_, [&model](const Entry& each) {
        return each.file->description == model.description();
    });
}

ModelStore::Shelf::Model ModelStore::Shelf::take(const DescriptionFile& file) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(free_.rbegin(), free_.rend(), [&file](const Model& each) {
        return each->description() == file.description;
    });
    if (found == free_.rend()) return nullptr;
    Model model = std::move(*found);
    free_.erase(std::prev(found.base()));
    return model;
}

void ModelStore::Shelf::giveBack(Model model) {
    Model dropped;
    const std::lock_guard lock(mutex_);
    if (!isKept(*model)) {
        dropped = std::move(model);
        return;
    }
    free_.push_back(std::move(model));
    if (free_.size() <= kMostFreeModels) return;
    dropped = std::move(free_.front());
    free_.erase(free_.begin());
}

std::shared_ptr<const PayloadLayout> ModelStore::Shelf::layoutOf(
    const DescriptionFile& file) const {
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find_if(entries_, [&file](const Entry& each) {
        return each.file->description == file.description;
    });
    return found == entries_.end() ? nullptr : found->layout;
}

std::size_t ModelStore::Shelf::freeModels() const {
    const std::lock_guard lock(mutex_);
    return free_.size();
}

ModelStore::ModelStore() : shelf_(std::make_shared<Shelf>()) {}

ModelStore& ModelStore::ofThisProcess() {
    static auto& store = *new ModelStore;
    return store;
}

std::shared_ptr<const DescriptionFile> ModelStore::find(const ModelName& name) {
    return shelf_->find(name);
}

std::shared_ptr<const DescriptionFile> ModelStore::keep(
    const ModelName& name, std::shared_ptr<const DescriptionFile> file) {
    return shelf_->keep(name, std::move(file));
}

std::shared_ptr<FeatureModel> ModelStore::lend(const DescriptionFile& file) {
    auto model = shelf_->take(file);
    if (model)
        model->renew();
    else
        model = FeatureModel::make(file.description, shelf_->layoutOf(file));
    if (!model) return nullptr;
    return {model.release(), [shelf = shelf_](FeatureModel* lent) {
                if (!Infra::isForkedChild()) shelf->giveBack(std::unique_ptr<FeatureModel>(lent));
            }};
}

std::size_t ModelStore::freeModels() const { return shelf_->freeModels(); }

}  // namespace Vorda::Gige
