// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/paragraph.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace Story {

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
    // Clamped to the story.
    StoryPos MoveBy(int count) const;

    // Words as Unicode Standard Annex 29 parts them; spaces and punctuation are between words.
    bool IsInWord() const;
    bool IsWordBegin() const;
    StoryPos GetWordBegin() const;
    StoryPos GetWordEnd() const;
    StoryPos GetNextWordBegin() const;

    // Positions of the glyphs from `begin` to `end` that the predicate takes.
    static void BaseCollectIf(std::vector<StoryPos>& found, StoryPos begin, StoryPos const& end,
                              std::function<bool(Glyph const&)> const& predicate);

    friend bool operator==(StoryPos const&, StoryPos const&) = default;

private:
    StoryRef m_story;
    std::uint32_t m_index = 0;
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

private:
    std::u32string m_text;
    std::vector<ObjectAt> m_objects;
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

    std::uint32_t GetLength() const;
    StoryRange GetAll() const { return {0, GetLength()}; }
    // Without the last separator.
    StoryRange GetClientAll() const { return {0, GetLength() - 1}; }
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
    // Glyph attributes change in the range, paragraph attributes in each paragraph that the range touches. An empty
    // range counts for its paragraph.
    void FormatText(StoryRange range, Delta const& delta);
    // Everything, the last separator included.
    void FormatText(Delta const& delta) { FormatText(GetAll(), delta); }

    friend REDRAFT_ENGINE bool operator==(Story const& a, Story const& b);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Story>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend class GlyphSink;
    struct Block;
    struct Content;
    // Settles a loaded story first: while a graph is loaded, paragraphs may still be empty.
    Content const& Get() const;
    // Puts paragraphs in place of those from `first` on, `count` of them.
    void ReplaceParagraphs(std::size_t first, std::size_t count, std::vector<ParagraphRef> paragraphs);

    mutable std::shared_ptr<Content const> m_content;
    mutable std::vector<Kernel::Counted<Paragraph>> m_loaded;
    mutable std::atomic<bool> m_isSettled{true};
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
