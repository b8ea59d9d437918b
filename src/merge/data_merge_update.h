// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/set_data_merge_preview_command.h"

namespace Commands {

// The source that a command works on. Throws Kernel::Exception where it has none.
REDRAFT_API DataMergeSource& RequireSource(Kernel::Counted<DataMergeSource> const& source);

// Takes the source through its filters as they are now, without the document's lock, and has it keep the result.
// Neither reads nor changes the command.
REDRAFT_API void UpdateFilters(DocumentCommand const& command, DataMergeSource& source);

// Has the fields of the document show what the source has now. The command that did so belongs to `command`, which
// undoes and redoes it.
REDRAFT_API Kernel::Counted<SetDataMergePreviewCommand> DoUpdatePreview(DocumentCommand const& command,
                                                                        Kernel::Counted<DataMergeSource> const& source);
REDRAFT_API void UndoUpdatePreview(Kernel::Counted<SetDataMergePreviewCommand> const& preview);
REDRAFT_API void RedoUpdatePreview(Kernel::Counted<SetDataMergePreviewCommand> const& preview);
// Ties a loaded one to the document.
REDRAFT_API void PostLoadUpdatePreview(Kernel::Counted<SetDataMergePreviewCommand> const& preview,
                                       Kernel::NonCounted<DocumentController> controller);
// Tells which texts show something else; nothing where none do.
REDRAFT_API void NotifyOfUpdatePreview(DocumentCommand const& command,
                                       Kernel::Counted<SetDataMergePreviewCommand> const& preview,
                                       Kernel::NotificationList& notifications);

// Base of the commands that take a source through its filters: how that is watched and stopped, and the command that
// has fields show what comes out, which is made by Do.
class REDRAFT_API DataMergeUpdateCommand : public DocumentCommand {
public:
    ProgressType GetProgressType() const override { return ProgressType::Bar; }
    int GetProgressInterval() const override { return 1000; }
    bool* GetProgressAbortPointer() const override { return &m_abort; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;

protected:
    Kernel::Counted<SetDataMergePreviewCommand> m_updatePreviewCommand;

private:
    // Set by whoever shows the progress.
    mutable bool m_abort = false;
};

} // namespace Commands
