// SPDX-License-Identifier: Apache-2.0
#include "shell/history_walk.h"

#include "platform/document/document_seal.h"
#include "shell/failure.h"
#include "shell/interrupt.h"
#include "shell/progress.h"
#include "shell/values.h"

namespace Shell {

namespace {

void Redo(DocumentController& document) {
    try {
        document.Redo();
    } catch (UntrustedStepException const& refused) {
        throw Kernel::Exception(std::string(refused.what()) + "; --trusted redoes it anyway");
    }
}

} // namespace

void WalkTo(DocumentController& document, std::size_t position, std::string const& subject) {
    auto const& history = *document.GetHistory();
    auto const start = history.GetPosition();
    auto const distance = static_cast<float>(position > start ? position - start : start - position);
    ProgressBar progress;
    ListeningToProgress const listening(document, progress);
    while (history.GetPosition() != position) {
        auto const at = history.GetPosition();
        bool const forward = at < position;
        auto const command = history.GetCommand(forward ? at : at - 1);
        Interrupt::Scope const interrupt(command ? command->GetProgressAbortPointer() : nullptr, subject);
        Guarded(ExitStatus::Input, subject, [&] { forward ? Redo(document) : document.Undo(); });
        Interrupt::Check(subject);
        auto const left = static_cast<float>(forward ? position - at - 1 : at - 1 - position);
        progress.Update(1 - left / distance);
    }
}

std::size_t ParsePosition(DocumentController const& document, std::string_view name, std::string_view text) {
    try {
        auto const count = static_cast<std::int64_t>(document.GetHistory()->GetCount());
        return static_cast<std::size_t>(ParseInteger(text, 0, count));
    } catch (ValueError const& error) {
        throw Failure(ExitStatus::Usage, std::string(name), error.what());
    }
}

} // namespace Shell
