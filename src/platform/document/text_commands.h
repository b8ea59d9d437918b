// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_change.h"
#include "frame/selection/story_selection_command.h"
#include "platform/document/shown_texts.h"
#include "platform/kernel/stored_class.h"
#include "platform/story/story_selection.h"

// Commands on texts that others are made of.

namespace Story {
// Whether the caret goes to where text was taken away. Values are arguments of commands.
enum class MoveCaret : std::uint32_t { No = 0, Yes = 1 };
} // namespace Story

// A command that receives the selected part of each story once, however many of the frames that show it are selected.
template <class T, class I>
class SubSelectionCommandWithSingleInterface : public SelectionCommandWithSingleInterfaceOrStoryInterface<T, I> {
public:
    using SelectionCommandWithSingleInterfaceOrStoryInterface<T,
                                                              I>::SelectionCommandWithSingleInterfaceOrStoryInterface;

protected:
    bool TakesStory(TextNode const&) const final { return true; }
    void ReceiveInterface(Kernel::NonCounted<I>) final {}
    using SelectionCommandWithSingleInterfaceOrStoryInterface<T, I>::ReceiveInterface;
};

// The areas in which texts lie or read otherwise than before, or whose story is another one.
class REDRAFT_ENGINE ChangedTextAreas {
public:
    SpreadRects const& GetRects() const { return m_rects; }
    // The nodes of a selection, and those that hold the stories that changed.
    Kernel::Counted<Selection const> GetNodes(Kernel::Counted<Selection const> const& selection) const;
    // Runs an operation, which calls Note for each text right before it changes.
    template <class Operation>
    void Around(Operation const& operation) {
        if (!m_hasBegun)
            Begin();
        operation();
        Gather();
    }
    void Note(TextNode& text);
    // For an operation before which something else changes, such as a value that texts show: Note may be called from
    // here on.
    void Begin();

private:
    friend class TextChangeBatch;
    struct Text {
        ShownTexts shown;
        Kernel::Counted<TextNode> owner;
        Kernel::Counted<Story::Story const> story;
        // The batch finds out where it lies otherwise.
        bool isInBatch = false;
    };
    void Gather();

    SpreadRects m_rects;
    std::vector<Text> m_texts;
    std::vector<Kernel::Counted<Node>> m_changedOwners;
    bool m_hasBegun = false;
};

// For a command that runs many others on texts: while it lives, the others, on the same thread, do not look where the
// texts lie otherwise after each of them. Finish looks once, and gives the areas of each text to the first command that
// changed it; all those that ran live until then. Without Finish nobody gets them. One inside another does nothing.
class REDRAFT_ENGINE TextChangeBatch {
public:
    TextChangeBatch();
    ~TextChangeBatch();
    TextChangeBatch(TextChangeBatch const&) = delete;
    void Finish();

private:
    friend class ChangedTextAreas;
    struct Text {
        ChangedTextAreas::Text before;
        ChangedTextAreas* areas;
    };
    void Note(TextNode& text, ChangedTextAreas& areas);

    std::vector<Text> m_texts;
    std::unordered_set<TextNode const*> m_known;
    bool m_isOpen;
};

// Changes attributes of the selected texts. A text in no tree takes part while it is composed with this document, as
// one does that a command makes; undoing leaves it alone.
class REDRAFT_ENGINE FormatTextCommand
    : public Kernel::StoredClass<FormatTextCommand,
                                 SubSelectionCommandWithSingleInterface<FormatTextCommand, StoryInterface>> {
public:
    FormatTextCommand(Kernel::Counted<Story::Delta const> const& delta, Kernel::Counted<Selection const> selection);
    ~FormatTextCommand() override;
    Kernel::Counted<Story::Delta const> const& GetDelta() const { return m_delta; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return HasKeptStates(); }
    // A newer command of the same class that sets the same attributes of the same selection merges, as those of a
    // slider do.
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    // For loading.
    FormatTextCommand();
    using SubSelectionCommandWithSingleInterface::ReceiveInterface;
    void ReceiveInterface(Kernel::NonCounted<TextNode> text, Story::StoryRanges const& ranges) override;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Dlta", &FormatTextCommand::m_delta}}; }
    void FormatTextsInTheMaking();

    Kernel::Counted<Story::Delta const> m_delta;
    ChangedTextAreas m_areas;
};

