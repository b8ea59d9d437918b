// SPDX-License-Identifier: Apache-2.0
#include "engine/document/session/domain_controller_implementation.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/trace.h"

#include <algorithm>
#include <chrono>

namespace {

// How many commands run under one hold of the lock, and for how long, before readers and the delivery have a chance.
constexpr unsigned c_longestRun = 1024;
constexpr auto c_longestHold = std::chrono::milliseconds(2);

void Log(std::exception_ptr const& error) noexcept {
    try {
        std::rethrow_exception(error);
    } catch (std::exception const& exception) {
        Kernel::Trace::Write(std::string("A queued command ended early: ") + exception.what() + "\r\n");
    } catch (...) {
        Kernel::Trace::Write("A queued command ended early\r\n");
    }
}

} // namespace

void DomainController::Implementation::Waiter::Finish(std::exception_ptr what) noexcept {
    // Notified under the mutex: once it is free the waiter may be gone.
    std::lock_guard const guard(mutex);
    error = std::move(what);
    done = true;
    changed.notify_one();
}

void DomainController::Implementation::Waiter::Wait() {
    std::unique_lock guard(mutex);
    changed.wait(guard, [this] { return done; });
    if (error != nullptr)
        std::rethrow_exception(error);
}

void DomainController::Implementation::Queue(Item&& item) {
    if (hasThread.load(std::memory_order_acquire) || lock.IsOwnedByThisThread()) {
        Push(std::move(item));
        return;
    }
    Turn const turn(*this);
    RunItem(item);
}

void DomainController::Implementation::QueueAndWait(Item&& item) {
    if (lock.IsOwnedByThisThread())
        throw Kernel::Exception("a command cannot wait for the queue that it runs in");
    if (lock.IsReadByThisThread())
        throw Kernel::Exception("a reader cannot wait for a command of the document that it reads");
    NotificationDelivery::WaitsForCommand const waits(delivery);
    Waiter waiter;
    item.waiter = &waiter;
    Push(std::move(item));
    waiter.Wait();
}

void DomainController::Implementation::Push(Item&& item) {
    // Woken under the mutex: once it is free all may be over, this object included.
    std::lock_guard const guard(queueMutex);
    if (incoming.empty() && hasThread.load(std::memory_order_relaxed))
        keptByItems = KeepIfAlive(*controller);
    incoming.push_back(std::move(item));
    hasIncoming.store(true, std::memory_order_relaxed);
    if (std::exchange(threadSleeps, false))
        queueChanged.notify_one();
}

void DomainController::Implementation::Absorb() {
    auto const first = pending.size();
    {
        std::lock_guard const guard(queueMutex);
        if (first == 0)
            pending.swap(incoming);
        else
            std::move(incoming.begin(), incoming.end(), std::back_inserter(pending));
        incoming.clear();
        if (keptByItems)
            kept = std::move(keptByItems);
        hasIncoming.store(false, std::memory_order_relaxed);
    }
    DropReplaced(first);
}

void DomainController::Implementation::DropReplaced(std::size_t first) {
    for (auto i = first; i != pending.size(); ++i) {
        Item& newer = pending[i];
        newer.avoidsMultiple = newer.command && newer.command->AvoidMultipleInQueue();
        if (!newer.avoidsMultiple)
            continue;
        for (auto j = next; j != i; ++j) {
            Item& older = pending[j];
            if (older.command && !older.dropped && newer.command->IsAnotherAlreadyInQueue(older.command))
                older.dropped = true;
        }
    }
}

