// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/glyph_predicates.h"
#include "platform/story/paragraph.h"

#include <atomic>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Story {

struct GeneratedParagraph;
class RangeInStory;
class Selection;
class Story;
using StoryRef = Kernel::Counted<Story const>;

// A place between two glyphs of one version of a story. It keeps that version alive.
class REDRAFT_ENGINE StoryPos {
public:
    StoryPos() = default;
    StoryPos(StoryRef story, std::uint32_t index) : m_story(std::move(story)), m_index(index) {}

    bool IsSet() const { return static_cast<bool>(m_story); }
    StoryRef const& GetStory() const { return m_story; }
    std::uint32_t GetIndex() const { return m_index; }
    // Of the glyph behind the position.
    Kernel::Counted<Glyph const> GetGlyph() const;
    GlyphAttsRef GetGlyphAtts() const;
    ParagraphAttsRef GetParagraphAtts() const;
    // Clamped to the story. `overMarks`: marks, which show nothing, are not counted, and going back passes over those
    // in front of the last glyph that counts.
    StoryPos MoveBy(int count, bool overMarks = false) const;
    // True: in composed text the position is behind the text of an object in front of it; false: before that text.
    void SetIsToComposedForward(bool isForward) { m_isToComposedForward = isForward; }
    bool IsToComposedForward() const { return m_isToComposedForward; }

    // Words as Unicode Standard Annex 29 parts them; spaces and punctuation are between words.
    bool IsInWord() const;
    bool IsWordBegin() const;
    // Right behind a word, or behind marks that stand at its end.
    bool IsMarkupWordEnd() const;
    StoryPos GetWordBegin() const;
    StoryPos GetWordEnd() const;
    StoryPos GetNextWordBegin() const;

    // Appends the positions of the glyphs from this one to `end` that the predicate takes.
    void BaseCollectIf(std::vector<StoryPos>& found, StoryPos const& end, GlyphPredicate const& predicate) const;
    // The first of them; not set when there is none.
    StoryPos BaseFindIf(StoryPos const& end, GlyphPredicate const& predicate) const;

    friend bool operator==(StoryPos const& a, StoryPos const& b) {
        return a.m_story == b.m_story && a.m_index == b.m_index;
    }

private:
    StoryRef m_story;
    std::uint32_t m_index = 0;
    bool m_isToComposedForward = false;
};

// Half-open, in glyphs.
struct StoryRange {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    bool empty() const { return begin >= end; }
    std::uint32_t GetSize() const { return empty() ? 0 : end - begin; }
    friend bool operator==(StoryRange const&, StoryRange const&) = default;
};

// In ascending order, none touching another.
class REDRAFT_ENGINE StoryRanges {
public:
    StoryRanges() = default;
    explicit StoryRanges(std::vector<StoryRange> ranges);
    bool empty() const { return m_ranges.empty(); }
    std::size_t size() const { return m_ranges.size(); }
    StoryRange const& operator[](std::size_t index) const { return m_ranges[index]; }
    auto begin() const { return m_ranges.begin(); }
    auto end() const { return m_ranges.end(); }
    // From the first begin to the last end.
    StoryRange GetMaxRange() const;
    friend bool operator==(StoryRanges const&, StoryRanges const&) = default;

private:
    std::vector<StoryRange> m_ranges;
};

// A span of a text selection; the caret is at `end`, and the anchor may lie behind it.
struct SelectionRange {
    int anchor = 0;
    int end = 0;
    friend bool operator==(SelectionRange const&, SelectionRange const&) = default;
};

enum class StoryChangeType : std::uint32_t { Text = 0, GlyphAtts = 1, ParagraphAtts = 2, Glyphs = 3, Geometry = 4 };

// The part of a story that changed: a range, or everything.
class REDRAFT_ENGINE StoryChange {
public:
    // `formatOnly`: no glyph came or went.
    explicit StoryChange(bool formatOnly) : m_type(formatOnly ? StoryChangeType::GlyphAtts : StoryChangeType::Text) {}
    StoryChange(StoryChangeType type, StoryRanges ranges) : m_type(type), m_ranges(std::move(ranges)) {}
    StoryChange(StoryChangeType type, Selection const& selection);
    StoryChangeType GetType() const { return m_type; }
    // Empty: the whole story.
    StoryRanges const& GetRanges() const { return m_ranges; }

private:
    StoryChangeType m_type;
    StoryRanges m_ranges;
};

