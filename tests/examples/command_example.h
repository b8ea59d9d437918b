// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// How a command is tried: a document, a selection, arguments. The laws run every example.
struct CommandExample {
    // The class's plain name.
    std::string className;
    // Fills a new document of one empty A4 page, and selects what the command runs on.
    std::function<void(DocumentController&)> prepare = [](DocumentController&) {};
    std::function<Kernel::Counted<DocumentCommand>(DocumentController&)> make;
    // The things that Undo leaves changed on purpose, as one sentence; empty when it leaves nothing.
    std::string_view keptByContract = {};
    // Whether that is part of the document. Other things that are kept, such as defaults, are in no hash.
    bool keptInDocument = false;
    // The same for an Undo of a history that was loaded, where that leaves more.
    std::string keptAfterReload = {};
    // The part of the work that an abort keeps on purpose, as a step that can be undone; empty when it keeps nothing.
    std::string keptOnAbort = {};
    // Tags of fields that older programs did not write. A stored command without one does the same.
    std::vector<std::string> lateFields = {};

    // The kinds of change that a command may leave untold on purpose.
    enum class Untold {
        // Where pixels changed.
        Area,
        // That the selection is another one, or its marks stand elsewhere.
        Selection,
        // That nodes came, went or moved.
        Structure,
        // Which nodes' own data changed.
        NodeData,
        // That instances were linked or detached.
        Links,
        // That a setting changed.
        Setting
    };
    std::vector<Untold> untold = {};
    // The command has all of the document painted again.
    bool tellsWholeDocument = false;
    // Files outside the document that the command or what it keeps names, in the order of their bytes.
    std::vector<std::string> filePaths = {};
    // The class only lets old histories load: it does nothing and has no words, and a history stops at its steps.
    bool isShell = false;
    // The class does nothing on purpose; it has words all the same.
    bool doesNothing = false;
    // The things that Redo of a history that was loaded does otherwise than Do, as one sentence; empty when it does the
    // same. Undo leads back from there, too.
    std::string redoneOtherwiseAfterReload = {};

    static void Register(CommandExample example);
    // By class name; those of one class in the order of its source.
    static std::vector<CommandExample> const& GetAll();
};

// An example's `make` that gives the constructor these arguments.
template <class T, class... Argument>
auto Constructs(Argument... arguments) {
    return
        [=](DocumentController&) -> Kernel::Counted<DocumentCommand> { return Kernel::MakeCounted<T>(arguments...); };
}

// Registers an example before the program begins.
struct ExampleRegistration {
    explicit ExampleRegistration(CommandExample example) { CommandExample::Register(std::move(example)); }
};
