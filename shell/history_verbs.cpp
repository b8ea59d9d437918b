// SPDX-License-Identifier: Apache-2.0
#include "shell/film_strip.h"
#include "shell/history_walk.h"
#include "shell/values.h"
#include "shell/verbs.h"

namespace Shell {

namespace {

std::size_t ParseSteps(Arguments const& arguments) {
    try {
        return static_cast<std::size_t>(ParseInteger(arguments.Find("N").value_or("1"), 1, 1'000'000'000));
    } catch (ValueError const& error) {
        throw Failure(ExitStatus::Usage, "N", error.what());
    }
}

// Goes there and answers; `word` says in what direction.
ExitStatus MoveTo(Session& session, DocumentController& document, std::size_t position) {
    auto const start = document.GetHistory()->GetPosition();
    if (position == start) {
        Session::Note(session.GetDocumentPath(), "nothing to do: the history is at " + std::to_string(position));
        return ExitStatus::NothingToDo;
    }
    WalkTo(document, position, session.GetDocumentPath());
    session.MarkChanged();
    auto const& history = *document.GetHistory();
    if (session.IsJson()) {
        session.Json().BeginObject();
        session.Json().Member("position", history.GetPosition());
        session.Json().Member("count", history.GetCount());
        session.Json().EndObject();
        return ExitStatus::Done;
    }
    auto const steps = position > start ? position - start : start - position;
    session.Print(Count(steps, "step ", "steps ") + std::string(position > start ? "redone" : "undone") + ": at " +
                  std::to_string(position) + " of " + std::to_string(history.GetCount()) + "\n");
    return ExitStatus::Done;
}

void AnswerJson(JsonWriter& json, History const& history) {
    json.BeginObject();
    json.Member("position", history.GetPosition());
    json.Key("entries").BeginArray();
    for (std::size_t i = 0; i != history.GetCount(); ++i) {
        auto const description = history.GetDescription(i);
        auto const command = history.GetCommand(i);
        json.BeginObject();
        json.Member("index", i + 1);
        if (command) {
            auto const* const properties = command->GetObjectClassProperties();
            json.Member("class", properties->GetName());
            json.Member("tag", properties->GetClassUID().ToString());
            json.Member("version", properties->GetVersion());
        } else {
            json.Member("class", nullptr);
            json.Member("tag", nullptr);
            json.Member("version", nullptr);
        }
        json.Member("description", description.GetText().view());
        json.Member("context", description.GetContext().view());
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

std::string FormatLine(std::size_t index, bool isCurrent, std::string const& text, std::string const& className) {
    std::string line = isCurrent ? "> " : "  ";
    line += std::to_string(index) + "  " + text;
    if (!className.empty())
        line += "  (" + className + ")";
    return line + "\n";
}

} // namespace

ExitStatus RunUndo(Session& session, Arguments const& arguments) {
    auto const steps = ParseSteps(arguments);
    auto& document = session.Open(arguments);
    auto const position = document.GetHistory()->GetPosition();
    return MoveTo(session, document, position - std::min(position, steps));
}

ExitStatus RunRedo(Session& session, Arguments const& arguments) {
    auto const steps = ParseSteps(arguments);
    auto& document = session.Open(arguments);
    auto const& history = *document.GetHistory();
    return MoveTo(session, document, std::min(history.GetPosition() + steps, history.GetCount()));
}

ExitStatus RunGoTo(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    return MoveTo(session, document, ParsePosition(document, "POSITION", arguments.Get("POSITION")));
}

static void Answer(Session& session, History const& history) {
    if (session.IsJson()) {
        AnswerJson(session.Json(), history);
        return;
    }
    session.Print(FormatLine(0, history.GetPosition() == 0, "the beginning", {}));
    for (std::size_t i = 0; i != history.GetCount(); ++i) {
        auto const command = history.GetCommand(i);
        session.Print(FormatLine(i + 1, history.GetPosition() == i + 1,
                                 OneLine(history.GetDescription(i).ToString().view()),
                                 command ? command->GetObjectClassProperties()->GetName() : "unknown here"));
    }
}

// The answer is made first: the pictures are made by going to all states, and not back.
ExitStatus RunHistory(Session& session, Arguments const& arguments) {
    Answer(session, *session.Open(arguments).GetHistory());
    session.Files().SetForced(arguments.Has("--force"));
    if (auto const folder = arguments.Find("--html"))
        WriteFilmStrip(session, session.OpenToLook(arguments), *folder);
    return ExitStatus::Done;
}

} // namespace Shell
