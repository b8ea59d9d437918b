// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include "engine/document/session/notification_delivery.h"
#include "platform/document/background_task_command.h"
#include "platform/document/front_end_listener.h"

#include <condition_variable>
#include <future>
#include <gtest/gtest.h>
#include <thread>

using namespace Doubles;

namespace {

// Opens once and for all.
class Gate {
public:
    void Open() {
        std::lock_guard const lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    void Pass() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

Kernel::Counted<CallCommand> MakeCall(std::function<void(DocumentController&)> call) {
    return Kernel::MakeCounted<CallCommand>(std::move(call));
}

// A document with a domain thread, which is kept busy until the gate opens.
struct BusyDocument {
    BusyDocument() {
        controller->StartThread();
        controller->Queue(MakeCall([this](DocumentController&) {
            started.Open();
            gate.Pass();
        }));
        started.Pass();
    }
    ~BusyDocument() {
        gate.Open();
        controller->StopThread();
    }
    Kernel::Counted<DocumentController> const controller = MakeDocument();
    Gate started, gate;
};

class Replacing final : public SetFlags {
public:
    Replacing(int key, int newValue) : SetFlags(newValue), m_key(key) {}
    bool AvoidMultipleInQueue() const override { return true; }
    bool IsAnotherAlreadyInQueue(Kernel::Counted<DomainCommand> const& other) const override {
        auto const same = Kernel::Cast<Replacing const>(other);
        return same && same->m_key == m_key;
    }

private:
    int m_key;
};

// Counts the steps whose end has come.
class Ending final : public SetFlags {
public:
    Ending(int newValue, std::atomic<int>& ended) : SetFlags(newValue), m_ended(&ended) {}
    void Teardown() override { ++*m_ended; }

private:
    std::atomic<int>* m_ended;
};

class Task final : public BackgroundTaskCommand {
public:
    explicit Task(std::function<void(Task&)> work) : m_work(std::move(work)) {}
    Kernel::LocalisedString GetDescription() const override { return {"Task", "Command description"}; }
    void Do() override { m_work(*this); }
    bool CanIgnoreIfQueueOccupied() const override { return ignorable; }
    bool ShouldAbortForReader() const override { return abortable; }
    bool ShouldBeDeferredIfReading() const override { return deferrable; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }
    bool ignorable = false;
    bool abortable = false;
    bool deferrable = false;

private:
    std::function<void(Task&)> m_work;
};

// Not of any document.
class BareCommand final : public DomainCommand {
public:
    Kernel::LocalisedString GetDescription() const override { return {"Bare", "Command description"}; }
    void Do() override { ++runs; }
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList& notifications) override {
        notifications.push_back(Kernel::MakeCounted<PlainNotification>(1));
    }
    Kernel::Counted<DomainController const> GetDomainController() const override { return {}; }
    Kernel::Counted<DomainController> GetDomainController() override { return {}; }
    void PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController>) override {}
    int runs = 0;
};

class ToolNotification final : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
    bool MustProcessWithoutDocumentLock() override { return true; }
};

// Raises one notification that needs no lock and one that does.
class TwoNotifications final : public DocumentCommand {
public:
    Kernel::LocalisedString GetDescription() const override { return {"Two", "Command description"}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList& notifications) override {
        notifications.push_back(Kernel::MakeCounted<ToolNotification>(GetDocumentController(), false));
        notifications.push_back(Kernel::MakeCounted<SymbolsChangedNotification>(GetDocumentController()));
    }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }
};

class CriticalNotification final : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
    bool FrontEndProcessingTimeIsCritical() override { return true; }
};

class TellCritical final : public DocumentCommand {
public:
    Kernel::LocalisedString GetDescription() const override { return {"Tell", "Command description"}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList& notifications) override {
        notifications.push_back(Kernel::MakeCounted<CriticalNotification>(GetDocumentController(), false));
    }
    bool ShouldStackForUndo() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }
};

