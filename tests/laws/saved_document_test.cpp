// SPDX-License-Identifier: Apache-2.0
// The saved document that has a step of every class, made of the examples. How later versions read it is tested where
// the saved documents lie.

#include "tests/laws/example_run.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iomanip>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

std::string HashOf(DocumentController& controller) {
    std::ostringstream text;
    for (auto const byte : controller.GetHash(false))
        text << std::hex << std::setw(2) << std::setfill('0') << std::to_integer<int>(byte);
    return text.str();
}

// As in the files beside saved documents: the hash, and the selected nodes.
std::string DescribeState(DocumentController& controller) {
    auto line = HashOf(controller);
    for (auto const id : SelectedIds(controller))
        line += " " + std::to_string(id);
    return line + "\n";
}

// One example of each class: the one that makes the smallest document, of those whose loaded steps lead back if there
// are any. Each has a document of its own, so they are
// tried before. WRITE_SAVED_CLASSES, an expression, leaves out the classes that it does not match.
std::vector<CommandExample const*> ChooseExamples() {
    std::map<std::string, std::pair<std::uintmax_t, CommandExample const*>> smallest;
    TemporaryFolder const folder;
    auto const* const wanted = std::getenv("WRITE_SAVED_CLASSES");
    std::regex const classes(wanted == nullptr ? ".*" : wanted);
    for (auto const& example : AllExamples()) {
        if (!std::regex_match(example.className, classes))
            continue;
        ExampleRun run(example);
        run.Do();
        if (!run.controller->GetLastResult().stacked || example.isShell)
            continue;
        // The outline that is borrowed is of a test's own class.
        if (example.className == "FillHolesCommand" && example.keptInDocument)
            continue;
        auto const path = folder.Path("one.redraft");
        std::filesystem::remove(path);
        run.controller->Save(path);
        // One that leads back when it was loaded comes first.
        auto const size = std::filesystem::file_size(path) + (example.keptAfterReload.empty() ? 0 : UINT32_MAX);
        auto const [known, isNew] = smallest.try_emplace(example.className, size, &example);
        if (!isNew && size < known->second.first)
            known->second = {size, &example};
    }
    std::vector<CommandExample const*> chosen;
    for (auto const& example : AllExamples()) {
        if (smallest.contains(example.className) && smallest[example.className].second == &example)
            chosen.push_back(&example);
    }
    return chosen;
}

void WriteDocument(std::string const& path) {
    auto const controller = DocumentController::CreateNew({793.700787, 1122.519685}, Raster::FormatRGBA8, 1);
    controller->SetMergingEnabled(false);
    auto const examples = ChooseExamples();
    // Everything stands in the document before its first step.
    std::vector<Kernel::Counted<Selection const>> selections;
    for (auto const* example : examples) {
        controller->SetSelection(nullptr, false);
        example->prepare(*controller);
        selections.push_back(controller->GetCurrentSelection());
    }
    // Or the steps on pixels would find none of theirs selected.
    controller->SetRasterSelection({});
    for (std::size_t i = 0; i != examples.size(); ++i) {
        controller->SetSelection(selections[i], false);
        controller->Run(examples[i]->make(*controller));
    }
    auto const count = controller->GetHistory()->GetCount();
    // Half of the steps are to be taken back where it is opened, and half to be done again.
    controller->GoTo(count / 2);
    auto const asSaved = HashOf(*controller);
    controller->Save(path + ".redraft");
    auto const loaded = DocumentController::Open(path + ".redraft", true);
    loaded->GoTo(0);
    std::ofstream hashes(path + ".hashes");
    hashes << HashOf(*loaded) << "\n" << asSaved << "\n";
    loaded->GoTo(count);
    hashes << HashOf(*loaded) << "\n";
    std::ofstream steps(path + ".steps");
    for (std::size_t i = count; i != 0; --i) {
        loaded->Undo();
        steps << DescribeState(*loaded);
    }
    for (std::size_t i = 0; i != count; ++i) {
        loaded->Redo();
        steps << DescribeState(*loaded);
    }
}

TEST(SavedDocuments, HaveAStepOfEveryClassThatCanBeTakenBack) {
    if (auto const* const name = std::getenv("WRITE_SAVED_DOCUMENT"))
        WriteDocument(std::string(SAVED_DOCUMENTS) + "/" + name);
    std::set<std::string> saved, wanted;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(SAVED_DOCUMENTS)) {
        if (entry.path().extension() != ".redraft")
            continue;
        auto const controller = DocumentController::Open(entry.path().string(), true);
        auto const history = controller->GetHistory();
        for (std::size_t i = 0; i != history->GetCount(); ++i) {
            if (auto const command = history->GetCommand(i))
                saved.insert(command->GetObjectClassProperties()->GetName());
        }
    }
    for (auto const& example : AllExamples()) {
        ExampleRun run(example);
        run.Do();
        if (run.controller->GetLastResult().stacked && !example.isShell)
            wanted.insert(example.className);
    }
    for (auto const& name : wanted)
        EXPECT_TRUE(saved.contains(name)) << name << " is in no saved document; the README beside them says what to do";
}

} // namespace
