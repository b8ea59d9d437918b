// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_image_node_command.h"

#include "frame/contract/notifications.h"
#include "generative/generated_object.h"
#include "generative/remote_request.h"

namespace Commands {

namespace {

// The whole of a bitmap shows.
Kernel::Counted<Raster::DynamicBitmap> MakeOpaqueMask(Raster::DynamicBitmap const& image, Raster::Format format) {
    auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>();
    mask->Create(image.GetWidth(), image.GetHeight(), Raster::GetFormatInfo(format).maskFormat,
                 Raster::MipmapMode::Deferred, Raster::HardwareCachePolicy::Automatic);
    auto& base = mask->GetMutableBase();
    Raster::VisitFormat(mask->GetFormat(), [&](auto traits) {
        using Channel = typename decltype(traits)::template Channel<0>;
        base.GetPlane(0) = Raster::Region<Channel>(base.GetBounds(), Raster::Default::Maximum);
    });
    base.FinishChange(base.GetBounds());
    return mask;
}

} // namespace

GenerateImageNodeCommand::GenerateImageNodeCommand(OstraAICommandSource source, Inference::TextToImageModel model,
                                                   Inference::TextToImageAspect aspect,
                                                   Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                                                   Inference::TextToImageGuidanceMode guidanceMode,
                                                   Kernel::String prompt, Kernel::String secondaryPrompt, int count,
                                                   bool enhancePrompt, Inference::GenerationStyle style, int reserved)
    : Persisted(source, aspect, std::move(guidanceImage), guidanceMode, std::move(prompt), std::move(secondaryPrompt),
                enhancePrompt, reserved),
      m_count(count),
      m_model(std::move(model)),
      m_style(style) {}

GenerateImageNodeCommand::GenerateImageNodeCommand(Kernel::String prompt, Kernel::String secondaryPrompt, int count,
                                                   Kernel::String const& model, Inference::TextToImageAspect aspect,
                                                   OptionalPicture const& guidance,
                                                   Inference::TextToImageGuidanceMode guidanceMode, bool enhancePrompt,
                                                   Inference::GenerationStyle style)
    : GenerateImageNodeCommand(OstraAICommandSource::Unknown, MakeModel(model), aspect, MakeGuidanceImage(guidance),
                               guidanceMode, std::move(prompt), std::move(secondaryPrompt), count, enhancePrompt, style,
                               0) {}

// Required: a prompt that was rewritten is told of before a failure, which it may have come with.
void GenerateImageNodeCommand::Do() {
    SetDirection(Direction::Do);
    auto const document = GetDocumentController();
    RemoteRequest request(*this);
    Images images;
    auto const promptBefore = m_prompt;
    auto const result = Ask(request, m_model, m_style, m_count, images);
    auto const report = MakeReport(m_model, m_style, promptBefore, images);
    report->aspect = m_aspect;
    report->requestedCount = m_count;
    request.SendCompleted(report, result);
    if (promptBefore != m_prompt)
        request.Send(Kernel::MakeCounted<PromptEnhancedNotification>(promptBefore, m_prompt, document));
    if (result.code != Inference::Answered)
        return Fail(request, result);
    request.Acquire();
    auto const node = MakeNode(images);
    RememberGenerated(document, *node, document->GetFormat(), document->GetProfiles());
    node->Transform(GetFitting(node->GetBaseBox(true), document->GetCurrentSpread()->GetBaseBox(true)), false);
    AddNode(node);
    AddChildNodesCommand::Do();
}

// Models answer in sRGB; from here on the pictures are in the document's format and colours.
Kernel::Counted<GeneratedImageNode> GenerateImageNodeCommand::MakeNode(Images const& images) const {
    auto const document = GetDocumentController();
    auto const profile = Raster::ICCManager::GetInstance().GetProfileForString("sRGB IEC61966-2.1");
    std::vector<GenerativeInterface::Generation> generations;
    for (auto const& image : images) {
        auto& generation = generations.emplace_back(m_prompt, image, profile, Raster::AffineTransform::Params());
        generation.ConvertFormatOrProfile(document->GetFormat(), document->GetProfiles());
    }
    auto node = Kernel::MakeCounted<GeneratedImageNode>();
    node->SetGenerationMask(MakeOpaqueMask(*generations.front().GetImage(), document->GetFormat()));
    node->SetGenerations(generations);
    node->SetUserDescription(m_prompt);
    return node;
}

void GenerateImageNodeCommand::Notify(Kernel::NotificationList& notifications) {
    AddChildNodesCommand::Notify(notifications);
    if (!HasNewGenerations())
        return;
    notifications.push_back(Kernel::MakeCounted<GenerationsChangedNotification>());
    notifications.push_back(Kernel::MakeCounted<ShowPanelNotification>(
        GetDocumentController(), ShowPanelNotification::Panel::Generations, nullptr));
}

} // namespace Commands