std::string WhatRunThrows(DomainController& controller, Kernel::Counted<DomainCommand> const& command) {
    try {
        controller.Run(command);
    } catch (Kernel::Exception const& error) {
        return error.what();
    }
    return "nothing";
}

} // namespace

TEST(Queue, HundredThousandCommandsFromFourThreadsAllRunInTheirThreadsOrder) {
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    Listener const listener(*document);
    document->StartThread();
    constexpr int c_threads = 4, c_each = 25'000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread != c_threads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i != c_each; ++i)
                document->Queue(MakeSet(thread * c_each + i));
        });
    }
    for (auto& thread : threads)
        thread.join();
    document->Flush();
    EXPECT_EQ(document->GetHistory()->GetCount(), std::size_t{c_threads} * c_each);
    auto const values = listener.GetValues();
    ASSERT_EQ(values.size(), std::size_t{c_threads} * c_each);
    std::vector<int> next{0, c_each, 2 * c_each, 3 * c_each};
    for (int const value : values)
        ASSERT_EQ(value, next[static_cast<std::size_t>(value / c_each)]++);
    document->GoTo(0);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    document->StopThread();
}

TEST(Queue, UndoAndRedoTakeTheirTurnBehindWhatIsQueued) {
    BusyDocument busy;
    auto& document = *busy.controller;
    document.SetMergingEnabled(false);
    std::atomic<int> completed{0};
    auto const count = [&](std::exception_ptr error) { completed += error == nullptr ? 1 : 100; };
    document.Queue(MakeSet(1), count);
    document.Queue(MakeSet(2), count);
    document.QueueUndo(count);
    document.QueueUndo(count);
    document.QueueRedo(count);
    busy.gate.Open();
    document.Flush();
    EXPECT_EQ(document.GetScaleOverrideFlags(true), 1);
    EXPECT_EQ(completed, 5);
}

TEST(Queue, RunThrowsWhatTheCommandThrewAndCompletionsGetIt) {
    auto const document = MakeDocument();
    document->StartThread();
    auto const bad = MakeSet(1);
    bad->failDo = true;
    EXPECT_THROW(document->Run(bad), Kernel::AbortException);
    std::promise<std::exception_ptr> result;
    document->Queue(bad, [&](std::exception_ptr error) { result.set_value(error); });
    EXPECT_THROW(std::rethrow_exception(result.get_future().get()), Kernel::AbortException);
    // Nobody asks about this one: it is logged.
    document->Queue(bad);
    document->Run(MakeSet(2));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
    document->StopThread();
}

TEST(Queue, StoppingRunsWhatIsQueuedAndDirectRunsFollow) {
    auto const document = MakeDocument();
    document->StartThread();
    document->StartThread();
    EXPECT_TRUE(document->HasThread());
    for (int i = 1; i <= 1000; ++i)
        document->Queue(MakeSet(i));
    document->StopThread();
    EXPECT_FALSE(document->HasThread());
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 1000);
    document->Run(MakeSet(5));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 5);
    document->StartThread();
    document->Run(MakeSet(6));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 6);
}

TEST(Queue, WaitingWhereItWouldNeverEndIsRefused) {
    auto const document = MakeDocument();
    document->StartThread();
    std::string inside;
    document->Run(MakeCall([&](DocumentController& controller) { inside = WhatRunThrows(controller, MakeSet(1)); }));
    EXPECT_EQ(inside, "a command cannot wait for the queue that it runs in");
    {
        auto const session = document->LockForReading();
        std::string const refused = "a reader cannot wait for a command of the document that it reads";
        EXPECT_EQ(WhatRunThrows(*document, MakeSet(1)), refused);
        EXPECT_THROW(document->Undo(), Kernel::Exception);
        EXPECT_THROW(document->Flush(), Kernel::Exception);
        EXPECT_THROW(document->StopThread(), Kernel::Exception);
    }
    document->StopThread();
    auto const session = document->LockForReading();
    EXPECT_EQ(WhatRunThrows(*document, MakeSet(1)), "a reader cannot wait for a command of the document that it reads");
}

