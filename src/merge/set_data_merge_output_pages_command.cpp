// SPDX-License-Identifier: Apache-2.0
#include "merge/set_data_merge_output_pages_command.h"

#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

namespace Commands {

void SetDataMergeOutputPagesCommand::Do() {
    SetDirection(Direction::Do);
    auto& source = RequireSource(m_source);
    // Required: the source covers the whole document before its old pages are looked at, which are lost then.
    if (m_newWholeDocument) {
        m_newStartPage = 0;
        m_newEndPage = m_documentController->GetDocument()->GetPageCount() - 1;
        source.SetCoversWholeDocument();
    }
    m_oldWholeDocument = source.CoversWholeDocument();
    m_oldStartPage = m_oldWholeDocument ? 0 : source.GetStartPage();
    m_oldEndPage = source.GetEndPage();
    if (!m_newWholeDocument)
        source.SetPageRange(m_newStartPage, m_newEndPage);
    m_updatePreviewCommand = DoUpdatePreview(*this, m_source);
}

void SetDataMergeOutputPagesCommand::Undo() {
    SetDirection(Direction::Undo);
    Put(m_oldWholeDocument, m_oldStartPage, m_oldEndPage);
    UndoUpdatePreview(m_updatePreviewCommand);
}

void SetDataMergeOutputPagesCommand::Redo() {
    SetDirection(Direction::Redo);
    Put(m_newWholeDocument, m_newStartPage, m_newEndPage);
    RedoUpdatePreview(m_updatePreviewCommand);
}

void SetDataMergeOutputPagesCommand::Put(bool wholeDocument, int startPage, int endPage) {
    if (wholeDocument)
        RequireSource(m_source).SetCoversWholeDocument();
    else
        RequireSource(m_source).SetPageRange(startPage, endPage);
}

bool SetDataMergeOutputPagesCommand::Merge(Kernel::Counted<Command const> newer) {
    auto const other = Kernel::Cast<SetDataMergeOutputPagesCommand const>(newer);
    if (!other)
        return false;
    m_newWholeDocument = other->m_newWholeDocument;
    m_newStartPage = other->m_newStartPage;
    m_newEndPage = other->m_newEndPage;
    return true;
}

} // namespace Commands
