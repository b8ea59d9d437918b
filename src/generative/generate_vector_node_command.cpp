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
    : Persisted(true, NodeChildListType::Plain, false, true, false, nullptr, nullptr, InsertionMode::FrontOfSpread, 0,
                ApplyDefault::Never, ApplyDefault::Never),
      OstraAICommand(source),
      m_prompt(std::move(prompt)),
      m_secondaryPrompt(std::move(secondaryPrompt)),
      m_aspect(aspect),
      m_guidanceImage(std::move(guidanceImage)),
      m_guidanceMode(guidanceMode),
      m_enhancePrompt(enhancePrompt),
      m_reserved(reserved) {}

GenerateVectorNodeCommand::GenerateVectorNodeCommand(Kernel::String prompt, Kernel::String secondaryPrompt,
                                                     Inference::TextToImageAspect aspect,
                                                     OptionalPicture const& guidance,
                                                     Inference::TextToImageGuidanceMode guidanceMode,
                                                     bool enhancePrompt)
    : GenerateVectorNodeCommand(OstraAICommandSource::Unknown, aspect, MakeGuidanceImage(guidance), guidanceMode,
                                std::move(prompt), std::move(secondaryPrompt), enhancePrompt, 0) {}

Kernel::LocalisedString GenerateVectorNodeCommand::GetDescription() const {
    return Kernel::LocalisedString("Generate vector drawing", "Command description");
}

// Required: however large the drawing is, it is not scaled; and what the document remembers of it does not go by the
// document's own format, since a drawing has none.
void GenerateVectorNodeCommand::Do() {
    SetDirection(Direction::Do);
    auto const document = GetDocumentController();
    RemoteRequest request(*this);
    Images images;
    auto const promptBefore = m_prompt;
    auto const result = Ask(request, images);
    SendReports(request, result, promptBefore, static_cast<int>(images.size()));
    if (result.code != Inference::Answered) {
        m_shouldStack = false;
        return;
    }
    request.Acquire();
    auto const group = Kernel::MakeCounted<VectoriseObjectCommand>()->VectoriseBitmap(images.front(), m_prompt);
    RememberGenerated(document, *group, Raster::FormatRGBA8, {});
    group->Transform(GetCentring(group->GetBounds(false), document->GetCurrentSpread()->GetBaseBox(true)), false);
    AddNode(group);
    AddChildNodesCommand::Do();
}

Learning::RemoteInference::Result GenerateVectorNodeCommand::Ask(RemoteRequest const& request, Images& images) {
    auto& inference = Inference::GetInstance();
    return inference.InferTextToImage(inference.GetDefaultTextToImageModel(), m_aspect, m_guidanceImage, m_guidanceMode,
                                      m_prompt, m_secondaryPrompt, m_enhancePrompt, Inference::GenerationStyle::Vector,
                                      1, images, &RemoteRequest::ReportProgress, request.GetData());
}

// Required: neither the aspect nor the number of pictures is told, nor is a prompt that was rewritten told by itself.
void GenerateVectorNodeCommand::SendReports(RemoteRequest const& request, Inference::Result const& result,
                                            Kernel::String const& promptBefore, int returnedCount) const {
    auto const completed = Kernel::MakeCounted<AIOperationCompletedNotification>();
    completed->operation = AIOperationCompletedNotification::Operation::Generate;
    completed->reserved = 0;
    completed->model = Inference::GetInstance().GetDefaultTextToImageModel();
    completed->style = Inference::GenerationStyle::Vector;
    completed->guidanceMode = m_guidanceMode;
    completed->prompt = promptBefore;
    completed->secondaryPrompt = m_secondaryPrompt;
    completed->enhancesPrompt = m_enhancePrompt;
    completed->enhancedPrompt = m_enhancePrompt ? m_prompt : Kernel::String();
    completed->returnedCount = returnedCount;
    request.SendCompleted(completed, result);
    if (result.code != Inference::Answered)
        request.SendFailed(result, Kernel::LocalisedString("Image Generation Failed", "Remote inference"), GetSource());
}

void GenerateVectorNodeCommand::Undo() {
    SetDirection(Direction::Undo);
    AddChildNodesCommand::Undo();
}

void GenerateVectorNodeCommand::Redo() {
    SetDirection(Direction::Redo);
    AddChildNodesCommand::Redo();
}

void GenerateVectorNodeCommand::Notify(Kernel::NotificationList& notifications) {
    AddChildNodesCommand::Notify(notifications);
    if (m_direction == Direction::Do && m_shouldStack)
        notifications.push_back(Kernel::MakeCounted<GenerationsChangedNotification>());
}

} // namespace Commands