TEST(Queue, ACompletionMayQueueButNotWait) {
    auto const document = MakeDocument();
    for (bool const threaded : {false, true}) {
        if (threaded)
            document->StartThread();
        std::string refused;
        document->Queue(MakeSet(1), [&](std::exception_ptr) {
            refused = WhatRunThrows(*document, MakeSet(2));
            document->Queue(MakeSet(3));
        });
        document->Flush();
        document->Flush();
        EXPECT_EQ(refused, "a command cannot wait for the queue that it runs in");
        EXPECT_EQ(document->GetScaleOverrideFlags(true), 3);
    }
    document->StopThread();
}

TEST(Queue, ACompletionMayDropTheLastReference) {
    for (bool const threaded : {false, true}) {
        auto document = MakeDocument();
        if (threaded)
            document->StartThread();
        std::atomic<int> ended{0};
        auto& last = *document;
        last.Queue(Kernel::MakeCounted<Ending>(1, ended),
                   [held = std::move(document), &ended](std::exception_ptr error) mutable {
                       EXPECT_EQ(error, nullptr);
                       EXPECT_EQ(held->GetScaleOverrideFlags(true), 1);
                       held.reset();
                       EXPECT_EQ(ended, 0) << "the controller ended while its queue called a completion";
                   });
        while (ended != 1)
            std::this_thread::yield();
    }
}

TEST(Queue, TheLastReferenceMayGoWhileCommandsWait) {
    for (int round = 0; round != 200; ++round) {
        std::atomic<int> ended{0};
        auto document = MakeDocument();
        document->SetMergingEnabled(false);
        document->StartThread();
        for (int i = 1; i <= 3; ++i)
            document->Queue(Kernel::MakeCounted<Ending>(i, ended));
        document.reset();
        while (ended != 3)
            std::this_thread::yield();
    }
}

TEST(Queue, ACommandOfNoDocumentRunsWithoutHistory) {
    auto const document = MakeDocument();
    Listener const listener(*document);
    auto const command = Kernel::MakeCounted<BareCommand>();
    document->Run(command);
    EXPECT_EQ(command->runs, 1);
    EXPECT_FALSE(document->CanUndo());
    EXPECT_EQ(listener.GetValues(), std::vector{1});
}

TEST(Queue, ANewerCommandReplacesWaitingOnesThatItNames) {
    std::vector<std::string> log;
    BusyDocument busy;
    std::atomic<int> dropped{0};
    auto const note = [&](std::exception_ptr error) { dropped += error == nullptr ? 0 : 1; };
    auto const queue = [&](int key, int value) {
        auto const command = Kernel::MakeCounted<Replacing>(key, value);
        command->log = &log;
        command->notifies = false;
        busy.controller->Queue(command, note);
    };
    queue(1, 10);
    queue(2, 20);
    queue(1, 11);
    queue(1, 12);
    busy.gate.Open();
    busy.controller->Flush();
    EXPECT_EQ(Log(log), "domain20 bind20 do20 notify20 complete20 domain12 bind12 do12 notify12 complete12");
    EXPECT_EQ(dropped, 2);
}

TEST(Queue, AReplacingCommandIsSeenEvenWhenTheOldIsAboutToRun) {
    std::vector<std::string> log;
    BusyDocument busy;
    Gate running, queued;
    auto const older = Kernel::MakeCounted<Replacing>(1, 10), newer = Kernel::MakeCounted<Replacing>(1, 11);
    older->log = newer->log = &log;
    busy.controller->Queue(MakeCall([&](DocumentController&) {
        running.Open();
        queued.Pass();
    }));
    busy.controller->Queue(older);
    busy.gate.Open();
    running.Pass();
    // The older one has left the producers' side of the queue by now.
    busy.controller->Queue(newer);
    queued.Open();
    busy.controller->Flush();
    EXPECT_EQ(Log(log), "domain11 bind11 do11 notify11 complete11");
}