// Text with glyph objects, without attributes.
class REDRAFT_ENGINE GlyphString {
public:
    GlyphString() = default;
    GlyphString(std::u32string_view text) : m_text(text) {}
    GlyphString(Kernel::String const& text);
    GlyphString(Kernel::Counted<Glyph const> glyph) { Add(std::move(glyph)); }
    void Add(Kernel::Counted<Glyph const> glyph);
    void Add(std::u32string_view text) { m_text += text; }
    bool empty() const { return m_text.empty(); }
    std::uint32_t GetLength() const { return static_cast<std::uint32_t>(m_text.size()); }
    std::u32string_view GetText() const { return m_text; }
    std::vector<ObjectAt> const& GetObjects() const { return m_objects; }
    // The same characters, and the same objects.
    friend REDRAFT_ENGINE bool operator==(GlyphString const& a, GlyphString const& b);

    static constexpr Kernel::ClassUID GetClassUID() { return {"TxGS"}; }
    void Save(Kernel::OutSerialiser& out) const;
    bool Load(Kernel::InSerialiser const& in, Kernel::ClassUID uid, unsigned short version);

private:
    std::u32string m_text;
    std::vector<ObjectAt> m_objects;
};

// One of several edits, as ReplaceText takes them.
struct TextReplacement {
    StoryRange range;
    GlyphString text;
    GlyphAttsRef glyphAtts = {};
    ParagraphAttsRef paragraphAtts = {};
};

// A text as a sequence of glyphs in paragraphs, with attributes.
//
// A story is a value: a copy shares all paragraphs with its source, edits replace those that they touch, so that a
// version which is kept costs little and may be read by other threads. A story that is shared is not edited any more;
// who wants to edit clones it. The last glyph is always a paragraph separator; it belongs to the story and not to its
// user, and edits leave it where it is.
class REDRAFT_ENGINE Story final : public Kernel::Serialisable {
public:
    // The longest story in glyphs. Edits that would lead beyond it throw Kernel::Exception.
    static constexpr std::uint32_t c_maximumLength = 1u << 28;

    // One empty paragraph.
    Story();
    Story(Story const&);
    ~Story() override;
    Kernel::Counted<Story> Clone() const { return Kernel::MakeCounted<Story>(*this); }
    // For a copy of the nodes that show the story: its objects are copied too, with an anchor of its own for each. A
    // reference that leads to an anchor of this story leads to the copy's. `makeUid` is asked for the id of each new
    // anchor, in the order of the text, and may count or ask the document; without it the ids stay empty.
    Kernel::Counted<Story> CloneWithOwnGlyphs(std::function<Kernel::String(Glyph const&)> const& makeUid = {}) const;

    std::uint32_t GetLength() const;
    StoryRange GetAll() const { return {0, GetLength()}; }
    // Without the last separator.
    StoryRange GetClientAll() const { return {0, GetLength() - 1}; }
    StoryPos gbegin() const { return {StoryRef(this), 0}; }
    StoryPos gend() const { return {StoryRef(this), GetLength()}; }
    // The range with this version of the story.
    RangeInStory Bind(StoryRange range) const;
    // True when there is nothing but the last separator.
    bool empty() const { return GetLength() == 1; }

    std::size_t GetParagraphCount() const;
    ParagraphRef const& GetParagraph(std::size_t index) const;
    // The paragraph that holds a glyph, and where it begins. Indices beyond the end give the last one.
    struct Place {
        std::size_t paragraph = 0;
        std::uint32_t paragraphBegin = 0;
        std::uint32_t offset = 0;
    };
    Place Find(std::uint32_t index) const;
    std::uint32_t GetParagraphBegin(std::size_t index) const;
    // The number of leading paragraphs that are the same objects in both.
    std::size_t CountCommonPrefix(Story const& other) const;

    Kernel::Counted<Glyph const> GetGlyph(std::uint32_t index) const;
    GlyphAttsRef GetGlyphAtts(std::uint32_t index) const;
    ParagraphAttsRef GetParagraphAtts(std::uint32_t index) const;
    // Objects of a range in their order, at their places in the story. The time that it takes grows with the paragraphs
    // that have objects, and not with the text.
    std::vector<ObjectAt> FindObjects(StoryRange range) const;
    // The same one by one, as long as `visit` answers true. The story is not edited meanwhile.
    void VisitObjects(
        StoryRange range,
        std::function<bool(std::uint32_t index, Kernel::Counted<Glyph const> const& glyph)> const& visit) const;
    // The first paragraph from `index` on that has objects; GetParagraphCount() when there is none.
    std::size_t FindParagraphWithObjects(std::size_t index) const;
    // The notes of a range. Quick in any story.
    std::uint32_t CountNotes(StoryRange range) const;
    // Characters; objects as c_objectCharacter.
    std::u32string GetText(StoryRange range) const;
    // The same as UTF-8 without objects, paragraphs and lines separated by newlines.
    Kernel::String GetString(StoryRange range) const;

