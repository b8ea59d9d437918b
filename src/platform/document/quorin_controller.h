// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/export.h"
#include "platform/raster/resampler_type.h"

#include <atomic>
#include <memory>

class NotificationListener;
namespace Kernel {
class Notification;
}

// The application: settings of the user that hold for all documents of the process, and reports that belong to none.
class REDRAFT_ENGINE QuorinController {
public:
    static QuorinController& GetInstance();
    virtual ~QuorinController();

    // Gives a notification to all listeners now, on this thread. Any thread may call, one that runs a command too.
    virtual void SendNotification(Kernel::Counted<Kernel::Notification> notification);
    // The listener is called from now on, by one thread at a time, and not any more when RemoveListener has returned.
    // It does not add or remove listeners while it is called. What it throws is logged. Not owned.
    void AddListener(NotificationListener* listener);
    void RemoveListener(NotificationListener* listener);

    // How bitmaps are drawn larger than they are.
    Raster::ResamplerType GetUpViewResamplerType() const { return m_upViewResampler.load(std::memory_order_relaxed); }
    void SetUpViewResamplerType(Raster::ResamplerType type) {
        m_upViewResampler.store(type, std::memory_order_relaxed);
    }

private:
    QuorinController();

    std::atomic<Raster::ResamplerType> m_upViewResampler{Raster::ResamplerType::Bilinear};
    struct Listeners;
    std::unique_ptr<Listeners> m_listeners;
};
