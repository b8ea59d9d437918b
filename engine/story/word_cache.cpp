// SPDX-License-Identifier: Apache-2.0
#include "engine/story/word_cache.h"

#include "engine/story/separable_spaces.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <memory>

namespace Story {

namespace {

// For each thread; a set is what one face, script, language and list of features need.
constexpr std::size_t c_maximumSets = 8;
constexpr std::size_t c_maximumWords = 1 << 15;
// Longer words are shaped whenever they come.
constexpr std::size_t c_maximumLength = 40;
constexpr std::size_t c_maximumGlyphs = 160;

constexpr char32_t c_plainEnd = 0x20C0;

// Characters that stand each by itself: no marks, nothing that shaping hides or joins to its neighbours. Only such
// characters part words safely at a space.
constexpr auto c_plain = [] {
    std::array<bool, c_plainEnd> plain{};
    auto const add = [&](char32_t first, char32_t last) {
        for (char32_t c = first; c <= last; ++c)
            plain[c] = true;
    };
    add(0x21, 0x7E);
    add(0xA1, 0xAC);
    add(0xAE, 0x24F);
    add(0x370, 0x373);
    add(0x376, 0x377);
    add(0x37B, 0x37D);
    add(0x386, 0x3FF);
    add(0x400, 0x482);
    add(0x48A, 0x52F);
    add(0x1E00, 0x1EFF);
    add(0x2010, 0x2015);
    add(0x2018, 0x2026);
    add(0x2030, 0x203E);
    add(0x20A0, 0x20BF);
    return plain;
}();

constexpr bool IsPlain(char32_t c) { return c < c_plainEnd && c_plain[c]; }

// What stands next to a space changes its glyph by so much.
struct Adjustment {
    std::int32_t advance = 0, offsetX = 0, offsetY = 0;
    bool isUnsafeToBreak = false;
};

struct PackedGlyph {
    std::uint16_t id;
    std::uint8_t cluster;
    std::uint8_t isUnsafeToBreak : 1, endsCluster : 1;
    std::int16_t advance, offsetX, offsetY;
};

// A word between what stands beside it: spaces, or nothing. Kept ones have their glyphs in a WordSet's list.
struct Word {
    std::uint32_t hash = 0;
    std::uint32_t textBegin = 0, glyphBegin = 0;
    std::uint16_t glyphCount = 0;
    std::uint8_t length = 0;
    bool hasSpaceBefore = false, hasSpaceBehind = false;
    Adjustment before, behind;
};

// A stretch that ends where words may be parted.
struct Stretch {
    std::uint32_t begin = 0, end = 0; // without the spaces beside it
    bool hasSpaceBefore = false, hasSpaceBehind = false;
    bool isPlain = true;
    std::uint32_t hash = 2166136261u;
};

bool FitsIn16Bits(std::int32_t value) {
    using Limits = std::numeric_limits<std::int16_t>;
    return value >= Limits::min() && value <= Limits::max();
}

class WordSet {
public:
    explicit WordSet(ShapedRun const& run)
        : m_face(run.face), m_script(run.script), m_language(run.look->language), m_features(run.look->features) {
        char32_t const space = U' ';
        ShapeWithHarfBuzz(m_raw, {&space, 1}, 0, 1, run);
        m_works = m_raw.size() == 1;
        if (m_works)
            m_space = m_raw.front();
        m_slots.assign(1024, 0);
    }

    bool IsFor(ShapedRun const& run) const {
        auto const isSame = [](hb_feature_t const& a, hb_feature_t const& b) {
            return a.tag == b.tag && a.value == b.value;
        };
        auto const& features = run.look->features;
        return m_face.get() == run.face && m_script == run.script && m_language == run.look->language &&
               std::equal(m_features.begin(), m_features.end(), features.begin(), features.end(), isSame);
    }

    bool Shape(std::vector<ShapedGlyph>& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
               ShapedRun const& run) {
        GlyphScaler const scaler(run);
        std::size_t const first = glyphs.size();
        Adjustment before;
        Stretch stretch;
        stretch.end = begin;
        while (m_works) {
            std::uint32_t const next = stretch.end;
            bool const isFirst = next == begin && glyphs.size() == first && !stretch.hasSpaceBehind;
            stretch = FindStretch(text, isFirst ? begin : next + 1, end, !isFirst);
            auto const* word =
                stretch.isPlain && stretch.end - stretch.begin <= c_maximumLength ? Find(text, stretch) : nullptr;
            Word made;
            bool const isKept = word != nullptr || Make(text, stretch, run, word, made);
            if (!m_works)
                break;
            if (word == nullptr)
                word = &made;
            if (stretch.hasSpaceBefore)
                glyphs.push_back(scaler.Scale(MakeSpace(stretch.begin - 1, before, word->before)));
            if (isKept)
                AppendKept(glyphs, *word, stretch.begin, scaler);
            else
                AppendRaw(glyphs, stretch, scaler);
            before = word->behind;
            if (!stretch.hasSpaceBehind)
                return true;
        }
        glyphs.resize(first);
        return false;
    }

