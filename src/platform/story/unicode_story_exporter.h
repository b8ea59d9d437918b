// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/field_data_source.h"
#include "platform/story/numberer.h"
#include "platform/story/story_visitor.h"
#include "platform/story/style_sheet.h"
#include "platform/story/table.h"

#include <memory>
#include <string>

namespace Story {

class ResolvedParagraphs;

// Collects what it visits as plain text. Paragraphs and lines end in line feeds, but for the paragraph that the visited
// range ends in; objects are the text that they show; soft hyphens, marks and what no text may hold (controls but for
// tabs, noncharacters) are left out or replaced by U+FFFD, as GetText tells.
class REDRAFT_ENGINE UnicodeStoryExporter final : public StoryVisitor {
public:
    // Null `numberer`: numbers begin with the visited range's story, whose earlier paragraphs count. Null `fields`:
    // there are no values, and styles that number paragraphs are not known. `table` is not written.
    // `withNumbers`: numbers stand before the text of paragraphs, with a tab between. `withNotes`: "[1]" stands for a
    // note, and the notes are listed behind the text; else notes are left out.
    UnicodeStoryExporter(Kernel::Counted<Numberer const> const& numberer,
                         Kernel::Counted<FieldDataSource const> const& fields, Kernel::Counted<Table const> table,
                         bool withNumbers, bool withNotes);
    ~UnicodeStoryExporter() override;
    // UTF-8 without a byte order mark: all that was visited so far, and the notes in it. Surrogates and noncharacters
    // are U+FFFD; control characters but for tabs, soft hyphens and objects' places are left out.
    Kernel::String GetText() const;

protected:
    void BeginParagraph(StoryPos const& at, Paragraph const& paragraph, bool isWhole) override;
    void ReceiveText(StoryPos const& at, std::u32string_view text, GlyphAttsRef const& atts) override;
    void ReceiveObject(StoryPos const& at, Kernel::Counted<Glyph const> const& glyph,
                       GlyphAttsRef const& atts) override;
    void EndParagraph(StoryPos const& at, Paragraph const& paragraph, bool hasSeparator) override;

private:
    void Append(std::u32string_view text);
    void AppendNote(std::uint32_t number, Story const& note);

    Kernel::Counted<Numberer> m_numberer;
    Kernel::Counted<FieldDataSource const> m_fields;
    Kernel::Counted<StyleSheet const> m_styles;
    std::unique_ptr<ResolvedParagraphs> m_resolved;
    bool m_withNumbers;
    bool m_withNotes;
    bool m_hasBegun = false;
    std::uint32_t m_noteCount = 0;
    std::string m_text, m_notes;
};

} // namespace Story
