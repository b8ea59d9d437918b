// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/background_task_command.h"
#include "platform/kernel/export.h"

#include <functional>

namespace Commands {

// Runs a function in the queue after ending the previews. It is not stored.
class REDRAFT_API SuspendPreviewCommand final : public BackgroundTaskCommand {
public:
    explicit SuspendPreviewCommand(std::function<void()> function);
    ~SuspendPreviewCommand() override;

    Kernel::LocalisedString GetDescription() const override;
    // An empty function throws std::bad_function_call.
    void Do() override;
    bool ClearsPreviewCommands() const override { return true; }
    bool CanIgnoreIfQueueOccupied() const override { return false; }
    bool ShouldBeDeferredIfReading() const override { return false; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return nullptr; }

private:
    std::function<void()> m_function;
};

} // namespace Commands