TEST(Task, IsDroppedWhenTheQueueIsOccupiedAndItAllowsThat) {
    BusyDocument busy;
    int runs = 0;
    std::atomic<int> aborted{0};
    auto const note = [&](std::exception_ptr error) { aborted += error == nullptr ? 0 : 1; };
    for (bool const ignorable : {true, false}) {
        auto const task = Kernel::MakeCounted<Task>([&](Task&) { ++runs; });
        task->ignorable = ignorable;
        busy.controller->Queue(task, note);
    }
    busy.controller->Queue(MakeSet(1));
    busy.gate.Open();
    busy.controller->Flush();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(aborted, 1);
    // Alone in the queue it runs.
    auto const alone = Kernel::MakeCounted<Task>([&](Task&) { ++runs; });
    alone->ignorable = true;
    busy.controller->Run(alone);
    EXPECT_EQ(runs, 2);
}

TEST(Task, IsAbortedWhenAReaderHasToWait) {
    auto const document = MakeDocument();
    document->StartThread();
    Gate started;
    auto const task = Kernel::MakeCounted<Task>([&](Task& self) {
        started.Open();
        while (!self.IsAborted())
            std::this_thread::yield();
        throw Kernel::AbortException();
    });
    task->abortable = true;
    std::promise<std::exception_ptr> result;
    document->Queue(task, [&](std::exception_ptr error) { result.set_value(error); });
    started.Pass();
    { auto const session = document->LockForReading(); }
    EXPECT_THROW(std::rethrow_exception(result.get_future().get()), Kernel::AbortException);
    // The flag is the queue's, and taken back.
    EXPECT_FALSE(task->IsAborted());
    document->StopThread();
}

TEST(Task, WaitsForReadersWhileCommandsGoFirst) {
    for (bool const deferrable : {true, false}) {
        BusyDocument busy;
        auto& document = *busy.controller;
        std::vector<std::string> order;
        // The reader comes while the run that holds the task is under way, not before it.
        Gate waiting;
        document.Queue(MakeCall([&](DocumentController& controller) {
            waiting.Open();
            while (!controller.IsReaderWaiting())
                std::this_thread::yield();
        }));
        auto const task = Kernel::MakeCounted<Task>([&](Task&) { order.push_back("task"); });
        task->deferrable = deferrable;
        std::promise<void> taskDone;
        document.Queue(task, [&](std::exception_ptr) { taskDone.set_value(); });
        document.Queue(MakeCall([&](DocumentController&) { order.push_back("command"); }));
        busy.gate.Open();
        waiting.Pass();
        {
            auto const session = document.LockForReading();
            ASSERT_FALSE(order.empty());
            EXPECT_EQ(order.front(), deferrable ? "command" : "task");
        }
        taskDone.get_future().wait();
        document.Flush();
        EXPECT_EQ(order.size(), 2u);
    }
}

TEST(Reading, ReadersShareTheDocumentAndACommandWaits) {
    auto const document = MakeDocument();
    document->StartThread();
    std::atomic<bool> ran{false};
    std::promise<void> done;
    {
        auto const first = document->LockForReading();
        std::thread second([&] { auto const session = document->LockForReading(); });
        second.join();
        document->Queue(MakeCall([&](DocumentController&) { ran = true; }),
                        [&](std::exception_ptr) { done.set_value(); });
        // This thread gets in again although a command waits by now, or else it would wait for itself.
        auto const again = document->LockForReading();
        EXPECT_FALSE(ran);
    }
    done.get_future().wait();
    EXPECT_TRUE(ran);
    document->StopThread();
}

