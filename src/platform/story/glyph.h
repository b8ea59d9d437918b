// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/serialisable.h"

#include <string>

namespace Story {

enum class GlyphCloneContext { CloneGlyphs, NoCloneGlyphs };

// The place that a glyph object takes in the text.
inline constexpr char32_t c_objectCharacter = 0xFFFC;
inline constexpr char32_t c_paragraphSeparator = 0x2029;
inline constexpr char32_t c_lineSeparator = 0x2028;
inline constexpr char32_t c_replacementCharacter = 0xFFFD;

// One element of a story: a character, or an object such as a field or a mark. Objects have identity: a story that is
// edited elsewhere keeps them. Immutable once they stand in a story.
class REDRAFT_ENGINE Glyph : public Kernel::Serialisable {
public:
    ~Glyph() override;
    // The class tag's value.
    Kernel::ClassUID GetClassUID() const { return GetObjectClassProperties()->GetClassUID(); }
    virtual bool IsCharacter() const { return false; }
    // The character; c_objectCharacter for an object.
    virtual char32_t GetCharacter() const { return c_objectCharacter; }
    // The text that composition shows in the glyph's place; empty for a mark that shows nothing.
    virtual std::u32string Expand() const { return {}; }
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
    std::u32string Expand() const override { return std::u32string(1, m_character); }
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
    std::u32string Expand() const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<FillerTextGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    std::uint32_t m_wordCount = 0;
};

// Predicates on glyphs.
inline bool IsFillerTextGlyph(Glyph const& glyph) { return glyph.GetClassUID() == FillerTextGlyph::c_classUid; }
inline bool IsHardBreakCharacter(char32_t c) { return c == c_paragraphSeparator || c == c_lineSeparator; }
inline bool IsHardBreak(Glyph const& glyph) {
    return glyph.IsCharacter() && IsHardBreakCharacter(glyph.GetCharacter());
}

} // namespace Story
