// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_commands.h"
#include "platform/kernel/stored_class.h"
#include "platform/story/index_mark.h"

// Commands on the index that others are made of.

// Puts one mark where the selected text begins; of several selected texts in the first one. The text stays.
class REDRAFT_ENGINE InsertIndexMarkCommand final
    : public Kernel::StoredClass<InsertIndexMarkCommand, BaseReplaceTextCommand> {
public:
    // `styleName`: the character style of the page number in the index; empty for none of its own. Do throws
    // Kernel::Exception where the document's index has no such topic.
    InsertIndexMarkCommand(Kernel::Counted<Story::IndexTopic const> topic, Kernel::String styleName,
                           Kernel::Counted<Selection const> selection = {});
    ~InsertIndexMarkCommand() override;
    Kernel::Counted<Story::IndexTopic const> const& GetTopic() const { return m_topic; }
    Kernel::String const& GetStyleName() const { return m_styleName; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story, Story::StoryRanges const& ranges) override;

private:
    friend struct Kernel::FieldAccess;
    InsertIndexMarkCommand() : InsertIndexMarkCommand({}, {}) {}
    static constexpr auto Fields() {
        using This = InsertIndexMarkCommand;
        return Kernel::FieldList{Kernel::Field{"Topc", &This::m_topic}, Kernel::Field{"OvSN", &This::m_styleName}};
    }

    Kernel::Counted<Story::IndexTopic const> m_topic;
    Kernel::String m_styleName;
    bool m_isPlaced = false;
};

// Adds topics to the document's index, each below the one before it.
class REDRAFT_ENGINE AddIndexTopicCommand final : public Kernel::StoredClass<AddIndexTopicCommand, DocumentCommand> {
public:
    // The names from the outermost new topic to the innermost; empty ones are passed over. `parent` stands above the
    // outermost; null for the top. `reuse`: goes on from topics that are there already, as far as they have the names;
    // otherwise topics are added in any case. Do throws Kernel::Exception where the index has no such parent.
    AddIndexTopicCommand(std::vector<Kernel::String> names, Kernel::Counted<Story::IndexTopic const> parent,
                         bool reuse);
    ~AddIndexTopicCommand() override;
    std::vector<Kernel::String> const& GetNames() const { return m_names; }
    Kernel::Counted<Story::IndexTopic const> const& GetParent() const { return m_parent; }
    // The innermost one; null when none was added.
    Kernel::Counted<Story::IndexTopic const> GetAddedTopic() const;
    // The innermost one of the names, whether it was added or there already.
    Kernel::Counted<Story::IndexTopic const> const& GetTopic() const { return m_innermost; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return !m_topics.empty(); }
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    AddIndexTopicCommand() : AddIndexTopicCommand({}, {}, false) {}
    static constexpr auto Fields() {
        using This = AddIndexTopicCommand;
        return Kernel::FieldList{Kernel::Field{"Name", &This::m_names}, Kernel::Field{"Prnt", &This::m_parent},
                                 Kernel::Field{"Reus", &This::m_reuse}, Kernel::Field{"Topc", &This::m_topics}};
    }

    std::vector<Kernel::String> m_names;
    Kernel::Counted<Story::IndexTopic const> m_parent, m_innermost;
    bool m_reuse = false;
    // Those that were added, the outermost first.
    std::vector<Kernel::Counted<Story::IndexTopic>> m_topics;
};

// Sets a text that stands in generated indices, such as the one between two pages.
class REDRAFT_ENGINE SetLocalisableStringCommand final
    : public Kernel::StoredClass<SetLocalisableStringCommand, DocumentCommand> {
public:
    // `language`: of the indices that it is for; null for all that have no text of their own. `oldText`: what Undo sets
    // where Do has not run; then an empty one stands for none.
    SetLocalisableStringCommand(Kernel::Counted<Story::Language const> const& language, Kernel::String const& key,
                                Story::GlyphString const& text, Story::GlyphString const& oldText);
    ~SetLocalisableStringCommand() override;
    Kernel::String const& GetLanguage() const { return m_language; }
    Kernel::String const& GetKey() const { return m_key; }
    Story::GlyphString const& GetText() const { return m_text; }
    Story::GlyphString const& GetOldText() const { return m_oldText; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    SetLocalisableStringCommand() : SetLocalisableStringCommand({}, {}, {}, {}) {}
    static constexpr auto Fields() {
        using This = SetLocalisableStringCommand;
        return Kernel::FieldList{Kernel::Field{"lang", &This::m_language}, Kernel::Field{"key_", &This::m_key},
                                 Kernel::Field{"nwSt", &This::m_text}, Kernel::Field{"olSt", &This::m_oldText},
                                 Kernel::Field{"wasS", &This::m_wasSet}};
    }

    Kernel::String m_language, m_key;
    Story::GlyphString m_text, m_oldText;
    bool m_wasSet;
};
