// SPDX-License-Identifier: Apache-2.0
#include "publishing/add_css_file_command.h"
#include "publishing/assistant_export_setup_command.h"
#include "publishing/remove_css_file_command.h"
#include "publishing/set_document_accessibility_metadata_command.h"
#include "publishing/set_epub_cover_info_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/publication_documents.h"

namespace Commands {

static ExampleRegistration const s_addCssFileExample({
    .className = "AddCssFileCommand",
    .prepare = ExampleDocuments::Publication,
    .make = [](auto&) { return Kernel::MakeCounted<AddCssFileCommand>(ExampleDocuments::MakeCssFile("new.css")); },
});

// The first of two, so that its place matters.
static ExampleRegistration const s_removeCssFileExample({
    .className = "RemoveCssFileCommand",
    .prepare = ExampleDocuments::Publication,
    .make = Constructs<RemoveCssFileCommand>(0),
});

static ExampleRegistration const s_setEPubCoverInfoExample({
    .className = "SetEPubCoverInfoCommand",
    .make = [](auto&) { return Kernel::MakeCounted<SetEPubCoverInfoCommand>(ExampleDocuments::MakePictureCover()); },
});

static ExampleRegistration const s_replaceEPubCoverInfoExample({
    .className = "SetEPubCoverInfoCommand",
    .prepare = ExampleDocuments::Publication,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetEPubCoverInfoCommand>(
                Kernel::MakeCounted<EPubCoverInfo const>(EPubCoverKind::FirstPage, nullptr, Kernel::String()));
        },
});

static ExampleRegistration const s_setDocumentAccessibilityMetadataExample({
    .className = "SetDocumentAccessibilityMetadataCommand",
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetDocumentAccessibilityMetadataCommand>(ExampleDocuments::MakeAccessibility());
        },
    .untold = {CommandExample::Untold::Setting},
});

// One of three spreads was set up before.
static ExampleRegistration const s_assistantExportSetupExample({
    .className = "AssistantExportSetupCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::Publication(controller);
            ExampleDocuments::AddSpreads(controller, 2);
        },
    .make = Constructs<AssistantExportSetupCommand>(),
});

} // namespace Commands
