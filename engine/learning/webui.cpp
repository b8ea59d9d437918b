// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/picture_files.h"
#include "engine/learning/service_back_ends.h"
#include "engine/learning/service_text.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace Learning {

namespace {

using Result = RemoteInference::Result;
using Mode = RemoteInference::TextToImageGuidanceMode;

// A JSON object while it is written.
class JsonFields {
public:
    void AddText(char const* name, std::string_view text) {
        Begin(name);
        AppendJsonString(m_json, text);
    }
    void AddPlain(char const* name, std::string_view value) {
        Begin(name);
        m_json += value;
    }
    void AddNumber(char const* name, double value) {
        std::array<char, 32> digits;
        auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        AddPlain(name, {digits.data(), end});
    }
    std::string Finish() && { return std::move(m_json) + "}"; }

private:
    void Begin(char const* name) { m_json.append(m_json.empty() ? "{\"" : ",\"").append(name).append("\":"); }
    std::string m_json;
};

// How much of a guidance picture is painted anew.
double GetDenoisingStrength(Mode mode) {
    switch (mode) {
    case Mode::Close:
        return 0.4;
    case Mode::Fill:
        return 1.0;
    default:
        return 0.75;
    }
}

// The stable-diffusion-webui interface (its own page is at /docs of a server). It has no field for quality and no
// switch for rewriting; extensions of it may rewrite the prompt, which its answer tells.
class WebUIGenerator final : public ImageGenerator {
public:
    explicit WebUIGenerator(ServiceOptions const& options) : m_session(options) {
        m_default.name = Kernel::String(options.model);
    }
    Model const& GetDefaultModel() const override { return m_default; }

    Result Generate(Request const& request, Answer& answer, InferenceCall const& call) override {
        try {
            auto const prompt = AddStyle(request.prompt.view(), request.style);
            HttpPoll const poll{m_session.GetUrl("/sdapi/v1/progress?skip_current_image=true"),
                                [&call](std::string const& body) { ReportProgress(body, call); }};
            HttpRequest const ask{m_session.GetUrl(IsGuided(request) ? "/sdapi/v1/img2img" : "/sdapi/v1/txt2img"),
                                  MakeBody(request, prompt, call),
                                  {}};
            std::optional<ServiceJson> json;
            auto result = AskForJson(m_session, ask, call, json, &poll);
            return result.code != RemoteInference::Answered ? result
                                                            : TakePictures(*json, request, prompt, answer, call);
        } catch (Kernel::AbortException const&) {
            return {RemoteInference::Cancelled, "cancelled"};
        }
    }

private:
    static void ReportProgress(std::string const& body, InferenceCall const& call) {
        auto const json = ServiceJson::Parse(body);
        auto const fraction = json ? json->GetNumber("/progress") : std::nullopt;
        if (fraction && *fraction >= 0)
            call.Report(static_cast<float>(std::min(*fraction, 1.0)));
    }

    std::string MakeBody(Request const& request, std::string const& prompt, InferenceCall const& call) const {
        JsonFields fields;
        fields.AddText("prompt", prompt);
        fields.AddText("negative_prompt", request.secondaryPrompt.view());
        fields.AddNumber("batch_size", 1);
        fields.AddNumber("n_iter", request.count);
        fields.AddPlain("send_images", "true");
        fields.AddPlain("save_images", "false");
        auto const& model = request.model;
        if (model.steps != 0)
            fields.AddNumber("steps", model.steps);
        if (!model.sampler.empty())
            fields.AddText("sampler_name", model.sampler.view());
        if (!model.scheduler.empty())
            fields.AddText("scheduler", model.scheduler.view());
        if (model.side != 0 || request.aspect != RemoteInference::TextToImageAspect::Square) {
            // A size that all models of this kind can do, where a shape is asked for and no size.
            constexpr int c_usualSide = 768;
            auto const size = GetPictureSize(
                request.aspect, model.side != 0 ? static_cast<int>(std::min(model.side, 16'384u)) : c_usualSide, 8);
            fields.AddNumber("width", size.width);
            fields.AddNumber("height", size.height);
        }
        auto const& name = model.name.empty() ? m_default.name : model.name;
        if (!name.empty()) {
            JsonFields settings;
            settings.AddText("sd_model_checkpoint", name.view());
            fields.AddPlain("override_settings", std::move(settings).Finish());
        }
        if (IsGuided(request))
            AddGuidance(fields, request, call);
        return std::move(fields).Finish();
    }

    static void AddGuidance(JsonFields& fields, Request const& request, InferenceCall const& call) {
        std::string pictures = "[";
        AppendJsonString(pictures, EncodeBase64(EncodePicture(*request.guidanceImage, PngContent::OverWhite, call)));
        fields.AddPlain("init_images", pictures + "]");
        fields.AddNumber("denoising_strength", GetDenoisingStrength(request.guidanceMode));
        // Cropped, not stretched, to the size that is asked for.
        fields.AddNumber("resize_mode", 1);
        if (request.guidanceMode != Mode::Fill)
            return;
        fields.AddText("mask", EncodeBase64(EncodePicture(*request.guidanceImage, PngContent::ClearParts, call)));
        // Clear parts begin as noise.
        fields.AddNumber("inpainting_fill", 2);
        fields.AddPlain("inpaint_full_res", "false");
    }

    Result TakePictures(ServiceJson const& json, Request const& request, std::string const& sentPrompt, Answer& answer,
                        InferenceCall const& call) const {
        auto const pictures = json.GetTexts("/images");
        if (!pictures || pictures->empty())
            return FailFor(m_session, RemoteInference::BadAnswer, "the answer holds no picture");
        std::size_t first = 0;
        // A text that is JSON itself.
        auto const text = json.GetText("/info");
        if (auto const info = text ? ServiceJson::Parse(std::string(*text)) : std::nullopt) {
            if (auto const prompt = info->GetText("/prompt"); prompt && !prompt->empty() && *prompt != sentPrompt)
                answer.prompt = CleanPrompt(*prompt, m_session.GetOptions().token);
            // An overview of all pictures may stand in front.
            if (info->GetNumber("/index_of_first_image") == 1.0 && pictures->size() > 1)
                first = 1;
        }
        auto const end = std::min(pictures->size(), first + static_cast<std::size_t>(request.count));
        PictureReader reader(call);
        for (std::size_t i = first; i != end; ++i) {
            Kernel::Counted<Raster::DynamicBitmap> bitmap;
            auto result = NameService(ReadBase64Picture((*pictures)[i], reader, bitmap), m_session);
            if (result.code != RemoteInference::Answered)
                return result;
            answer.images.push_back(std::move(bitmap));
        }
        call.Report(1);
        return {};
    }

    HttpSession m_session;
    Model m_default;
};

} // namespace

Kernel::Counted<ImageGenerator> MakeWebUIGenerator(ServiceOptions const& options) {
    return Kernel::Counted<ImageGenerator>(new WebUIGenerator(options));
}

} // namespace Learning