    // Edits. Ranges are clamped to the client range.
    //
    // Puts text in place of a range and gives the range of the new text. Null attributes: those of what stood before
    // the range, for paragraphs those of the paragraph that the range begins in. "\n", "\r", "\r\n", U+0085 and U+2029
    // part paragraphs. Surrogates and values beyond U+10FFFF become U+FFFD.
    StoryRange ReplaceText(StoryRange range, GlyphString const& text, GlyphAttsRef const& glyphAtts = {},
                           ParagraphAttsRef const& paragraphAtts = {});
    // Several at once, in the order of the text, each paragraph made anew once; what overlaps an earlier range is left
    // out of the later one. Gives the ranges of the new texts in the text that comes out.
    std::vector<StoryRange> ReplaceTexts(std::vector<TextReplacement> const& replacements);
    // Glyph attributes change in the range, paragraph attributes in each paragraph that the range touches. An empty
    // range counts for its paragraph. A writing mode changes that of the story.
    void FormatText(StoryRange range, Delta const& delta);
    // How its lines run, in each frame and art text that shows it.
    WritingMode GetWritingMode() const { return m_writingMode; }
    void SetWritingMode(WritingMode mode) { m_writingMode = mode; }
    // Everything, the last separator included.
    void FormatText(Delta const& delta) { FormatText(GetAll(), delta); }

    // The object at an index, to be changed: a copy of its own for this version of the story, which takes the object's
    // place the first time that it is asked for. Older versions keep theirs. Null where a character stands. The copy is
    // changed before anyone composes this version.
    Kernel::Counted<Glyph> GetMutableGlyph(std::uint32_t index);
    // The same for several objects at once, in ascending order: much faster than one by one. Null for those places at
    // which a character stands.
    std::vector<Kernel::Counted<Glyph>> GetMutableGlyphs(std::vector<std::uint32_t> const& indices);
    // Puts other objects in the places of objects. Each index is that of an object; others are passed over.
    void ReplaceObjects(std::vector<ObjectAt> const& objects);

    friend REDRAFT_ENGINE bool operator==(Story const& a, Story const& b);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Story>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend class GlyphSink;
    friend REDRAFT_ENGINE StoryRange ReplaceWithParagraphs(Story& story, StoryRange range,
                                                           std::vector<GeneratedParagraph> const& paragraphs);
    struct Block;
    struct Content;
    static std::shared_ptr<Content const> const& GetEmptyContent();
    // Settles a loaded story first: while a graph is loaded, paragraphs may still be empty.
    Content const& Get() const;
    static Kernel::Counted<Glyph const> CopyGlyph(Glyph const& glyph);
    // Puts paragraphs in place of those from `first` on, `count` of them.
    void ReplaceParagraphs(std::size_t first, std::size_t count, std::vector<ParagraphRef> paragraphs);

    mutable std::shared_ptr<Content const> m_content;
    mutable std::vector<Kernel::Counted<Paragraph>> m_loaded;
    mutable std::atomic<bool> m_isSettled{true};
    WritingMode m_writingMode = WritingMode::Horizontal;
    // Objects that were copied for this version. They are its own until the story is copied: m_copyCount tells.
    std::unordered_map<Glyph const*, Kernel::Counted<Glyph const>> m_ownGlyphs;
    std::uint32_t m_ownSince = 0;
    mutable std::atomic<std::uint32_t> m_copyCount{0};
};

// Builds text at the end of a story: attributes are set before the glyphs that they govern. Flush hands over what was
// added; the destructor does not.
class REDRAFT_ENGINE GlyphSink {
public:
    explicit GlyphSink(Kernel::Counted<Story> story);
    ~GlyphSink();
    // Of the paragraph that is being built, and of later ones.
    void SetParagraphAtts(ParagraphAttsRef atts);
    void SetGlyphAtts(GlyphAttsRef atts);
    // A paragraph separator ends the paragraph.
    void Add(Kernel::Counted<Glyph const> const& glyph);
    void Add(char32_t character);
    void Add(std::u32string_view text);
    void Flush();

private:
    void EndParagraph();

    Kernel::Counted<Story> m_story;
    ParagraphAttsRef m_paragraphAtts;
    GlyphAttsRef m_glyphAtts;
    std::u32string m_text;
    std::vector<GlyphRun> m_runs;
    std::vector<ObjectAt> m_objects;
    std::vector<ParagraphRef> m_paragraphs;
};

} // namespace Story
