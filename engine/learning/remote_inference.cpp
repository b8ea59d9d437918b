// SPDX-License-Identifier: Apache-2.0
#include "platform/learning/remote_inference.h"

#include "platform/learning/back_ends.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <atomic>
#include <mutex>

namespace Learning {

namespace {

using Result = RemoteInference::Result;

std::atomic<bool> s_cancelled{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch what is lock-free");

bool HasPixels(Raster::DynamicBitmap const* bitmap) { return bitmap != nullptr && !bitmap->IsEmpty(); }

} // namespace

struct RemoteInference::State {
    mutable std::mutex mutex;
    Kernel::Counted<ImageGenerator> generator;
    Kernel::Counted<BackgroundRemover> remover;

    template <class T>
    Kernel::Counted<T> Get(Kernel::Counted<T> const& backEnd) const {
        std::lock_guard const lock(mutex);
        return backEnd;
    }
};

RemoteInference::RemoteInference() : m_state(std::make_unique<State>()) { m_state->remover = MakePlainGroundRemover(); }

RemoteInference::~RemoteInference() = default;

RemoteInference& RemoteInference::GetInstance() {
    static RemoteInference s_inference;
    return s_inference;
}

RemoteInference::TextToImageModel const& RemoteInference::GetDefaultTextToImageModel() const {
    static TextToImageModel const s_none;
    std::lock_guard const lock(m_state->mutex);
    return m_state->generator ? m_state->generator->GetDefaultModel() : s_none;
}

Result RemoteInference::InferTextToImage(TextToImageModel model, TextToImageAspect aspect,
                                         Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                                         TextToImageGuidanceMode guidanceMode, Kernel::String& prompt,
                                         Kernel::String secondaryPrompt, bool enhancePrompt, GenerationStyle style,
                                         int count, std::vector<Kernel::Counted<Raster::DynamicBitmap>>& images,
                                         void (*progress)(float, void*), void* data) {
    auto const generator = m_state->Get(m_state->generator);
    if (!generator)
        return {NoBackEnd, "no service or program that makes pictures was chosen"};
    if (prompt.empty())
        return {BadRequest, "the prompt is empty"};
    if (count < 1 || count > c_maximumCount)
        return {BadRequest,
                Kernel::String("the number of pictures is not from 1 to " + std::to_string(c_maximumCount))};
    InferenceCall const call(progress, data);
    ImageGenerator::Answer answer{prompt, {}};
    auto result = generator->Generate({std::move(model), aspect, std::move(guidanceImage), guidanceMode, prompt,
                                       std::move(secondaryPrompt), enhancePrompt, style, count},
                                      answer, call);
    prompt = std::move(answer.prompt);
    if (result.code != Answered)
        return result;
    auto const isUsable = [](auto const& image) { return HasPixels(image.get()); };
    if (answer.images.empty() || !std::all_of(answer.images.begin(), answer.images.end(), isUsable))
        return {BadAnswer, "the answer holds no picture"};
    images = std::move(answer.images);
    return result;
}

Result RemoteInference::InferImageRemoveBG(Kernel::Counted<Raster::DynamicBitmap const> image,
                                           Raster::ICCManager::ICCProfileSet const& profiles,
                                           Kernel::Counted<Raster::DynamicBitmap>& answer,
                                           void (*progress)(float, void*), void* data) {
    auto const remover = m_state->Get(m_state->remover);
    if (!remover)
        return {NoBackEnd, "nothing that removes backgrounds was chosen"};
    if (!HasPixels(image.get()))
        return {BadRequest, "the image has no pixels"};
    InferenceCall const call(progress, data);
    Kernel::Counted<Raster::DynamicBitmap> found;
    auto result = remover->RemoveBackground(image, profiles, found, call);
    if (result.code != Answered)
        return result;
    if (!HasPixels(found.get()) || found->GetSize() != image->GetSize())
        return {BadAnswer, "the answer is not of the picture's size"};
    answer = std::move(found);
    return result;
}

void RemoteInference::SetImageGenerator(Kernel::Counted<ImageGenerator> generator) {
    std::lock_guard const lock(m_state->mutex);
    std::swap(m_state->generator, generator);
}

void RemoteInference::SetBackgroundRemover(Kernel::Counted<BackgroundRemover> remover) {
    std::lock_guard const lock(m_state->mutex);
    std::swap(m_state->remover, remover);
}

void RemoteInference::Cancel() noexcept { s_cancelled.store(true); }

void RemoteInference::ResetCancel() noexcept { s_cancelled.store(false); }

bool InferenceCall::IsCancelled() const noexcept { return s_cancelled.load(std::memory_order_relaxed); }

ImageGenerator::~ImageGenerator() = default;
BackgroundRemover::~BackgroundRemover() = default;

} // namespace Learning