// Base of commands that put other text in place of the selected one. A derived class says which, in ReplaceText.
class REDRAFT_ENGINE BaseReplaceTextCommand
    : public SubSelectionCommandWithSingleInterface<BaseReplaceTextCommand, StoryInterface>,
      protected SelectionChange {
public:
    explicit BaseReplaceTextCommand(Kernel::Counted<Selection const> selection);
    ~BaseReplaceTextCommand() override;
    // The selection afterwards. Values are part of the stored form.
    enum class NewTextSelection : std::uint32_t { Keep = 0, Select = 1, CaretBehind = 2 };
    void SetSelectNewText(unsigned selection) { m_selectNewText = static_cast<NewTextSelection>(selection); }
    NewTextSelection GetSelectNewText() const { return m_selectNewText; }

    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return HasKeptStates(); }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    // To be called before what the selected texts show changes otherwise than by the operation that comes next.
    void NoteSelectedTexts();
    // The text at which the command is, while ReplaceText runs.
    Kernel::Counted<TextNode> const& GetText() const { return m_text; }
    // Puts text in place of the ranges of a story that is the command's to edit, and gives the ranges of the new text.
    // The ranges lie in front of the story's last separator.
    virtual Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story,
                                           Story::StoryRanges const& ranges) = 0;
    using SubSelectionCommandWithSingleInterface::ReceiveInterface;
    void ReceiveInterface(Kernel::NonCounted<TextNode> text, Story::StoryRanges const& ranges) override;

private:
    void SelectNewText();

    NewTextSelection m_selectNewText = NewTextSelection::Keep;
    bool m_hasNewSelection = false;
    ChangedTextAreas m_areas;
    Kernel::Counted<TextNode> m_text;
    Selection::Items m_newItems;
};

// Types or pastes text in place of the selected one.
class REDRAFT_ENGINE InsertTextCommand final : public Kernel::StoredClass<InsertTextCommand, BaseReplaceTextCommand> {
public:
    explicit InsertTextCommand(Kernel::String text, Kernel::Counted<Selection const> selection = {});

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story, Story::StoryRanges const& ranges) override;

private:
    InsertTextCommand() : InsertTextCommand(Kernel::String()) {}
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Text", &InsertTextCommand::m_text}}; }

    Kernel::String m_text;
};

// Takes the selected text away.
class REDRAFT_ENGINE DeleteTextCommand final : public Kernel::StoredClass<DeleteTextCommand, BaseReplaceTextCommand> {
public:
    explicit DeleteTextCommand(Kernel::Counted<Selection const> selection = {})
        : DeleteTextCommand(Story::MoveCaret::Yes, std::move(selection)) {}
    DeleteTextCommand(Story::MoveCaret moveCaret, Kernel::Counted<Selection const> selection);

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story, Story::StoryRanges const& ranges) override;
};

// Puts an object, such as a field or a mark, in place of the selected text. Each place gets an object of its own.
class REDRAFT_ENGINE InsertGlyphsCommand final
    : public Kernel::StoredClass<InsertGlyphsCommand, BaseReplaceTextCommand> {
public:
    explicit InsertGlyphsCommand(Kernel::Counted<Story::Glyph const> glyph,
                                 Kernel::Counted<Selection const> selection = {});
    // Positions of the glyphs in a selection that are of the same kind as `glyph`, in their order.
    static std::vector<Story::StoryPos> FindToggleGlyphs(Story::Selection const& selection,
                                                         Kernel::Counted<Story::Glyph const> const& glyph);

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story, Story::StoryRanges const& ranges) override;

private:
    InsertGlyphsCommand() : InsertGlyphsCommand(Kernel::Counted<Story::Glyph const>()) {}
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Glph", &InsertGlyphsCommand::m_glyph}}; }

    Kernel::Counted<Story::Glyph const> m_glyph;
};

// Puts in the place of each selected field the text that it shows.
class REDRAFT_ENGINE ExpandFieldGlyphCommand final
    : public Kernel::StoredClass<ExpandFieldGlyphCommand, BaseReplaceTextCommand> {
public:
    explicit ExpandFieldGlyphCommand(Kernel::Counted<Selection const> selection = {});

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    Story::StoryRanges ReplaceText(Kernel::NonCounted<Story::Story> story, Story::StoryRanges const& ranges) override;
};

// Gives a field of the document another value, which all texts show that show the field.
class REDRAFT_ENGINE SetCustomFieldValueCommand final
    : public Kernel::StoredClass<SetCustomFieldValueCommand, DocumentCommand> {
public:
    SetCustomFieldValueCommand(Kernel::String guid, Kernel::String value);
    Kernel::String const& GetGuid() const { return m_guid; }
    Kernel::String const& GetValue() const { return m_value; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return m_value != m_oldValue; }
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    SetCustomFieldValueCommand() = default;
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"guid", &SetCustomFieldValueCommand::m_guid},
                                 Kernel::Field{"valu", &SetCustomFieldValueCommand::m_value},
                                 Kernel::Field{"oval", &SetCustomFieldValueCommand::m_oldValue}};
    }
    void Set(Kernel::String const& value);

    Kernel::String m_guid, m_value, m_oldValue;
    ChangedTextAreas m_areas;
    // The texts that show the field.
    Kernel::Counted<Selection const> m_shownIn;
};
