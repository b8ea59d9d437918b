// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_source_command.h"

#include <tuple>

namespace Commands {

// Says which pages of the document the records of a source fill.
class REDRAFT_API SetDataMergeOutputPagesCommand final
    : public DataMergePreviewedSourceCommand<SetDataMergeOutputPagesCommand> {
public:
    // All pages, or those from one to another, counted from 0, both included. Pages that the document does not have are
    // taken as they are.
    SetDataMergeOutputPagesCommand(Kernel::JailCounted<DataMergeSource> source, bool wholeDocument, int startPage,
                                   int endPage)
        : DataMergePreviewedSourceCommand(std::move(source)),
          m_newWholeDocument(wholeDocument),
          m_newStartPage(startPage),
          m_newEndPage(endPage) {}

    static constexpr auto c_description = Kernel::Localisable("Set Data Merge Page Range", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    bool Merge(Kernel::Counted<Command const> newer) override;

    int GetStartPage() const { return m_newStartPage; }
    int GetEndPage() const { return m_newEndPage; }

    // Those on two sources stay two steps.
    static constexpr auto MergeTargets() { return std::tuple(&SetDataMergeOutputPagesCommand::m_source); }
    static constexpr std::string_view c_keptByUndo =
        "Pages that were chosen before all pages were taken do not come back.";

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeOutputPagesCommand() = default;
    void Put(bool wholeDocument, int startPage, int endPage);
    static constexpr auto Fields() {
        using This = SetDataMergeOutputPagesCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"olft", &This::m_oldWholeDocument},
            Kernel::Field{"nwft", &This::m_newWholeDocument}.As("wholeDocument", "whether records fill all pages",
                                                                false),
            Kernel::Field{"olsp", &This::m_oldStartPage},
            Kernel::Field{"nwsp", &This::m_newStartPage}
                .As("startPage", "the first page, counted from 0", 0)
                .AtLeast(0),
            Kernel::Field{"olep", &This::m_oldEndPage},
            Kernel::Field{"nwep", &This::m_newEndPage}.As("endPage", "the last page, counted from 0", 0).AtLeast(0),
            Kernel::Field{"uppr", &This::m_updatePreviewCommand}};
    }

    bool m_oldWholeDocument = false, m_newWholeDocument = false;
    int m_oldStartPage = 0, m_newStartPage = 0, m_oldEndPage = 0, m_newEndPage = 0;
};

} // namespace Commands
