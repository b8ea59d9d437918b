// SPDX-License-Identifier: Apache-2.0
#include "engine/document/history/at_spread.h"
#include "engine/document/history/other_document.h"
#include "engine/document/history/run_do.h"
#include "engine/document/history/stored_size.h"
#include "platform/document/compound_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_seal.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/trace.h"

#include <algorithm>

namespace {

template <class E = Kernel::Exception>
E StepFailure(History const& history, std::size_t index, char const* why) {
    auto const text = history.GetDescription(index).ToString();
    return E("step " + std::to_string(index + 1) + " of the history, \"" + text.ToStdString() + "\", " + why);
}

} // namespace

void DocumentController::Bind(DocumentCommand& command) {
    command.PostDequeueWithMutableDomainController(static_cast<DomainController*>(this));
    command.PostDequeueWithMutableController(this);
}

void DocumentController::Execute(Kernel::Counted<DomainCommand>&& command, Kernel::NotificationList& notifications) {
    m_lastResult = {};
    if (command->GetFamily() == DomainCommand::Family::Domain) [[unlikely]] {
        command->PostDequeueWithMutableDomainController(static_cast<DomainController*>(this));
        command->ClearAbortFlag();
        command->DoAndUpdateCaches();
        m_lastResult.ran = true;
        command->NotifyWithCacheUpdates(notifications);
        command->CallCompletionCallbacks();
        return;
    }
    auto own = Kernel::Counted<DocumentCommand>::Adopt(static_cast<DocumentCommand*>(command.Detach()));
    if (m_preview && own->ClearsPreviewCommands()) [[unlikely]]
        ClearPreviewFor(own, notifications);
    Perform(std::move(own), notifications);
}

void DocumentController::Perform(Kernel::Counted<DocumentCommand>&& owned, Kernel::NotificationList& notifications) {
    DocumentCommand& command = *owned;
    Bind(command);
    RefuseOtherDocument(command, *m_document);
    command.ClearAbortFlag();
    RunDo(command);
    // The document has changed: whatever fails from here on, the command has its place in the history.
    std::exception_ptr failure;
    try {
        command.NotifyWithCacheUpdates(notifications);
    } catch (...) {
        failure = std::current_exception();
    }
    auto const dropped = Finish(std::move(owned));
    command.CallCompletionCallbacks();
    TrimHistory();
    if (failure != nullptr) [[unlikely]]
        std::rethrow_exception(failure);
}

// The command that ran, unless the history holds it now.
Kernel::Counted<DocumentCommand> DocumentController::Finish(Kernel::Counted<DocumentCommand>&& command) {
    bool const changes = command->MakesDOMDirty();
    m_lastResult = {.ran = true, .changedDocument = changes};
    m_changedSinceSave = m_changedSinceSave || changes;
    if (m_recording) [[unlikely]]
        m_recording->Record(command);
    if (!command->ShouldStackForUndo())
        return std::move(command);
    return Stack(std::move(command));
}

Kernel::Counted<DocumentCommand> DocumentController::Stack(Kernel::Counted<DocumentCommand>&& command) {
    History& history = *m_history;
    auto& steps = history.m_steps;
    bool const atEnd = history.m_position == steps.size();
    if (!atEnd) [[unlikely]]
        TearDownFrom(history.m_position);
    std::int64_t now = 0;
    if (m_mergingEnabled) {
        now = GetMilliseconds();
        bool const mayMerge =
            atEnd && !steps.empty() && steps.back().mergeUntil >= now && steps.back().spread == m_currentSpread;
        if (mayMerge && MergeIntoNewest(command, now))
            return std::move(command);
    }
    HistoryStep& step = steps.emplace_back();
    step.command = std::move(command);
    step.spread = m_currentSpread;
    if (m_mergingEnabled)
        step.mergeUntil = GetMergeLimit(*step.command, now);
    ++history.m_position;
    history.MarkChanged();
    m_lastResult.stacked = true;
    return {};
}

