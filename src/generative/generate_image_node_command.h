// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "generative/generation_arguments.h"
#include "platform/document/add_child_nodes_command.h"
#include "platform/document/generated_image_node.h"
#include "platform/document/ostra_ai_command.h"

namespace Commands {

class RemoteRequest;

// Asks a model for pictures, and puts them onto the middle of the current spread, as one object that shows the first of
// them. A command that was loaded adds the object or takes it away, and never asks again.
class REDRAFT_API GenerateImageNodeCommand final : public Persisted<GenerateImageNodeCommand, AddChildNodesCommand>,
                                                   public OstraAICommand {
    using Inference = Learning::RemoteInference;

public:
    static constexpr std::string_view c_outsideName = "generate-image";
    static constexpr std::string_view c_keptByUndo =
        "A copy of the generated object stays in the document's collection of them.";

    // `reserved` is kept and never looked at.
    GenerateImageNodeCommand(OstraAICommandSource source, Inference::TextToImageModel model,
                             Inference::TextToImageAspect aspect, Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                             Inference::TextToImageGuidanceMode guidanceMode, Kernel::String prompt,
                             Kernel::String secondaryPrompt, int count, bool enhancePrompt,
                             Inference::GenerationStyle style, int reserved);
    // For programs outside. An empty model: the service's own.
    GenerateImageNodeCommand(Kernel::String prompt, Kernel::String secondaryPrompt, int count,
                             Kernel::String const& model, Inference::TextToImageAspect aspect,
                             OptionalPicture const& guidance, Inference::TextToImageGuidanceMode guidanceMode,
                             bool enhancePrompt, Inference::GenerationStyle style);

    // As it was given or, after Do, as the service rewrote it.
    Kernel::String const& GetPrompt() const { return m_prompt; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return m_shouldStack; }
    ProgressType GetProgressType() const override { return ProgressType::LargeBar; }
    int GetProgressInterval() const override { return 0; }
    // Nobody asks a second time without being told to.
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }

private:
    friend struct Kernel::FieldAccess;
    GenerateImageNodeCommand() = default;
    static constexpr auto Fields() {
        using This = GenerateImageNodeCommand;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::m_prompt}.As("prompt", c_promptHelp),
            Unstored{&This::m_secondaryPrompt}.As("negative", c_negativeHelp, std::string_view()),
            Unstored{&This::m_count}.As("count", "how many pictures", 1).Between(1, Inference::c_maximumCount),
            Unstored{&This::m_model}.As<Kernel::String>("model", "the service's name of the model that makes them",
                                                        std::string_view()),
            Unstored{&This::m_aspect}.As("aspect", c_aspectHelp, Inference::TextToImageAspect::Square),
            Unstored{&This::m_guidanceImage}.As<OptionalPicture>("guidance", c_guidanceHelp, nullptr),
            Unstored{&This::m_guidanceMode}.As("mode", c_guidanceModeHelp, Inference::TextToImageGuidanceMode::Loose),
            Unstored{&This::m_enhancePrompt}.As("enhance", c_enhanceHelp, false),
            Unstored{&This::m_style}.As("style", "the manner of the picture", Inference::GenerationStyle::None)};
    }

    using Images = std::vector<Kernel::Counted<Raster::DynamicBitmap>>;
    Inference::Result Ask(RemoteRequest const& request, Images& images);
    void SendReports(RemoteRequest const& request, Inference::Result const& result, Kernel::String const& promptBefore,
                     int returnedCount) const;
    Kernel::Counted<GeneratedImageNode> MakeNode(Images const& images) const;

    Kernel::String m_prompt;
    Kernel::String m_secondaryPrompt;
    int m_count = 0;
    Inference::TextToImageModel m_model;
    Inference::TextToImageAspect m_aspect{};
    // May be null.
    Kernel::Counted<Raster::BufferRGBA8> m_guidanceImage;
    Inference::TextToImageGuidanceMode m_guidanceMode{};
    bool m_enhancePrompt = false;
    Inference::GenerationStyle m_style{};
    int m_reserved = 0;
};

} // namespace Commands
