// SPDX-License-Identifier: Apache-2.0
// The laws that hold for every command, proved on its examples. A new command takes part by registering one.

#include "engine/store/container.h"
#include "frame/contract/command_coverage.h"
#include "platform/kernel/exception.h"
#include "tests/laws/example_run.h"
#include "tests/support/records.h"
#include "tests/support/stored_graph.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <set>

namespace {

class Laws : public testing::TestWithParam<std::size_t> {
protected:
    CommandExample const& Example() const { return AllExamples()[GetParam()]; }
    bool IsKeptByContract() const { return !Example().keptByContract.empty(); }
    // The document after Undo: as it was or, where something is kept in it on purpose, what the first Undo
    // has left of it, which must not be the same.
    void ExpectUndone(DocumentHash const& before, DocumentHash const& hash) {
        ExpectKept(Example().keptInDocument, m_undone, before, hash);
    }
    // The same in a history that was loaded.
    void ExpectUndoneAfterReload(DocumentHash const& before, DocumentHash const& hash) {
        if (Example().keptAfterReload.empty())
            ExpectUndone(before, hash);
        else
            ExpectKept(true, m_undoneAfterReload, before, hash);
    }
    // The document after Redo of a history that was loaded: as after Do, or as the first such Redo has left it.
    void ExpectRedoneAfterReload(DocumentHash const& after, DocumentHash const& hash) {
        ExpectKept(!Example().redoneOtherwiseAfterReload.empty(), m_redoneAfterReload, after, hash);
    }
    static void ExpectKept(bool isKept, std::optional<DocumentHash>& known, DocumentHash const& before,
                           DocumentHash const& hash) {
        if (!isKept) {
            EXPECT_EQ(before, hash);
            return;
        }
        EXPECT_NE(before, hash) << "nothing is kept";
        EXPECT_EQ(known.value_or(hash), hash);
        known = hash;
    }
    std::optional<DocumentHash> m_undone, m_undoneAfterReload, m_redoneAfterReload;
    TemporaryFolder m_folder;
};

TEST_P(Laws, UndoGivesTheDocumentBackAndRedoDoesItAgain) {
    ExampleRun run(Example());
    auto const selected = SelectedIds(*run.controller);
    run.Do();
    run.controller->GetDocument()->CheckInvariants();
    auto const after = run.controller->GetHash(false);
    auto const selectedAfter = SelectedIds(*run.controller);
    if (!run.controller->GetLastResult().stacked) {
        // Outside the history the command's own operations still hold.
        run.command->Undo();
        auto const undone = run.controller->GetHash(false);
        if (!IsKeptByContract() || Example().keptInDocument)
            ExpectUndone(run.before, undone);
        run.command->Redo();
        if (Example().keptInDocument) {
            EXPECT_NE(undone, run.controller->GetHash(false));
        } else {
            EXPECT_EQ(after, run.controller->GetHash(false));
        }
        return;
    }
    EXPECT_EQ(Example().isShell || Example().doesNothing, run.before == after && selected == selectedAfter)
        << "the example changes nothing";
    for (int round = 0; round != 3; ++round) {
        run.controller->Undo();
        run.controller->GetDocument()->CheckInvariants();
        ExpectUndone(run.before, run.controller->GetHash(false));
        EXPECT_EQ(selected, SelectedIds(*run.controller));
        run.controller->Redo();
        run.controller->GetDocument()->CheckInvariants();
        EXPECT_EQ(after, run.controller->GetHash(false));
        EXPECT_EQ(selectedAfter, SelectedIds(*run.controller));
    }
}

TEST_P(Laws, ASavedHistoryUndoesAndRedoesTheSame) {
    ExampleRun run(Example());
    auto const selected = SelectedIds(*run.controller);
    run.Do();
    if (!run.controller->GetLastResult().stacked || Example().isShell)
        return;
    auto const after = run.controller->GetHash(false);
    auto const selectedAfter = SelectedIds(*run.controller);
    auto const path = m_folder.Path("done.redraft");
    run.controller->Save(path);
    run.controller.reset();
    run.command.reset();
    run.selectionBefore.reset();
    for (int reload = 0; reload != 3; ++reload) {
        auto loaded = DocumentController::Open(path, false);
        loaded->GetDocument()->CheckInvariants();
        EXPECT_EQ(reload == 0 ? after : m_redoneAfterReload.value_or(after), loaded->GetHash(false));
        loaded->Undo();
        loaded->GetDocument()->CheckInvariants();
        ExpectUndoneAfterReload(run.before, loaded->GetHash(false));
        EXPECT_EQ(selected, SelectedIds(*loaded));
        loaded->Save(path);
        loaded.reset();
        auto const again = DocumentController::Open(path, false);
        ExpectUndoneAfterReload(run.before, again->GetHash(false));
        again->Redo();
        again->GetDocument()->CheckInvariants();
        ExpectRedoneAfterReload(after, again->GetHash(false));
        EXPECT_EQ(selectedAfter, SelectedIds(*again));
        again->Undo();
        ExpectUndoneAfterReload(run.before, again->GetHash(false));
        again->Redo();
        ExpectRedoneAfterReload(after, again->GetHash(false));
        again->Save(path);
    }
}

TEST_P(Laws, TwoSavesGiveTheSameBytes) {
    ExampleRun one(Example()), two(Example());
    one.Do();
    two.Do();
    auto const first = m_folder.Path("first.redraft"), second = m_folder.Path("second.redraft");
    one.controller->Save(first);
    two.controller->Save(second);
    EXPECT_TRUE(ReadWholeFile(first) == ReadWholeFile(second));
    auto const objects = [](ExampleRun const& run) {
        return Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(run.command),
                                      Kernel::Counted<Kernel::Serialisable const>(run.controller->GetDocument())});
    };
    EXPECT_TRUE(objects(one) == objects(one)) << "saving changed the objects";
    EXPECT_TRUE(objects(one) == objects(two));
}