std::int64_t DocumentController::GetMergeLimit(DocumentCommand const& command, std::int64_t now) {
    auto const timeout = command.MergeTimeout();
    return timeout == 0 ? HistoryStep::c_neverMerges : now + timeout;
}

bool DocumentController::MergeIntoNewest(Kernel::Counted<DocumentCommand> const& command, std::int64_t now) {
    HistoryStep& newest = m_history->m_steps.back();
    if (!newest.command->CanMerge(command) || !newest.command->Merge(command))
        return false;
    newest.mergeUntil = GetMergeLimit(*newest.command, now);
    newest.storedBytes = 0;
    newest.command->MarkChanged();
    if (newest.stored)
        newest.stored->SetCommand(newest.command);
    m_lastResult.merged = true;
    return true;
}

void DocumentController::StepBack(Kernel::NotificationList& notifications) {
    History& history = *m_history;
    auto const index = history.m_position - 1;
    HistoryStep& step = history.m_steps[index];
    if (!step.command)
        throw StepFailure(history, index, "is of a kind that this version does not support, and cannot be undone");
    DocumentCommand& command = *step.command;
    AtSpread const atSpread(*this, step.spread);
    command.ClearAbortFlag();
    EditJournal::RunOrRollBack([&] { command.UndoAndUpdateCaches(); });
    history.m_position = index;
    FinishStep(step, notifications);
}

void DocumentController::StepForward(Kernel::NotificationList& notifications) {
    History& history = *m_history;
    auto const index = history.m_position;
    HistoryStep& step = history.m_steps[index];
    if (!step.command)
        throw StepFailure(history, index, "is of a kind that this version does not support, and cannot be redone");
    DocumentCommand& command = *step.command;
    AtSpread const atSpread(*this, step.spread);
    if (step.needsValidation) [[unlikely]] {
        if (!command.ValidateUntrusted())
            throw StepFailure<UntrustedStepException>(history, index,
                                                      "is refused: the document is not trusted, and the step does not "
                                                      "hold");
        step.needsValidation = false;
    }
    command.ClearAbortFlag();
    EditJournal::RunOrRollBack([&] { command.RedoAndUpdateCaches(); });
    history.m_position = index + 1;
    FinishStep(step, notifications);
}

void DocumentController::FinishStep(HistoryStep& step, Kernel::NotificationList& notifications) {
    // A run of merging commands ends where the user goes back.
    step.mergeUntil = HistoryStep::c_neverMerges;
    step.storedBytes = 0;
    step.command->MarkChanged();
    m_history->MarkChanged();
    m_changedSinceSave = m_changedSinceSave || step.command->MakesDOMDirty();
    step.command->NotifyWithCacheUpdates(notifications);
}

void DocumentController::StepTo(std::size_t position, Kernel::NotificationList& notifications) {
    TakeBackPreview(notifications);
    History const& history = *m_history;
    position = std::min(position, history.GetCount());
    while (history.GetPosition() > position)
        StepBack(notifications);
    while (history.GetPosition() < position)
        StepForward(notifications);
}

void DocumentController::UndoStep(DomainController& controller, std::uintptr_t,
                                  Kernel::NotificationList& notifications) {
    auto& self = From(controller);
    self.TakeBackPreview(notifications);
    if (self.CanUndo())
        self.StepBack(notifications);
}

void DocumentController::RedoStep(DomainController& controller, std::uintptr_t,
                                  Kernel::NotificationList& notifications) {
    auto& self = From(controller);
    self.TakeBackPreview(notifications);
    if (self.CanRedo())
        self.StepForward(notifications);
}

void DocumentController::Undo() { RunStep(&UndoStep, 0); }

void DocumentController::Redo() { RunStep(&RedoStep, 0); }

void DocumentController::QueueUndo(Completion completion) { QueueStep(&UndoStep, 0, std::move(completion)); }

void DocumentController::QueueRedo(Completion completion) { QueueStep(&RedoStep, 0, std::move(completion)); }

