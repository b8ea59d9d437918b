// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"
#include "text/anchor_reference.h"

namespace Commands {

// Gives an anchor another identity.
class REDRAFT_API SetAnchorDataGUIDCommand final : public DirectedCommand<SetAnchorDataGUIDCommand> {
public:
    SetAnchorDataGUIDCommand(Kernel::Counted<Story::AnchorData const> anchorData, Kernel::String guid)
        : m_anchorData(std::move(anchorData)), m_guid(std::move(guid)) {}

    static constexpr auto c_description = Kernel::Localisable("Change anchor binding", "Command description");
    void Run(Direction direction);
    void Notify(Kernel::NotificationList&) override {}
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    static constexpr bool c_storesBaseFirst = true;

private:
    friend struct Kernel::FieldAccess;
    SetAnchorDataGUIDCommand() = default;
    static constexpr auto Fields() {
        using This = SetAnchorDataGUIDCommand;
        return Kernel::FieldList{
            Kernel::Field{"anch", &This::m_anchorData}.As<AnchorReference>("anchor", "the anchor, by name or identity"),
            Kernel::Field{"nwGD", &This::m_guid}.As("guid", "its new identity, any text that no other has"),
            Kernel::Field{"olGD", &This::m_oldGuid}};
    }

    Kernel::Counted<Story::AnchorData const> m_anchorData;
    Kernel::String m_guid, m_oldGuid;
};

} // namespace Commands
