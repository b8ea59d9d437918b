// SPDX-License-Identifier: Apache-2.0
#include "shell/inner_commands.h"

#include "platform/document/add_child_nodes_command.h"
#include "shell/overflow_pages.h"

namespace Shell {

namespace {

struct AddPagesOnOverflow {
    static constexpr char c_name[] = "add-pages-on-overflow", c_class[] = "AddChildNodesCommand";
    static constexpr bool c_takesSelection = true;

    Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const {
        Kernel::Counted<Node> const root(context.document.GetDocument().get());
        auto const command = Kernel::MakeCounted<AddChildNodesCommand>(NodeChildListType::Plain, root);
        for (auto const& spread : MakeOverflowSpreads(context.document, *context.selection))
            command->AddNode(spread);
        return command;
    }
};

} // namespace

std::vector<CommandEntry> MakeInnerEntries() {
    auto entries = MakeInnerTextEntries();
    for (auto& entry : MakeInnerNoteEntries())
        entries.push_back(std::move(entry));
    for (auto& entry : MakeIndexTextEntries())
        entries.push_back(std::move(entry));
    for (auto& entry : MakeInnerContentsEntries())
        entries.push_back(std::move(entry));
    for (auto& entry : MakeInnerMergeEntries())
        entries.push_back(std::move(entry));
    for (auto& entry : MakeInnerPictureEntries())
        entries.push_back(std::move(entry));
    for (auto& entry : MakeExportSettingEntries())
        entries.push_back(std::move(entry));
    entries.push_back(MakeInnerEntry<AddPagesOnOverflow>());
    return entries;
}

} // namespace Shell