void DocumentController::GoTo(std::size_t position) {
    RunStep([](DomainController& controller, std::uintptr_t target,
               Kernel::NotificationList& notifications) { From(controller).StepTo(target, notifications); },
            position);
}

void DocumentController::SetUndoLimits(std::size_t maximumCount, std::size_t maximumBytes) {
    RunExclusive([&] {
        m_maximumCount = maximumCount;
        m_maximumBytes = maximumBytes;
        if (maximumBytes == SIZE_MAX)
            m_measuredBlobs.clear();
        TrimHistory();
    });
}

// A command's end cannot fail as far as its history is concerned: it is gone either way.
void DocumentController::TearDown(HistoryStep const& step) noexcept {
    if (!step.command)
        return;
    try {
        AtSpread const atSpread(*this, step.spread);
        step.command->Teardown();
    } catch (std::exception const& error) {
        Kernel::Trace::Write(std::string("The end of a command failed: ") + error.what() + "\r\n");
    }
}

void DocumentController::TearDownFrom(std::size_t first) {
    History& history = *m_history;
    if (first >= history.m_steps.size())
        return;
    while (history.m_steps.size() > first) {
        TearDown(history.m_steps.back());
        history.m_steps.pop_back();
    }
    history.m_position = std::min(history.m_position, first);
    history.MarkChanged();
}

void DocumentController::TearDownOldest() {
    History& history = *m_history;
    TearDown(history.m_steps.front());
    history.m_steps.pop_front();
    --history.m_position;
    history.MarkChanged();
}

// Comes last in a command's run, because the command itself may be what goes.
void DocumentController::TrimHistory() {
    History& history = *m_history;
    auto& steps = history.m_steps;
    while (steps.size() > m_maximumCount && history.m_position != 0)
        TearDownOldest();
    if (m_maximumBytes == SIZE_MAX)
        return;
    std::size_t bytes = 0;
    for (auto& step : steps) {
        if (step.storedBytes == 0)
            step.storedBytes = MeasureStoredSize(history.GetStored(step), m_measuredBlobs);
        bytes += step.storedBytes;
    }
    while (bytes > m_maximumBytes && history.m_position != 0 && steps.size() > 1) {
        bytes -= steps.front().storedBytes;
        TearDownOldest();
    }
}

bool DocumentController::RepeatLastCommand() {
    bool repeated = false;
    RunStep(
        [](DomainController& controller, std::uintptr_t result, Kernel::NotificationList& notifications) {
            auto& self = From(controller);
            auto const position = self.m_history->GetPosition();
            auto const newest = position == 0 ? nullptr : self.m_history->GetCommand(position - 1);
            auto clone = newest && newest->CanRepeat() ? newest->Clone() : nullptr;
            if (!clone)
                return;
            self.Execute(std::move(clone), notifications);
            *reinterpret_cast<bool*>(result) = true;
        },
        reinterpret_cast<std::uintptr_t>(&repeated));
    return repeated;
}

void DocumentController::StartMacroRecording(Kernel::String name) {
    RunExclusive([&] { m_recording = Kernel::MakeCounted<Macro>(std::move(name)); });
}

Kernel::Counted<Macro> DocumentController::StopMacroRecording() {
    Kernel::Counted<Macro> recorded;
    RunExclusive([&] { recorded = std::exchange(m_recording, nullptr); });
    return recorded;
}

void DocumentController::PlayMacro(Kernel::NonCounted<Macro const> macro) {
    auto whole = Kernel::MakeCounted<CompoundCommand>(true, true, true);
    if (!macro->GetName().empty())
        whole->SetDescription(Kernel::LocalisedString(macro->GetName(), Kernel::String()));
    for (auto const& step : macro->GetCommands()) {
        auto clone = step->Clone();
        if (!clone)
            throw Kernel::Exception("the macro holds a command that cannot be repeated");
        whole->AppendCommand(std::move(clone));
    }
    Run(whole);
}
