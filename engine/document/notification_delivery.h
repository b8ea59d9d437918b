// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/document/domain_lock.h"
#include "platform/document/domain_controller.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// A reference for as long as a call may drop the others; empty when the controller's end has begun.
Kernel::Counted<DomainController> KeepIfAlive(DomainController& controller) noexcept;

// Merges what may be merged in a batch, in place and keeping the order. See DomainController.
void DeduplicateNotifications(Kernel::NotificationList& batch);

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

    // `keep` keeps this object alive for the thread. Stopping delivers first what is there.
    void StartThread(std::shared_ptr<void> keep);
    void StopThread();
    // Gives notifications to the thread and empties the list.
    void Post(Kernel::NotificationList& notifications);
    // Returns when all that was posted before has been delivered.
    void Flush();
    bool IsThisThread() const noexcept { return m_thread.get_id() == std::this_thread::get_id(); }

    // Calls the listeners, on this thread, whatever the lock is. The caller keeps the owner.
    void Deliver(Kernel::Notification& notification);

private:
    void Work();
    // Delivers what waits, as one batch. False: nothing does.
    bool DeliverWaiting();
    void DeliverBatch(Kernel::NotificationList const& batch);

    DomainLock& m_lock;
    DomainController& m_owner;

    // Held while listeners are called. A listener may add and remove listeners.
    std::recursive_mutex m_listenerMutex;
    std::vector<NotificationListener*> m_listeners;
    std::atomic<std::size_t> m_listenerCount{0};
    unsigned m_depth = 0;

    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::condition_variable m_delivered;
    Kernel::NotificationList m_waiting;
    std::uint64_t m_postedCount = 0;
    std::uint64_t m_deliveredCount = 0;
    bool m_idle = false;
    bool m_stop = false;
    std::thread m_thread;
};