// A hidden field is a missing one.
TEST_P(Laws, EveryMissingFieldLoads) {
    ExampleRun run(Example());
    run.Do();
    Support::Roots const roots{Kernel::Counted<Kernel::Serialisable const>(run.command)};
    auto const whole = Support::SaveToMemory(roots);
    auto const classTag = run.command->GetObjectClassProperties()->GetClassUID().ToString();
    std::set<std::string> tags;
    for (auto const& field : Support::ListFields(whole)) {
        if (field.classTag != classTag)
            continue;
        EXPECT_TRUE(tags.insert(field.tag).second) << field.tag << " is the tag of two fields of " << classTag;
        auto storage = whole;
        Support::HideField(storage, field);
        EXPECT_NE(storage, whole);
        auto const loaded = Support::LoadFromMemory(storage);
        EXPECT_EQ(typeid(*run.command), typeid(*loaded.at(0))) << field.tag;
    }
}

// Fields that older programs did not write may be missing without a difference.
TEST_P(Laws, AStepWithoutItsLateFieldsUndoesAndRedoesTheSame) {
    if (Example().lateFields.empty())
        return;
    ExampleRun run(Example());
    run.Do();
    auto const after = run.controller->GetHash(false);
    auto const path = m_folder.Path("older.redraft");
    run.controller->Save(path);
    auto const classTag = run.command->GetObjectClassProperties()->GetClassUID().ToString();
    run.controller.reset();
    run.command.reset();
    run.selectionBefore.reset();
    std::size_t hidden = 0;
    {
        auto const container = Store::Container::Open(path, Store::OpenMode::Edit);
        auto graph = Support::ReadGraph(*container);
        for (auto& object : graph.objects) {
            if (object.classTag == classTag) {
                hidden += std::erase_if(object.fields, [&](auto const& field) {
                    return std::ranges::count(Example().lateFields, field.tag) != 0;
                });
            }
        }
        Store::SaveTransaction transaction(*container);
        Support::WriteGraph(graph, *container);
        transaction.Commit();
    }
    EXPECT_EQ(Example().lateFields.size(), hidden);
    auto const loaded = DocumentController::Open(path, true);
    for (int round = 0; round != 2; ++round) {
        loaded->Undo();
        ExpectUndoneAfterReload(run.before, loaded->GetHash(false));
        loaded->Redo();
        EXPECT_EQ(after, loaded->GetHash(false));
    }
}

TEST_P(Laws, DamagedBytesAreRefusedOrLoad) {
    ExampleRun run(Example());
    run.Do();
    auto const whole = Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(run.command)});
    auto const expectNoHarm = [&](std::uint32_t chunk, std::vector<std::byte> const& bytes) {
        auto storage = whole;
        storage.WriteChunk(chunk, bytes);
        try {
            Support::LoadFromMemory(storage);
        } catch (Kernel::Exception const&) {
        }
    };
    for (auto const chunk : whole.ListChunks()) {
        auto const bytes = whole.ReadChunk(chunk);
        std::size_t const step = std::max<std::size_t>(1, bytes.size() / 300);
        for (std::size_t at = 0; at < bytes.size(); at += step) {
            expectNoHarm(chunk, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at)});
            auto damaged = bytes;
            damaged[at] ^= static_cast<std::byte>(1 << (at % 8));
            expectNoHarm(chunk, damaged);
        }
    }
}

