// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// Adds a named value to the document's catalogue, which texts show wherever they have a field of its identity. A later
// change of its name or value, if nothing came between, becomes a part of this step.
class REDRAFT_API AddCustomFieldCommand final : public Persisted<AddCustomFieldCommand, DocumentCommand> {
public:
    // Do throws Kernel::Exception where the document has a field of that identity.
    AddCustomFieldCommand(Kernel::String guid, Kernel::String name, Kernel::String value)
        : m_guid(std::move(guid)), m_name(std::move(name)), m_value(std::move(value)) {}

    static constexpr auto c_description = Kernel::Localisable("Add Custom Field", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool Merge(Kernel::Counted<Command const> newer) override;

    // Takes over the name or the value that `newer` gives to the field `guid`; false where it does neither.
    static bool TakeOver(Kernel::Counted<Command const> const& newer, Kernel::String const& guid, Kernel::String& name,
                         Kernel::String& value);

    static constexpr bool c_storesBaseFirst = true;

private:
    friend struct Kernel::FieldAccess;
    AddCustomFieldCommand() = default;
    static constexpr auto Fields() {
        using This = AddCustomFieldCommand;
        return Kernel::FieldList{
            Kernel::Field{"guid", &This::m_guid}.As("guid", "the identity of the field, any text that no other has"),
            Kernel::Field{"name", &This::m_name}.As("name", "its name"),
            Kernel::Field{"valu", &This::m_value}.As("value", "the text that it shows", std::string_view())};
    }

    Kernel::String m_guid, m_name, m_value;
};

} // namespace Commands
