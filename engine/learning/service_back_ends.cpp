// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/service_back_ends.h"

#include "engine/learning/picture_files.h"
#include "engine/learning/service_text.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <cmath>

namespace Learning {

Kernel::Counted<ImageGenerator> MakeServiceGenerator(ServiceOptions const& options) {
    switch (options.protocol) {
    case Protocol::OpenAI:
        return MakeOpenAIGenerator(options);
    case Protocol::WebUI:
        return MakeWebUIGenerator(options);
    case Protocol::Rembg:
        break;
    }
    throw Kernel::Exception("services of this protocol make no pictures, they remove backgrounds");
}

Kernel::Counted<BackgroundRemover> MakeServiceBackgroundRemover(ServiceOptions const& options) {
    if (options.protocol != Protocol::Rembg)
        throw Kernel::Exception("services of this protocol remove no backgrounds, they make pictures");
    return MakeRembgRemover(options);
}

Kernel::SizeT<int> GetPictureSize(RemoteInference::TextToImageAspect aspect, int side, int step) {
    using enum RemoteInference::TextToImageAspect;
    double const shorter = aspect == Landscape || aspect == Portrait ? 2.0 / 3
                           : aspect == Wide || aspect == Tall        ? 9.0 / 16
                                                                     : 1.0;
    auto const round = [step](double length) {
        return std::max(step, static_cast<int>(std::lround(length / step)) * step);
    };
    int const longSide = round(side), shortSide = round(side * shorter);
    bool const isUpright = aspect == Portrait || aspect == Tall;
    return isUpright ? Kernel::SizeT<int>{shortSide, longSide} : Kernel::SizeT<int>{longSide, shortSide};
}

bool IsGuided(ImageGenerator::Request const& request) {
    return request.guidanceImage && request.guidanceMode != RemoteInference::TextToImageGuidanceMode::None;
}

RemoteInference::Result AskForJson(HttpSession& session, HttpRequest const& request, InferenceCall const& call,
                                   std::optional<ServiceJson>& json, HttpPoll const* poll) {
    auto answer = session.Send(request, call, poll);
    if (answer.failure.code != RemoteInference::Answered)
        return answer.failure;
    if (auto refusal = CheckStatus(answer, session); refusal.code != RemoteInference::Answered)
        return refusal;
    if (answer.body.empty())
        return FailFor(session, RemoteInference::BadAnswer, "the answer is empty");
    json = ServiceJson::Parse(std::move(answer.body));
    if (!json)
        return FailFor(session, RemoteInference::BadAnswer, "the answer is not of this protocol");
    return {};
}

RemoteInference::Result ReadBase64Picture(std::string_view text, PictureReader& reader,
                                          Kernel::Counted<Raster::DynamicBitmap>& bitmap) {
    if (text.starts_with("data:"))
        text.remove_prefix(std::min(text.size(), text.find(',') + 1));
    if (text.empty())
        return {RemoteInference::BadAnswer, "the answer holds no picture"};
    auto const file = DecodeBase64(text);
    if (!file)
        return {RemoteInference::BadAnswer, "the picture of the answer is not valid base64"};
    return reader.Read(*file, bitmap);
}

} // namespace Learning
