// SPDX-License-Identifier: Apache-2.0
// What running a command costs beside what the command does: queue, lock, binding, notifications, history. The floors
// do the same trivial work with the least that could serve, and are no substitute: no abort, merge, preview or save.
#include "platform/document/document_controller.h"

#include <benchmark/benchmark.h>

#ifdef REDRAFT_BENCH_QT
#include <QUndoCommand>
#include <QUndoStack>
#endif

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int c_commands = 1 << 18;

std::int64_t s_value = 0;

class ValueNotification final : public Kernel::Notification {};

template <bool Notifies>
class Trivial final : public DocumentCommand {
public:
    Kernel::LocalisedString GetDescription() const override { return {"Trivial", "Command description"}; }
    void Do() override {
        SetDirection(Direction::Do);
        ++s_value;
    }
    void Undo() override {
        SetDirection(Direction::Undo);
        --s_value;
    }
    void Redo() override {
        SetDirection(Direction::Redo);
        ++s_value;
    }
    void Notify(Kernel::NotificationList& notifications) override {
        if constexpr (Notifies)
            notifications.push_back(Kernel::MakeCounted<ValueNotification>());
    }
    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<Trivial>(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }
};

class CountingListener final : public NotificationListener {
public:
    void Receive(Kernel::NonCounted<Kernel::Notification>) override { ++count; }
    std::int64_t count = 0;
};

Kernel::Counted<DocumentController> MakeDocument(bool merging) {
    // As in any application there has been a second thread, and so counts are atomic.
    std::thread([] {}).join();
    auto document = DocumentController::CreateNew({100, 100}, static_cast<Raster::Format>(0), 1);
    document->SetMergingEnabled(merging);
    return document;
}

