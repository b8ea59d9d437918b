// SPDX-License-Identifier: Apache-2.0
#include "merge/delete_data_merge_source_command.h"
#include "merge/set_data_merge_enabled_command.h"
#include "merge/set_data_merge_output_pages_command.h"
#include "merge/set_data_merge_source_options_commands.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/merge_documents.h"

namespace Commands {

using namespace ExampleDocuments;

// The first of two, which fields show.
static ExampleRegistration const s_deleteDataMergeSourceExample({
    .className = "DeleteDataMergeSourceCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<DeleteDataMergeSourceCommand>(NewestMergeSourceAt(document, 0));
        },
});

static ExampleRegistration const s_deleteLastDataMergeSourceExample({
    .className = "DeleteDataMergeSourceCommand",
    .prepare = DataMergeWithoutPreview,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<DeleteDataMergeSourceCommand>(NewestMergeSourceAt(document, 1));
        },
});

static ExampleRegistration const s_setDataMergeEnabledExample({
    .className = "SetDataMergeEnabledCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<SetDataMergeEnabledCommand>(NewestMergeSourceAt(document, 0), false);
        },
});

static ExampleRegistration const s_setDataMergeFetcherOptionsExample({
    .className = "SetDataMergeFetcherOptionsCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<SetDataMergeFetcherOptionsCommand>(
                NewestMergeSourceAt(document, 0), Kernel::MakeCounted<DataMergeFetcher>("people.csv"));
        },
});

static ExampleRegistration const s_setDataMergeFetcherContentExample({
    .className = "SetDataMergeFetcherOptionsCommand",
    .prepare = DataMergeWithoutPreview,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<SetDataMergeFetcherOptionsCommand>(
                NewestMergeSourceAt(document, 1),
                DataMergeFetcher::MakeWithContent("places.csv", "place\nOslo\nKobe\n"));
        },
});

static ExampleRegistration const s_setDataMergeParserOptionsExample({
    .className = "SetDataMergeParserOptionsCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            Records::ReadOptions options;
            options.delimiter = ';';
            options.header = Records::HeaderRow::Absent;
            return Kernel::MakeCounted<SetDataMergeParserOptionsCommand>(
                NewestMergeSourceAt(document, 0), Kernel::MakeCounted<DataMergeParser>(options, "de_DE"));
        },
});

static ExampleRegistration const s_setDataMergeOutputPagesExample({
    .className = "SetDataMergeOutputPagesCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(NewestMergeSourceAt(document, 0), false, 0, 2);
        },
});

static ExampleRegistration const s_setDataMergeOtherOutputPagesExample({
    .className = "SetDataMergeOutputPagesCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(NewestMergeSourceAt(document, 1), false, 1, 1);
        },
});

static ExampleRegistration const s_setDataMergeAllOutputPagesExample({
    .className = "SetDataMergeOutputPagesCommand",
    .prepare = DataMerge,
    .make =
        [](auto& document) {
            return Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(NewestMergeSourceAt(document, 1), true, 0, 0);
        },
    .keptByContract = SetDataMergeOutputPagesCommand::c_keptByUndo,
    .keptInDocument = true,
});

} // namespace Commands