TEST(Reading, ReadersGoOnDuringAnUnlockSessionAndCommandsDoNot) {
    auto const document = MakeDocument();
    document->StartThread();
    Gate unlocked, readerDone;
    std::vector<std::string> order;
    document->Queue(MakeCall([&](DocumentController& controller) {
        DomainWriterUnlockSession session((Kernel::Counted<DomainController>(&controller)));
        // A second one has nothing to give up.
        DomainWriterUnlockSession const inner((Kernel::Counted<DomainController>(&controller)));
        unlocked.Open();
        readerDone.Pass();
        session.Acquire();
        session.Acquire();
        order.push_back("long");
    }));
    document->Queue(MakeCall([&](DocumentController&) { order.push_back("next"); }));
    unlocked.Pass();
    {
        auto const session = document->LockForReading();
        EXPECT_TRUE(order.empty());
    }
    readerDone.Open();
    document->Flush();
    EXPECT_EQ(Log(order), "long next");
    document->StopThread();
}

TEST(Reading, AnUnlockSessionOutsideACommandDoesNothing) {
    auto const document = MakeDocument();
    {
        DomainWriterUnlockSession session((Kernel::Counted<DomainController>(document)));
        session.Acquire();
    }
    DomainWriterUnlockSession const none{Kernel::Counted<DomainController>()};
    document->Run(MakeSet(1));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 1);
}

TEST(Reading, ReadersAndCommandsDoNotStarveEachOther) {
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    document->SetUndoLimits(100, SIZE_MAX);
    document->StartThread();
    std::atomic<bool> stop{false};
    std::atomic<int> reads{0};
    std::vector<std::thread> readers;
    for (int i = 0; i != 2; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                auto const session = document->LockForReading();
                auto const flags = document->GetScaleOverrideFlags(true);
                EXPECT_EQ(document->GetScaleOverrideFlags(true), flags);
                ++reads;
            }
        });
    }
    for (int i = 1; i <= 20'000 || reads < 100; ++i) {
        document->Queue(MakeSet(i));
        if (i % 1000 == 0)
            document->Flush();
    }
    document->Flush();
    stop = true;
    for (auto& reader : readers)
        reader.join();
    EXPECT_GE(reads, 100);
    document->StopThread();
}

TEST(Delivery, ABatchIsMergedWhereTheOlderTakesTheNewer) {
    auto const make = [](int value, int id) -> Kernel::Counted<Kernel::Notification> {
        return Kernel::MakeCounted<PlainNotification>(value, id);
    };
    Kernel::NotificationList batch{make(1, 6), make(2, 0), make(3, 6), make(4, 70), make(-5, 6),
                                   make(6, 6), make(7, 0), nullptr,    make(8, 70)};
    PrepareBatch(batch);
    std::vector<int> values;
    for (auto const& notification : batch)
        values.push_back(Kernel::Cast<PlainNotification>(notification)->GetValue());
    // 6 is offered to -5, the newest of its id, which does not take it; 0 never merges.
    EXPECT_EQ(values, (std::vector{4, 2, 12, -5, 6, 7}));
}

TEST(Delivery, NotificationsArriveInOrderOnAnotherThreadWhileTheDocumentStandsStill) {
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    Listener listener(*document);
    document->StartThread();
    std::atomic<bool> sameThread{false};
    auto const here = std::this_thread::get_id();
    std::atomic<int> changedMeanwhile{0};
    listener.onReceive = [&](Kernel::Notification&) {
        sameThread = sameThread || std::this_thread::get_id() == here;
        auto const before = document->GetScaleOverrideFlags(true);
        std::this_thread::yield();
        changedMeanwhile += document->GetScaleOverrideFlags(true) == before ? 0 : 1;
    };
    std::vector<int> expected;
    for (int i = 1; i <= 2000; ++i) {
        document->Queue(MakeSet(i));
        expected.push_back(i);
    }
    document->Flush();
    EXPECT_EQ(listener.GetValues(), expected);
    EXPECT_FALSE(sameThread);
    EXPECT_EQ(changedMeanwhile, 0);
    document->StopThread();
}

