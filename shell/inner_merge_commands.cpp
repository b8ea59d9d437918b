// SPDX-License-Identifier: Apache-2.0
// The engine's own commands of data merges: which record is shown, and where fields stand.
#include "shell/inner_commands.h"
#include "shell/merge_values.h"

#include "platform/document/place_merge_fields_command.h"
#include "platform/document/set_data_merge_preview_command.h"

namespace Shell {

namespace {

using Commands::DataMergeSourceReference;
using Kernel::FieldList;
using Kernel::Unstored;

struct SetPreview {
    static constexpr char c_name[] = "set-data-merge-preview", c_class[] = "SetDataMergePreviewCommand";
    static constexpr bool c_takesSelection = false;
    DataMergeSourceReference source;
    bool enabled = true;
    int row = -1;
    static constexpr auto Fields() {
        using This = SetPreview;
        return FieldList{
            Unstored{&This::source}.As("source", "the source of the data merge"),
            Unstored{&This::enabled}.As("enabled", "whether fields show a record", true),
            Unstored{&This::row}
                .As("row", "the record, counted from 0 among those that come through the filters; -1: the same", -1)
                .AtLeast(-1)};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const&) const {
        return Kernel::MakeCounted<SetDataMergePreviewCommand>(source.source, enabled, row);
    }
};

struct PlaceMergeFields {
    static constexpr char c_name[] = "place-merge-fields", c_class[] = "PlaceMergeFieldsCommand";
    static constexpr bool c_takesSelection = false;
    DataMergeSourceReference source;
    static constexpr auto Fields() {
        return FieldList{Unstored{&PlaceMergeFields::source}.As("source", "the source of the data merge")};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const&) const {
        return Kernel::MakeCounted<PlaceMergeFieldsCommand>(source.source);
    }
};

} // namespace

std::vector<CommandEntry> MakeInnerMergeEntries() {
    return {MakeInnerEntry<SetPreview>(), MakeInnerEntry<PlaceMergeFields>()};
}

} // namespace Shell
