// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_commands.h"
#include "platform/kernel/consolidated.h"
#include "platform/kernel/stored_class.h"
#include "platform/story/style_sheet.h"

// Changes one style of the document's sheet.
class REDRAFT_ENGINE TextStyleCommand final : public Kernel::StoredClass<TextStyleCommand, DocumentCommand> {
public:
    // Takes a style out of the sheet; a name that no style has changes nothing. `withDescendants`: the styles that
    // stand on it go, too.
    static Kernel::Counted<TextStyleCommand> MakeDeleteStyle(Kernel::String const& name, bool withDescendants);
    // Puts a style in place of the one of a name, or behind all others. Where its own name is another one, a second
    // style of that name and its type gives way; one of another type refuses it with Kernel::Exception.
    static Kernel::Counted<TextStyleCommand> MakeSetStyle(Kernel::String const& name,
                                                          Kernel::Consolidated<Story::Style> const& style);
    Kernel::String const& GetName() const { return m_name; }
    // Null: the command deletes.
    Kernel::Counted<Story::Style const> const& GetStyle() const { return m_style; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return m_before != m_after; }
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    TextStyleCommand() = default;
    static constexpr auto Fields() {
        using This = TextStyleCommand;
        return Kernel::FieldList{Kernel::Field{"Name", &This::m_name}, Kernel::Field{"Styl", &This::m_style},
                                 Kernel::Field{"Desc", &This::m_withDescendants},
                                 Kernel::Field{"Befo", &This::m_before}, Kernel::Field{"Aftr", &This::m_after}};
    }
    Kernel::Counted<Story::StyleSheet const> MakeSheet(Story::StyleSheet const& sheet) const;
    void Set(Direction direction, Kernel::Counted<Story::StyleSheet const> const& sheet);

    Kernel::String m_name;
    Kernel::Counted<Story::Style const> m_style;
    bool m_withDescendants = false;
    Kernel::Counted<Story::StyleSheet const> m_before, m_after;
    ChangedTextAreas m_areas;
    // The texts that may look otherwise.
    Kernel::Counted<Selection const> m_texts;
};
