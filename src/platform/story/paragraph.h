// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/attributes.h"
#include "platform/story/glyph.h"

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

namespace Story {

// The text of a span with the attributes of its glyphs. Values; the attributes are shared.
struct GlyphRun {
    // One past the run's last glyph.
    std::uint32_t end = 0;
    GlyphAttsRef atts;
};
struct ObjectAt {
    std::uint32_t index = 0;
    Kernel::Counted<Glyph const> glyph;
};

// One paragraph of a story, its paragraph separator included as the last glyph: an immutable value that versions of a
// story share.
class REDRAFT_ENGINE Paragraph final : public Kernel::Serialisable {
public:
    // The longest paragraph; what is longer is split by whoever builds it.
    static constexpr std::uint32_t c_maximumLength = 1u << 20;

    // An empty paragraph.
    Paragraph();
    // `text` ends in c_paragraphSeparator and has no other; runs cover it; objects stand in ascending order on places
    // of c_objectCharacter.
    Paragraph(std::u32string text, std::vector<GlyphRun> runs, std::vector<ObjectAt> objects, ParagraphAttsRef atts);
    ~Paragraph() override;

    std::u32string_view GetText() const { return m_text; }
    std::uint32_t GetLength() const { return static_cast<std::uint32_t>(m_text.size()); }
    std::vector<GlyphRun> const& GetRuns() const { return m_runs; }
    std::vector<ObjectAt> const& GetObjects() const { return m_objects; }
    // Never null.
    ParagraphAttsRef const& GetAtts() const { return m_atts; }
    GlyphAttsRef const& GetGlyphAtts(std::uint32_t index) const;
    // Null where a character stands.
    Kernel::Counted<Glyph const> FindObject(std::uint32_t index) const;
    // The object, or the character as one.
    Kernel::Counted<Glyph const> GetGlyph(std::uint32_t index) const;
    Kernel::Counted<Paragraph const> CloneWithAtts(ParagraphAttsRef atts) const;
    // Makes equal attributes one object, as edits do, and fits the paragraph into a story: called once by the story
    // that has loaded it.
    void Settle();
    friend REDRAFT_ENGINE bool operator==(Paragraph const& a, Paragraph const& b);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Paragraph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    std::u32string m_text;
    std::vector<GlyphRun> m_runs;
    std::vector<ObjectAt> m_objects;
    ParagraphAttsRef m_atts;
    std::atomic<bool> m_isSettled{true};
};
using ParagraphRef = Kernel::Counted<Paragraph const>;

// UTF-8 to code points. Malformed sequences become U+FFFD each, by maximal subparts; they are counted.
struct DecodedText {
    std::u32string text;
    std::size_t replaced = 0;
};
REDRAFT_ENGINE DecodedText DecodeUtf8(std::string_view bytes);
// UTF-16 in the given byte order, without looking for a mark; lone surrogates and an odd byte become U+FFFD.
REDRAFT_ENGINE DecodedText DecodeUtf16(std::string_view bytes, bool bigEndian);
REDRAFT_ENGINE DecodedText DecodeLatin1(std::string_view bytes);
REDRAFT_ENGINE std::string EncodeUtf8(std::u32string_view text);

} // namespace Story
