// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/document/session/domain_lock.h"
#include "engine/document/session/notification_delivery.h"
#include "platform/document/background_task_command.h"
#include "platform/raster/hardware_devices.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// The queue of a domain and the threads that work it off. It may outlive its controller for a moment, while its own
// threads end.
struct DomainController::Implementation : std::enable_shared_from_this<DomainController::Implementation> {
    // Someone who waits for an item on another thread.
    struct Waiter {
        std::mutex mutex;
        std::condition_variable changed;
        std::exception_ptr error;
        bool done = false;

        void Finish(std::exception_ptr what) noexcept;
        // Throws what ended the item.
        void Wait();
    };

    // A command, or a step of the controller's own.
    struct Item {
        Kernel::Counted<DomainCommand> command;
        Step step = nullptr;
        std::uintptr_t argument = 0;
        Waiter* waiter = nullptr;
        std::unique_ptr<Completion> completion;
        bool avoidsMultiple = false;
        bool dropped = false;
    };

    // While it lives, work of this thread may go to the domain's devices.
    class OwnDevices {
    public:
        explicit OwnDevices(Implementation& domain) {
            if (domain.hasHardware.load(std::memory_order_acquire)) [[unlikely]] {
                std::lock_guard const hold(domain.queueMutex);
                m_session.emplace(domain.hardware);
            }
        }

    private:
        std::optional<Raster::HardwareDevicesSession> m_session;
    };

    // Has the turn and the writing from construction to destruction. Its end runs what was queued meanwhile on this
    // thread, and delivers.
    class Turn {
    public:
        explicit Turn(Implementation& domain) : m_domain(domain) { domain.lock.Acquire(); }
        Turn(Turn const&) = delete;
        Turn& operator=(Turn const&) = delete;
        ~Turn() { m_domain.EndTurn(); }

    private:
        Implementation& m_domain;
    };

    explicit Implementation(DomainController* owner) : controller(owner), delivery(lock, *owner) {}

    void Queue(Item&& item);
    void QueueAndWait(Item&& item);
    void Push(Item&& item);
    // Takes new items over from the producers.
    void Absorb();
    // Items behind `first` take those in front of them out of the queue that they replace.
    void DropReplaced(std::size_t first);
    void RunPending() noexcept;
    void RunItem(Item& item) noexcept;
    void RunCommand(Kernel::Counted<DomainCommand>&& command);
    void RunBackgroundTask(Kernel::Counted<DomainCommand>&& command);
    // Whether the item has to wait until readers have left.
    bool MustDefer(Item const& item) const;
    void Complete(Item& item, std::exception_ptr const& error) noexcept;
    void EndTurn() noexcept;
    // Gives the notifications of finished commands to the delivery.
    void HandOver();
    void DeliverDirectly() noexcept;
    // Has the front end process at once what is critical for it among the outgoing notifications from `first` on, and
    // all before it.
    void DeliverCritical(std::size_t first) noexcept;

    void StartThreads();
    void StopThreads();
    void RunThread();
    // False: the thread is to end.
    bool WaitForItems();
    void AbortTaskForReader() noexcept;
    // To be called when a reader has left.
    void WakeDeferred();

    DomainController* const controller;
    DomainLock lock;
    NotificationDelivery delivery;

    // Shared by producers.
    std::mutex queueMutex;
    std::condition_variable queueChanged;
    std::vector<Item> incoming;
    std::atomic<bool> hasIncoming{false};
    // Keeps the controller while items wait for the domain thread.
    Kernel::Counted<DomainController> keptByItems;
    bool threadSleeps = false;
    bool stop = false;
    std::atomic<bool> hasThread{false};
    std::thread thread;

    // Owned by the thread that has the turn.
    std::vector<Item> pending;
    std::size_t next = 0;
    // Tasks that wait for readers to leave.
    std::vector<Item> deferred;
    Kernel::NotificationList outgoing;
    std::atomic<bool> directDelivery{false};
    // Keeps the controller while what this turn runs may drop the last reference to it. Dropped after the turn.
    Kernel::Counted<DomainController> kept;

    // A background task runs that gives way to readers, and its flag.
    std::atomic<bool> readersAbortTask{false};
    bool abortTask = false;
    std::atomic<bool> hasDeferred{false};

    // Guarded by queueMutex, but for the question whether there are any.
    Kernel::Counted<Raster::HardwareDevices const> hardware;
    std::atomic<bool> hasHardware{false};

    std::atomic<DomainClock const*> clock{nullptr};
    std::atomic<ProgressListener*> progressListener{nullptr};
    // Workers of one command report at the same time.
    std::mutex progressMutex;
    DomainCommand const* progressCommand = nullptr;
    std::int64_t lastProgress = 0;
};
