// SPDX-License-Identifier: Apache-2.0
// Every edit of a document is made while nobody can read it: commands that let readers go on during long work have the
// document to themselves again before they touch it.

#include "platform/document/edit_journal.h"
#include "tests/laws/example_run.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

// Sends readers while edits are made, each of which must have to wait for the end of the step.
class ReadersAtEdits final : public EditJournal::Observer {
public:
    explicit ReadersAtEdits(DocumentController const& document) : m_document(document) {
        EditJournal::SetObserver(this);
    }
    ~ReadersAtEdits() override { EditJournal::SetObserver(nullptr); }
    ReadersAtEdits(ReadersAtEdits const&) = delete;
    ReadersAtEdits& operator=(ReadersAtEdits const&) = delete;

    void BeforeEdit() override {
        // A reader who still waits has found the document locked all the time.
        if (m_document.IsReaderWaiting())
            return;
        int const before = m_letIn;
        m_readers.emplace_back([this] {
            auto const session = m_document.LockForReading();
            ++m_letIn;
        });
        while (m_letIn == before && !m_document.IsReaderWaiting())
            std::this_thread::yield();
        m_readWhileEdited = m_readWhileEdited || m_letIn != before;
    }
    bool HaveReadWhileEdited() const { return m_readWhileEdited; }

private:
    DocumentController const& m_document;
    std::atomic<int> m_letIn{0};
    bool m_readWhileEdited = false;
    std::vector<std::jthread> m_readers;
};

class Locks : public testing::TestWithParam<std::size_t> {
protected:
    static bool IsReadWhile(DocumentController const& document, std::function<void()> const& step) {
        ReadersAtEdits const readers(document);
        step();
        return readers.HaveReadWhileEdited();
    }
};

TEST_P(Locks, NobodyReadsWhileADocumentIsEdited) {
    ExampleRun run(AllExamples()[GetParam()]);
    auto& document = *run.controller;
    EXPECT_FALSE(IsReadWhile(document, [&] { run.Do(); }));
    if (!document.GetLastResult().stacked)
        return;
    EXPECT_FALSE(IsReadWhile(document, [&] { document.Undo(); }));
    EXPECT_FALSE(IsReadWhile(document, [&] { document.Redo(); }));
}

INSTANTIATE_TEST_SUITE_P(Commands, Locks, testing::Range(std::size_t{0}, AllExamples().size()), ExampleName);

} // namespace
