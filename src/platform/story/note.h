// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/glyph_predicates.h"

#include <atomic>
#include <memory>

namespace Story {

class Story;

// Refers to a note: shows the note's number. The note's text is a story of its own, which the glyph owns: it takes no
// part in the text around it, and has no notes itself. Setters are for a glyph that stands in no story, or that
// Story::GetMutableGlyph gave.
class REDRAFT_ENGINE NoteGlyph final : public Glyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxNo"};
    // Values are part of the stored form. Composition lays out both behind the text: at a page's foot there is nothing
    // yet.
    enum class Kind : std::uint32_t { Footnote = 0, Endnote = 1 };

    // A footnote without text.
    NoteGlyph();
    // Null gives a note without text. Throws Kernel::Exception for a story that has notes.
    NoteGlyph(Kind kind, Kernel::Counted<Story const> story);
    ~NoteGlyph() override;

    Kind GetKind() const { return m_kind; }
    // Never null, and the same object each time. Safe from any thread.
    Kernel::Counted<Story const> GetStory() const;
    // As the constructor.
    void SetStory(Kernel::Counted<Story const> story);

    // The number that the context tells.
    std::u32string Expand(ExpansionContext const& context) const override;
    ExpansionReach GetExpansionReach() const override { return ExpansionReach::Story; }
    // A copy with CloneGlyphs has a text of its own, as Story::CloneWithOwnGlyphs makes it.
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<NoteGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    struct Loaded;
    Kind m_kind = Kind::Footnote;
    // Null until a loaded text is first asked for.
    mutable Kernel::Counted<Story const> m_story;
    mutable std::shared_ptr<Loaded> m_loaded;
    mutable std::atomic<bool> m_isSettled{true};
};

inline bool IsNoteGlyph(Glyph const& glyph) { return glyph.GetClassUID() == NoteGlyph::c_classUid; }
template <>
inline constexpr bool c_takesCharacters<&IsNoteGlyph> = false;

} // namespace Story