    std::size_t GetMemoryUse() const {
        return sizeof *this + m_slots.capacity() * sizeof(std::uint32_t) + m_words.capacity() * sizeof(Word) +
               m_text.capacity() * sizeof(char16_t) + m_glyphs.capacity() * sizeof(PackedGlyph);
    }

private:
    static Stretch FindStretch(std::u32string_view text, std::uint32_t begin, std::uint32_t end, bool hasSpaceBefore) {
        Stretch stretch;
        stretch.begin = begin;
        stretch.hasSpaceBefore = hasSpaceBefore;
        bool isPlainBefore = true;
        std::uint32_t at = begin;
        for (; at != end; ++at) {
            char32_t const c = text[at];
            if (c == U' ') {
                bool const isSafe = isPlainBefore && (at + 1 == end || text[at + 1] == U' ' || IsPlain(text[at + 1]));
                if (isSafe)
                    break;
                isPlainBefore = true;
                stretch.isPlain = false;
                continue;
            }
            isPlainBefore = IsPlain(c);
            stretch.isPlain &= isPlainBefore;
            stretch.hash = (stretch.hash ^ c) * 16777619u;
        }
        stretch.end = at;
        stretch.hasSpaceBehind = at != end;
        stretch.hash ^= (hasSpaceBefore ? 0x10001u : 0u) + (stretch.hasSpaceBehind ? 0x20002u : 0u);
        stretch.hash ^= stretch.hash >> 15;
        return stretch;
    }

    Word const* Find(std::u32string_view text, Stretch const& stretch) const {
        auto const length = stretch.end - stretch.begin;
        for (std::size_t slot = stretch.hash & (m_slots.size() - 1); m_slots[slot] != 0;
             slot = (slot + 1) & (m_slots.size() - 1)) {
            auto const& word = m_words[m_slots[slot] - 1];
            if (word.hash == stretch.hash && word.length == length && word.hasSpaceBefore == stretch.hasSpaceBefore &&
                word.hasSpaceBehind == stretch.hasSpaceBehind &&
                std::equal(m_text.data() + word.textBegin, m_text.data() + word.textBegin + length,
                           text.data() + stretch.begin))
                return &word;
        }
        return nullptr;
    }

    // Shapes the stretch and keeps it if it can be kept: then true, and `kept` is the word. Else its glyphs are in
    // m_raw, and `made` tells of its spaces.
    bool Make(std::u32string_view text, Stretch const& stretch, ShapedRun const& run, Word const*& kept, Word& made) {
        std::uint32_t const from = stretch.begin - (stretch.hasSpaceBefore ? 1 : 0);
        std::uint32_t const to = stretch.end + (stretch.hasSpaceBehind ? 1 : 0);
        m_raw.clear();
        if (from != to)
            ShapeWithHarfBuzz(m_raw, text, from, to, run);
        made.hasSpaceBefore = stretch.hasSpaceBefore;
        made.hasSpaceBehind = stretch.hasSpaceBehind;
        if (stretch.hasSpaceBehind && !(m_works = TakeSpace(m_raw.empty() ? 0 : m_raw.size() - 1, to - 1, made.behind)))
            return false;
        if (stretch.hasSpaceBefore && !(m_works = TakeSpace(0, from, made.before)))
            return false;
        if (!stretch.isPlain || stretch.end - stretch.begin > c_maximumLength || m_raw.size() > c_maximumGlyphs)
            return false;
        bool const isSmall = std::all_of(m_raw.begin(), m_raw.end(), [](RawGlyph const& glyph) {
            return glyph.id <= 0xFFFF && FitsIn16Bits(glyph.advance) && FitsIn16Bits(glyph.offsetX) &&
                   FitsIn16Bits(glyph.offsetY);
        });
        if (!isSmall)
            return false;
        kept = Keep(text, stretch, made);
        return true;
    }

    // Moves the glyph of a space at the fringe out of m_raw. False when it is not what a space must be.
    bool TakeSpace(std::size_t index, std::uint32_t cluster, Adjustment& adjustment) {
        if (index >= m_raw.size())
            return false;
        auto const glyph = m_raw[index];
        bool const isAlone = std::count_if(m_raw.begin(), m_raw.end(),
                                           [&](RawGlyph const& other) { return other.cluster == cluster; }) == 1;
        if (glyph.id != m_space.id || glyph.cluster != cluster || !isAlone)
            return false;
        adjustment = {glyph.advance - m_space.advance, glyph.offsetX - m_space.offsetX, glyph.offsetY - m_space.offsetY,
                      glyph.isUnsafeToBreak};
        m_raw.erase(m_raw.begin() + static_cast<std::ptrdiff_t>(index));
        return true;
    }

