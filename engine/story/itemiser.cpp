// SPDX-License-Identifier: Apache-2.0
#include "engine/story/itemiser.h"

#include "engine/story/break_iterator.h"
#include "engine/story/emoji.h"

#include <algorithm>
#include <unicode/uchar.h>

namespace Story {

namespace {

// False for characters that are written from right to left or say something of direction, and for those above the
// alphabets without such ones, but for the dashes, quotation marks and separators of any text and the places of
// objects.
bool IsPlainInDirection(char32_t c) {
    constexpr char32_t c_firstDirectional = 0x590;
    return c < c_firstDirectional || (c >= 0x2010 && c <= c_paragraphSeparator) || c == c_objectCharacter;
}

bool IsSpace(char32_t c) {
    return c == U' ' || c == 0x1680 || (c >= 0x2000 && c <= 0x200A && c != 0x2007) || c == 0x205F || c == 0x3000 ||
           c == 0x200B;
}
bool IsControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == c_lineSeparator || c == c_paragraphSeparator ||
           c == c_objectCharacter;
}
bool IsMark(char32_t c) { return c >= 0x300 && (U_GET_GC_MASK(static_cast<UChar32>(c)) & U_GC_M_MASK) != 0; }
// Takes whatever face its neighbours have.
bool IsNeutralForFonts(char32_t c) {
    return c == 0xAD || (c >= 0x200B && c <= 0x200F) || (c >= 0x202A && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) ||
           (c >= 0xFE00 && c <= 0xFE0F) || c == 0xFEFF || (c >= 0xE0000 && c <= 0xE0FFF);
}

struct CloseBidi {
    void operator()(UBiDi* bidi) const { ubidi_close(bidi); }
};

} // namespace

std::uint8_t ComputeLevels(std::u32string_view text, int direction, std::vector<std::uint8_t>& levels) {
    thread_local std::unique_ptr<UBiDi, CloseBidi> const s_bidi(ubidi_open());
    thread_local Utf16Text s_text;
    s_text.Assign(text);
    UBiDiLevel const wanted = direction == static_cast<int>(ParagraphDirection::Automatic)     ? UBIDI_DEFAULT_LTR
                              : direction == static_cast<int>(ParagraphDirection::RightToLeft) ? UBiDiLevel{1}
                                                                                               : UBiDiLevel{0};
    UErrorCode status = U_ZERO_ERROR;
    ubidi_setPara(s_bidi.get(), s_text.GetData(), s_text.GetLength(), wanted, nullptr, &status);
    auto const* const found = U_SUCCESS(status) ? ubidi_getLevels(s_bidi.get(), &status) : nullptr;
    levels.assign(text.size(), 0);
    if (found == nullptr || U_FAILURE(status))
        return 0;
    for (std::int32_t i = 0; i != ubidi_getProcessedLength(s_bidi.get()); ++i)
        levels[s_text.ToCodePoints(i)] = found[i];
    return ubidi_getParaLevel(s_bidi.get());
}

Itemiser::Itemiser(std::u32string_view text, int direction, bool isVertical) : m_text(text), m_isVertical(isVertical) {
    FindLevels(direction);
}

void Itemiser::FindLevels(int direction) {
    bool const isPlain = direction != static_cast<int>(ParagraphDirection::RightToLeft) &&
                         std::all_of(m_text.begin(), m_text.end(), [](char32_t c) { return IsPlainInDirection(c); });
    if (isPlain)
        return;
    m_paragraphLevel = ComputeLevels(m_text, direction, m_levels);
    if (std::all_of(m_levels.begin(), m_levels.end(), [&](std::uint8_t level) { return level == m_paragraphLevel; }))
        m_levels.clear();
}

// Characters that any script uses take the script of what stands before them; at the beginning, of what follows.
hb_script_t Itemiser::GetScript(std::uint32_t index) {
    auto const scriptOf = [](char32_t c) { return hb_unicode_script(hb_unicode_funcs_get_default(), c); };
    auto const isOwn = [](hb_script_t script) {
        return script != HB_SCRIPT_COMMON && script != HB_SCRIPT_INHERITED && script != HB_SCRIPT_UNKNOWN;
    };
    char32_t const c = m_text[index];
    if (c < 0x80) {
        bool const isLetter = (c | 0x20) >= U'a' && (c | 0x20) <= U'z';
        if (isLetter)
            m_script = HB_SCRIPT_LATIN;
        if (isLetter || m_script != HB_SCRIPT_COMMON)
            return m_script;
    } else if (auto const script = scriptOf(c); isOwn(script)) {
        return m_script = script;
    }
    if (m_script == HB_SCRIPT_COMMON) {
        auto const end = std::min<std::size_t>(m_text.size(), index + 256);
        for (m_lookedAt = std::max<std::size_t>(m_lookedAt, index + 1); m_lookedAt < end; ++m_lookedAt) {
            if (auto const script = scriptOf(m_text[m_lookedAt]); isOwn(script))
                return m_script = script;
        }
    }
    return m_script;
}

// Unicode Standard Annex 50, 2: marks and controls go with their letter. A letter whose form differs on vertical lines
// stands as that form does where the face has it, and lies on its side elsewhere.
bool Itemiser::StandsUpright(std::uint32_t index, FontFace const* face, hb_script_t script) {
    char32_t const c = m_text[index];
    if (!m_isVertical || (index != 0 && (IsMark(c) || IsNeutralForFonts(c))))
        return m_isUpright;
    switch (u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_VERTICAL_ORIENTATION)) {
    case U_VO_UPRIGHT:
    case U_VO_TRANSFORMED_UPRIGHT:
        return m_isUpright = true;
    case U_VO_TRANSFORMED_ROTATED:
        return m_isUpright = face != nullptr && face->HasVerticalForm(c, script);
    default:
        return m_isUpright = false;
    }
}

