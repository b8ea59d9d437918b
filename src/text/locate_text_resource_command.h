// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/selection_commands.h"

namespace Commands {

// Selects text that was taken from a file, and has the editor show it.
class REDRAFT_API LocateTextResourceCommand final
    : public Persisted<LocateTextResourceCommand, SetCurrentSelectionCommand> {
public:
    explicit LocateTextResourceCommand(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Locate resource", "Locate resource command name");
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }

private:
    friend struct Kernel::FieldAccess;
    LocateTextResourceCommand() = default;
    // No arguments but the selection.
    static constexpr auto Fields() { return Kernel::FieldList<>{}; }
};

} // namespace Commands
