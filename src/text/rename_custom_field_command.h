// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/value_command.h"
#include "text/field_reference.h"

namespace Commands {

// Gives a field another name; texts show its value as before. A run of renames of one field is one step.
class REDRAFT_API RenameCustomFieldCommand final : public ValueCommand<RenameCustomFieldCommand, Kernel::String> {
public:
    static constexpr auto c_description = Kernel::Localisable("Rename Custom Field", "Command description");
    static constexpr bool c_storesBaseFirst = true;

    RenameCustomFieldCommand(Kernel::String guid, Kernel::String name)
        : ValueCommand(std::move(name)), m_guid(std::move(guid)) {}

    Kernel::String const& GetGuid() const { return m_guid; }
    Kernel::String const& GetName() const { return m_value; }
    Kernel::String Read();
    void Write(Kernel::String const& name);
    bool HasTarget(RenameCustomFieldCommand const& newer) const { return newer.m_guid == m_guid; }
    void Notify(Kernel::NotificationList& notifications) override;

private:
    friend struct Kernel::FieldAccess;
    RenameCustomFieldCommand() = default;
    static constexpr auto Fields() {
        using This = RenameCustomFieldCommand;
        return Kernel::FieldList{
            Kernel::Field{"guid", &This::m_guid}.As<FieldReference>("field", "the field, by name or identity"),
            Kernel::Field{"name", &This::m_value}.As("name", "its new name"), Kernel::Field{"onam", &This::m_oldValue}};
    }

    Kernel::String m_guid;
};

} // namespace Commands
