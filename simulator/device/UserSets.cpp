// SPDX-License-Identifier: Apache-2.0
#include "UserSets.h"

#include "RegisterMap.h"

namespace kestrosim {
namespace {

constexpr auto kSavingTime = std::chrono::milliseconds(200);

}  // namespace

UserSets::UserSets(RegisterMap& registers) : registers_(registers) {
    sets_.fill(registers_.values());
}

void UserSets::beginToSave(std::uint32_t set, Clock::time_point now) {
    if (set == kFactorySet) return abandonSaving();
    saving_ = Saving{set, registers_.values(), now + kSavingTime};
}

void UserSets::finishSaving(Clock::time_point now) {
    if (!saving_ || now < saving_->doneAt) return;
    sets_[saving_->set] = saving_->values;
    abandonSaving();
}

void UserSets::abandonSaving() {
    saving_.reset();
    registers_.setWord(reg::kUserSetSave, 0);
}

void UserSets::load(std::uint32_t set) { registers_.loadSaved(sets_[set]); }

}  // namespace kestrosim
