// SPDX-License-Identifier: Apache-2.0
#include "LastError.h"
#include "PayloadLayout.h"
#include "ReceivedFrame.h"

#include <string>
#include <utility>

namespace Vorda::GenICam {

CFrame::CFrame() = default;
CFrame::CFrame(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}
CFrame::CFrame(const CFrame&) = default;
CFrame& CFrame::operator=(const CFrame&) = default;
CFrame::~CFrame() = default;

bool CFrame::valid() const { return impl_ != nullptr; }

std::uint64_t CFrame::getBlockId() const { return impl_ ? impl_->info().blockId : 0; }

const void* CFrame::getImage() const { return impl_ ? impl_->data() : nullptr; }

std::uint32_t CFrame::getImageSize() const {
    return impl_ ? static_cast<std::uint32_t>(impl_->info().content.imageBytes) : 0;
}

std::uint32_t CFrame::getImageWidth() const {
    return impl_ ? impl_->info().content.image.width : 0;
}

std::uint32_t CFrame::getImageHeight() const {
    return impl_ ? impl_->info().content.image.height : 0;
}

EPixelType CFrame::getImagePixelFormat() const {
    return static_cast<EPixelType>(impl_ ? impl_->info().content.image.pixelFormat : 0);
}

std::uint64_t CFrame::getImageTimeStamp() const {
    return impl_ ? impl_->info().leader.timestamp : 0;
}

bool CFrame::getPayLoadTypes(TVector<EPayloadType>& types) const {
    types.clear();
    if (!impl_) return Gige::fail(Gige::Error::invalidArgument, "the frame is empty");
    const std::uint16_t type = impl_->info().leader.type();
    types.push_back(static_cast<EPayloadType>(type));
    if (type != Gige::kGvspChunks && getChunkCount() != 0) types.push_back(kPayloadChunk);
    return true;
}

unsigned CFrame::getChunkCount() const {
    return impl_ ? static_cast<unsigned>(impl_->info().content.chunks.size()) : 0;
}

bool CFrame::getChunkDataByIndex(unsigned index, unsigned& id, TVector<CString>& texts) const {
    id = 0;
    texts.clear();
    if (index >= getChunkCount()) {
        return Gige::fail(Gige::Error::invalidArgument,
                          "the frame has no chunk " + std::to_string(index));
    }
    const Gige::FrameInfo& info = impl_->info();
    const Gige::ChunkRange& chunk = info.content.chunks[index];
    id = chunk.id;
    if (info.layout)
        info.layout->appendLines(id, {impl_->data() + chunk.offsetBytes, chunk.lengthBytes}, texts);
    return true;
}

TSharedPtr<const void> CFrame::giveBuffer(std::uint32_t usedBytes) const {
    if (impl_.use_count() != 1) return nullptr;
    TSharedPtr<const void> given = impl_->giveBuffer(usedBytes);
    if (given) impl_.reset();
    return given;
}

}  // namespace Vorda::GenICam
