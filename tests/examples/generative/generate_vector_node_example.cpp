// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_vector_node_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/scripted_models.h"

namespace Commands {

namespace {

using Inference = Learning::RemoteInference;

Kernel::Counted<DocumentCommand> MakeVectorCommand(Kernel::SizeT<int> size) {
    ExampleDocuments::UseGenerator({size}, true);
    return Kernel::MakeCounted<GenerateVectorNodeCommand>("a flag", "", Inference::TextToImageAspect::Square,
                                                          OptionalPicture(), Inference::TextToImageGuidanceMode::None,
                                                          false);
}

} // namespace

static ExampleRegistration const s_generateVectorNodeExample({
    .className = "GenerateVectorNodeCommand",
    .make =
        [](auto&) {
            return MakeVectorCommand({240, 160});
        },
    .keptByContract = "The document remembers a copy of the generated object.",
    .keptInDocument = true,
});

// Larger than the page, and in front of others.
static ExampleRegistration const s_generateLargeVectorExample({
    .className = "GenerateVectorNodeCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make =
        [](auto&) {
            return MakeVectorCommand({1000, 200});
        },
    .keptByContract = "The document remembers a copy of the generated object.",
    .keptInDocument = true,
});

} // namespace Commands
