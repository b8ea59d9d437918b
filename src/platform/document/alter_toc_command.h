// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_update_command.h"
#include "platform/kernel/stored_class.h"
#include "platform/story/toc.h"

// Makes the text of tables of contents: a line for each paragraph of the document that an entry of the table's style
// lists, in the order of the pages, with the number of its page.
//
// Lines may move what they list to other pages: the text is made again until no page moves any more, or as many times
// as make sense.
class REDRAFT_ENGINE AlterTocCommand final : public Kernel::StoredClass<AlterTocCommand, TextUpdateCommand> {
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
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void UpdateTexts(BeforeChange const& beforeChange) override;

private:
    // Values are part of the stored form.
    enum class Kind : std::uint32_t { Apply = 0, Insert = 1, UpdateAll = 2 };
    AlterTocCommand(Kind kind, Story::TocAttRef toc, Kernel::String styleName,
                    Kernel::Counted<Selection const> selection);
    friend struct Kernel::FieldAccess;
    AlterTocCommand() : AlterTocCommand(Kind::Apply, {}, {}, {}) {}
    static constexpr auto Fields() {
        using This = AlterTocCommand;
        return Kernel::FieldList{Kernel::Field{"Kind", &This::m_kind}, Kernel::Field{"Toc_", &This::m_toc},
                                 Kernel::Field{"StNm", &This::m_styleName}, Kernel::Field{"NtLs", &This::m_isNotLast}};
    }

    Kind m_kind;
    Story::TocAttRef m_toc;
    Kernel::String m_styleName;
};