TEST_P(Laws, APathOnlyPassWritesNoField) {
    ExampleRun run(Example());
    run.Do();
    std::vector<std::string> paths;
    for (auto const& path : Kernel::GatherFilePaths(std::vector<Kernel::Counted<Kernel::Serialisable const>>{
             Kernel::Counted<Kernel::Serialisable const>(run.command)}))
        paths.push_back(path.ToStdString());
    std::ranges::sort(paths);
    EXPECT_EQ(Example().filePaths, paths);
}

TEST_P(Laws, TheSameCommandOnTheSameDocumentGivesTheSameState) {
    ExampleRun one(Example()), two(Example());
    EXPECT_EQ(one.before, two.before);
    one.Do();
    two.Do();
    EXPECT_EQ(one.controller->GetHash(true), two.controller->GetHash(true));
}

TEST_P(Laws, ADocumentSavedBeforeTheCommandGivesTheSameState) {
    ExampleRun run(Example());
    auto const path = m_folder.Path("before.redraft");
    run.controller->Save(path);
    run.Do();
    auto const loaded = DocumentController::Open(path, false);
    EXPECT_EQ(run.before, loaded->GetHash(false));
    loaded->Run(Example().make(*loaded));
    EXPECT_EQ(run.controller->GetHash(false), loaded->GetHash(false));
}

TEST_P(Laws, AnIncrementalSaveEqualsAFullOne) {
    ExampleRun run(Example());
    auto const path = m_folder.Path("incremental.redraft");
    run.controller->Save(path);
    run.Do();
    run.controller->Save(path);
    // A step that loses some of what it keeps is another one when it is read.
    bool const withHistory = Example().keptAfterReload.empty();
    EXPECT_EQ(run.controller->GetHash(withHistory), DocumentController::Open(path, false)->GetHash(withHistory));
    if (!run.controller->GetLastResult().stacked)
        return;
    run.controller->Undo();
    run.controller->Save(path);
    EXPECT_EQ(run.controller->GetHash(withHistory), DocumentController::Open(path, false)->GetHash(withHistory));
}

TEST_P(Laws, AClonedCommandDoesTheSame) {
    ExampleRun run(Example());
    auto const clone = run.command->Clone();
    if (!clone)
        return;
    EXPECT_EQ(typeid(*run.command), typeid(*clone));
    run.Do();
    ExampleRun other(Example());
    auto const fresh = other.command->Clone();
    other.controller->Run(fresh);
    EXPECT_EQ(run.controller->GetHash(false), other.controller->GetHash(false));
}

// Where there is nothing that the command is made for, it is refused, changes nothing, or is a step that can be taken
// back: never a change without a step.
TEST_P(Laws, OnAnySelectionAChangeIsAStep) {
    if (Example().isShell)
        return;
    // Some commands change things that no history keeps.
    ExampleRun usual(Example());
    usual.Do();
    if (!usual.controller->GetLastResult().stacked)
        return;
    constexpr char const* c_kinds[] = {"no selection at all", "nothing selected", "the document selected"};
    for (int kind = 0; kind != 3; ++kind) {
        SCOPED_TRACE(c_kinds[kind]);
        ExampleRun run(Example());
        if (kind == 0)
            run.controller->SetSelection(nullptr, false);
        else if (kind == 1)
            run.controller->SetSelection(Kernel::MakeCounted<Selection>(), false);
        else
            run.controller->SetSelection(
                Selection::CreateWithSingleObject(Kernel::JailCounted<Selectable>(run.controller->GetDocument().get())),
                false);
        auto const before = run.controller->GetHash(false);
        auto const steps = run.controller->GetHistory()->GetCount();
        if (auto const preview = run.command->Clone()) {
            auto const selected = run.controller->GetCurrentSelection();
            try {
                run.controller->RunPreview(preview);
                run.controller->EndPreview(false);
            } catch (Kernel::Exception const&) {
                // Refused.
            }
            EXPECT_EQ(selected, run.controller->GetCurrentSelection());
            if (Example().keptByContract.empty()) {
                EXPECT_EQ(before, run.controller->GetHash(false));
            }
        }
        try {
            run.controller->Run(run.command);
        } catch (Kernel::Exception const&) {
            EXPECT_EQ(before, run.controller->GetHash(false)) << "refused after a change";
            continue;
        }
        run.controller->GetDocument()->CheckInvariants();
        auto const after = run.controller->GetHash(false);
        if (run.controller->GetHistory()->GetCount() == steps) {
            EXPECT_EQ(before, after) << "a change without a step";
            continue;
        }
        run.controller->Undo();
        if (Example().keptByContract.empty()) {
            EXPECT_EQ(before, run.controller->GetHash(false));
        }
        run.controller->Redo();
        EXPECT_EQ(after, run.controller->GetHash(false));
    }
}

