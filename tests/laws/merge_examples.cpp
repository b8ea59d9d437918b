// SPDX-License-Identifier: Apache-2.0
// The engine's own commands on data merges.
#include "platform/document/place_merge_fields_command.h"
#include "platform/document/set_data_merge_preview_command.h"
#include "platform/kernel/type_name.h"
#include "tests/examples/scenes/merge_documents.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/laws/text_command_examples.h"

namespace {

using ExampleDocuments::NewestMergeSourceAt;

CommandExample Preview(bool enabled, int row) {
    return {.className = std::string(Kernel::TypeName<SetDataMergePreviewCommand>()),
            .prepare = ExampleDocuments::DataMerge,
            .make = [=](DocumentController& document) -> Kernel::Counted<DocumentCommand> {
                return Kernel::MakeCounted<SetDataMergePreviewCommand>(NewestMergeSourceAt(document, 0), enabled, row);
            }};
}

CommandExample Place() {
    return {.className = std::string(Kernel::TypeName<PlaceMergeFieldsCommand>()),
            .prepare =
                [](DocumentController& document) {
                    ExampleDocuments::DataMergeWithoutPreview(document);
                    NewestMergeSourceAt(document, 0)->SetPreviewEnabled(true);
                    ExampleDocuments::Append(
                        *document.GetCurrentSpread(),
                        ExampleDocuments::MakeTextFrame({50, 50, 300, 120}, "{{name}} of {{city}}, {{nothing}}"));
                },
            .make = [](DocumentController& document) -> Kernel::Counted<DocumentCommand> {
                return Kernel::MakeCounted<PlaceMergeFieldsCommand>(NewestMergeSourceAt(document, 0));
            }};
}

} // namespace

// Another record, and none; and words that become fields.
std::vector<CommandExample> MergeExamples() { return {Preview(true, 3), Preview(false, -1), Place()}; }
