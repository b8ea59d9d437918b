// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_vector_node_command.h"

#include "frame/contract/notifications.h"
#include "generative/generated_object.h"
#include "generative/remote_request.h"
#include "platform/document/vectorise_object_command.h"

namespace Commands {

GenerateVectorNodeCommand::GenerateVectorNodeCommand(OstraAICommandSource source, Inference::TextToImageAspect aspect,
                                                     Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                                                     Inference::TextToImageGuidanceMode guidanceMode,
                                                     Kernel::String prompt, Kernel::String secondaryPrompt,
                                                     bool enhancePrompt, int reserved)
    : Persisted(source, aspect, std::move(guidanceImage), guidanceMode, std::move(prompt), std::move(secondaryPrompt),
                enhancePrompt, reserved) {}

GenerateVectorNodeCommand::GenerateVectorNodeCommand(Kernel::String prompt, Kernel::String secondaryPrompt,
                                                     Inference::TextToImageAspect aspect,
                                                     OptionalPicture const& guidance,
                                                     Inference::TextToImageGuidanceMode guidanceMode,
                                                     bool enhancePrompt)
    : GenerateVectorNodeCommand(OstraAICommandSource::Unknown, aspect, MakeGuidanceImage(guidance), guidanceMode,
                                std::move(prompt), std::move(secondaryPrompt), enhancePrompt, 0) {}

// Required: neither the aspect nor the number of pictures is told, nor is a prompt that was rewritten told by itself.
// However large the drawing is, it is not scaled; and what the document remembers of it does not go by the document's
// own format, since a drawing has none.
void GenerateVectorNodeCommand::Do() {
    SetDirection(Direction::Do);
    constexpr auto c_style = Inference::GenerationStyle::Vector;
    auto const document = GetDocumentController();
    auto const& inference = Inference::GetInstance();
    RemoteRequest request(*this);
    Images images;
    auto const promptBefore = m_prompt;
    auto const result = Ask(request, inference.GetDefaultTextToImageModel(), c_style, 1, images);
    request.SendCompleted(MakeReport(inference.GetDefaultTextToImageModel(), c_style, promptBefore, images), result);
    if (result.code != Inference::Answered)
        return Fail(request, result);
    request.Acquire();
    auto const group = Kernel::MakeCounted<VectoriseObjectCommand>()->VectoriseBitmap(images.front(), m_prompt);
    RememberGenerated(document, *group, Raster::FormatRGBA8, {});
    VectoriseObjectCommand::ConvertColours(*group, document->GetProfiles());
    group->Transform(GetCentring(group->GetBounds(false), document->GetCurrentSpread()->GetBaseBox(true)), false);
    AddNode(group);
    AddChildNodesCommand::Do();
}

void GenerateVectorNodeCommand::Notify(Kernel::NotificationList& notifications) {
    AddChildNodesCommand::Notify(notifications);
    if (HasNewGenerations())
        notifications.push_back(Kernel::MakeCounted<GenerationsChangedNotification>());
}

} // namespace Commands
