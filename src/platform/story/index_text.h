// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/generated_text.h"
#include "platform/story/story_index.h"

#include <unordered_map>
#include <vector>

namespace Story {

// The attribute of the paragraphs that a generated index is made of. Two indices with the same id are one.
class REDRAFT_ENGINE IndexAtt final : public Kernel::Serialisable {
public:
    IndexAtt() = default;
    IndexAtt(Kernel::String id, Kernel::String styleName) : m_id(std::move(id)), m_styleName(std::move(styleName)) {}
    ~IndexAtt() override;
    // The index that a paragraph belongs to; null for none.
    static Kernel::Counted<IndexAtt const> Of(ParagraphAtts const& atts);
    Kernel::String const& GetId() const { return m_id; }
    // The beginning of the names of its paragraph styles: of "Index", these are "Index Heading" for headings of
    // sections and "Index 1", "Index 2" and so on for topics by their depth.
    Kernel::String const& GetStyleName() const { return m_styleName; }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<IndexAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_id;
    Kernel::String m_styleName;
};

// The texts between the parts of an entry: "Whale, 3, 7–9. See also Ahab".
struct IndexSeparators {
    GlyphString afterTopic{U", "};
    GlyphString betweenListItems{U", "};
    GlyphString betweenRanges{U"\u2013"};
    GlyphString beforeCrossReferences{U". "};
    GlyphString see{U"See "};
    GlyphString seeAlso{U"See also "};
    GlyphString afterCrossReferences;
};

// A page on which a topic is marked.
struct IndexedPage {
    // Counts pages in reading order: pages whose ordinals follow each other are a range.
    std::size_t ordinal = 0;
    // Empty: the place is not on a page, and is left out.
    Kernel::String label;
    // The character style of the number; empty for that of its paragraph.
    Kernel::String styleName;
    // The caller's number of the mark, which comes back with the page number.
    std::size_t mark = 0;
};
// A page number in the text of an index.
struct IndexPageNumber {
    // Counts the index's paragraphs from 0.
    std::size_t paragraph = 0;
    // Of the glyphs in its text.
    StoryRange range;
    // Of the marks that the number stands for, the one that was given first.
    std::size_t mark = 0;
};
// The pages of each topic, in any order, as often as they are marked.
using IndexedPages = std::unordered_map<IndexTopic const*, std::vector<IndexedPage>>;

// The paragraphs of an index. Topics are sorted by their sort string, else their name, as the index's language sorts
// words, those of one parent below it. A topic without pages, references and topics below it that are shown is left
// out. Three or more pages in a row are a range where the index groups them; a page is named once for each style.
// References read "See" where the topic has no page of its own, else "See also"; an index that expands them shows the
// pages of the other topics instead of "See". Headings of sections are those of the language (ICU's AlphabeticIndex);
// "#" heads what begins with no letter. `numbers` may be null; the page numbers are added to it in their order.
REDRAFT_ENGINE std::vector<GeneratedParagraph> MakeIndexText(Index const& index, IndexedPages const& pages,
                                                             IndexSeparators const& separators,
                                                             Kernel::Counted<IndexAtt const> const& att,
                                                             StyleSheet const& styles,
                                                             std::vector<IndexPageNumber>* numbers = nullptr);

} // namespace Story
