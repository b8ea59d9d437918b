// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/document/session/domain_lock.h"
#include "platform/document/domain_controller.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// A reference for as long as a call may drop the others; empty when the controller's end has begun.
Kernel::Counted<DomainController> KeepIfAlive(DomainController& controller) noexcept;

// Reduces a batch, in place and in its order, to the notifications that are delivered: those that previews do not
// require are taken out, and those that may be merged are merged. See DomainController.
void PrepareBatch(Kernel::NotificationList& batch);

// Whether a preview does without this notification.
bool IsLeftOutOfPreview(Kernel::Notification& notification);

// Whether the front end must have processed this notification before the next command runs.
bool IsCriticalForFrontEnd(Kernel::Notification& notification);

// Whether a notification asks to be processed without the document lock.
bool MustProcessUnlocked(Kernel::Notification& notification);

// Brings notifications to the listeners of one domain: on its own thread, or on the caller's.
class NotificationDelivery {
public:
    // `owner` is whose notifications these are: listeners may drop the last reference to it.
    NotificationDelivery(DomainLock& lock, DomainController& owner) : m_lock(lock), m_owner(owner) {}
    NotificationDelivery(NotificationDelivery const&) = delete;
    NotificationDelivery& operator=(NotificationDelivery const&) = delete;

    void AddListener(NotificationListener* listener);
    void RemoveListener(NotificationListener* listener);
    bool HasListeners() const noexcept { return m_listenerCount.load(std::memory_order_relaxed) != 0; }
    bool HasFrontEnd() const noexcept { return m_frontEndCount.load(std::memory_order_relaxed) != 0; }

    // `keep` keeps this object alive for the thread. Stopping delivers first what is there.
    void StartThread(std::shared_ptr<void> keep);
    void StopThread();
    // Gives notifications to the thread and empties the list.
    void Post(Kernel::NotificationList& notifications);
    // Returns when all that was posted before has been delivered.
    void Flush();
    // The same for the thread that runs commands, which must not wait for a listener that waits for a command: returns
    // early then.
    void FlushForCommands();
    // A listener on the delivery's thread waits for a command from construction to destruction.
    class WaitsForCommand {
    public:
        explicit WaitsForCommand(NotificationDelivery& delivery) : m_delivery(delivery) { m_delivery.SetWaiting(true); }
        WaitsForCommand(WaitsForCommand const&) = delete;
        WaitsForCommand& operator=(WaitsForCommand const&) = delete;
        ~WaitsForCommand() { m_delivery.SetWaiting(false); }

    private:
        NotificationDelivery& m_delivery;
    };
    bool IsThisThread() const noexcept { return m_thread.get_id() == std::this_thread::get_id(); }

    // Calls the listeners, on this thread, whatever the lock is. The caller keeps the owner.
    void Deliver(Kernel::Notification& notification);

private:
    void SetWaiting(bool waits);
    void Work();
    // Delivers what waits, as one batch. False: nothing does.
    bool DeliverWaiting();
    void DeliverBatch(Kernel::NotificationList const& batch);

    DomainLock& m_lock;
    DomainController& m_owner;

    // Held while listeners are called. A listener may add and remove listeners.
    std::recursive_mutex m_listenerMutex;
    struct Entry {
        // Null: removed while the list was walked.
        NotificationListener* listener;
        bool isFrontEnd;
    };
    std::vector<Entry> m_listeners;
    std::atomic<std::size_t> m_listenerCount{0};
    std::atomic<std::size_t> m_frontEndCount{0};
    unsigned m_depth = 0;

    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::condition_variable m_delivered;
    Kernel::NotificationList m_waiting;
    std::uint64_t m_postedCount = 0;
    std::uint64_t m_deliveredCount = 0;
    bool m_idle = false;
    bool m_stop = false;
    bool m_waitsForCommand = false;
    std::thread m_thread;
};
