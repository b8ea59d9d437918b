// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Story {

enum class GlyphCloneContext { CloneGlyphs, NoCloneGlyphs };

// The place that a glyph object takes in the text.
inline constexpr char32_t c_objectCharacter = 0xFFFC;
inline constexpr char32_t c_paragraphSeparator = 0x2029;
inline constexpr char32_t c_lineSeparator = 0x2028;
inline constexpr char32_t c_replacementCharacter = 0xFFFD;

class FieldDataSource;

// Where a glyph is shown, and what fields know of the document.
struct ExpansionContext {
    // Null: there is no document, and fields show nothing.
    FieldDataSource const* fields = nullptr;
    // The frame in which the glyph stands, counted along the chain of frames.
    std::size_t frame = 0;
    // The number of the note that is expanded, from 1; 0 where notes have none.
    std::uint32_t note = 0;
};

// How far the text that a glyph shows depends on more than the glyph.
enum class ExpansionReach : std::uint8_t {
    Glyph,    // on nothing else
    Story,    // on what stands in front of it in its story
    Document, // on the source of fields
    Frame     // on the frame too in which the glyph stands
};

// One element of a story: a character, or an object such as a field or a mark. Versions of a story share their objects,
// which do not change once they stand in one: who edits an object asks the story for a copy (Story::GetMutableGlyph).
class REDRAFT_ENGINE Glyph : public Kernel::Serialisable {
public:
    ~Glyph() override;
    // The class tag's value.
    Kernel::ClassUID GetClassUID() const { return GetObjectClassProperties()->GetClassUID(); }
    virtual bool IsCharacter() const { return false; }
    // The character; c_objectCharacter for an object.
    virtual char32_t GetCharacter() const { return c_objectCharacter; }
    // The text that composition shows in the glyph's place; empty for a mark that shows nothing. ExpandGlyph is what
    // composition takes of it.
    virtual std::u32string Expand(ExpansionContext const& context) const;
    virtual ExpansionReach GetExpansionReach() const { return ExpansionReach::Glyph; }
    // NoCloneGlyphs: the same object, where it may stand in two stories.
    virtual Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const = 0;
};

// A character where a glyph is asked for. Stories keep characters as text.
class REDRAFT_ENGINE CharacterGlyph final : public Glyph {
public:
    CharacterGlyph() = default;
    explicit CharacterGlyph(char32_t character) : m_character(character) {}
    bool IsCharacter() const override { return true; }
    char32_t GetCharacter() const override { return m_character; }
    std::u32string Expand(ExpansionContext const&) const override { return std::u32string(1, m_character); }
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext) const override { return Kernel::Counted<Glyph const>(this); }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<CharacterGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    char32_t m_character = c_replacementCharacter;
};

// Stands for text that is still to be written: shows so many words of a made-up text.
class REDRAFT_ENGINE FillerTextGlyph final : public Glyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxFi"};
    static constexpr std::uint32_t c_maximumWords = 100'000;
    FillerTextGlyph() = default;
    explicit FillerTextGlyph(std::uint32_t wordCount) : m_wordCount(wordCount) {}
    std::uint32_t GetWordCount() const { return m_wordCount; }
    std::u32string Expand(ExpansionContext const& context) const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<FillerTextGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    std::uint32_t m_wordCount = 0;
};

// The characters that an expansion has at most; what is longer is cut off.
inline constexpr std::size_t c_maximumExpansion = 1u << 20;
// An object's text as composition takes it: without paragraphs of its own (their ends become line separators), objects,
// surrogates and values beyond U+10FFFF, and of a sane length.
REDRAFT_ENGINE std::u32string ExpandGlyph(Glyph const& glyph, ExpansionContext const& context);

// Predicates on glyphs.
inline bool IsFillerTextGlyph(Glyph const& glyph) { return glyph.GetClassUID() == FillerTextGlyph::c_classUid; }
inline bool IsHardBreakCharacter(char32_t c) { return c == c_paragraphSeparator || c == c_lineSeparator; }
inline bool IsHardBreak(Glyph const& glyph) {
    return glyph.IsCharacter() && IsHardBreakCharacter(glyph.GetCharacter());
}

} // namespace Story
