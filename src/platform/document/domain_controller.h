// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>

namespace Raster {
class HardwareDevices;
}

// Listens to what commands change. Called by the delivery thread, or by the thread that runs commands when delivery is
// direct; by one thread at a time. The document does not change during the call, except for notifications that ask to
// be processed without the document lock. A listener may queue commands and read the document; it cannot wait for a
// command. What it throws is logged and goes no further.
class REDRAFT_ENGINE NotificationListener {
public:
    virtual ~NotificationListener();
    virtual void Receive(Kernel::NonCounted<Kernel::Notification> notification) = 0;
};

// Shows the progress of a long command.
class REDRAFT_ENGINE ProgressListener {
public:
    virtual ~ProgressListener();
    // `fraction` is from 0 to 1. Called by the thread that runs the command or by one that works for it, by one at a
    // time; workers that finish together may report a smaller fraction after a larger. The command may be aborted
    // through its abort pointer.
    virtual void Progress(DomainCommand const& command, float fraction) = 0;
};

// The time that merges and progress reports are measured by.
class REDRAFT_ENGINE DomainClock {
public:
    virtual ~DomainClock();
    // Since any moment; never goes back.
    virtual std::int64_t GetMilliseconds() const = 0;
};

class DomainController;

// A reader's hold on the document, from construction to destruction, on one thread. Commands wait for its end.
class REDRAFT_ENGINE DomainReaderSession {
public:
    explicit DomainReaderSession(DomainController const& controller);
    DomainReaderSession(DomainReaderSession const&) = delete;
    DomainReaderSession& operator=(DomainReaderSession const&) = delete;
    ~DomainReaderSession();

private:
    // Empty for the thread that runs commands: it reads by right.
    Kernel::Counted<DomainController const> m_controller;
};

// Runs the commands of one document, one at a time, in the order in which they were queued, each under the writer
// lock of the domain. Readers share the lock.
//
// Without a domain thread a queued command runs at once, on the calling thread; one that is queued while another runs
// on the same thread follows it. With a domain thread the caller goes on and the thread works the queue off, in runs of
// many commands under one hold of the lock; readers get in between.
//
// Notifications of commands go to a delivery thread when there is a domain thread. It takes all that is waiting as one
// batch. Within a batch, a notification with a dedupe id above 0 is offered to the one before it that has the same id:
// when the older one's Merge gives a result, the result stands in the older one's place and the newer is dropped.
class REDRAFT_ENGINE DomainController : public virtual Kernel::Countable {
public:
    DomainController();
    ~DomainController() override;

    // Starts and ends the domain thread. Ending waits until the queue is empty and all is delivered.
    void StartThread();
    void StopThread();
    bool HasThread() const noexcept;

    // Gives a command to the queue. `completion`, when there is one, is called after the command with the exception
    // that ended it, or with none; Kernel::AbortException for a command that was dropped from the queue. It is called
    // without the document lock, on the thread that runs commands, and cannot wait for a command. The exception of a
    // command without completion is logged.
    using Completion = std::function<void(std::exception_ptr)>;
    void Queue(Kernel::Counted<DomainCommand> command, Completion completion = {});
    // Queues a command and waits for its end; throws what the command threw. Throws Kernel::Exception where waiting
    // would never end: while a command of the domain runs on this thread, or this thread reads the document.
    void Run(Kernel::Counted<DomainCommand> command);
    // Returns when all that was queued before the call has run and been delivered.
    void Flush();

    // The listener is called from now on, and not any more when RemoveListener has returned. Not owned.
    void AddListener(NotificationListener* listener);
    void RemoveListener(NotificationListener* listener);
    // Null ends it. Not owned.
    void SetProgressListener(ProgressListener* listener);
    // True: notifications go to the listeners right after their command, on the thread that runs the commands. The
    // only way without a domain thread.
    void SetDirectDelivery(bool direct);
    // Delivers one notification outside any command, at once.
    void SendNotification(Kernel::Counted<Kernel::Notification> notification);

    // Reports a fraction of work to the front end, not more often than the command's progress interval.
    void UpdateProgress(Kernel::Counted<DomainCommand const> command, float fraction);

    // Readers go on during an unlock session and wait for the running command otherwise. A thread may hold several.
    [[nodiscard]] DomainReaderSession LockForReading() const { return DomainReaderSession(*this); }

    // True while a reader waits for the command that runs: a reason for long work to give way.
    bool IsReaderWaiting() const noexcept;

    // The devices that commands from the next on may work on pixels with; null, as at first: none. The domain owns
    // them, as pixels do that they hold.
    void SetHardware(Kernel::Counted<Raster::HardwareDevices const> devices);

    // Null: the system's. Not owned.
    void SetClock(DomainClock const* clock);

protected:
    // Runs one command to its end, under the writer lock: binding, Do, Notify, history. Throws what the command throws.
    virtual void Execute(Kernel::Counted<DomainCommand>&& command, Kernel::NotificationList& notifications) = 0;

    // A piece of the controller's own work that takes its turn in the queue like a command.
    using Step = void (*)(DomainController& controller, std::uintptr_t argument,
                          Kernel::NotificationList& notifications);
    void QueueStep(Step step, std::uintptr_t argument, Completion completion);
    void RunStep(Step step, std::uintptr_t argument);
    // Runs work under the writer lock, after what is queued, and waits for its end. At once where the caller runs
    // under the lock already.
    void RunExclusive(std::function<void()> const& work) const;
    // Whether this thread runs a command of the domain.
    bool IsRunningHere() const noexcept;
    std::int64_t GetMilliseconds() const;

private:
    friend class DomainReaderSession;
    friend class DomainWriterUnlockSession;
    struct Implementation;
    // Shared with the threads: either may be the last to let go.
    std::shared_ptr<Implementation> m_implementation;
};

// Gives up the domain's writer lock for the life of the object, so that readers go on during long work on copies.
// Other commands of the domain wait. Outside a command, and inside another session, it does nothing.
class REDRAFT_ENGINE DomainWriterUnlockSession {
public:
    explicit DomainWriterUnlockSession(Kernel::Counted<DomainController> controller);
    DomainWriterUnlockSession(DomainWriterUnlockSession const&) = delete;
    DomainWriterUnlockSession& operator=(DomainWriterUnlockSession const&) = delete;
    ~DomainWriterUnlockSession();
    // Takes the lock back early.
    void Acquire();

private:
    Kernel::Counted<DomainController> m_controller;
    bool m_released = false;
};
