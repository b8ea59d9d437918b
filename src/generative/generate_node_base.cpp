// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_node_base.h"

#include "generative/remote_request.h"

namespace Commands {

GenerateNodeBase::GenerateNodeBase(OstraAICommandSource source, Inference::TextToImageAspect aspect,
                                   Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                                   Inference::TextToImageGuidanceMode guidanceMode, Kernel::String prompt,
                                   Kernel::String secondaryPrompt, bool enhancePrompt, int reserved)
    : AddChildNodesCommand(true, NodeChildListType::Plain, false, true, false, nullptr, nullptr,
                           InsertionMode::FrontOfSpread, 0, ApplyDefault::Never, ApplyDefault::Never),
      OstraAICommand(source),
      m_prompt(std::move(prompt)),
      m_secondaryPrompt(std::move(secondaryPrompt)),
      m_aspect(aspect),
      m_guidanceImage(std::move(guidanceImage)),
      m_guidanceMode(guidanceMode),
      m_enhancePrompt(enhancePrompt),
      m_reserved(reserved) {}

Learning::RemoteInference::Result GenerateNodeBase::Ask(RemoteRequest const& request,
                                                        Inference::TextToImageModel const& model,
                                                        Inference::GenerationStyle style, int count, Images& images) {
    return Inference::GetInstance().InferTextToImage(model, m_aspect, m_guidanceImage, m_guidanceMode, m_prompt,
                                                     m_secondaryPrompt, m_enhancePrompt, style, count, images,
                                                     &RemoteRequest::ReportProgress, request.GetData());
}

Kernel::Counted<AIOperationCompletedNotification> GenerateNodeBase::MakeReport(Inference::TextToImageModel const& model,
                                                                               Inference::GenerationStyle style,
                                                                               Kernel::String const& promptBefore,
                                                                               Images const& images) const {
    auto completed = Kernel::MakeCounted<AIOperationCompletedNotification>();
    completed->operation = AIOperationCompletedNotification::Operation::Generate;
    completed->reserved = 0;
    completed->model = model;
    completed->style = style;
    completed->guidanceMode = m_guidanceMode;
    completed->prompt = promptBefore;
    completed->secondaryPrompt = m_secondaryPrompt;
    completed->enhancesPrompt = m_enhancePrompt;
    completed->enhancedPrompt = m_enhancePrompt ? m_prompt : Kernel::String();
    completed->returnedCount = static_cast<int>(images.size());
    return completed;
}

void GenerateNodeBase::Fail(RemoteRequest const& request, Inference::Result const& result) {
    request.SendFailed(result, Kernel::LocalisedString("Image Generation Failed", "Remote inference"), GetSource());
    m_shouldStack = false;
}

void GenerateNodeBase::Undo() {
    SetDirection(Direction::Undo);
    AddChildNodesCommand::Undo();
}

void GenerateNodeBase::Redo() {
    SetDirection(Direction::Redo);
    AddChildNodesCommand::Redo();
}

} // namespace Commands
