// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/learning/http_session.h"
#include "engine/learning/service_json.h"

namespace Learning {

// A protocol each, over a session of its own.
Kernel::Counted<ImageGenerator> MakeOpenAIGenerator(ServiceOptions const& options);
Kernel::Counted<ImageGenerator> MakeWebUIGenerator(ServiceOptions const& options);
Kernel::Counted<BackgroundRemover> MakeRembgRemover(ServiceOptions const& options);

// Width and height of a picture whose longer side is `side`, in multiples of `step`.
Kernel::SizeT<int> GetPictureSize(RemoteInference::TextToImageAspect aspect, int side, int step);

// True where the request has a guidance image that is to be used.
bool IsGuided(ImageGenerator::Request const& request);

// The session's answer to a request as JSON. Codes as HttpSession::Send, CheckStatus, and BadAnswer.
RemoteInference::Result AskForJson(HttpSession& session, HttpRequest const& request, InferenceCall const& call,
                                   std::optional<ServiceJson>& json, HttpPoll const* poll = nullptr);

// A picture in base64, with or without the front of a data address (RFC 2397).
RemoteInference::Result ReadBase64Picture(std::string_view text, class PictureReader& reader,
                                          Kernel::Counted<Raster::DynamicBitmap>& bitmap);

} // namespace Learning
