// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/picture_files.h"
#include "engine/learning/service_back_ends.h"
#include "engine/learning/service_text.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>

namespace Learning {

namespace {

using Result = RemoteInference::Result;
using Mode = RemoteInference::TextToImageGuidanceMode;

// The OpenAI images interface (platform.openai.com/docs/api-reference/images). It has no field for what is not wanted,
// which becomes a sentence of the prompt, no samplers and steps, and no switch for rewriting: some models always
// rewrite the prompt, others never.
class OpenAIGenerator final : public ImageGenerator {
public:
    explicit OpenAIGenerator(ServiceOptions const& options) : m_session(options) {
        m_default.name = Kernel::String(options.model);
        // Addresses are given with the version and without.
        m_base = options.url.ends_with("/v1") || options.url.ends_with("/v1/") ? "/images/" : "/v1/images/";
    }
    Model const& GetDefaultModel() const override { return m_default; }

    Result Generate(Request const& request, Answer& answer, InferenceCall const& call) override {
        PictureReader reader(call);
        try {
            // One model takes no more than one picture a request.
            bool const isSingle = GetModelName(request).starts_with("dall-e-3");
            for (int left = request.count; left > 0;) {
                int const asked = isSingle ? 1 : left;
                auto result = GenerateSome(request, asked, reader, answer, call);
                if (result.code != RemoteInference::Answered)
                    return result;
                left -= asked;
                call.Report(static_cast<float>(request.count - left) / static_cast<float>(request.count));
            }
            return {};
        } catch (Kernel::AbortException const&) {
            return {RemoteInference::Cancelled, "cancelled"};
        }
    }

private:
    std::string GetModelName(Request const& request) const {
        return (request.model.name.empty() ? m_default.name : request.model.name).ToStdString();
    }

    Result GenerateSome(Request const& request, int count, PictureReader& reader, Answer& answer,
                        InferenceCall const& call) {
        std::optional<ServiceJson> json;
        auto result = AskForJson(
            m_session, IsGuided(request) ? MakeEdit(request, count, call) : MakeNew(request, count), call, json);
        if (result.code != RemoteInference::Answered)
            return result;
        if (auto const prompt = json->GetText("/data/0/revised_prompt"); prompt && !prompt->empty())
            answer.prompt = CleanPrompt(*prompt, m_session.GetOptions().token);
        return TakePictures(*json, count, reader, answer, call);
    }

    // The fields that both kinds of requests have, as names and texts.
    std::vector<std::pair<char const*, std::string>> ListFields(Request const& request) const {
        auto const name = GetModelName(request);
        auto prompt = AddStyle(request.prompt.view(), request.style);
        if (!request.secondaryPrompt.empty())
            prompt += "\n\nAvoid: " + request.secondaryPrompt.ToStdString();
        std::vector<std::pair<char const*, std::string>> fields{{"prompt", std::move(prompt)}};
        if (!name.empty())
            fields.emplace_back("model", name);
        fields.emplace_back("size", ChooseSize(request, name));
        if (!request.model.quality.empty())
            fields.emplace_back("quality", request.model.quality.ToStdString());
        // These models always answer so, and refuse the field.
        if (!name.starts_with("gpt-image"))
            fields.emplace_back("response_format", "b64_json");
        return fields;
    }

