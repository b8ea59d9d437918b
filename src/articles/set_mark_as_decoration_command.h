// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/interface_map.h"

namespace Commands {

// Marks the selected objects as decoration, which says nothing to those who cannot see it, or takes the mark away.
class REDRAFT_API SetMarkAsDecorationCommand final
    : public Persisted<SetMarkAsDecorationCommand, SelectionCommandWithNodeInterfaces<SetMarkAsDecorationCommand>> {
public:
    SetMarkAsDecorationCommand(bool value, Kernel::Counted<Selection const> selection)
        : Persisted(std::move(selection)), m_value(value) {}

    // False where no object of the document is selected.
    static bool CanApplyTo(Kernel::Counted<Selection const> selection) {
        return selection && !selection->GetNodesInDocument().empty();
    }

    static constexpr auto c_description = Kernel::Localisable("Mark as Decoration", "Command description");
    void Notify(Kernel::NotificationList& notifications) override;
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    bool ShouldOperateOnMasterItems() override { return true; }
    void ReceiveNode(Kernel::NonCounted<Node> node) override;

private:
    friend struct Kernel::FieldAccess;
    SetMarkAsDecorationCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"NewV", &SetMarkAsDecorationCommand::m_value}.As(
            "decoration", "true: the objects are decoration")};
    }

    InterfaceMap<Node, bool> m_oldValues;
    bool m_value = false;
};

} // namespace Commands
