// SPDX-License-Identifier: Apache-2.0
#include "shell/command_run.h"

#include "platform/raster/filter_plugin.h"
#include "shell/interrupt.h"
#include "shell/merge_sources.h"
#include "shell/model_requests.h"
#include "shell/progress.h"
#include "shell/session.h"

#include <optional>
#include <vector>

namespace Shell {

namespace {

// Runs a command of which it is not sure that it will do something: as a preview, which leaves no trace in the history
// when it turns out that the document is as before.
Outcome TryCommand(DocumentController& document, Kernel::Counted<DocumentCommand> const& command) {
    auto const before = document.GetHash(false);
    document.RunPreview(command);
    bool const changed = document.GetHash(false) != before;
    document.EndPreview(changed);
    if (!changed)
        return {};
    auto const result = document.GetLastResult();
    return {true, result.stacked, result.merged};
}

// A command that is not for the history: whether it did something is what became of the document.
Outcome RunUnstacked(DocumentController& document, Kernel::Counted<DocumentCommand> const& command) {
    auto const before = document.GetHash(false);
    document.Run(command);
    auto const result = document.GetLastResult();
    bool const isStep = result.stacked || result.merged;
    return {isStep || document.GetHash(false) != before, result.stacked, result.merged};
}

// Collects the warnings of plug-ins and notes them when the bar is gone.
class PluginWarnings {
public:
    explicit PluginWarnings(std::string subject) : m_subject(std::move(subject)) {
        Raster::SetFilterPluginListener([this](Kernel::String const& line) { m_lines.push_back(line.ToStdString()); });
    }
    PluginWarnings(PluginWarnings const&) = delete;
    PluginWarnings& operator=(PluginWarnings const&) = delete;
    ~PluginWarnings() {
        Raster::SetFilterPluginListener({});
        for (auto const& line : m_lines)
            Session::Note(m_subject, line);
    }

private:
    std::string m_subject;
    std::vector<std::string> m_lines;
};

// Control-C while a command runs: its own flag or, where it asks a model, the end of the request.
class InterruptOf {
public:
    InterruptOf(DocumentCommand const& command, ModelReports const& reports, std::string const& documentPath) {
        Learning::RemoteInference::ResetCancel();
        if (reports.AreExpected())
            m_scope.emplace(&Learning::RemoteInference::Cancel);
        else
            m_scope.emplace(command.GetProgressAbortPointer(), documentPath);
    }

private:
    std::optional<Interrupt::Scope> m_scope;
};

} // namespace

Outcome RunCommand(DocumentController& document, CommandEntry const& entry,
                   Kernel::Counted<DocumentCommand> const& command, Kernel::Counted<Selection const> const& selection,
                   std::string const& documentPath) {
    PluginWarnings const pluginWarnings(entry.className);
    UpdateWarnings const updateWarnings(document);
    ProgressBar progress(command->GetDescription().ToString().ToStdString());
    ListeningToProgress const listening(document, progress);
    ModelReports const reports(*command);
    InterruptOf const interrupt(*command, reports, documentPath);
    auto outcome = Guarded(ExitStatus::Input, entry.className, [&]() -> Outcome {
        if (entry.canApplyTo && !entry.canApplyTo(selection))
            return entry.runsOnlyWhereItApplies ? Outcome() : TryCommand(document, command);
        if (!command->ShouldStackForUndo())
            return RunUnstacked(document, command);
        document.Run(command);
        auto const result = document.GetLastResult();
        return {result.stacked || result.merged, result.stacked, result.merged};
    });
    reports.Check(entry.className, documentPath);
    Interrupt::Check(documentPath);
    reports.Tell(entry.className);
    outcome.pictures = reports.GetPictureCount();
    return outcome;
}

} // namespace Shell