    Word const* Keep(std::u32string_view text, Stretch const& stretch, Word word) {
        if (m_words.size() == c_maximumWords) {
            m_words.clear();
            m_text.clear();
            m_glyphs.clear();
            std::fill(m_slots.begin(), m_slots.end(), 0);
        }
        if (2 * (m_words.size() + 1) > m_slots.size()) {
            m_slots.assign(m_slots.size() * 2, 0);
            for (std::size_t i = 0; i != m_words.size(); ++i)
                Enter(i);
        }
        word.hash = stretch.hash;
        word.length = static_cast<std::uint8_t>(stretch.end - stretch.begin);
        word.textBegin = static_cast<std::uint32_t>(m_text.size());
        word.glyphBegin = static_cast<std::uint32_t>(m_glyphs.size());
        word.glyphCount = static_cast<std::uint16_t>(m_raw.size());
        for (std::uint32_t i = stretch.begin; i != stretch.end; ++i)
            m_text.push_back(static_cast<char16_t>(text[i]));
        for (auto const& glyph : m_raw) {
            m_glyphs.push_back({static_cast<std::uint16_t>(glyph.id),
                                static_cast<std::uint8_t>(glyph.cluster - stretch.begin), glyph.isUnsafeToBreak,
                                glyph.endsCluster, static_cast<std::int16_t>(glyph.advance),
                                static_cast<std::int16_t>(glyph.offsetX), static_cast<std::int16_t>(glyph.offsetY)});
        }
        m_words.push_back(word);
        Enter(m_words.size() - 1);
        return &m_words.back();
    }

    void Enter(std::size_t index) {
        std::size_t slot = m_words[index].hash & (m_slots.size() - 1);
        while (m_slots[slot] != 0)
            slot = (slot + 1) & (m_slots.size() - 1);
        m_slots[slot] = static_cast<std::uint32_t>(index + 1);
    }

    RawGlyph MakeSpace(std::uint32_t cluster, Adjustment const& left, Adjustment const& right) const {
        return {m_space.id,
                cluster,
                m_space.advance + left.advance + right.advance,
                m_space.offsetX + left.offsetX + right.offsetX,
                m_space.offsetY + left.offsetY + right.offsetY,
                left.isUnsafeToBreak || right.isUnsafeToBreak,
                true};
    }

    void AppendKept(std::vector<ShapedGlyph>& glyphs, Word const& word, std::uint32_t begin,
                    GlyphScaler const& scaler) const {
        for (std::size_t i = word.glyphBegin; i != word.glyphBegin + word.glyphCount; ++i) {
            auto const& glyph = m_glyphs[i];
            glyphs.push_back(scaler.Scale({glyph.id, begin + glyph.cluster, glyph.advance, glyph.offsetX, glyph.offsetY,
                                           glyph.isUnsafeToBreak != 0, glyph.endsCluster != 0}));
        }
    }

    void AppendRaw(std::vector<ShapedGlyph>& glyphs, Stretch const&, GlyphScaler const& scaler) const {
        for (auto const& glyph : m_raw)
            glyphs.push_back(scaler.Scale(glyph));
    }

    Kernel::Counted<FontFace const> m_face;
    hb_script_t m_script;
    hb_language_t m_language;
    std::vector<hb_feature_t> m_features;
    RawGlyph m_space;
    // False when a space came out of shaping as something else, against what the font's tables say.
    bool m_works = true;
    // Numbers of words from 1, by hash; a power of two of them, half empty.
    std::vector<std::uint32_t> m_slots;
    std::vector<Word> m_words;
    std::u16string m_text;
    std::vector<PackedGlyph> m_glyphs;
    std::vector<RawGlyph> m_raw;
};

std::atomic<bool> s_isEnabled{true};

std::vector<std::unique_ptr<WordSet>>& GetSets() {
    thread_local std::vector<std::unique_ptr<WordSet>> s_sets;
    return s_sets;
}

// Most recently used first.
WordSet& GetSet(ShapedRun const& run) {
    auto& sets = GetSets();
    auto found =
        std::find_if(sets.begin(), sets.end(), [&](std::unique_ptr<WordSet> const& set) { return set->IsFor(run); });
    if (found == sets.end()) {
        if (sets.size() == c_maximumSets)
            sets.pop_back();
        found = sets.insert(sets.end(), std::make_unique<WordSet>(run));
    }
    std::rotate(sets.begin(), found, found + 1);
    return *sets.front();
}

} // namespace

bool WordCache::Shape(std::vector<ShapedGlyph>& glyphs, std::u32string_view text, std::uint32_t begin,
                      std::uint32_t end, ShapedRun const& run) {
    auto const isWhole = [](hb_feature_t const& feature) {
        return feature.start == HB_FEATURE_GLOBAL_START && feature.end == HB_FEATURE_GLOBAL_END;
    };
    auto const& features = run.look->features;
    bool const canPart = begin != end && s_isEnabled.load(std::memory_order_relaxed) && !run.IsRightToLeft() &&
                         IsSpacedScript(run.script) && run.face->HasSeparableSpaces() &&
                         std::all_of(features.begin(), features.end(), isWhole);
    return canPart && GetSet(run).Shape(glyphs, text, begin, end, run);
}

void WordCache::SetEnabled(bool isEnabled) { s_isEnabled.store(isEnabled, std::memory_order_relaxed); }
void WordCache::Clear() { GetSets().clear(); }

std::size_t WordCache::GetMemoryUse() {
    std::size_t use = 0;
    for (auto const& set : GetSets())
        use += set->GetMemoryUse();
    return use;
}

} // namespace Story
