// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "generative/generation_arguments.h"
#include "platform/document/add_child_nodes_command.h"
#include "platform/document/ai_operation_notification.h"
#include "platform/document/ostra_ai_command.h"

namespace Commands {

class RemoteRequest;

// Base of commands that ask a model for pictures, and put what they make of the answer onto the current spread. A
// command that was loaded adds the object or takes it away, and never asks again.
class REDRAFT_API GenerateNodeBase : public AddChildNodesCommand, public OstraAICommand {
public:
    static constexpr std::string_view c_keptByUndo =
        "A copy of the generated object stays in the document's collection of them.";

    // As it was given or, after Do, as the service rewrote it.
    Kernel::String const& GetPrompt() const { return m_prompt; }

    void Undo() override;
    void Redo() override;
    bool ShouldStackForUndo() const override { return m_shouldStack; }
    ProgressType GetProgressType() const override { return ProgressType::LargeBar; }
    int GetProgressInterval() const override { return 0; }
    // Nobody asks a second time without being told to.
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }

protected:
    using Inference = Learning::RemoteInference;
    using Images = std::vector<Kernel::Counted<Raster::DynamicBitmap>>;

    // For loading.
    GenerateNodeBase() = default;
    // `reserved` is kept and never looked at.
    GenerateNodeBase(OstraAICommandSource source, Inference::TextToImageAspect aspect,
                     Kernel::Counted<Raster::BufferRGBA8> guidanceImage,
                     Inference::TextToImageGuidanceMode guidanceMode, Kernel::String prompt,
                     Kernel::String secondaryPrompt, bool enhancePrompt, int reserved);

    // The answer comes to `images`; the service may rewrite the prompt.
    Inference::Result Ask(RemoteRequest const& request, Inference::TextToImageModel const& model,
                          Inference::GenerationStyle style, int count, Images& images);
    // A report with all that both commands tell; the rest is the command's.
    Kernel::Counted<AIOperationCompletedNotification> MakeReport(Inference::TextToImageModel const& model,
                                                                 Inference::GenerationStyle style,
                                                                 Kernel::String const& promptBefore,
                                                                 Images const& images) const;
    // Tells of a request that failed. The command is no step then.
    void Fail(RemoteRequest const& request, Inference::Result const& result);
    // Whether listeners are to hear of new generations: after a Do that was answered.
    bool HasNewGenerations() const { return m_direction == Direction::Do && m_shouldStack; }

    Kernel::String m_prompt;
    Kernel::String m_secondaryPrompt;
    Inference::TextToImageAspect m_aspect{};
    // May be null.
    Kernel::Counted<Raster::BufferRGBA8> m_guidanceImage;
    Inference::TextToImageGuidanceMode m_guidanceMode{};
    bool m_enhancePrompt = false;

private:
    int m_reserved = 0;
};

} // namespace Commands
