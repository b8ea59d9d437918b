// SPDX-License-Identifier: Apache-2.0
// A step that is aborted at any look at its abort flag, or fails at any of its edits, those of inner commands among
// them, leaves nothing behind but for the parts that its example names.

#include "platform/document/edit_journal.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"
#include "tests/laws/example_run.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>

namespace {

// Sets one command's flag at its look number `at`, from 0.
class AbortAt final : public Kernel::AbortPollObserver {
public:
    AbortAt(bool const* flag, std::size_t at) : m_flag(flag), m_at(at) { Set(this); }
    ~AbortAt() override { Set(nullptr); }
    void BeforePoll(bool& flag) override {
        if (&flag == m_flag && m_count++ == m_at)
            std::atomic_ref<bool>(flag).store(true, std::memory_order_relaxed);
    }
    std::size_t GetCount() const { return m_count; }

private:
    bool const* m_flag;
    std::size_t m_at;
    std::atomic<std::size_t> m_count{0};
};

class InjectedFailure final : public Kernel::Exception {
public:
    InjectedFailure() : Exception("injected") {}
};

// Fails at edit number `at`, from 0.
class FailAt final : public EditJournal::Observer {
public:
    explicit FailAt(std::size_t at) : m_at(at) { EditJournal::SetObserver(this); }
    ~FailAt() override { EditJournal::SetObserver(nullptr); }
    void BeforeEdit() override {
        if (m_count++ == m_at)
            throw InjectedFailure();
    }
    std::size_t GetCount() const { return m_count; }

private:
    std::size_t m_at;
    std::size_t m_count = 0;
};

// At most `most` numbers below `count`, the first and the last among them.
std::set<std::size_t> Choose(std::size_t count, std::size_t most) {
    std::set<std::size_t> chosen;
    for (std::size_t i = 0; i != most && count != 0; ++i)
        chosen.insert(i * (count - 1) / (most - 1));
    return chosen;
}

// All that may not differ after a step that failed.
struct State {
    explicit State(DocumentController& controller)
        : hash(controller.GetHash(true)),
          selection(controller.GetCurrentSelection()),
          spread(controller.GetCurrentSpread()),
          position(controller.GetHistory()->GetPosition()),
          count(controller.GetHistory()->GetCount()) {
        controller.GetDocument()->CheckInvariants();
    }
    DocumentHash hash;
    Kernel::Counted<Selection const> selection;
    Kernel::Counted<SpreadNode> spread;
    std::size_t position, count;
    friend bool operator==(State const&, State const&) = default;
};

class Failures : public testing::TestWithParam<std::size_t> {
protected:
    CommandExample const& Example() const { return AllExamples()[GetParam()]; }

    // Fails the step at each of its edits, then lets it work; returns how many edits there are.
    template <class Step>
    static void FailEverywhere(DocumentController& controller, char const* name, Step const& step, Step const& back) {
        std::size_t count = 0;
        {
            FailAt const counter(SIZE_MAX);
            step();
            count = counter.GetCount();
        }
        auto const after = controller.GetHash(false);
        back();
        for (auto const at : Choose(count, 40)) {
            SCOPED_TRACE(std::string(name) + " failing at edit " + std::to_string(at) + " of " + std::to_string(count));
            State const before(controller);
            {
                FailAt const failure(at);
                EXPECT_THROW(step(), InjectedFailure);
            }
            EXPECT_EQ(before, State(controller));
        }
        step();
        EXPECT_EQ(after, controller.GetHash(false)) << name << " did something else after it had failed";
    }
};

TEST_P(Failures, AnAbortAtAnyLookLeavesNothingButWhatTheExampleNames) {
    std::size_t count = 0;
    DocumentHash complete{};
    {
        ExampleRun run(Example());
        auto const* const flag = run.command->GetProgressAbortPointer();
        if (flag == nullptr)
            return;
        AbortAt const counter(flag, SIZE_MAX);
        run.Do();
        count = counter.GetCount();
        complete = run.controller->GetHash(false);
    }
    EXPECT_GT(count, 0u);
    bool isKept = false;
    for (auto const at : Choose(count, 40)) {
        SCOPED_TRACE("aborted at look " + std::to_string(at) + " of " + std::to_string(count));
        ExampleRun run(Example());
        State const before(*run.controller);
        try {
            AbortAt const abort(run.command->GetProgressAbortPointer(), at);
            run.Do();
        } catch (Kernel::AbortException const&) {
            EXPECT_EQ(before, State(*run.controller));
            continue;
        }
        run.controller->GetDocument()->CheckInvariants();
        auto const hash = run.controller->GetHash(false);
        if (!run.controller->GetLastResult().stacked) {
            EXPECT_EQ(before, State(*run.controller));
            continue;
        }
        if (hash == complete)
            continue;
        isKept = true;
        run.controller->Undo();
        if (!Example().keptInDocument) {
            EXPECT_EQ(run.before, run.controller->GetHash(false));
        }
        run.controller->Redo();
        EXPECT_EQ(hash, run.controller->GetHash(false));
    }
    EXPECT_EQ(!Example().keptOnAbort.empty(), isKept);
}

TEST_P(Failures, AFailureAtAnyEditOfDoLeavesNothing) {
    std::size_t count = 0;
    {
        ExampleRun run(Example());
        FailAt const counter(SIZE_MAX);
        run.Do();
        count = counter.GetCount();
    }
    for (auto const at : Choose(count, 40)) {
        SCOPED_TRACE("failing at edit " + std::to_string(at) + " of " + std::to_string(count));
        ExampleRun run(Example());
        State const before(*run.controller);
        {
            FailAt const failure(at);
            EXPECT_THROW(run.Do(), InjectedFailure);
        }
        EXPECT_EQ(before, State(*run.controller));
        EXPECT_FALSE(run.controller->GetLastResult().ran);
    }
}

TEST_P(Failures, AFailureAtAnyEditOfUndoAndRedoLeavesNothing) {
    ExampleRun run(Example());
    run.Do();
    if (!run.controller->GetLastResult().stacked)
        return;
    auto& controller = *run.controller;
    std::function<void()> const undo = [&] { controller.Undo(); }, redo = [&] { controller.Redo(); };
    FailEverywhere(controller, "Undo", undo, redo);
    FailEverywhere(controller, "Redo", redo, undo);
    FailEverywhere(controller, "Undo after Redo", undo, redo);
}

TEST_P(Failures, TheSameInAHistoryThatWasLoaded) {
    ExampleRun run(Example());
    run.Do();
    if (!run.controller->GetLastResult().stacked || Example().isShell)
        return;
    TemporaryFolder const folder;
    auto const path = folder.Path("done.redraft");
    run.controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    std::function<void()> const undo = [&] { loaded->Undo(); }, redo = [&] { loaded->Redo(); };
    // From the first Redo on each does the same as before.
    if (!Example().redoneOtherwiseAfterReload.empty()) {
        undo();
        redo();
    }
    FailEverywhere(*loaded, "Undo", undo, redo);
    FailEverywhere(*loaded, "Redo", redo, undo);
}

INSTANTIATE_TEST_SUITE_P(Commands, Failures, testing::Range(std::size_t{0}, AllExamples().size()), ExampleName);

} // namespace
