// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/settings/unrecorded_command.h"
#include "platform/document/document_controller.h"

namespace Commands {

// Tells whether pages keep to their side of the spine when others come and go. Not part of the history.
class REDRAFT_API SetAnchorPagesSettingCommand final : public UnrecordedCommand<SetAnchorPagesSettingCommand> {
public:
    static constexpr std::string_view c_keptByUndo = "The setting is outside the history and stays.";

    explicit SetAnchorPagesSettingCommand(bool anchorToSpine) : m_anchorToSpine(anchorToSpine) {}

    static constexpr auto c_description = Kernel::Localisable("Set Anchor To Spine", "Command description");
    void Do() override {
        SetDirection(Direction::Do);
        m_documentController->GetPageManagementOptions()->SetShouldAnchorToSpine(m_anchorToSpine);
    }

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
