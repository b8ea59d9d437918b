// SPDX-License-Identifier: Apache-2.0
#include "merge/data_merge_update.h"

#include "platform/document/document_controller.h"
#include "platform/document/inner_commands.h"
#include "platform/document/set_data_merge_preview_command.h"
#include "platform/kernel/exception.h"

namespace Commands {

DataMergeSource& RequireSource(Kernel::Counted<DataMergeSource> const& source) {
    if (!source)
        throw Kernel::Exception("the source of the data merge is missing");
    return *source;
}

void UpdateFilters(DocumentCommand const& command, DataMergeSource& source) {
    Kernel::Counted<DataMergeSource::DataMergeSourcePayload> payload;
    {
        DomainWriterUnlockSession const session(command.GetDocumentController());
        payload = source.PrepareFilterUpdate(command.GetProgressAbortPointer());
    }
    source.CommitUpdate(std::move(payload));
}

Kernel::Counted<SetDataMergePreviewCommand> DoUpdatePreview(DocumentCommand const& command,
                                                            Kernel::Counted<DataMergeSource> const& source) {
    auto preview = SetDataMergePreviewCommand::MakeForceUpdatePreviewCommand(source);
    InnerCommands::DoOne(command, *preview);
    return preview;
}

void UndoUpdatePreview(Kernel::Counted<SetDataMergePreviewCommand> const& preview) {
    if (preview)
        InnerCommands::UndoOne(*preview);
}

void RedoUpdatePreview(Kernel::Counted<SetDataMergePreviewCommand> const& preview) {
    if (preview)
        InnerCommands::RedoOne(*preview);
}

void PostLoadUpdatePreview(Kernel::Counted<SetDataMergePreviewCommand> const& preview,
                           Kernel::NonCounted<DocumentController> controller) {
    if (preview)
        preview->PostLoad(controller);
}

void NotifyOfUpdatePreview(DocumentCommand const& command, Kernel::Counted<SetDataMergePreviewCommand> const& preview,
                           Kernel::NotificationList& notifications) {
    if (!preview)
        return;
    preview->SetPreview(command.IsPreview());
    preview->Notify(notifications);
}

void DataMergeUpdateCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    PostLoadUpdatePreview(m_updatePreviewCommand, controller);
    DocumentCommand::PostLoad(controller);
}

} // namespace Commands
