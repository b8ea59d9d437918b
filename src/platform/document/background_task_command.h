// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"

// A task that is no part of the undo history and gives way to readers. What it answers here by default is true.
class REDRAFT_ENGINE DomainBackgroundTaskCommand : public Kernel::Abortable, public virtual Kernel::Countable {
public:
    // The queue gives the task its flag before it runs and takes it back afterwards. A task that sees it set ends with
    // Kernel::AbortException.
    void SetAbortPointer(bool* abort) override;
    ~DomainBackgroundTaskCommand() override;
    // True: the flag is set when a reader has to wait for the task.
    virtual bool ShouldAbortForReader() const;
    // True: while there are readers the task waits, and lets the commands behind it go first. Without a domain thread
    // it waits as any command does.
    virtual bool ShouldBeDeferredIfReading() const;
};

class REDRAFT_ENGINE BackgroundTaskCommand : public DocumentCommand, public DomainBackgroundTaskCommand {
public:
    BackgroundTaskCommand();
    // True: the task is dropped when its turn comes and other commands are waiting. That is the default.
    virtual bool CanIgnoreIfQueueOccupied() const;

    Kernel::LocalisedString GetDescription() const override = 0;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    void PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController> controller) override;
    bool ShouldStackForUndo() const override;
    bool ClearsPreviewCommands() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    bool MakesDOMDirty() const override;
    bool ShouldStackForMacro() const override;
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
};
