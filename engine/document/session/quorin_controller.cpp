// SPDX-License-Identifier: Apache-2.0
#include "platform/document/quorin_controller.h"

#include "platform/document/domain_controller.h"
#include "platform/kernel/trace.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

struct QuorinController::Listeners {
    std::mutex mutex;
    std::vector<NotificationListener*> list;
};

QuorinController& QuorinController::GetInstance() {
    static QuorinController s_controller;
    return s_controller;
}

QuorinController::QuorinController() : m_listeners(std::make_unique<Listeners>()) {}

QuorinController::~QuorinController() = default;

void QuorinController::SendNotification(Kernel::Counted<Kernel::Notification> notification) {
    std::lock_guard const lock(m_listeners->mutex);
    for (auto* const listener : m_listeners->list) {
        try {
            listener->Receive(*notification);
        } catch (std::exception const& error) {
            Kernel::Trace::Write(std::string("A notification listener failed: ") + error.what() + "\r\n");
        }
    }
}

void QuorinController::AddListener(NotificationListener* listener) {
    std::lock_guard const lock(m_listeners->mutex);
    m_listeners->list.push_back(listener);
}

void QuorinController::RemoveListener(NotificationListener* listener) {
    std::lock_guard const lock(m_listeners->mutex);
    std::erase(m_listeners->list, listener);
}
