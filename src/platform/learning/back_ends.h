// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/remote_inference.h"

#include <chrono>
#include <string>
#include <string_view>

namespace Learning {

// One request while it is worked on.
class REDRAFT_ENGINE InferenceCall {
public:
    InferenceCall(void (*progress)(float fraction, void* data), void* data) : m_progress(progress), m_data(data) {}
    // A fraction of the work, 0 to 1; any thread.
    void Report(float fraction) const {
        if (m_progress != nullptr)
            m_progress(fraction, m_data);
    }
    // True once the request is to end. A back end looks at least every 50 ms, and then ends with code Cancelled.
    bool IsCancelled() const noexcept;

private:
    void (*m_progress)(float, void*);
    void* m_data;
};

// Back ends are used by several threads at once. What they throw goes through to whoever made the request.

class REDRAFT_ENGINE ImageGenerator : public virtual Kernel::Countable {
public:
    using Model = RemoteInference::TextToImageModel;
    struct Request {
        Model model;
        RemoteInference::TextToImageAspect aspect{};
        // Null: none. Not changed by anyone.
        Kernel::Counted<Raster::BufferRGBA8 const> guidanceImage;
        RemoteInference::TextToImageGuidanceMode guidanceMode{};
        Kernel::String prompt;
        Kernel::String secondaryPrompt;
        bool enhancesPrompt = false;
        RemoteInference::GenerationStyle style{};
        // 1 to RemoteInference::c_maximumCount.
        int count = 1;
    };
    struct Answer {
        // As the service rewrote it; the request's where it did not. It counts for requests that fail, too.
        Kernel::String prompt;
        // In sRGB, of any format with colours.
        std::vector<Kernel::Counted<Raster::DynamicBitmap>> images;
    };

    ~ImageGenerator() override;
    virtual Model const& GetDefaultModel() const = 0;
    // `answer` comes with the request's prompt and without images.
    virtual RemoteInference::Result Generate(Request const& request, Answer& answer, InferenceCall const& call) = 0;
};

class REDRAFT_ENGINE BackgroundRemover : public virtual Kernel::Countable {
public:
    ~BackgroundRemover() override;
    // As RemoteInference::InferImageRemoveBG. The image has pixels, and colours or only alpha.
    virtual RemoteInference::Result RemoveBackground(Kernel::Counted<Raster::DynamicBitmap const> image,
                                                     Raster::ICCProfileSet const& profiles,
                                                     Kernel::Counted<Raster::DynamicBitmap>& answer,
                                                     InferenceCall const& call) = 0;
};

// How much of each pixel belongs to the subject.
using Matte = Raster::Buffer<Raster::Alpha8, Raster::X2, Raster::X3, Raster::X4, Raster::X5>;

// A remover that only tells how much of each pixel belongs to the subject. The answer is the image itself, in its own
// format and colours, with alpha times that; tiles whose alpha does not change stay shared. Masks are taken as black
// pictures with that alpha. Code TooLarge for images of more than 2^27 pixels.
class REDRAFT_ENGINE MatteRemover : public BackgroundRemover {
public:
    RemoteInference::Result RemoveBackground(Kernel::Counted<Raster::DynamicBitmap const> image,
                                             Raster::ICCProfileSet const& profiles,
                                             Kernel::Counted<Raster::DynamicBitmap>& answer,
                                             InferenceCall const& call) final;

protected:
    // `picture` is the image in sRGB with alpha. `matte`, of its size, is to be filled: 0 for ground to full scale for
    // the subject.
    virtual RemoteInference::Result FindMatte(Raster::BufferRGBA8 const& picture, Matte& matte,
                                              InferenceCall const& call) = 0;
};

enum class Protocol : std::uint8_t {
    // POST v1/images/generations and v1/images/edits of the OpenAI images interface, which many servers speak.
    OpenAI,
    // POST sdapi/v1/txt2img and img2img, GET sdapi/v1/progress of the stable-diffusion-webui interface.
    WebUI,
    // POST api/remove of rembg's server. Removes backgrounds, and nothing else does.
    Rembg
};

struct ServiceOptions {
    // http or https, with host, and port and path as far as they are needed.
    std::string url;
    Protocol protocol = Protocol::OpenAI;
    // Sent as a bearer's token, to the service's own host only; empty: none.
    std::string token;
    // The model that is used when a request names none; empty: the service's own choice.
    std::string model;
    std::chrono::milliseconds connectTime{10'000};
    // Without a single byte from the service. Pictures may take minutes to make.
    std::chrono::milliseconds silentTime{300'000};
    std::chrono::milliseconds totalTime{900'000};
    std::size_t maximumAnswer = std::size_t{256} << 20;
    // A file of certificates that are trusted in place of the system's; empty: the system's.
    std::string certificates;
};

// Exception when the url cannot be one, or the protocol does something else.
REDRAFT_ENGINE Kernel::Counted<ImageGenerator> MakeServiceGenerator(ServiceOptions const& options);
REDRAFT_ENGINE Kernel::Counted<BackgroundRemover> MakeServiceBackgroundRemover(ServiceOptions const& options);

// A command of the user, run by the shell once for each image, that reads the prompt and writes a picture. See
// docs/generated-pictures.md for its terms.
REDRAFT_ENGINE Kernel::Counted<ImageGenerator> MakeProgramGenerator(std::string command);

// Needs no network and no model: for subjects on a plain ground, such as photographs of products. Code BusyGround for
// other pictures.
REDRAFT_ENGINE Kernel::Counted<BackgroundRemover> MakePlainGroundRemover();
// A network for salient objects in an ONNX file, with float32 values, run in a confined process. The file is looked at
// when it is used first: code BadModel.
REDRAFT_ENGINE Kernel::Counted<BackgroundRemover> MakeModelBackgroundRemover(std::string path);

} // namespace Learning
