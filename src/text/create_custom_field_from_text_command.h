// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/text_commands.h"

namespace Commands {

// Makes a field of selected text: the document's catalogue gets its name and value, and the field takes the place of
// the text. A later change of its name or value, if nothing came between, becomes a part of this step.
class REDRAFT_API CreateCustomFieldFromTextCommand final
    : public Persisted<CreateCustomFieldFromTextCommand, BaseReplaceTextCommand> {
public:
    // Works on the document's selection. Where several ranges are selected the text between them goes, too: see
    // CanCreateCustomFieldFromSelection. Do throws Kernel::Exception where the document has a field of that identity.
    CreateCustomFieldFromTextCommand(Kernel::String guid, Kernel::String name, Kernel::String value);

    // True for one range of text without breaks and filler text that reads as something.
    static bool CanCreateCustomFieldFromSelection(Kernel::Counted<Selection const> selection);
    static constexpr bool c_runsOnlyWhereItApplies = true;
    static bool CanApplyTo(Kernel::Counted<Selection const> selection) {
        return CanCreateCustomFieldFromSelection(std::move(selection));
    }
    // The text as it is shown, without spaces around it, and its first word as a name. Nothing changes where no text is
    // selected.
    static void GetSuggestedNameAndValue(Kernel::Counted<Selection const> selection, Kernel::String& name,
                                         Kernel::String& value);

    static constexpr auto c_description = Kernel::Localisable("Convert text to field", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    // The catalogue has a new field, even where no text was there to show it.
    bool ShouldStackForUndo() const override { return true; }
    bool Merge(Kernel::Counted<Command const> newer) override;

    static constexpr bool c_storesBaseFirst = true;

protected:
    Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story, Story::StoryRanges const& ranges) override;

private:
    friend struct Kernel::FieldAccess;
    CreateCustomFieldFromTextCommand() : CreateCustomFieldFromTextCommand({}, {}, {}) {}
    static constexpr auto Fields() {
        using This = CreateCustomFieldFromTextCommand;
        return Kernel::FieldList{
            Kernel::Field{"guid", &This::m_guid}.As("guid", "the identity of the field, any text that no other has"),
            Kernel::Field{"name", &This::m_name}.As("name", "its name"),
            Kernel::Field{"valu", &This::m_value}.As("value", "the text that it shows")};
    }

    Kernel::String m_guid, m_name, m_value;
};

} // namespace Commands
