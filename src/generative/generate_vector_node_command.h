// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "generative/generation_arguments.h"
#include "platform/document/add_child_nodes_command.h"
#include "platform/document/ostra_ai_command.h"

namespace Commands {

class RemoteRequest;

// Asks a model for a picture of few plain colours, and puts curves that are traced from it onto the middle of the
// current spread, as a group. A command that was loaded adds the group or takes it away, and never asks again.
class REDRAFT_API GenerateVectorNodeCommand final : public Persisted<GenerateVectorNodeCommand, AddChildNodesCommand>,
                                                    public OstraAICommand {
    using Inference = Learning::RemoteInference;

public:
    static constexpr std::string_view c_outsideName = "generate-vector";
    static constexpr std::string_view c_keptByUndo =
        "A copy of the generated object stays in the document's collection of them.";

    // `reserved` is kept and never looked at.
    GenerateVectorNodeCommand(OstraAICommandSource source, Inference::TextToImageAspect aspect,
                              Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                              Inference::TextToImageGuidanceMode guidanceMode, Kernel::String prompt,
                              Kernel::String secondaryPrompt, bool enhancePrompt, int reserved);
    // For programs outside.
    GenerateVectorNodeCommand(Kernel::String prompt, Kernel::String secondaryPrompt,
                              Inference::TextToImageAspect aspect, OptionalPicture const& guidance,
                              Inference::TextToImageGuidanceMode guidanceMode, bool enhancePrompt);

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
    GenerateVectorNodeCommand() = default;
    static constexpr auto Fields() {
        using This = GenerateVectorNodeCommand;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::m_prompt}.As("prompt", c_promptHelp),
            Unstored{&This::m_secondaryPrompt}.As("negative", c_negativeHelp, std::string_view()),
            Unstored{&This::m_aspect}.As("aspect", c_aspectHelp, Inference::TextToImageAspect::Square),
            Unstored{&This::m_guidanceImage}.As<OptionalPicture>("guidance", c_guidanceHelp, nullptr),
            Unstored{&This::m_guidanceMode}.As("mode", c_guidanceModeHelp, Inference::TextToImageGuidanceMode::Loose),
            Unstored{&This::m_enhancePrompt}.As("enhance", c_enhanceHelp, false)};
    }

    using Images = std::vector<Kernel::Counted<Raster::DynamicBitmap>>;
    Inference::Result Ask(RemoteRequest const& request, Images& images);
    void SendReports(RemoteRequest const& request, Inference::Result const& result, Kernel::String const& promptBefore,
                     int returnedCount) const;

    Kernel::String m_prompt;
    Kernel::String m_secondaryPrompt;
    Inference::TextToImageAspect m_aspect{};
    // May be null.
    Kernel::Counted<Raster::BufferRGBA8> m_guidanceImage;
    Inference::TextToImageGuidanceMode m_guidanceMode{};
    bool m_enhancePrompt = false;
    int m_reserved = 0;
};

} // namespace Commands
