// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/string.h"
#include "platform/raster/buffer.h"
#include "platform/raster/icc_manager.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Raster {
class DynamicBitmap;
}

namespace Learning {

class BackgroundRemover;
class ImageGenerator;

// The way to models that make and change pictures, one for the process. The work is done by the back ends that the
// program has chosen (platform/learning/back_ends.h). Used by several threads at once.
class REDRAFT_ENGINE RemoteInference {
public:
    // The shape of the pictures that are asked for; services take the nearest that they have.
    enum class TextToImageAspect : std::uint32_t {
        Square = 0,
        // Three by two, and two by three.
        Landscape = 1,
        Portrait = 2,
        // Sixteen by nine, and nine by sixteen.
        Wide = 3,
        Tall = 4
    };
    // The use that is made of a guidance image.
    enum class TextToImageGuidanceMode : std::uint32_t {
        None = 0,
        // A free variation of it.
        Loose = 1,
        // Its composition is kept.
        Close = 2,
        // Only where it is clear something new is painted.
        Fill = 3
    };
    enum class GenerationStyle : std::uint32_t {
        None = 0,
        Photo = 1,
        Illustration = 2,
        Painting = 3,
        Watercolour = 4,
        Drawing = 5,
        Comic = 6,
        Pixels = 7,
        // A few plain colours with clear edges, as for tracing.
        Vector = 8
    };

    // How a request ended. The numbers of failures are the same for all back ends.
    enum Code : int {
        Answered = 0,
        // No back end was chosen that does this.
        NoBackEnd = 1,
        // Nobody answers, or the connection broke.
        Unreachable = 2,
        // The service, the program or the model refused the request.
        Refused = 3,
        // The answer is not of the protocol, or holds no usable picture.
        BadAnswer = 4,
        TimedOut = 5,
        Cancelled = 6,
        // The answer, or the picture that was sent, is larger than allowed.
        TooLarge = 7,
        // The request itself cannot be sent: an empty prompt, a count that is not from 1 to c_maximumCount, an image
        // without pixels.
        BadRequest = 8,
        // The ground of the picture is not plain enough to be removed without a model.
        BusyGround = 9,
        // The model's file cannot be used.
        BadModel = 10
    };
    struct Result {
        // 0: it was answered. A Code for the back ends of this engine.
        int code = Answered;
        // For the user when it was not: one line, without a full stop. Never holds a token.
        Kernel::String detail;
    };

    // A model that the service offers, and how it is to work. Empty texts and zeros leave it to the service.
    struct TextToImageModel {
        Kernel::String name;
        Kernel::String quality;
        Kernel::String sampler;
        Kernel::String scheduler;
        std::uint32_t steps = 0;
        // The longer side of the pictures in pixels.
        std::uint32_t side = 0;
        // Room for models of other makers of back ends; those of this engine read none of them.
        std::uint8_t options[7] = {};
        friend bool operator==(TextToImageModel const&, TextToImageModel const&) = default;
    };

    static constexpr int c_maximumCount = 16;

    static RemoteInference& GetInstance();

    // Good until another generator is chosen.
    TextToImageModel const& GetDefaultTextToImageModel() const;

    // Blocks until there is an answer. `prompt` is rewritten where the service rewrites it, which it is asked for with
    // `enhancePrompt`. `secondaryPrompt` tells what is not wanted. With code 0 `images` holds one image at least, in
    // sRGB; otherwise it is left alone. `progress`, when there is one, gets fractions from 0 to 1 on any thread.
    Result InferTextToImage(TextToImageModel model, TextToImageAspect aspect,
                            Kernel::Counted<Raster::BufferRGBA8> guidanceImage, TextToImageGuidanceMode guidanceMode,
                            Kernel::String& prompt, Kernel::String secondaryPrompt, bool enhancePrompt,
                            GenerationStyle style, int count,
                            std::vector<Kernel::Counted<Raster::DynamicBitmap>>& images,
                            void (*progress)(float fraction, void* data), void* data);
    // Blocks until there is an answer. With code 0 `answer` is a bitmap of the image's size whose ground is clear, of
    // the image's own format, profile and colours when a back end of this engine made it; otherwise it is left alone.
    // `profiles` are those of the image's document.
    Result InferImageRemoveBG(Kernel::Counted<Raster::DynamicBitmap const> image,
                              Raster::ICCManager::ICCProfileSet const& profiles,
                              Kernel::Counted<Raster::DynamicBitmap>& answer,
                              void (*progress)(float fraction, void* data), void* data);

    // The back ends of all requests from now on; null: none. At first there is no generator, and grounds are removed
    // by MakePlainGroundRemover's.
    void SetImageGenerator(Kernel::Counted<ImageGenerator> generator);
    void SetBackgroundRemover(Kernel::Counted<BackgroundRemover> remover);

    // Ends the requests that are under way with code Cancelled, and those that follow, until ResetCancel. May be called
    // by a signal handler.
    static void Cancel() noexcept;
    static void ResetCancel() noexcept;

private:
    RemoteInference();
    ~RemoteInference();
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Learning