// The quick way for most text: Latin letters and what stands between them, up to the first character that might not go
// on in the run. Returns its place.
std::uint32_t Itemiser::GoOn(std::uint32_t begin, std::uint32_t end, TextLookRef const& look, ShapedRun& run,
                             std::vector<std::uint8_t>& flags) const {
    auto const* const face = look->fonts->GetPrimary().get();
    bool const isPlain = face != nullptr && run.face == face && run.look == look && !look->smallCaps &&
                         run.script == HB_SCRIPT_LATIN && m_script == HB_SCRIPT_LATIN && !run.isUpright;
    if (!isPlain)
        return begin;
    std::uint64_t const covered[] = {face->GetCoverage(0), face->GetCoverage(64)};
    auto const* const text = m_text.data();
    auto* const flag = flags.data();
    std::uint32_t i = begin;
    for (; i != end; ++i) {
        char32_t const c = text[i];
        if (c < 0x20 || c >= 0x7F || (covered[c >> 6] >> (c & 63) & 1) == 0)
            break;
        if (c == U' ')
            flag[i] |= CharacterFlag::c_space;
    }
    bool const mayBeMark = i != end && text[i] >= 0x300;
    if (mayBeMark && i != begin)
        --i;
    run.end = i;
    return i;
}

void Itemiser::Itemise(std::uint32_t begin, std::uint32_t end, TextLookRef const& look, std::vector<ShapedRun>& runs,
                       std::vector<std::uint8_t>& flags) {
    auto const& fonts = *look->fonts;
    FontFace const* const primary = fonts.GetPrimary().get();
    FontFace const* previous = primary;
    FontFace const* emojiFace = nullptr;
    std::uint32_t emojiEnd = begin;
    bool isNewLook = true;
    for (std::uint32_t i = begin; i < end; ++i) {
        if (!isNewLook && m_levels.empty() && (flags[i - 1] & CharacterFlag::c_tab) == 0) {
            i = GoOn(i, end, look, runs.back(), flags);
            if (i == end)
                break;
        }
        char32_t const c = m_text[i];
        if (i >= emojiEnd) {
            auto const emoji = FindEmojiSequence(m_text, i, end);
            emojiFace = emoji ? fonts.FindEmojiFace(m_text.substr(i, emoji->end - i), emoji->inColours) : nullptr;
            emojiEnd = emoji ? emoji->end : i;
        }
        FontFace const* face = i < emojiEnd ? emojiFace : nullptr;
        if (face != nullptr) {
            // Found for the whole sequence.
        } else if (IsControl(c)) {
            flags[i] |= c == U'\t' ? CharacterFlag::c_tab : CharacterFlag::c_control | CharacterFlag::c_space;
            // The leader of a tab comes from a face.
            if (c == U'\t')
                face = previous;
        } else if (primary == nullptr || IsNeutralForFonts(c)) {
            face = previous;
            if (c == 0xAD)
                flags[i] |= CharacterFlag::c_softHyphen;
            if (c == 0x200B)
                flags[i] |= CharacterFlag::c_space;
        } else if (c < 0x300) {
            face = primary->HasCharacter(c) ? primary : fonts.FindFace(c);
            if (c == U' ')
                flags[i] |= CharacterFlag::c_space;
        } else {
            if (IsSpace(c))
                flags[i] |= CharacterFlag::c_space;
            char32_t const next = i + 1 < end ? m_text[i + 1] : 0;
            char32_t const mark = next >= 0x300 && IsMark(next) ? next : 0;
            if (IsMark(c) && i != begin && !runs.empty() && (previous == nullptr || previous->HasCharacter(c)))
                face = previous;
            else if (primary->HasCharacter(c) && (mark == 0 || primary->HasCharacter(mark)))
                face = primary;
            else if (previous != primary && previous != nullptr && !primary->HasCharacter(c) &&
                     previous->HasCharacter(c) && (mark == 0 || previous->HasCharacter(mark)))
                face = previous;
            else
                face = fonts.FindFace(c, mark);
        }
        // A Latin letter whose mark stands behind it may have to leave the primary face, too.
        if (face != nullptr && i >= emojiEnd && c >= 0x41 && c < 0x300 && i + 1 < end && m_text[i + 1] >= 0x300 &&
            IsMark(m_text[i + 1]) && !face->HasCharacter(m_text[i + 1]))
            face = fonts.FindFace(c, m_text[i + 1]);
        // A small capital that is made is a run of its own.
        bool const isMade = look->smallCaps && face != nullptr && !face->HasSmallCaps() &&
                            u_toupper(static_cast<UChar32>(c)) != static_cast<UChar32>(c) &&
                            face->HasCharacter(static_cast<char32_t>(u_toupper(static_cast<UChar32>(c))));
        bool const joinsMark = IsMark(c) && i != begin && runs.back().look == look->smallCaps;
        auto const& runLook = look->smallCaps && (isMade || joinsMark) ? look->smallCaps : look;
        auto const script = face == nullptr ? m_script : GetScript(i);
        auto const level = GetLevel(i);
        bool const isUpright = StandsUpright(i, face, script);
        bool const joins = !isNewLook && runs.back().face == face && runs.back().look == runLook &&
                           runs.back().script == script && runs.back().level == level &&
                           runs.back().isUpright == isUpright && (flags[i] & CharacterFlag::c_tab) == 0 &&
                           (flags[i - 1] & CharacterFlag::c_tab) == 0;
        if (joins)
            runs.back().end = i + 1;
        else
            runs.push_back({i, i + 1, 0, 0, runLook, face, script, level, isUpright});
        isNewLook = false;
        if (face != nullptr)
            previous = face;
    }
}

} // namespace Story
