// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "text/field_reference.h"

namespace Commands {

// Gives a field another name; texts show its value as before.
class REDRAFT_API RenameCustomFieldCommand final : public Persisted<RenameCustomFieldCommand, DocumentCommand> {
public:
    RenameCustomFieldCommand(Kernel::String guid, Kernel::String name)
        : m_guid(std::move(guid)), m_name(std::move(name)) {}

    Kernel::String const& GetGuid() const { return m_guid; }
    Kernel::String const& GetName() const { return m_name; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

    static constexpr bool c_storesBaseFirst = true;

private:
    friend struct Kernel::FieldAccess;
    RenameCustomFieldCommand() = default;
    static constexpr auto Fields() {
        using This = RenameCustomFieldCommand;
        return Kernel::FieldList{
            Kernel::Field{"guid", &This::m_guid}.As<FieldReference>("field", "the field, by name or identity"),
            Kernel::Field{"name", &This::m_name}.As("name", "its new name"), Kernel::Field{"onam", &This::m_oldName}};
    }

    Kernel::String m_guid, m_name, m_oldName;
};

} // namespace Commands
