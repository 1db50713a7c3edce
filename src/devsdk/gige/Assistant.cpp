// SPDX-License-Identifier: Apache-2.0
//
// Registers and memory of a camera by address.
#include "GigeCamera.h"
#include "LastError.h"
#include "VordaGenICam.h"

#include <utility>

namespace Vorda::GenICam {
namespace {

using Gige::Error;
using Gige::GigeCamera;

class Assistant final : public IAssistant {
 public:
    explicit Assistant(std::shared_ptr<GigeCamera> camera) : camera_(std::move(camera)) {}

    bool readReg(std::uint64_t, std::int64_t&, std::uint32_t&) override { return notYet(); }
    bool writeReg(std::uint64_t, std::int64_t, std::uint32_t&) override { return notYet(); }
    bool readMem(std::uint64_t, void*, std::uint32_t&) override { return notYet(); }
    bool writeMem(std::uint64_t, const void*, std::uint32_t&) override { return notYet(); }

 private:
    static bool notYet() { return Gige::fail(Error::notSupported, "registers are not served yet"); }

    std::shared_ptr<GigeCamera> camera_;
};

}  // namespace

TSharedPtr<IAssistant> CInternalAssistantEx::getInstance(const TSharedPtr<ICamera>& camera) {
    auto ours = GigeCamera::from(camera);
    if (ours) return std::make_shared<Assistant>(std::move(ours));
    Gige::setLastError(Error::invalidArgument, "this is no GigE Vision camera");
    return nullptr;
}

}  // namespace Vorda::GenICam
