// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "generative/generate_node_base.h"

namespace Commands {

// Asks a model for a picture of few plain colours, and puts curves that are traced from it onto the middle of the
// current spread, as a group.
class REDRAFT_API GenerateVectorNodeCommand final : public Persisted<GenerateVectorNodeCommand, GenerateNodeBase> {
public:
    static constexpr std::string_view c_outsideName = "generate-vector";

    // `reserved` is kept and never looked at.
    GenerateVectorNodeCommand(OstraAICommandSource source, Inference::TextToImageAspect aspect,
                              Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                              Inference::TextToImageGuidanceMode guidanceMode, Kernel::String prompt,
                              Kernel::String secondaryPrompt, bool enhancePrompt, int reserved);
    // For programs outside.
    GenerateVectorNodeCommand(Kernel::String prompt, Kernel::String secondaryPrompt,
                              Inference::TextToImageAspect aspect, OptionalPicture const& guidance,
                              Inference::TextToImageGuidanceMode guidanceMode, bool enhancePrompt);

    static constexpr auto c_description = Kernel::Localisable("Generate vector drawing", "Command description");
    void Do() override;
    void Notify(Kernel::NotificationList& notifications) override;

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
};

} // namespace Commands