void DomainController::Implementation::RunPending() noexcept {
    // Those that waited for readers go first; they have waited longest.
    if (!deferred.empty() && (stop || !lock.AreReadersWaiting())) {
        pending.insert(pending.begin() + static_cast<std::ptrdiff_t>(next), std::make_move_iterator(deferred.begin()),
                       std::make_move_iterator(deferred.end()));
        deferred.clear();
    }
    unsigned run = 0;
    std::chrono::steady_clock::time_point heldSince{};
    while (next < pending.size()) {
        // A command that replaces others may wait among the newest.
        if (pending[next].avoidsMultiple && hasIncoming.load(std::memory_order_relaxed))
            Absorb();
        Item item = std::move(pending[next++]);
        if (MustDefer(item)) {
            deferred.push_back(std::move(item));
            continue;
        }
        RunItem(item);
        bool const isLong = ++run == c_longestRun;
        if (isLong) {
            HandOver();
            run = 0;
        }
        if (!lock.AreReadersWaiting()) {
            heldSince = {};
            continue;
        }
        auto const now = std::chrono::steady_clock::now();
        if (heldSince == std::chrono::steady_clock::time_point{})
            heldSince = now;
        if (isLong || now - heldSince > c_longestHold) {
            HandOver();
            lock.ReleaseWriting();
            lock.AcquireWriting();
            heldSince = {};
        }
    }
    pending.clear();
    next = 0;
    hasDeferred = !deferred.empty();
}

bool DomainController::Implementation::MustDefer(Item const& item) const {
    if (!item.command || item.command->GetFamily() != DomainCommand::Family::BackgroundTask) [[likely]]
        return false;
    auto const* const task = Kernel::CastPointer<BackgroundTaskCommand>(item.command.get());
    return hasThread && !stop && lock.AreReadersWaiting() && task->ShouldBeDeferredIfReading();
}

void DomainController::Implementation::RunItem(Item& item) noexcept {
    std::exception_ptr error;
    auto const told = outgoing.size();
    OwnDevices const devices(*this);
    try {
        if (item.dropped)
            throw Kernel::AbortException();
        if (item.step != nullptr)
            item.step(*controller, item.argument, outgoing);
        else
            RunCommand(std::move(item.command));
    } catch (...) {
        error = std::current_exception();
    }
    if (directDelivery.load(std::memory_order_relaxed) || !delivery.HasListeners())
        HandOver();
    else if (delivery.HasFrontEnd()) [[unlikely]]
        DeliverCritical(told);
    if (item.waiter != nullptr || item.completion != nullptr || error != nullptr) [[unlikely]]
        Complete(item, error);
}

void DomainController::Implementation::RunCommand(Kernel::Counted<DomainCommand>&& command) {
    if (!command)
        throw Kernel::Exception("there is no command to run");
    progressCommand = nullptr;
    if (command->GetFamily() == DomainCommand::Family::BackgroundTask) [[unlikely]]
        RunBackgroundTask(std::move(command));
    else
        controller->Execute(std::move(command), outgoing);
}

void DomainController::Implementation::RunBackgroundTask(Kernel::Counted<DomainCommand>&& command) {
    auto const task = Kernel::Cast<BackgroundTaskCommand>(command);
    bool const occupied = next < pending.size() || hasIncoming.load(std::memory_order_relaxed);
    if (occupied && task->CanIgnoreIfQueueOccupied())
        throw Kernel::AbortException();
    struct Abortable {
        Abortable(Implementation& which, BackgroundTaskCommand& what) : domain(which), command(what) {
            std::atomic_ref(domain.abortTask).store(false);
            command.SetAbortPointer(&domain.abortTask);
            domain.readersAbortTask = command.ShouldAbortForReader();
            // A reader that began to wait before has not seen that it may abort the task.
            if (domain.lock.AreReadersWaiting())
                domain.AbortTaskForReader();
        }
        ~Abortable() {
            domain.readersAbortTask = false;
            command.SetAbortPointer(nullptr);
        }
        Implementation& domain;
        BackgroundTaskCommand& command;
    } const abortable(*this, *task);
    controller->Execute(std::move(command), outgoing);
}

void DomainController::Implementation::AbortTaskForReader() noexcept {
    if (readersAbortTask)
        std::atomic_ref(abortTask).store(true);
}

void DomainController::Implementation::Complete(Item& item, std::exception_ptr const& error) noexcept {
    if (item.waiter != nullptr) {
        item.waiter->Finish(error);
        return;
    }
    if (item.completion == nullptr) {
        Log(error);
        return;
    }
    if (!kept)
        kept = KeepIfAlive(*controller);
    lock.ReleaseWriting();
    try {
        (*item.completion)(error);
    } catch (...) {
        Log(std::current_exception());
    }
    lock.AcquireWriting();
}

