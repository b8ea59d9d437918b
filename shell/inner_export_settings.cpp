// SPDX-License-Identifier: Apache-2.0
// The export of spreads: the files that they go to, and which of them an export of all takes along.
#include "shell/failure.h"
#include "shell/inner_commands.h"
#include "shell/slices.h"
#include "shell/values.h"

#include "platform/document/document_controller.h"
#include "platform/document/exportable_commands.h"

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::Unstored;

// A spread by its number, from 1; 0: the current one.
Kernel::Counted<SlicePage> FindSlice(DocumentController& document, int number) {
    auto const spreads = document.GetDocument()->GetSpreads();
    if (number > static_cast<int>(spreads.size()))
        throw ValueError("there are " + std::to_string(spreads.size()) + " spreads, and no spread " +
                         std::to_string(number));
    auto const spread = number == 0 ? document.GetCurrentSpread() : spreads[static_cast<std::size_t>(number) - 1];
    if (!spread || !spread->GetSlicePage())
        throw ValueError("the spread has no slice");
    return spread->GetSlicePage();
}

struct SetExportFilename {
    static constexpr char c_name[] = "set-export-filename", c_class[] = "SetExportableFilenameCommand";
    static constexpr bool c_takesSelection = false;
    Kernel::String name;
    int spread = 0;
    static constexpr auto Fields() {
        using This = SetExportFilename;
        return FieldList{
            Unstored{&This::name}.As("name", "the file's name, without folder and ending"),
            Unstored{&This::spread}.As("spread", "the spread's number, from 1; 0: the current one", 0).AtLeast(0)};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const {
        if (!name.empty() && !IsPlainFilename(name.view()))
            throw ValueError("is the name of a file, without a folder, and not " + Quote(name.view()));
        return SetExportableFilenameCommand::Create(name, FindSlice(context.document, spread));
    }
};

struct SetExportInclude {
    static constexpr char c_name[] = "set-export-include", c_class[] = "SetExportableIncludeCommand";
    static constexpr bool c_takesSelection = false;
    bool include = true;
    int spread = 0;
    static constexpr auto Fields() {
        using This = SetExportInclude;
        return FieldList{
            Unstored{&This::include}.As("include", "whether an export of all slices takes the spread along", true),
            Unstored{&This::spread}.As("spread", "the spread's number, from 1; 0: the current one", 0).AtLeast(0)};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const {
        return SetExportableIncludeCommand::Create(include, FindSlice(context.document, spread));
    }
};

} // namespace

std::vector<CommandEntry> MakeExportSettingEntries() {
    return {MakeInnerEntry<SetExportFilename>(), MakeInnerEntry<SetExportInclude>()};
}

} // namespace Shell
