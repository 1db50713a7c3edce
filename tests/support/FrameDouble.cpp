// SPDX-License-Identifier: Apache-2.0
#include "FrameDouble.h"

#include <utility>

namespace Vorda::GenICam {

class CFrame::Impl {
 public:
    explicit Impl(kestro::test::FrameContent frameContent) : content(std::move(frameContent)) {
        content.image.shrink_to_fit();
    }
    kestro::test::FrameContent content;
};

CFrame::CFrame() = default;
CFrame::CFrame(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}
CFrame::CFrame(const CFrame&) = default;
CFrame& CFrame::operator=(const CFrame&) = default;
CFrame::~CFrame() = default;

bool CFrame::valid() const { return impl_ && impl_->content.isValid; }
std::uint64_t CFrame::getBlockId() const { return impl_ ? impl_->content.blockId : 0; }

const void* CFrame::getImage() const {
    return !impl_ || impl_->content.hasNullImage ? nullptr : impl_->content.image.data();
}

std::uint32_t CFrame::getImageSize() const {
    if (!impl_) return 0;
    const auto actual = static_cast<std::uint32_t>(impl_->content.image.size());
    return impl_->content.announcedSize.value_or(actual);
}

std::uint32_t CFrame::getImageWidth() const { return impl_ ? impl_->content.width : 0; }
std::uint32_t CFrame::getImageHeight() const { return impl_ ? impl_->content.height : 0; }

EPixelType CFrame::getImagePixelFormat() const {
    return static_cast<EPixelType>(impl_ ? impl_->content.pixelFormat : 0);
}

std::uint64_t CFrame::getImageTimeStamp() const { return impl_ ? impl_->content.timestamp : 0; }

bool CFrame::getPayLoadTypes(TVector<EPayloadType>& types) const {
    types.clear();
    if (!impl_) return false;
    for (const std::uint32_t type : impl_->content.payloadTypes) {
        types.push_back(static_cast<EPayloadType>(type));
    }
    return true;
}

unsigned CFrame::getChunkCount() const {
    return impl_ ? static_cast<unsigned>(impl_->content.chunks.size()) : 0;
}

bool CFrame::getChunkDataByIndex(unsigned index, unsigned& id, TVector<CString>& texts) const {
    using Answer = kestro::test::ChunkContent::Answer;
    if (!impl_ || index >= impl_->content.chunks.size()) return false;
    if (impl_->content.beforeChunk) impl_->content.beforeChunk();
    const kestro::test::ChunkContent& chunk = impl_->content.chunks[index];
    if (chunk.answer == Answer::kFalseAndUntouched) return false;
    id = chunk.id;
    texts.insert(texts.end(), chunk.lines.begin(), chunk.lines.end());  // emptying is the caller's
    return chunk.answer == Answer::kTrue;
}

TSharedPtr<const void> CFrame::giveBuffer(std::uint32_t) const {
    if (impl_.use_count() != 1 || !impl_->content.gives) return nullptr;
    return std::exchange(impl_, nullptr);
}

}  // namespace Vorda::GenICam

namespace kestro::test {

Vorda::GenICam::CFrame makeFrame(FrameContent content) {
    using Vorda::GenICam::CFrame;
    return CFrame(std::make_shared<const CFrame::Impl>(std::move(content)));
}

}  // namespace kestro::test
