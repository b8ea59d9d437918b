// SPDX-License-Identifier: Apache-2.0
#include "shell/command_table.h"
#include "shell/dissolved_groups.h"
#include "shell/interrupt.h"
#include "shell/progress.h"
#include "shell/selector.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/selection_command_base.h"
#include "platform/kernel/cast.h"
#include "platform/raster/filter_plugin.h"
#include "shapes/divide_shapes_command.h"

#include <algorithm>
#include <unordered_set>

namespace Shell {

namespace {

CommandEntry const& GetCommand(std::string const& name) {
    if (auto const* entry = FindCommand(name)) {
        if (entry->forms.empty())
            throw Failure(ExitStatus::Usage, entry->className,
                          "cannot be run from here: " + std::string(entry->reason));
        return *entry;
    }
    for (auto const& listed : ListCommands()) {
        if (listed.properties != nullptr && listed.properties->GetName() == name)
            throw Failure(ExitStatus::Usage, name, "cannot be run from here: it is an inner command of others");
    }
    throw Failure(ExitStatus::Usage, name, "no such command; `redraft commands` lists them");
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

// What a command became. Everything it may be told by is settled while it runs, because a command that has nothing to
// do in this document says so only then.
struct Outcome {
    bool didSomething = false;
    bool stacked = false;
    bool merged = false;
};

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

// What plug-ins fail at is told when the bar is gone.
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

Outcome RunCommand(DocumentController& document, CommandEntry const& entry,
                   Kernel::Counted<DocumentCommand> const& command, Kernel::Counted<Selection const> const& selection,
                   std::string const& path) {
    PluginWarnings const warnings(entry.className);
    ProgressBar progress(command->GetDescription().ToString().ToStdString());
    document.SetProgressListener(&progress);
    struct NoListener {
        ~NoListener() { document.SetProgressListener(nullptr); }
        DocumentController& document;
    } const noListener{document};
    Interrupt::Scope const interrupt(command->GetProgressAbortPointer(), path);
    return Guarded(ExitStatus::Input, entry.className, [&]() -> Outcome {
        if (entry.canApplyTo && !entry.canApplyTo(selection))
            return TryCommand(document, command);
        if (!command->ShouldStackForUndo())
            return RunUnstacked(document, command);
        document.Run(command);
        auto const result = document.GetLastResult();
        return {result.stacked || result.merged, result.stacked, result.merged};
    });
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
    void Keep() { m_isKept = true; }

private:
    DocumentController& m_document;
    Kernel::Counted<Selection const> m_selection;
    Kernel::Counted<SpreadNode> m_spread;
    bool m_isKept = false;
};

// A stored selection may name what later steps have taken out of the document.
void TellOfMissingNodes(Selection const& selection, std::string const& className) {
    auto const all = selection.GetNodes().size(), present = selection.GetNodesInDocument().size();
    if (present != all)
        Session::Note(className, std::to_string(all - present) + " of the " +
                                     Count(all, "selected node", "selected nodes") +
                                     (all - present == 1 ? " is" : " are") + " no longer in the document and " +
                                     (all - present == 1 ? "takes" : "take") + " no part");
}

// Objects of several spreads would cut each other as if they lay on one, and an artboard would go with what lies on it.
void RefuseScattered(CommandEntry const& entry, Selection const& selection) {
    if (!entry.combinesObjects)
        return;
    auto const nodes = selection.GetNodesInDocument();
    auto const isElsewhere = [&](auto const& node) { return node->GetSpread() != nodes.front()->GetSpread(); };
    if (std::any_of(nodes.begin(), nodes.end(), isElsewhere))
        throw Failure(ExitStatus::Input, entry.className,
                      "the selection is refused: its objects lie on several spreads, and the command works on one");
    if (std::any_of(nodes.begin(), nodes.end(), [](auto const& node) { return node->IsArtboard(); }))
        throw Failure(ExitStatus::Input, entry.className, "the selection is refused: it contains an artboard");
}

// Objects with an outline that are hidden, by themselves or with a group that they are in.
std::size_t CountHidden(Selection const& selection) {
    std::unordered_set<Node const*> hidden;
    std::vector<Node*> pending;
    for (auto const& node : selection.GetNodesInDocument())
        pending.push_back(node.get());
    while (!pending.empty()) {
        auto* const node = pending.back();
        pending.pop_back();
        if (Kernel::CastPointer<LogicalNode const>(node) != nullptr) {
            for (Node* child = node->GetFirstChild(NodeChildListType::Plain); child != nullptr;
                 child = child->GetNextSibling())
                pending.push_back(child);
            continue;
        }
        auto const* const scene = Kernel::CastPointer<SceneNode const>(node);
        bool const hasOutline = Kernel::CastPointer<ConstCurvesInterface const>(node) != nullptr ||
                                Kernel::CastPointer<TextFrameInterface const>(node) != nullptr;
        if (scene != nullptr && hasOutline && !scene->IsVisibleWithAncestors())
            hidden.insert(node);
    }
    return hidden.size();
}

// The matters of a divide that its description does not tell.
void TellOfDivide(CommandEntry const& entry, DocumentCommand const& command, std::size_t hidden) {
    if (hidden != 0)
        Session::Note(entry.className, Count(hidden, "hidden object takes part", "hidden objects take part"));
    auto const* const divide = Kernel::CastPointer<Commands::DivideShapesCommand const>(&command);
    if (divide == nullptr || !divide->LacksMap())
        return;
    Session::Note(entry.className, divide->HasPieces()
                                       ? "the shapes of a clip are too complex or out of range, and it was left out"
                                       : "the shapes are too complex or out of range: they are gone without pieces; "
                                         "undo brings them back");
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
    session.Print(line + "\n");
}

} // namespace

ExitStatus RunDo(Session& session, Arguments const& arguments) {
    if (session.IsInScript() && arguments.Has("-o"))
        throw Failure(ExitStatus::Usage, "-o", "has no place in a script, which saves at its end");
    auto const& entry = GetCommand(arguments.Get("COMMAND"));
    auto const values = ReadNamedValues(arguments.GetAll("name=value"));
    auto const& form = entry.ChooseForm(values);
    auto const selector = arguments.Find("--select");
    bool const setsSelection = arguments.Has("--set-selection");
    if (setsSelection && !selector)
        throw Failure(ExitStatus::Usage, "--set-selection", "needs --select");

    auto& document = session.Open(arguments);
    if (auto const target = arguments.Find("-o"))
        session.SaveTo(*target, arguments.Has("--force"));
    Preparation preparation(document);
    if (auto const spread = arguments.Find("--spread"))
        document.SetCurrentSpread(ParseOption("--spread", [&] { return FindSpread(document, *spread); }));
    auto const selection = selector ? ParseOption("--select", [&] { return MakeSelection(document, *selector); })
                                    : document.GetCurrentSelection();
    if (selector && (setsSelection || !form.takesSelection))
        document.SetSelection(selection, false);
    auto const command = form.make(values, ValueContext{document, selection});
    if (!selector && (entry.canApplyTo || form.takesSelection ||
                      Kernel::CastPointer<SelectionCommandBase const>(command.get()) != nullptr))
        TellOfMissingNodes(*selection, entry.className);

    RefuseScattered(entry, *selection);
    auto const hidden = entry.combinesObjects ? CountHidden(*selection) : 0;
    DissolvedGroups const groups(document);
    auto const outcome = RunCommand(document, entry, command, selection, session.GetDocumentPath());
    Interrupt::Check(session.GetDocumentPath());
    if (!outcome.didSomething) {
        Session::Note(entry.className, "nothing to do");
        return ExitStatus::NothingToDo;
    }
    TellOfDivide(entry, *command, hidden);
    preparation.Keep();
    session.MarkChanged();
    for (auto const& line : groups.Describe())
        Session::Note(entry.className, "taken away with groups: " + line);
    Answer(session, document, *command, entry, outcome);
    return ExitStatus::Done;
}

} // namespace Shell
