// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// Tells whether pages keep to their side of the spine when others come and go. Not part of the history.
class REDRAFT_API SetAnchorPagesSettingCommand final : public Persisted<SetAnchorPagesSettingCommand, DocumentCommand> {
public:
    static constexpr std::string_view c_keptByUndo = "The setting is outside the history and stays.";

    explicit SetAnchorPagesSettingCommand(bool anchorToSpine) : m_anchorToSpine(anchorToSpine) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override {}
    void Redo() override {}
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>&) override {}
    bool ShouldStackForUndo() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    bool MakesDOMDirty() const override { return false; }
    bool ShouldStackForMacro() const override { return false; }

private:
    friend struct Kernel::FieldAccess;
    SetAnchorPagesSettingCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Unstored{&SetAnchorPagesSettingCommand::m_anchorToSpine}.As(
            "anchorToSpine", "pages keep to their side of the spine")};
    }

    bool m_anchorToSpine = false;
};

} // namespace Commands
