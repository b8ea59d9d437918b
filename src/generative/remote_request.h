// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/ai_operation_notification.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/timer.h"

namespace Commands {

// One request of a command to a model, from the moment when the document is given free for others until the command
// takes it again. In between the command reads nothing of the document. The way of a request:
//
//   RemoteRequest request(*this);
//   auto const result = RemoteInference::GetInstance().Infer...(..., RemoteRequest::ReportProgress, request.GetData());
//   request.SendCompleted(completed, result);
//   if (result.code != 0)
//       return request.SendFailed(...);
//   request.Acquire();
class RemoteRequest {
public:
    using Completed = AIOperationCompletedNotification;
    using Result = Learning::RemoteInference::Result;

    // Gives up the writer lock of the command's document, and begins to measure the time. When the request is destroyed
    // the command has the lock back, whatever happened.
    explicit RemoteRequest(DocumentCommand& command);

    // For the inference library, which may call it on any thread; the data is GetData().
    static void ReportProgress(float fraction, void* data);
    void* GetData() const { return m_command; }

    // Gives a notification to the application at once.
    void Send(Kernel::Counted<Kernel::Notification> notification) const;
    // After the request, well or not: adds how it ended, and sends it.
    void SendCompleted(Kernel::Counted<Completed> const& completed, Result const& result) const;
    // `title` is for the user.
    void SendFailed(Result const& result, Kernel::LocalisedString title, OstraAICommandSource source) const;
    // Takes the document again.
    void Acquire() { m_unlocked.Acquire(); }

private:
    DocumentCommand* m_command;
    Kernel::Counted<DocumentController> m_document;
    DomainWriterUnlockSession m_unlocked;
    Kernel::Timer m_timer;
};

} // namespace Commands
