// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/text_commands.h"
#include "text/field_reference.h"

namespace Commands {

// Takes a field out of the document's catalogue. Texts keep the value that they show, as plain text.
class REDRAFT_API DeleteCustomFieldCommand final : public Persisted<DeleteCustomFieldCommand, DocumentCommand> {
public:
    explicit DeleteCustomFieldCommand(Kernel::String guid) : m_guid(std::move(guid)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete Custom Field", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    // False where one of the inner commands is missing.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;

    // One for each story that showed the field, once the command has run.
    std::vector<Kernel::Counted<ExpandFieldGlyphCommand>> const& GetExpandCommands() const { return m_expandCommands; }
    void AppendInnerCommands(InnerCommands::List& found) const;

    static constexpr bool c_storesBaseFirst = true;

private:
    friend struct Kernel::FieldAccess;
    DeleteCustomFieldCommand() = default;
    static constexpr auto Fields() {
        using This = DeleteCustomFieldCommand;
        return Kernel::FieldList{
            Kernel::Field{"guid", &This::m_guid}.As<FieldReference>("field", "the field, by name or identity"),
            Kernel::Field{"name", &This::m_name}, Kernel::Field{"valu", &This::m_value},
            Kernel::Field{"expc", &This::m_expandCommands}};
    }

    Kernel::String m_guid, m_name, m_value;
    std::vector<Kernel::Counted<ExpandFieldGlyphCommand>> m_expandCommands;
};

} // namespace Commands
