// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_commands.h"
#include "platform/story/toc.h"

// Makes the text of tables of contents: a line for each paragraph of the document that an entry of the table's style
// lists, in the order of the pages, with the number of its page.
//
// Lines may move what they list to other pages: the text is made again until no page moves any more, or as many times
// as make sense.
class REDRAFT_ENGINE AlterTocCommand final : public SelectionCommandProxyStateManager {
public:
    // Gives a table another style, or the text that its style makes now. Null where the document has no such table.
    static Kernel::Counted<AlterTocCommand>
    MakeApplyTocStyle(Story::TocAttRef const& toc, Kernel::String styleName,
                      Kernel::Counted<DocumentController const> const& controller);
    // Puts a new table where the selection's first text begins: in place of an empty paragraph, else as paragraphs of
    // its own, behind a table that is there. Does nothing without a text.
    static Kernel::Counted<AlterTocCommand> MakeInsertToc(Story::TocAttRef const& toc,
                                                          Kernel::Counted<Selection const> selection);
    // Brings all tables of the document up to date.
    static Kernel::Counted<AlterTocCommand> MakeUpdateTocs();
    // A new style of tables. It lists what GetTocEntries says, as long as no entry style names it.
    static Kernel::Counted<Story::Style> MakeTocStyle(Kernel::Counted<Story::StyleSheet const> const& sheet,
                                                      Kernel::String const& name);
    // An id that no table of the document has.
    static std::uint32_t MakeTocId(DocumentController const& controller);
    // The table, as it was; null for all.
    Story::TocAttRef const& GetToc() const { return m_toc; }

    // One of several in a row, which others follow: its lines have numbers for the time being, and the last one of them
    // finds the pages for all tables of its style.
    bool m_isNotLast = false;

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return HasKeptStates(); }
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    // Values are part of the stored form.
    enum class Kind : std::uint32_t { Apply = 0, Insert = 1, UpdateAll = 2 };
    AlterTocCommand(Kind kind, Story::TocAttRef toc, Kernel::String styleName,
                    Kernel::Counted<Selection const> selection);
    void PutBack(Direction direction);

    Kind m_kind;
    Story::TocAttRef m_toc;
    Kernel::String m_styleName;
    // The texts that changed.
    Kernel::Counted<Selection const> m_changed;
    ChangedTextAreas m_areas;
};