// Without a clone there is nothing to run: a plug-in is a thing of its process, which a loaded step has not.
TEST_P(Laws, OnlyTheFiveRasterEffectsRepeat) {
    static std::set<std::string> const s_repeating{"RasterPluginFilterCommand", "RasterPolarToRectangularCommand",
                                                   "RasterRectangularToPolarCommand", "RasterSolariseCommand",
                                                   "RasterWebSafeDitherCommand"};
    bool const repeats = s_repeating.contains(Example().className);
    ExampleRun run(Example());
    EXPECT_EQ(run.command->CanRepeat(), repeats) << "before it has run";
    run.Do();
    EXPECT_EQ(run.command->CanRepeat(), repeats);
    auto const expectRepeat = [](DocumentController& document, bool expected) {
        auto const before = document.GetHash(true);
        auto const state = document.GetHash(false);
        auto const steps = document.GetHistory()->GetCount();
        EXPECT_EQ(document.RepeatLastCommand(), expected);
        EXPECT_EQ(document.GetHistory()->GetCount(), steps + (expected ? 1 : 0));
        if (!expected) {
            EXPECT_EQ(document.GetHash(true), before);
            return;
        }
        document.Undo();
        EXPECT_EQ(document.GetHash(false), state);
        document.Undo();
    };
    auto const path = m_folder.Path("done.redraft");
    run.controller->Save(path);
    expectRepeat(*run.controller, repeats);
    bool const staysRepeatable = Example().className != "RasterPluginFilterCommand";
    expectRepeat(*DocumentController::Open(path, true), repeats && staysRepeatable);
}

// Nothing that a command keeps may keep its document, which keeps the command.
TEST_P(Laws, ADocumentEndsWithItsLastHolder) {
    for (bool const isPreview : {false, true}) {
        SCOPED_TRACE(isPreview ? "as a preview" : "as a command");
        ExampleRun run(Example());
        if (isPreview)
            run.controller->RunPreview(run.command);
        else
            run.Do();
        Kernel::Weak<DocumentController> const document(run.controller);
        run.command.reset();
        run.controller.reset();
        EXPECT_TRUE(document.IsExpired());
    }
}

TEST_P(Laws, NotificationsNameTheDocument) {
    ExampleRun run(Example());
    run.Do();
    // The list is the caller's: what is there stays.
    Kernel::NotificationList notifications{Kernel::MakeCounted<Kernel::Notification>()};
    auto const first = notifications.front();
    run.command->NotifyWithCacheUpdates(notifications);
    ASSERT_FALSE(notifications.empty());
    EXPECT_EQ(first, notifications.front());
    for (auto const& notification : notifications)
        EXPECT_TRUE(notification);
    EXPECT_EQ(Example().isShell, run.command->GetDescription().GetText().empty());
    if (Example().isShell)
        return;
    // A plug-in's name is no text of this library.
    EXPECT_EQ(Example().className == "RasterPluginFilterCommand", run.command->GetDescription().GetContext().empty());
}

INSTANTIATE_TEST_SUITE_P(Commands, Laws, testing::Range(std::size_t{0}, AllExamples().size()), ExampleName);

TEST(LawsHarness, EveryRegisteredCommandHasAnExample) {
    std::set<std::string> withExample;
    for (auto const& example : AllExamples())
        withExample.insert(example.className);
    for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
        auto const isCommand = properties->IsDerivedFrom(DocumentCommand::GetTypeClassProperties());
        bool const isBase = std::string(properties->GetName()) == "DocumentCommand" ||
                            std::string(properties->GetName()) == "SelectionCommandBase" ||
                            std::string(properties->GetName()) == "RasterCommand";
        EXPECT_TRUE(!isCommand || isBase || withExample.contains(properties->GetName())) << properties->GetName();
    }
    for (auto const& entry : CommandCoverage::Instance().GetEntries())
        EXPECT_TRUE(withExample.contains(entry.name)) << entry.name;
}

} // namespace
