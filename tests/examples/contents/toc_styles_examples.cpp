// SPDX-License-Identifier: Apache-2.0
#include "contents/delete_toc_style_command.h"
#include "contents/rename_toc_style_command.h"
#include "contents/update_toc_style_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/contents_documents.h"

namespace Commands {

namespace {

using ExampleDocuments::c_tocStyle;

Kernel::String DefaultTocStyle() { return Story::TocAtt::GetDefaultTocStyleName().GetText(); }

auto const PrepareTwoTables = [](DocumentController& controller) {
    ExampleDocuments::TextsWithContents(controller, {c_tocStyle, c_tocStyle});
};
auto const PrepareNoTable = [](DocumentController& controller) { ExampleDocuments::TextsWithContents(controller, {}); };

} // namespace

// Two tables that look alike.
static ExampleRegistration const s_deleteTocStyleExample({
    .className = "DeleteTocStyleCommand",
    .prepare = PrepareTwoTables,
    .make = Constructs<DeleteTocStyleCommand>(c_tocStyle),
});

static ExampleRegistration const s_deleteDefaultTocStyleExample({
    .className = "DeleteTocStyleCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::TextsWithContents(controller, {DefaultTocStyle(), c_tocStyle});
        },
    .make = [](auto&) { return Kernel::MakeCounted<DeleteTocStyleCommand>(DefaultTocStyle()); },
});

static ExampleRegistration const s_deleteUnusedTocStyleExample({
    .className = "DeleteTocStyleCommand",
    .prepare = PrepareNoTable,
    .make = Constructs<DeleteTocStyleCommand>(c_tocStyle),
});

static ExampleRegistration const s_renameTocStyleExample({
    .className = "RenameTocStyleCommand",
    .prepare = PrepareTwoTables,
    .make = Constructs<RenameTocStyleCommand>(c_tocStyle, "Novel"),
});

static ExampleRegistration const s_renameUnusedTocStyleExample({
    .className = "RenameTocStyleCommand",
    .prepare = PrepareNoTable,
    .make = Constructs<RenameTocStyleCommand>(c_tocStyle, "Novel"),
});

// With the caret in the first of two.
static ExampleRegistration const s_updateTocStyleExample({
    .className = "UpdateTocStyleCommand",
    .prepare =
        [](DocumentController& controller) {
            PrepareTwoTables(controller);
            controller.SetSelection(ExampleDocuments::MakeCaretInTable(controller, 0), false);
        },
    .make =
        [](auto&) {
            return Kernel::MakeCounted<UpdateTocStyleCommand>(c_tocStyle,
                                                              ExampleDocuments::MakeTocDefinition("Chapters"));
        },
});

static ExampleRegistration const s_updateUnusedTocStyleExample({
    .className = "UpdateTocStyleCommand",
    .prepare = PrepareNoTable,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<UpdateTocStyleCommand>(c_tocStyle,
                                                              ExampleDocuments::MakeTocDefinition("Chapters"));
        },
});

} // namespace Commands
