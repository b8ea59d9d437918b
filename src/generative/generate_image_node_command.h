// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "generative/generate_node_base.h"
#include "platform/document/generated_image_node.h"

namespace Commands {

// Asks a model for pictures, and puts them onto the middle of the current spread, as one object that shows the first of
// them.
class REDRAFT_API GenerateImageNodeCommand final : public Persisted<GenerateImageNodeCommand, GenerateNodeBase> {
public:
    static constexpr std::string_view c_outsideName = "generate-image";

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

    static constexpr auto c_description = Kernel::Localisable("Generate image", "Command description");
    void Do() override;
    void Notify(Kernel::NotificationList& notifications) override;

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

    Kernel::Counted<GeneratedImageNode> MakeNode(Images const& images) const;

    int m_count = 0;
    Inference::TextToImageModel m_model;
    Inference::GenerationStyle m_style{};
};

} // namespace Commands