    // Models of known names have few sizes; of others the wanted one is asked for.
    static std::string ChooseSize(Request const& request, std::string const& name) {
        auto const aspect = request.aspect;
        int const side = static_cast<int>(std::min(request.model.side, 16'384u));
        if (name.starts_with("dall-e-2"))
            return side == 0 || side > 512 ? "1024x1024" : side > 256 ? "512x512" : "256x256";
        bool const isDallE3 = name.starts_with("dall-e-3");
        if (!isDallE3 && !name.starts_with("gpt-image") && side != 0) {
            auto const size = GetPictureSize(aspect, side, 8);
            return std::to_string(size.width) + "x" + std::to_string(size.height);
        }
        std::string const longSide = isDallE3 ? "1792" : "1536";
        switch (aspect) {
        case RemoteInference::TextToImageAspect::Landscape:
        case RemoteInference::TextToImageAspect::Wide:
            return longSide + "x1024";
        case RemoteInference::TextToImageAspect::Portrait:
        case RemoteInference::TextToImageAspect::Tall:
            return "1024x" + longSide;
        case RemoteInference::TextToImageAspect::Square:
            break;
        }
        return "1024x1024";
    }

    HttpRequest MakeNew(Request const& request, int count) const {
        std::string json = "{\"n\":" + std::to_string(count);
        for (auto const& [name, text] : ListFields(request)) {
            json.append(",\"").append(name).append("\":");
            AppendJsonString(json, text);
        }
        json += '}';
        return {m_session.GetUrl(m_base + "generations"), std::move(json), {}};
    }

    HttpRequest MakeEdit(Request const& request, int count, InferenceCall const& call) const {
        HttpRequest edit{m_session.GetUrl(m_base + "edits"), {}, {}};
        auto const picture = EncodePicture(*request.guidanceImage, PngContent::Pixels, call);
        edit.form.push_back({"image", "image.png", "image/png", picture});
        // Painted is where the mask is clear, which the picture is in the same places.
        if (request.guidanceMode == Mode::Fill)
            edit.form.push_back({"mask", "mask.png", "image/png", picture});
        for (auto const& [name, text] : ListFields(request))
            edit.form.push_back({name, {}, {}, text});
        edit.form.push_back({"n", {}, {}, std::to_string(count)});
        if (request.guidanceMode == Mode::Close && GetModelName(request).starts_with("gpt-image"))
            edit.form.push_back({"input_fidelity", {}, {}, "high"});
        return edit;
    }

    Result TakePictures(ServiceJson const& json, int count, PictureReader& reader, Answer& answer,
                        InferenceCall const& call) {
        auto const pictures = json.GetTexts("/data", "b64_json"), addresses = json.GetTexts("/data", "url");
        if (!pictures || !addresses || pictures->empty())
            return FailFor(m_session, RemoteInference::BadAnswer, "the answer holds no picture");
        for (std::size_t i = 0; i != pictures->size() && i != static_cast<std::size_t>(count); ++i) {
            Kernel::Counted<Raster::DynamicBitmap> bitmap;
            bool const isLinked = (*pictures)[i].empty() && !(*addresses)[i].empty();
            auto result = isLinked ? FetchPicture((*addresses)[i], reader, bitmap, call)
                                   : NameService(ReadBase64Picture((*pictures)[i], reader, bitmap), m_session);
            if (result.code != RemoteInference::Answered)
                return result;
            answer.images.push_back(std::move(bitmap));
        }
        return {};
    }

    Result FetchPicture(std::string_view address, PictureReader& reader, Kernel::Counted<Raster::DynamicBitmap>& bitmap,
                        InferenceCall const& call) {
        auto const target = HttpAddress::Parse(std::string(address), m_session.GetUrl(m_base));
        if (!target || target->origin != m_session.GetOrigin())
            return FailFor(m_session, RemoteInference::BadAnswer,
                           "the answer points to a picture on another host, which is not fetched");
        auto const file = m_session.Send({target->url, {}, {}}, call);
        if (file.failure.code != RemoteInference::Answered)
            return file.failure;
        if (auto refusal = CheckStatus(file, m_session); refusal.code != RemoteInference::Answered)
            return refusal;
        return NameService(reader.Read(std::as_bytes(std::span(file.body)), bitmap), m_session);
    }

    HttpSession m_session;
    std::string m_base;
    Model m_default;
};

} // namespace

Kernel::Counted<ImageGenerator> MakeOpenAIGenerator(ServiceOptions const& options) {
    return Kernel::Counted<ImageGenerator>(new OpenAIGenerator(options));
}

} // namespace Learning
