// SPDX-License-Identifier: Apache-2.0
#include "platform/document/domain_controller.h"

#include "engine/document/session/domain_controller_implementation.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>
#include <ctime>

ProgressListener::~ProgressListener() = default;
DomainClock::~DomainClock() = default;

namespace {

// Ticks of a few milliseconds are fine enough for merges and progress, at a fifth of the price of an exact time.
std::int64_t GetSystemMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

} // namespace

DomainController::DomainController() : m_implementation(std::make_shared<Implementation>(this)) {}

DomainController::~DomainController() { StopThread(); }

void DomainController::StartThread() {
    if (HasThread())
        return;
    m_implementation->StartThreads();
}

void DomainController::StopThread() {
    auto const keep = KeepIfAlive(*this);
    if (HasThread())
        m_implementation->StopThreads();
}

bool DomainController::HasThread() const noexcept {
    return m_implementation->hasThread.load(std::memory_order_acquire);
}

void DomainController::Queue(Kernel::Counted<DomainCommand> command, Completion completion) {
    Implementation::Item item;
    item.command = std::move(command);
    if (completion)
        item.completion = std::make_unique<Completion>(std::move(completion));
    m_implementation->Queue(std::move(item));
}

void DomainController::QueueStep(Step step, std::uintptr_t argument, Completion completion) {
    Implementation::Item item;
    item.step = step;
    item.argument = argument;
    if (completion)
        item.completion = std::make_unique<Completion>(std::move(completion));
    m_implementation->Queue(std::move(item));
}

void DomainController::Run(Kernel::Counted<DomainCommand> command) {
    auto& domain = *m_implementation;
    if (HasThread()) {
        Implementation::Item item;
        item.command = std::move(command);
        domain.QueueAndWait(std::move(item));
        return;
    }
    Implementation::Turn const turn(domain);
    Implementation::OwnDevices const devices(domain);
    domain.RunCommand(std::move(command));
}

void DomainController::RunStep(Step step, std::uintptr_t argument) {
    auto& domain = *m_implementation;
    if (HasThread()) {
        Implementation::Item item;
        item.step = step;
        item.argument = argument;
        domain.QueueAndWait(std::move(item));
        return;
    }
    Implementation::Turn const turn(domain);
    Implementation::OwnDevices const devices(domain);
    step(*this, argument, domain.outgoing);
}

void DomainController::RunExclusive(std::function<void()> const& work) const {
    auto& lock = m_implementation->lock;
    if (!lock.IsOwnedByThisThread()) {
        auto const call = [](DomainController&, std::uintptr_t argument, Kernel::NotificationList&) {
            (*reinterpret_cast<std::function<void()> const*>(argument))();
        };
        const_cast<DomainController*>(this)->RunStep(call, reinterpret_cast<std::uintptr_t>(&work));
        return;
    }
    // In an unlock session, or while notifications are delivered here, this thread has the turn without the writing.
    bool const takes = !lock.IsWriting();
    struct Writing {
        Writing(DomainLock* which) : lock(which) {
            if (lock != nullptr)
                lock->AcquireWriting();
        }
        ~Writing() {
            if (lock != nullptr)
                lock->ReleaseWriting();
        }
        DomainLock* lock;
    } const writing(takes ? &lock : nullptr);
    work();
}

bool DomainController::IsRunningHere() const noexcept { return m_implementation->lock.IsOwnedByThisThread(); }

void DomainController::Flush() {
    auto& domain = *m_implementation;
    if (!HasThread())
        return;
    if (domain.delivery.IsThisThread())
        throw Kernel::Exception("a listener cannot wait for the delivery that calls it");
    RunStep([](DomainController& controller, std::uintptr_t,
               Kernel::NotificationList&) { controller.m_implementation->HandOver(); },
            0);
    domain.delivery.Flush();
}

void DomainController::AddListener(NotificationListener* listener) { m_implementation->delivery.AddListener(listener); }

void DomainController::RemoveListener(NotificationListener* listener) {
    m_implementation->delivery.RemoveListener(listener);
}

void DomainController::SetProgressListener(ProgressListener* listener) {
    m_implementation->progressListener = listener;
}

void DomainController::SetDirectDelivery(bool direct) {
    auto& domain = *m_implementation;
    // Notifications that were posted before go out before those that are delivered directly.
    if (direct && HasThread() && !IsRunningHere())
        Flush();
    domain.directDelivery = direct;
}

void DomainController::SendNotification(Kernel::Counted<Kernel::Notification> notification) {
    if (!notification || IsLeftOutOfPreview(*notification))
        return;
    auto const keep = KeepIfAlive(*this);
    auto& delivery = m_implementation->delivery;
    if (MustProcessUnlocked(*notification)) {
        delivery.Deliver(*notification);
        return;
    }
    auto const session = LockForReading();
    delivery.Deliver(*notification);
}

void DomainController::UpdateProgress(Kernel::Counted<DomainCommand const> command, float fraction) {
    auto& domain = *m_implementation;
    auto* const listener = domain.progressListener.load();
    if (listener == nullptr || !command)
        return;
    std::lock_guard const lock(domain.progressMutex);
    auto const now = GetMilliseconds();
    bool const first = domain.progressCommand != command.get();
    if (!first && fraction < 1 && now - domain.lastProgress < command->GetProgressInterval())
        return;
    domain.progressCommand = command.get();
    domain.lastProgress = now;
    listener->Progress(*command, std::isnan(fraction) ? 0.f : std::clamp(fraction, 0.f, 1.f));
}

bool DomainController::IsReaderWaiting() const noexcept { return m_implementation->lock.AreReadersWaiting(); }

void DomainController::SetHardware(Kernel::Counted<Raster::HardwareDevices const> devices) {
    auto& domain = *m_implementation;
    std::lock_guard const lock(domain.queueMutex);
    domain.hasHardware = bool(devices);
    domain.hardware = std::move(devices);
}

void DomainController::SetClock(DomainClock const* clock) { m_implementation->clock = clock; }

std::int64_t DomainController::GetMilliseconds() const {
    auto const* const clock = m_implementation->clock.load(std::memory_order_relaxed);
    return clock == nullptr ? GetSystemMilliseconds() : clock->GetMilliseconds();
}

DomainReaderSession::DomainReaderSession(DomainController const& controller) {
    auto& domain = *controller.m_implementation;
    if (domain.lock.IsOwnedByThisThread())
        return;
    if (domain.lock.IsWriting())
        domain.AbortTaskForReader();
    domain.lock.AcquireShared();
    m_controller = Kernel::Counted<DomainController const>(&controller);
}

DomainReaderSession::~DomainReaderSession() {
    if (!m_controller)
        return;
    auto& domain = *m_controller->m_implementation;
    domain.lock.ReleaseShared();
    domain.WakeDeferred();
}

DomainWriterUnlockSession::DomainWriterUnlockSession(Kernel::Counted<DomainController> controller)
    : m_controller(std::move(controller)) {
    if (!m_controller)
        return;
    auto& domain = *m_controller->m_implementation;
    if (!domain.lock.IsOwnedByThisThread() || !domain.lock.IsWriting())
        return;
    // The notifications of earlier commands of the run can be delivered now.
    domain.HandOver();
    domain.lock.ReleaseWriting();
    m_released = true;
}

DomainWriterUnlockSession::~DomainWriterUnlockSession() { Acquire(); }

void DomainWriterUnlockSession::Acquire() {
    if (!m_released)
        return;
    m_controller->m_implementation->lock.AcquireWriting();
    m_released = false;
}
