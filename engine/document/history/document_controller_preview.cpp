// SPDX-License-Identifier: Apache-2.0
#include "engine/document/history/at_spread.h"
#include "engine/document/history/other_document.h"
#include "engine/document/history/run_do.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/exception.h"

namespace {

// The notifications that a preview leaves out have not been delivered; they are due when the preview becomes a step.
void TellAgain(DocumentCommand& kept, Kernel::NotificationList& notifications) {
    kept.NotifyWithCacheUpdates(notifications);
}

} // namespace

void DocumentController::RunPreview(Kernel::Counted<DocumentCommand> command) {
    if (!command)
        throw Kernel::Exception("there is no command to preview");
    RunStep(
        [](DomainController& controller, std::uintptr_t argument, Kernel::NotificationList& notifications) {
            From(controller)
                .ShowPreview(*reinterpret_cast<Kernel::Counted<DocumentCommand> const*>(argument), notifications);
        },
        reinterpret_cast<std::uintptr_t>(&command));
}

void DocumentController::ShowPreview(Kernel::Counted<DocumentCommand> const& command,
                                     Kernel::NotificationList& notifications) {
    command->SetPreview(true);
    auto const older = m_preview;
    if (older) {
        bool const onSameSpread = m_previewSpread == m_currentSpread;
        HidePreview(notifications);
        // The older command may take over what the newer one wants. It has been taken back and so is done afresh, not
        // redone: what it captured may be wrong for its new values.
        if (onSameSpread && older->CanMerge(command) && older->Merge(command)) {
            DoPreview(older, notifications);
            return;
        }
    }
    Bind(*command);
    RefuseOtherDocument(*command, *m_document);
    if (older) {
        command->FastTrackPreview(older);
        AtSpread const atSpread(*this, m_previewSpread);
        older->Teardown();
    }
    DoPreview(command, notifications);
}

void DocumentController::DoPreview(Kernel::Counted<DocumentCommand> const& command,
                                   Kernel::NotificationList& notifications) {
    command->ClearAbortFlag();
    RunDo(*command);
    m_preview = command;
    m_previewSpread = m_currentSpread;
    command->NotifyWithCacheUpdates(notifications);
}

// Takes the preview's changes back; its command is no preview of the controller's any more.
void DocumentController::HidePreview(Kernel::NotificationList& notifications) {
    AtSpread const atSpread(*this, m_previewSpread);
    m_preview->ClearAbortFlag();
    EditJournal::RunOrRollBack([&] { m_preview->UndoAndUpdateCaches(); });
    auto const hidden = std::exchange(m_preview, nullptr);
    hidden->NotifyWithCacheUpdates(notifications);
}

void DocumentController::TakeBackPreview(Kernel::NotificationList& notifications) {
    if (!m_preview) [[likely]]
        return;
    auto const preview = m_preview;
    HidePreview(notifications);
    AtSpread const atSpread(*this, m_previewSpread);
    preview->Teardown();
}

void DocumentController::ClearPreviewFor(Kernel::Counted<DocumentCommand> const& clearing,
                                         Kernel::NotificationList& notifications) {
    if (auto kept = m_preview->ShouldStackForUndoWhenClearedAsPreview(clearing, notifications)) {
        AtSpread const atSpread(*this, m_previewSpread);
        m_preview.reset();
        kept->SetPreview(false);
        TellAgain(*kept, notifications);
        Finish(std::move(kept));
        return;
    }
    TakeBackPreview(notifications);
}

void DocumentController::EndPreview(bool keep) {
    RunStep(
        [](DomainController& controller, std::uintptr_t kept, Kernel::NotificationList& notifications) {
            auto& self = From(controller);
            if (!self.m_preview)
                return;
            if (kept == 0)
                self.TakeBackPreview(notifications);
            else
                self.KeepPreview(notifications);
        },
        keep ? 1 : 0);
}

void DocumentController::KeepPreview(Kernel::NotificationList& notifications) {
    AtSpread const atSpread(*this, m_previewSpread);
    auto command = std::exchange(m_preview, nullptr);
    command->SetPreview(false);
    TellAgain(*command, notifications);
    auto const done = command;
    Finish(std::move(command));
    done->CallCompletionCallbacks();
    TrimHistory();
}
