// SPDX-License-Identifier: Apache-2.0
#include "platform/story/glyph.h"

#include "platform/kernel/field_list.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Story {

Glyph::~Glyph() = default;

std::u32string Glyph::Expand(ExpansionContext const&) const { return {}; }

std::u32string ExpandGlyph(Glyph const& glyph, ExpansionContext const& context) {
    auto text = glyph.Expand(context);
    if (text.size() > c_maximumExpansion)
        text.resize(c_maximumExpansion);
    std::size_t kept = 0;
    for (std::size_t i = 0; i != text.size(); ++i) {
        char32_t const c = text[i];
        bool const isFirstOfTwo = c == U'\r' && i + 1 != text.size() && text[i + 1] == U'\n';
        if (isFirstOfTwo || c == c_objectCharacter)
            continue;
        bool const endsLine = c == U'\n' || c == U'\r' || c == 0x85 || c == c_paragraphSeparator;
        bool const isNone = c > 0x10FFFF || (c >= 0xD800 && c < 0xE000);
        text[kept++] = endsLine ? c_lineSeparator : isNone ? c_replacementCharacter : c;
    }
    text.resize(kept);
    return text;
}

void CharacterGlyph::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Char", static_cast<std::uint32_t>(m_character));
}
bool CharacterGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    std::uint32_t character = c_replacementCharacter;
    Kernel::LoadValue(in, "Char", character);
    m_character = character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)
                      ? c_replacementCharacter
                      : static_cast<char32_t>(character);
    return true;
}

namespace {

// The first words of the filler text that typesetters have used since the sixteenth century, a mangled passage of
// Cicero's.
constexpr std::u32string_view c_filler =
    U"Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiusmod tempor incididunt ut labore et dolore "
    U"magna aliqua. Ut enim ad minim veniam, quis nostrud exercitation ullamco laboris nisi ut aliquip ex ea commodo "
    U"consequat. Duis aute irure dolor in reprehenderit in voluptate velit esse cillum dolore eu fugiat nulla "
    U"pariatur. Excepteur sint occaecat cupidatat non proident, sunt in culpa qui officia deserunt mollit anim id est "
    U"laborum. ";

} // namespace

std::u32string FillerTextGlyph::Expand(ExpansionContext const&) const {
    std::u32string text;
    std::size_t at = 0;
    for (std::uint32_t word = 0; word != m_wordCount; ++word) {
        auto const end = c_filler.find(U' ', at);
        text += c_filler.substr(at, end + 1 - at);
        at = end + 1 == c_filler.size() ? 0 : end + 1;
    }
    if (!text.empty())
        text.pop_back();
    return text;
}

Kernel::Counted<Glyph const> FillerTextGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<FillerTextGlyph>(m_wordCount);
}

void FillerTextGlyph::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Word", m_wordCount); }
bool FillerTextGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Word", m_wordCount);
    m_wordCount = std::min(m_wordCount, c_maximumWords);
    return true;
}

} // namespace Story