TEST(Delivery, ANotificationThatAsksForItComesWithoutTheDocumentLock) {
    for (bool const threaded : {false, true}) {
        auto const document = MakeDocument();
        Listener listener(*document);
        std::vector<std::string> order;
        listener.onReceive = [&](Kernel::Notification& notification) {
            bool const isTool = Kernel::CastPointer<ToolNotification>(&notification) != nullptr;
            // A command can be waited for only where the lock is not held.
            auto const what = WhatRunThrows(*document, MakeCall([](DocumentController&) {}));
            order.push_back((isTool ? "tool:" : "symbols:") + std::string(what == "nothing" ? "free" : "held"));
        };
        if (threaded)
            document->StartThread();
        document->Run(Kernel::MakeCounted<TwoNotifications>());
        document->Flush();
        EXPECT_EQ(Log(order), "tool:free symbols:held");
        document->StopThread();
    }
}

TEST(Delivery, AListenerMayQueueAndComeAndGoWhileItIsCalled) {
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    for (bool const threaded : {false, true}) {
        if (threaded)
            document->StartThread();
        auto second = std::make_unique<Listener>(*document);
        Listener first(*document);
        first.onReceive = [&](Kernel::Notification& notification) {
            if (Kernel::CastPointer<PlainNotification>(&notification)->GetValue() != 1)
                return;
            second.reset();
            document->Queue(MakeSet(2));
        };
        document->Run(MakeSet(1));
        document->Flush();
        document->Flush();
        EXPECT_EQ(first.GetValues(), (std::vector{1, 2}));
        EXPECT_FALSE(second);
    }
    document->StopThread();
}

TEST(Delivery, AListenerMayDropTheLastReference) {
    for (bool const direct : {false, true}) {
        for (bool const threaded : {false, true}) {
            class Dropping final : public NotificationListener {
            public:
                void Receive(Kernel::NonCounted<Kernel::Notification>) override { held.reset(); }
                Kernel::Counted<DocumentController> held;
            } listener;
            listener.held = MakeDocument();
            auto& document = *listener.held;
            Kernel::Weak<DocumentController> const watched(listener.held);
            document.SetDirectDelivery(direct);
            document.AddListener(&listener);
            if (threaded)
                document.StartThread();
            document.Queue(MakeSet(1));
            while (!watched.IsExpired())
                std::this_thread::yield();
        }
    }
}

TEST(Delivery, AListenerThatThrowsHarmsNobody) {
    auto const document = MakeDocument();
    Listener bad(*document);
    Listener const good(*document);
    bad.onReceive = [](Kernel::Notification&) { throw Kernel::Exception("bad listener"); };
    document->Run(MakeSet(1));
    EXPECT_EQ(good.GetValues(), std::vector{1});
}

TEST(Delivery, SentNotificationsGoAtOnce) {
    auto const document = MakeDocument();
    Listener const listener(*document);
    document->StartThread();
    document->SendNotification(Kernel::MakeCounted<PlainNotification>(4));
    EXPECT_EQ(listener.GetValues(), std::vector{4});
    document->SendNotification(nullptr);
    document->SetSelection(nullptr, true);
    EXPECT_EQ(listener.GetCount(), 2u);
    ASSERT_TRUE(document->GetCurrentSelection());
    document->StopThread();
}

TEST(Delivery, CanBeDirectWithADomainThread) {
    auto const document = MakeDocument();
    Listener listener(*document);
    document->StartThread();
    document->SetDirectDelivery(true);
    std::thread::id domainThread, listenerThread;
    listener.onReceive = [&](Kernel::Notification&) { listenerThread = std::this_thread::get_id(); };
    document->Queue(MakeCall([&](DocumentController&) { domainThread = std::this_thread::get_id(); }));
    document->Run(MakeSet(1));
    EXPECT_EQ(listener.GetValues(), std::vector{1});
    document->Flush();
    EXPECT_EQ(listenerThread, domainThread);
    document->StopThread();
}

// Hears as the front end does.
class FrontEnd final : public FrontEndListener {
public:
    explicit FrontEnd(DomainController& controller) : m_controller(&controller) { controller.AddListener(this); }
    ~FrontEnd() override { m_controller->RemoveListener(this); }
    void Receive(Kernel::NonCounted<Kernel::Notification> notification) override {
        if (onReceive)
            onReceive(*notification);
        ++count;
    }
    std::function<void(Kernel::Notification&)> onReceive;
    std::atomic<int> count{0};

private:
    DomainController* m_controller;
};

