// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/arguments.h"
#include "shell/failure.h"
#include "shell/session.h"

#include <vector>

namespace Shell {

// One word that the program does something for. Failures are thrown; the status is Done or NothingToDo.
struct Verb {
    enum class InScript { Yes, No };
    Usage usage;
    ExitStatus (*run)(Session& session, Arguments const& arguments);
    InScript inScript = InScript::Yes;
    // Help, the man page and completion name it.
    bool isAdvertised = true;
};

// In the order in which help lists them.
std::vector<Verb> const& GetVerbs();
// Null when there is none of this name.
Verb const* FindVerb(std::string_view name);

// One call from its words on, `words[0]` being the verb; the answer is in the session. Throws Failure.
ExitStatus RunVerb(Session& session, std::span<std::string const> words);

ExitStatus RunNew(Session& session, Arguments const& arguments);
ExitStatus RunImport(Session& session, Arguments const& arguments);
ExitStatus RunLink(Session& session, Arguments const& arguments);
ExitStatus RunMerge(Session& session, Arguments const& arguments);
ExitStatus RunInfo(Session& session, Arguments const& arguments);
ExitStatus RunTree(Session& session, Arguments const& arguments);
ExitStatus RunText(Session& session, Arguments const& arguments);
ExitStatus RunFields(Session& session, Arguments const& arguments);
ExitStatus RunContents(Session& session, Arguments const& arguments);
ExitStatus RunAnchors(Session& session, Arguments const& arguments);
ExitStatus RunArticles(Session& session, Arguments const& arguments);
ExitStatus RunTags(Session& session, Arguments const& arguments);
ExitStatus RunSlices(Session& session, Arguments const& arguments);
ExitStatus RunTopics(Session& session, Arguments const& arguments);
ExitStatus RunMarks(Session& session, Arguments const& arguments);
ExitStatus RunIndexWords(Session& session, Arguments const& arguments);
ExitStatus RunMask(Session& session, Arguments const& arguments);
ExitStatus RunArtboard(Session& session, Arguments const& arguments);
ExitStatus RunDo(Session& session, Arguments const& arguments);
ExitStatus RunUndo(Session& session, Arguments const& arguments);
ExitStatus RunRedo(Session& session, Arguments const& arguments);
ExitStatus RunGoTo(Session& session, Arguments const& arguments);
ExitStatus RunHistory(Session& session, Arguments const& arguments);
ExitStatus RunRender(Session& session, Arguments const& arguments);
ExitStatus RunExport(Session& session, Arguments const& arguments);
ExitStatus RunHash(Session& session, Arguments const& arguments);
ExitStatus RunCheck(Session& session, Arguments const& arguments);
ExitStatus RunCommands(Session& session, Arguments const& arguments);
ExitStatus RunScript(Session& session, Arguments const& arguments);
ExitStatus RunHelp(Session& session, Arguments const& arguments);
ExitStatus RunCompletion(Session& session, Arguments const& arguments);
ExitStatus RunManPage(Session& session, Arguments const& arguments);

} // namespace Shell
