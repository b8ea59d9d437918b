// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/field_documents.h"
#include "text/add_custom_field_command.h"
#include "text/create_custom_field_from_text_command.h"
#include "text/delete_custom_field_command.h"
#include "text/rename_custom_field_command.h"

namespace Commands {

namespace {

auto const PrepareFields = [](DocumentController& controller) { ExampleDocuments::TextsWithFields(controller); };

} // namespace

static ExampleRegistration const s_addFieldExample({
    .className = "AddCustomFieldCommand",
    .prepare = PrepareFields,
    .make = Constructs<AddCustomFieldCommand>("field-year", "Year", "1851"),
});

static ExampleRegistration const s_renameFieldExample({
    .className = "RenameCustomFieldCommand",
    .prepare = PrepareFields,
    .make = Constructs<RenameCustomFieldCommand>(ExampleDocuments::c_titleField, "Title of the book"),
});

// Two texts show it.
static ExampleRegistration const s_deleteFieldExample({
    .className = "DeleteCustomFieldCommand",
    .prepare = PrepareFields,
    .make = Constructs<DeleteCustomFieldCommand>(ExampleDocuments::c_titleField),
});

// No text shows it.
static ExampleRegistration const s_deleteUnusedFieldExample({
    .className = "DeleteCustomFieldCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::TextsWithFields(controller);
            // Several of these scenes may stand in one document.
            if (!controller.GetDocument()->GetCustomFieldSource().Has("field-year"))
                controller.Run(Kernel::MakeCounted<AddCustomFieldCommand>("field-year", "Year", "1851"));
        },
    .make = Constructs<DeleteCustomFieldCommand>("field-year"),
});

// Two words in the second frame of a chain.
static ExampleRegistration const s_fieldFromTextExample({
    .className = "CreateCustomFieldFromTextCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const texts = ExampleDocuments::TextsWithFields(controller);
            controller.SetSelection(
                Kernel::MakeCounted<Selection const>(texts.second, Kernel::MakeCounted<TextSelection>(220, 229)),
                false);
        },
    .make = Constructs<CreateCustomFieldFromTextCommand>("field-words", "Words", "words of"),
});

} // namespace Commands
