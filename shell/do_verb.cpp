// SPDX-License-Identifier: Apache-2.0
#include "shell/combined_objects.h"
#include "shell/command_run.h"
#include "shell/devices.h"
#include "shell/dissolved_groups.h"
#include "shell/model_requests.h"
#include "shell/selector.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/selection_command_base.h"
#include "platform/kernel/cast.h"

namespace Shell {

namespace {

CommandEntry const& GetCommand(std::string const& name) {
    if (auto const* entry = FindCommand(name)) {
        if (entry->forms.empty())
            throw Failure(ExitStatus::Usage, entry->className,
                          "cannot be run from the command line: " + std::string(entry->reason));
        return *entry;
    }
    for (auto const& listed : ListCommands()) {
        if (listed.properties != nullptr && listed.properties->GetName() == name)
            throw Failure(ExitStatus::Usage, name, "cannot be run from the command line: other commands run it");
    }
    ThrowForCommand(name);
}

NamedValues ReadNamedValues(std::vector<std::string> const& words) {
    NamedValues values;
    for (auto const& word : words) {
        auto const equals = word.find('=');
        if (equals == word.npos || equals == 0)
            throw Failure(ExitStatus::Usage, word, "is no parameter of the form name=value");
        if (!values.emplace(word.substr(0, equals), word.substr(equals + 1)).second)
            throw Failure(ExitStatus::Usage, word.substr(0, equals), "is given twice");
    }
    return values;
}

// The parts of a document that --select and --spread change before the command runs. Unless Keep is called they go back
// to what they were: a command that did nothing leaves nothing.
class Preparation {
public:
    explicit Preparation(DocumentController& document)
        : m_document(document), m_selection(document.GetCurrentSelection()), m_spread(document.GetCurrentSpread()) {}
    Preparation(Preparation const&) = delete;
    Preparation& operator=(Preparation const&) = delete;
    ~Preparation() {
        if (m_isKept)
            return;
        m_document.SetSelection(m_selection, false);
        m_document.SetCurrentSpread(m_spread);
    }
    // Returns the selection that the command is to run on. A command that takes one leaves the document's own alone.
    Kernel::Counted<Selection const> Apply(Arguments const& arguments, bool commandTakesSelection) {
        if (auto const spread = arguments.Find("--spread"))
            m_document.SetCurrentSpread(ParseOption("--spread", [&] { return FindSpread(m_document, *spread); }));
        auto const selector = arguments.Find("--select");
        if (!selector)
            return m_document.GetCurrentSelection();
        auto selection = ParseOption("--select", [&] { return MakeSelection(m_document, *selector); });
        if (arguments.Has("--set-selection") || !commandTakesSelection)
            m_document.SetSelection(selection, false);
        return selection;
    }
    void Keep() { m_isKept = true; }

private:
    DocumentController& m_document;
    Kernel::Counted<Selection const> m_selection;
    Kernel::Counted<SpreadNode> m_spread;
    bool m_isKept = false;
};

bool RunsOnSelection(CommandEntry const& entry, CommandForm const& form, DocumentCommand const& command) {
    return entry.canApplyTo || form.takesSelection ||
           Kernel::CastPointer<SelectionCommandBase const>(&command) != nullptr;
}

// A stored selection may name what later steps have taken out of the document.
void TellOfMissingNodes(Selection const& selection, std::string const& className) {
    auto const all = selection.GetNodes().size(), present = selection.GetNodesInDocument().size();
    if (present != all)
        Session::Note(className, std::to_string(all - present) + " of the " +
                                     Count(all, "selected node", "selected nodes") +
                                     (all - present == 1 ? " is" : " are") + " no longer in the document and " +
                                     (all - present == 1 ? "takes" : "take") + " no part");
}

void Answer(Session& session, DocumentController& document, DocumentCommand const& command, CommandEntry const& entry,
            Outcome const& outcome) {
    auto const& history = *document.GetHistory();
    if (session.IsJson()) {
        auto& json = session.Json();
        json.BeginObject();
        json.Member("class", entry.className);
        json.Member("description", command.GetDescription().GetText().view());
        json.Member("stacked", outcome.stacked);
        json.Member("merged", outcome.merged);
        json.Member("position", history.GetPosition());
        if (outcome.pictures)
            json.Member("pictures", *outcome.pictures);
        if (outcome.kernels.executed + outcome.kernels.refused != 0)
            WriteKernels(json, outcome.kernels);
        json.EndObject();
        return;
    }
    auto line = command.GetDescription().ToString().ToStdString();
    if (outcome.stacked)
        line += ": step " + std::to_string(history.GetPosition());
    else if (outcome.merged)
        line += ": merged into step " + std::to_string(history.GetPosition());
    else
        line += ": done, not part of the history";
    if (outcome.pictures)
        line += ", " + Count(static_cast<std::size_t>(*outcome.pictures), "picture", "pictures");
    session.Print(line + "\n");
}

// A value may name something that turns out to be wrong only when the command is made.
Kernel::Counted<DocumentCommand> MakeCommand(CommandForm const& form, NamedValues const& values,
                                             ValueContext const& context, std::string const& name) {
    try {
        return form.make(values, context);
    } catch (ValueError const& error) {
        throw Failure(ExitStatus::Usage, name, error.what());
    }
}

} // namespace

ExitStatus RunDo(Session& session, Arguments const& arguments) {
    if (session.IsInScript() && arguments.Has("-o"))
        throw Failure(ExitStatus::Usage, "-o", "has no place in a script, which saves at its end");
    if (arguments.Has("--set-selection") && !arguments.Has("--select"))
        throw Failure(ExitStatus::Usage, "--set-selection", "needs --select");
    auto const& entry = GetCommand(arguments.Get("COMMAND"));
    auto const values = ReadNamedValues(arguments.GetAll("name=value"));
    auto const& form = entry.ChooseForm(values);

    auto& document = session.Open(arguments);
    if (auto const target = arguments.Find("-o"))
        session.SaveTo(*target, arguments.Has("--force"));
    Preparation preparation(document);
    auto const selection = preparation.Apply(arguments, form.takesSelection);
    auto const command = MakeCommand(form, values, {document, selection}, entry.shortName);
    if (!arguments.Has("--select") && RunsOnSelection(entry, form, *command))
        TellOfMissingNodes(*selection, entry.className);
    DeviceWork const deviceWork(session, arguments, document);
    ChosenBackEnds const backEnds(arguments, session.GetScript(), *command, entry.shortName);
    CombinedObjects const combined(entry, *selection);
    DissolvedGroups const groups(*selection);

    auto outcome = RunCommand(document, entry, command, selection, session.GetDocumentPath());
    if (!outcome.didSomething) {
        Session::Note(entry.className, "nothing to do");
        return ExitStatus::NothingToDo;
    }
    outcome.kernels = deviceWork.GetKernels();
    preparation.Keep();
    session.MarkChanged();
    deviceWork.Tell(entry.className);
    combined.Tell(*command);
    groups.Tell(entry.className);
    Answer(session, document, *command, entry, outcome);
    return ExitStatus::Done;
}

} // namespace Shell
