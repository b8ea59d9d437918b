// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// Base of commands that change something outside the document and its history: there is nothing to undo, to tell, to
// save or to repeat. T has Do.
template <class T>
class UnrecordedCommand : public Persisted<T, DocumentCommand> {
public:
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    bool ShouldStackForUndo() const override { return false; }
    bool ShouldStackForMacro() const override { return false; }
    bool MakesDOMDirty() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
};

} // namespace Commands
