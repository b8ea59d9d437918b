// SPDX-License-Identifier: Apache-2.0
#include "generative/remote_request.h"

#include "platform/document/quorin_controller.h"

namespace Commands {

RemoteRequest::RemoteRequest(DocumentCommand& command)
    : m_command(&command), m_document(command.GetDocumentController()), m_unlocked(m_document) {}

void RemoteRequest::ReportProgress(float fraction, void* data) {
    Kernel::Counted<DocumentCommand> const command(static_cast<DocumentCommand*>(data));
    if (auto const document = command->GetDocumentController())
        document->UpdateProgress(command, fraction);
}

void RemoteRequest::Send(Kernel::Counted<Kernel::Notification> notification) const {
    QuorinController::GetInstance().SendNotification(std::move(notification));
}

void RemoteRequest::SendCompleted(Kernel::Counted<Completed> const& completed, Result const& result) const {
    completed->resultDetail = result.detail;
    completed->resultCode = result.code;
    completed->durationMilliseconds = m_timer.GetMilliseconds();
    Send(completed);
}

void RemoteRequest::SendFailed(Result const& result, Kernel::LocalisedString title, OstraAICommandSource source) const {
    Send(Kernel::MakeCounted<AIOperationFailedNotification>(m_document, result, std::move(title), source));
}

} // namespace Commands
