// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/field_documents.h"
#include "text/change_cross_reference_command.h"
#include "text/legacy_set_cross_reference_text_for_language_command.h"
#include "text/set_anchor_data_guid_command.h"

namespace Commands {

namespace {

auto const PrepareReferences = [](DocumentController& controller) {
    ExampleDocuments::TextsWithReferences(controller);
};

} // namespace

// Style and target of two references, of which one has that style already.
static ExampleRegistration const s_changeReferencesExample({
    .className = "ChangeCrossReferenceCommand",
    .prepare = PrepareReferences,
    .make =
        [](DocumentController& controller) {
            auto const text = Kernel::Cast<FrameTextNode>(controller.GetCurrentSelection()->GetNodes().front());
            return Kernel::MakeCounted<ChangeCrossReferenceCommand>(
                Story::CrossReferenceTargetType::AnchorName, ExampleDocuments::MakeReferenceStyle("Page", "at {name}"),
                ExampleDocuments::ReferencesIn(*text->GetStory()).front()->GetAnchorData(), true, nullptr);
        },
});

static ExampleRegistration const s_styleOfReferencesExample({
    .className = "ChangeCrossReferenceCommand",
    .prepare = PrepareReferences,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<ChangeCrossReferenceCommand>(
                Story::CrossReferenceTargetType::Page, ExampleDocuments::MakeReferenceStyle("Short", "p. {page}"),
                nullptr, false, nullptr);
        },
});

static ExampleRegistration const s_anchorExample({
    .className = "SetAnchorDataGUIDCommand",
    .prepare = PrepareReferences,
    .make =
        [](DocumentController& controller) {
            auto const text = Kernel::Cast<FrameTextNode>(controller.GetCurrentSelection()->GetNodes().front());
            return Kernel::MakeCounted<SetAnchorDataGUIDCommand>(
                ExampleDocuments::ReferencesIn(*text->GetStory()).front()->GetAnchorData(), "anchor-moved");
        },
});

// As an old history has it.
static ExampleRegistration const s_legacyReferenceExample({
    .className = "LegacySetCrossReferenceTextForLanguageCommand",
    .make =
        [](auto&) {
            return Kernel::Cast<DocumentCommand>(
                LegacySetCrossReferenceTextForLanguageCommand::GetTypeClassProperties()->Create());
        },
    .isShell = true,
});

} // namespace Commands
