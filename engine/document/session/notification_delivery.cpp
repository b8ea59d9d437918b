// SPDX-License-Identifier: Apache-2.0
#include "engine/document/session/notification_delivery.h"

#include "platform/document/document_notification.h"
#include "platform/document/front_end_listener.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/trace.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <unordered_map>

NotificationListener::~NotificationListener() = default;
FrontEndListener::~FrontEndListener() = default;

namespace {

// Readers and the domain thread take turns in steps of this length, so that neither waits long for the other and
// neither pays for a change of hands at each notification.
constexpr auto c_longestReading = std::chrono::milliseconds(2);

// Where the newest notification of each dedupe id stands in a batch. Ids are small numbers.
class NewestById {
public:
    // The place of the newest one so far, or `none`; the new one's place is kept instead.
    std::size_t& operator[](int id) {
        if (id < c_small)
            return m_small[static_cast<std::size_t>(id)];
        return m_others.try_emplace(id, c_none).first->second;
    }
    static constexpr std::size_t c_none = SIZE_MAX;

private:
    static constexpr int c_small = 64;
    static constexpr std::array<std::size_t, c_small> MakeEmpty() {
        std::array<std::size_t, c_small> empty{};
        empty.fill(c_none);
        return empty;
    }
    std::array<std::size_t, c_small> m_small = MakeEmpty();
    std::unordered_map<int, std::size_t> m_others;
};

// A notification that cannot be merged is delivered by itself: none is ever lost.
Kernel::Counted<Kernel::Notification> MergeOrNone(Kernel::Counted<Kernel::Notification> const& older,
                                                  Kernel::Counted<Kernel::Notification> const& newer) {
    try {
        return older->Merge(newer);
    } catch (std::exception const& error) {
        Kernel::Trace::Write(std::string("Merging notifications failed: ") + error.what() + "\r\n");
        return {};
    }
}

} // namespace

Kernel::Counted<DomainController> KeepIfAlive(DomainController& controller) noexcept {
    if (!controller.GetControlBlock()->TryAcquireStrong())
        return {};
    return Kernel::Counted<DomainController>::Adopt(&controller);
}

bool IsLeftOutOfPreview(Kernel::Notification& notification) {
    auto* const about = Kernel::CastPointer<DocumentNotification>(&notification);
    return about != nullptr && about->IsPreview() && !about->RequiredForPreviewing();
}

bool IsCriticalForFrontEnd(Kernel::Notification& notification) {
    auto* const about = Kernel::CastPointer<DocumentNotification>(&notification);
    return about != nullptr && about->FrontEndProcessingTimeIsCritical() && about->ShouldForwardToFrontEnd();
}

// A preview's notification is left out before it could merge with that of a real change.
void PrepareBatch(Kernel::NotificationList& batch) {
    NewestById newest;
    std::size_t kept = 0;
    for (auto& notification : batch) {
        if (!notification || IsLeftOutOfPreview(*notification))
            continue;
        int const id = notification->GetDedupeId();
        if (id > 0) {
            std::size_t& place = newest[id];
            if (place != NewestById::c_none) {
                if (auto merged = MergeOrNone(batch[place], notification)) {
                    batch[place] = std::move(merged);
                    continue;
                }
            }
            place = kept;
        }
        if (&batch[kept] != &notification)
            batch[kept] = std::move(notification);
        ++kept;
    }
    batch.resize(kept);
}

bool MustProcessUnlocked(Kernel::Notification& notification) {
    auto* const about = Kernel::CastPointer<DocumentNotification>(&notification);
    return about != nullptr && about->MustProcessWithoutDocumentLock();
}

void NotificationDelivery::AddListener(NotificationListener* listener) {
    std::lock_guard const lock(m_listenerMutex);
    bool const isFrontEnd = dynamic_cast<FrontEndListener*>(listener) != nullptr;
    m_listeners.push_back({listener, isFrontEnd});
    ++m_listenerCount;
    m_frontEndCount += isFrontEnd;
}

void NotificationDelivery::RemoveListener(NotificationListener* listener) {
    std::lock_guard const lock(m_listenerMutex);
    auto const found = std::find_if(m_listeners.begin(), m_listeners.end(),
                                    [&](Entry const& entry) { return entry.listener == listener; });
    if (listener == nullptr || found == m_listeners.end())
        return;
    --m_listenerCount;
    m_frontEndCount -= found->isFrontEnd;
    // A delivery that is under way on this thread still walks the list.
    if (m_depth != 0)
        found->listener = nullptr;
    else
        m_listeners.erase(found);
}