void DomainController::Implementation::HandOver() {
    if (outgoing.empty())
        return;
    if (!delivery.HasListeners())
        outgoing.clear();
    else if (directDelivery.load(std::memory_order_relaxed) || !hasThread.load(std::memory_order_relaxed))
        DeliverDirectly();
    else
        delivery.Post(outgoing);
}

// The thread waits without the document, which the delivery needs.
void DomainController::Implementation::DeliverCritical(std::size_t first) noexcept {
    bool isCritical = false;
    for (auto i = std::min(first, outgoing.size()); i != outgoing.size() && !isCritical; ++i)
        isCritical = outgoing[i] && IsCriticalForFrontEnd(*outgoing[i]) && !IsLeftOutOfPreview(*outgoing[i]);
    if (!isCritical)
        return;
    HandOver();
    if (!hasThread.load(std::memory_order_relaxed))
        return;
    lock.ReleaseWriting();
    delivery.FlushForCommands();
    lock.AcquireWriting();
}

void DomainController::Implementation::DeliverDirectly() noexcept {
    Kernel::NotificationList batch;
    batch.swap(outgoing);
    PrepareBatch(batch);
    if (!kept)
        kept = KeepIfAlive(*controller);
    // Nobody else can write while this thread has the turn.
    lock.ReleaseWriting();
    for (auto const& notification : batch) {
        if (MustProcessUnlocked(*notification)) {
            lock.Release();
            delivery.Deliver(*notification);
            lock.Acquire();
            lock.ReleaseWriting();
        } else {
            delivery.Deliver(*notification);
        }
    }
    lock.AcquireWriting();
}

void DomainController::Implementation::EndTurn() noexcept {
    for (;;) {
        if (!outgoing.empty()) [[unlikely]]
            HandOver();
        if (!hasIncoming.load(std::memory_order_relaxed)) [[likely]]
            break;
        Absorb();
        RunPending();
    }
    // May be the last one: nothing of this object is touched after it.
    auto const last = std::move(kept);
    lock.Release();
}

void DomainController::Implementation::StartThreads() {
    stop = false;
    delivery.StartThread(shared_from_this());
    hasThread = true;
    thread = std::thread([self = shared_from_this()] { self->RunThread(); });
}

void DomainController::Implementation::StopThreads() {
    if (lock.IsOwnedByThisThread() || lock.IsReadByThisThread())
        throw Kernel::Exception("the domain thread cannot be ended by a command or a reader of its document");
    {
        std::lock_guard const guard(queueMutex);
        stop = true;
    }
    queueChanged.notify_one();
    if (thread.get_id() == std::this_thread::get_id()) {
        // The last reference to the controller went with something that this thread dropped.
        thread.detach();
    } else {
        thread.join();
    }
    {
        // Commands that were queued while the thread ended.
        Turn const turn(*this);
        Absorb();
        RunPending();
        HandOver();
    }
    delivery.StopThread();
    hasThread = false;
}

void DomainController::Implementation::RunThread() {
    while (WaitForItems()) {
        lock.Acquire();
        Absorb();
        RunPending();
        HandOver();
        // May be the last one, and the controller's end come here. Tasks that wait for readers keep it.
        Kernel::Counted<DomainController> last;
        if (deferred.empty())
            last = std::move(kept);
        lock.Release();
    }
}

bool DomainController::Implementation::WaitForItems() {
    std::unique_lock guard(queueMutex);
    for (;;) {
        if (!incoming.empty() || (!deferred.empty() && (stop || !lock.HasReaders())))
            return true;
        if (stop)
            return false;
        threadSleeps = true;
        queueChanged.wait(guard);
        threadSleeps = false;
    }
}

void DomainController::Implementation::WakeDeferred() {
    if (!hasDeferred)
        return;
    // Under the mutex, so that the thread is not between its look at the readers and its wait.
    std::lock_guard const guard(queueMutex);
    queueChanged.notify_one();
}