TEST(FrontEnd, HearsOnlyWhatIsToBeForwarded) {
    auto const document = MakeDocument();
    Listener const inside(*document);
    FrontEnd const front(*document);
    auto const tell = [&] { document->SetSelection(nullptr, true); };
    tell();
    EXPECT_EQ(front.count, 0) << "the user works on another document";
    EXPECT_EQ(inside.GetCount(), 1u);
    document->SetActive(true);
    tell();
    EXPECT_EQ(front.count, 1);
    document->SendNotification(Kernel::MakeCounted<PlainNotification>(1));
    EXPECT_EQ(front.count, 2);
    EXPECT_EQ(inside.GetCount(), 3u);
    {
        FrontEnd const second(*document);
        document->SetActive(false);
        tell();
        EXPECT_EQ(second.count, 0);
    }
    tell();
    EXPECT_EQ(front.count, 2);
}

TEST(FrontEnd, HasProcessedWhatIsCriticalWhenTheNextCommandRuns) {
    for (bool const threaded : {false, true}) {
        auto const document = MakeDocument();
        FrontEnd front(*document);
        std::atomic<int> processed{0};
        int late = 0;
        front.onReceive = [&](Kernel::Notification& notification) {
            for (int i = 0; i != 200; ++i)
                std::this_thread::yield();
            if (Kernel::CastPointer<CriticalNotification>(&notification) != nullptr)
                ++processed;
        };
        if (threaded)
            document->StartThread();
        auto const queueAll = [&](DocumentController&) {
            for (int i = 1; i <= 50; ++i) {
                document->Queue(MakeSet(i));
                document->Queue(Kernel::MakeCounted<TellCritical>());
                document->Queue(MakeCall([&, i](DocumentController&) { late += processed != i; }));
            }
        };
        // Queued by a command, all of them are there when the first one runs.
        document->Run(MakeCall(queueAll));
        document->Flush();
        EXPECT_EQ(late, 0) << threaded;
        EXPECT_EQ(processed, 50);
        document->StopThread();
    }
}

TEST(FrontEnd, MayWaitForACommandWhereItHoldsNoLock) {
    auto const document = MakeDocument();
    FrontEnd front(*document);
    std::atomic<int> ran{0};
    front.onReceive = [&](Kernel::Notification& notification) {
        if (Kernel::CastPointer<ToolNotification>(&notification) != nullptr)
            document->Run(MakeCall([&](DocumentController&) { ++ran; }));
    };
    document->StartThread();
    for (int i = 0; i != 20; ++i) {
        document->Queue(Kernel::MakeCounted<TwoNotifications>());
        document->Queue(Kernel::MakeCounted<TellCritical>());
    }
    document->Flush();
    EXPECT_EQ(ran, 20);
    document->StopThread();
}

TEST(Progress, IsReportedNotMoreOftenThanTheIntervalAndAtTheEnd) {
    class Fractions final : public ProgressListener {
    public:
        void Progress(DomainCommand const&, float fraction) override { fractions.push_back(fraction); }
        std::vector<float> fractions;
    } progress;
    auto const document = MakeDocument();
    ManualClock clock;
    document->SetClock(&clock);
    document->SetProgressListener(&progress);
    auto const command = MakeSet(0);
    auto const report = [&](float fraction, int after) {
        clock.now += after;
        document->UpdateProgress(command, fraction);
    };
    auto const interval = command->GetProgressInterval();
    report(0, 0);
    report(0.25f, interval - 1);
    report(0.5f, 1);
    report(2, 0);
    document->Run(MakeSet(1));
    report(-1, 0);
    EXPECT_EQ(progress.fractions, (std::vector<float>{0, 0.5f, 1, 0}));
    document->SetProgressListener(nullptr);
    document->SetClock(nullptr);
}
