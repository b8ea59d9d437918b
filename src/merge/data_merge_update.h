// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"

class DataMergeSource;
class SetDataMergePreviewCommand;

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

} // namespace Commands