// Built and run on one thread, with history and without listeners. Argument: whether merging is considered.
void DirectDo(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto document = MakeDocument(state.range(0) != 0);
        state.ResumeTiming();
        for (int i = 0; i != c_commands; ++i)
            document->Run(Kernel::MakeCounted<Trivial<false>>());
        state.PauseTiming();
        document.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(DirectDo)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The same with a history of a thousand steps, as users have it: what leaves is used again.
void DirectDoWithLimit(benchmark::State& state) {
    auto const document = MakeDocument(true);
    document->SetUndoLimits(1000, SIZE_MAX);
    for (auto _ : state)
        document->Run(Kernel::MakeCounted<Trivial<false>>());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DirectDoWithLimit);

// An object that knows how to do and undo, and a list of those done.
struct NaiveCommand {
    virtual ~NaiveCommand() = default;
    virtual void Do() = 0;
    virtual void Undo() = 0;
};
struct NaiveTrivial final : NaiveCommand {
    void Do() override { ++s_value; }
    void Undo() override { --s_value; }
};

void FloorOfDirectDo(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::unique_ptr<NaiveCommand>> history;
        for (int i = 0; i != c_commands; ++i) {
            auto command = std::make_unique<NaiveTrivial>();
            command->Do();
            history.push_back(std::move(command));
        }
        state.PauseTiming();
        history.clear();
        history.shrink_to_fit();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(FloorOfDirectDo)->Unit(benchmark::kMillisecond);

#ifdef REDRAFT_BENCH_QT
class QtTrivial final : public QUndoCommand {
public:
    void undo() override { --s_value; }
    void redo() override { ++s_value; }
};

void PeerOfDirectDo(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto stack = std::make_unique<QUndoStack>();
        state.ResumeTiming();
        for (int i = 0; i != c_commands; ++i)
            stack->push(new QtTrivial);
        state.PauseTiming();
        stack.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(PeerOfDirectDo)->Unit(benchmark::kMillisecond);

// Argument: 0 undoes, 1 redoes.
void PeerOfDirectStep(benchmark::State& state) {
    QUndoStack stack;
    for (int i = 0; i != c_commands; ++i)
        stack.push(new QtTrivial);
    bool const redo = state.range(0) != 0;
    for (auto _ : state) {
        state.PauseTiming();
        stack.setIndex(redo ? 0 : c_commands);
        state.ResumeTiming();
        for (int i = 0; i != c_commands; ++i) {
            if (redo)
                stack.redo();
            else
                stack.undo();
        }
    }
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(PeerOfDirectStep)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// One jump over all steps.
void PeerOfDirectGoTo(benchmark::State& state) {
    QUndoStack stack;
    for (int i = 0; i != c_commands; ++i)
        stack.push(new QtTrivial);
    for (auto _ : state) {
        stack.setIndex(0);
        stack.setIndex(c_commands);
    }
    state.SetItemsProcessed(state.iterations() * c_commands * 2);
}
BENCHMARK(PeerOfDirectGoTo)->Unit(benchmark::kMillisecond);
#endif

Kernel::Counted<DocumentController> const& FilledDocument() {
    static auto const s_document = [] {
        auto document = MakeDocument(false);
        for (int i = 0; i != c_commands; ++i)
            document->Run(Kernel::MakeCounted<Trivial<false>>());
        return document;
    }();
    return s_document;
}

// Argument: 0 undoes, 1 redoes.
void DirectStep(benchmark::State& state) {
    auto const& document = FilledDocument();
    bool const redo = state.range(0) != 0;
    for (auto _ : state) {
        state.PauseTiming();
        document->GoTo(redo ? 0 : c_commands);
        state.ResumeTiming();
        for (int i = 0; i != c_commands; ++i) {
            if (redo)
                document->Redo();
            else
                document->Undo();
        }
    }
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(DirectStep)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void DirectGoTo(benchmark::State& state) {
    auto const& document = FilledDocument();
    for (auto _ : state) {
        document->GoTo(0);
        document->GoTo(c_commands);
    }
    state.SetItemsProcessed(state.iterations() * c_commands * 2);
}
BENCHMARK(DirectGoTo)->Unit(benchmark::kMillisecond);

// The queue is kept full by another thread; the domain thread runs, the delivery thread tells a listener.
void PipelinedDo(benchmark::State& state) {
    CountingListener listener;
    for (auto _ : state) {
        state.PauseTiming();
        auto document = MakeDocument(true);
        document->AddListener(&listener);
        document->StartThread();
        state.ResumeTiming();
        for (int i = 0; i != c_commands; ++i)
            document->Queue(Kernel::MakeCounted<Trivial<true>>());
        document->Flush();
        state.PauseTiming();
        document->StopThread();
        document->RemoveListener(&listener);
        document.reset();
        state.ResumeTiming();
    }
    if (listener.count != state.iterations() * c_commands)
        state.SkipWithError("notifications were lost");
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(PipelinedDo)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

// Argument: 0 undoes, 1 redoes.
void PipelinedStep(benchmark::State& state) {
    CountingListener listener;
    auto const document = MakeDocument(false);
    for (int i = 0; i != c_commands; ++i)
        document->Run(Kernel::MakeCounted<Trivial<true>>());
    document->AddListener(&listener);
    document->StartThread();
    bool const redo = state.range(0) != 0;
    for (auto _ : state) {
        state.PauseTiming();
        document->GoTo(redo ? 0 : c_commands);
        document->Flush();
        state.ResumeTiming();
        for (int i = 0; i != c_commands; ++i) {
            if (redo)
                document->QueueRedo();
            else
                document->QueueUndo();
        }
        document->Flush();
    }
    document->StopThread();
    document->RemoveListener(&listener);
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(PipelinedStep)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

// One command at a time, each waited for on another thread: the price of a round trip.
void ThreadedRun(benchmark::State& state) {
    auto const document = MakeDocument(true);
    document->SetUndoLimits(1000, SIZE_MAX);
    document->StartThread();
    for (auto _ : state)
        document->Run(Kernel::MakeCounted<Trivial<false>>());
    document->StopThread();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ThreadedRun)->MeasureProcessCPUTime()->UseRealTime();

// A queue of functions, a thread that runs them and calls a listener, a list of functions that undo.
void FloorOfPipelinedDo(benchmark::State& state) {
    for (auto _ : state) {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::function<void()>> queue, running, undo;
        bool stop = false;
        std::int64_t heard = 0;
        std::function<void()> const listener = [&] { ++heard; };
        std::thread thread([&] {
            for (;;) {
                {
                    std::unique_lock lock(mutex);
                    changed.wait(lock, [&] { return stop || !queue.empty(); });
                    if (queue.empty())
                        return;
                    running.swap(queue);
                }
                for (auto& command : running) {
                    command();
                    undo.push_back([] { --s_value; });
                    listener();
                }
                running.clear();
            }
        });
        for (int i = 0; i != c_commands; ++i) {
            std::lock_guard const lock(mutex);
            queue.push_back([] { ++s_value; });
            changed.notify_one();
        }
        {
            std::lock_guard const lock(mutex);
            stop = true;
        }
        changed.notify_one();
        thread.join();
        benchmark::DoNotOptimize(heard);
    }
    state.SetItemsProcessed(state.iterations() * c_commands);
}
BENCHMARK(FloorOfPipelinedDo)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

} // namespace

BENCHMARK_MAIN();