void NotificationDelivery::Deliver(Kernel::Notification& notification) {
    if (!HasListeners())
        return;
    std::lock_guard const lock(m_listenerMutex);
    ++m_depth;
    bool const isForwarded = !HasFrontEnd() || notification.ShouldForwardToFrontEnd();
    for (std::size_t i = 0; i < m_listeners.size(); ++i) {
        Entry const entry = m_listeners[i];
        if (entry.listener == nullptr || (entry.isFrontEnd && !isForwarded))
            continue;
        try {
            entry.listener->Receive(notification);
        } catch (std::exception const& error) {
            Kernel::Trace::Write(std::string("A notification listener failed: ") + error.what() + "\r\n");
        }
    }
    if (--m_depth == 0)
        std::erase_if(m_listeners, [](Entry const& entry) { return entry.listener == nullptr; });
}

void NotificationDelivery::StartThread(std::shared_ptr<void> keep) {
    m_stop = false;
    m_thread = std::thread([this, kept = std::move(keep)] { Work(); });
}

void NotificationDelivery::StopThread() {
    {
        std::lock_guard const lock(m_mutex);
        m_stop = true;
    }
    m_posted.notify_one();
    if (IsThisThread()) {
        // The last reference to the controller went with something that this thread dropped.
        while (DeliverWaiting()) {
        }
        m_thread.detach();
    } else if (m_thread.joinable()) {
        m_thread.join();
    }
}

void NotificationDelivery::Post(Kernel::NotificationList& notifications) {
    if (notifications.empty())
        return;
    bool wake = false;
    {
        std::lock_guard const lock(m_mutex);
        m_postedCount += notifications.size();
        if (m_waiting.empty())
            m_waiting.swap(notifications);
        else
            std::move(notifications.begin(), notifications.end(), std::back_inserter(m_waiting));
        wake = std::exchange(m_idle, false);
    }
    notifications.clear();
    if (wake)
        m_posted.notify_one();
}

void NotificationDelivery::Flush() {
    std::unique_lock lock(m_mutex);
    auto const target = m_postedCount;
    m_delivered.wait(lock, [&] { return m_deliveredCount >= target || !m_thread.joinable(); });
}

void NotificationDelivery::FlushForCommands() {
    std::unique_lock lock(m_mutex);
    auto const target = m_postedCount;
    m_delivered.wait(lock, [&] { return m_deliveredCount >= target || m_waitsForCommand; });
}

void NotificationDelivery::SetWaiting(bool waits) {
    if (!IsThisThread())
        return;
    std::lock_guard const lock(m_mutex);
    m_waitsForCommand = waits;
    m_delivered.notify_all();
}

void NotificationDelivery::Work() {
    do {
        std::unique_lock lock(m_mutex);
        m_idle = true;
        m_posted.wait(lock, [this] { return m_stop || !m_waiting.empty(); });
        m_idle = false;
    } while (DeliverWaiting());
}

// With the last notification may go the last reference to the controller, whose end then comes on this thread.
bool NotificationDelivery::DeliverWaiting() {
    Kernel::NotificationList batch;
    {
        std::lock_guard const lock(m_mutex);
        batch.swap(m_waiting);
    }
    if (batch.empty())
        return false;
    auto const count = batch.size();
    PrepareBatch(batch);
    DeliverBatch(batch);
    std::lock_guard const lock(m_mutex);
    m_deliveredCount += count;
    m_delivered.notify_all();
    return true;
}

void NotificationDelivery::DeliverBatch(Kernel::NotificationList const& batch) {
    if (!HasListeners())
        return;
    // Goes after the lock. Empty while the controller's end waits for this thread.
    auto const keep = KeepIfAlive(m_owner);
    bool locked = false;
    std::chrono::steady_clock::time_point lockedAt;
    auto const setLocked = [&](bool wanted) {
        if (locked == wanted)
            return;
        if (wanted) {
            m_lock.AcquireShared();
            lockedAt = std::chrono::steady_clock::now();
        } else {
            m_lock.ReleaseShared();
        }
        locked = wanted;
    };
    for (auto const& notification : batch) {
        if (locked && m_lock.IsWriterWaiting() && std::chrono::steady_clock::now() - lockedAt > c_longestReading)
            setLocked(false);
        setLocked(!MustProcessUnlocked(*notification));
        Deliver(*notification);
    }
    setLocked(false);
}
