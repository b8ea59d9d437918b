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
constexpr std::size_t c_maximumCachedWords = 1 << 15;
// Longer words are shaped whenever they come.
constexpr std::size_t c_maximumLength = 40;
constexpr std::size_t c_maximumGlyphs = 160;
// Words are looked for at so many places: a text that was made to have its words all at one place finds none there.
constexpr std::size_t c_maximumCacheProbes = 64;

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

// The distance by which a neighbour changes the glyph of a space.
struct Adjustment {
    std::int32_t advance = 0, offsetX = 0, offsetY = 0;
    bool isUnsafeToBreak = false;
};

// A span of text that ends where words may be split: a word between spaces or fringes.
struct WordSpan {
    std::uint32_t begin = 0, end = 0; // without the spaces beside it
    bool hasSpaceBefore = false, hasSpaceBehind = false;
    bool isPlain = true;
    std::uint32_t hash = 2166136261u;

    std::uint32_t GetLength() const { return end - begin; }
    // Tells it apart from others of the same letters.
    std::uint16_t GetKey() const {
        return static_cast<std::uint16_t>(GetLength() | (hasSpaceBefore ? 0x100 : 0) | (hasSpaceBehind ? 0x200 : 0));
    }
};

// A kept word is this header, its letters, and its glyphs of three numbers or, with offsets, five: glyph, cluster and
// flags, advance, offsets.
struct KeptWord {
    static constexpr std::size_t c_header = 8;
    static constexpr std::uint16_t c_hasOffsets = 0x8000, c_beforeIsUnsafe = 0x4000, c_behindIsUnsafe = 0x2000;
    static constexpr std::uint16_t c_endsCluster = 0x100, c_isUnsafe = 0x200;
    enum Field { c_key, c_countAndFlags, c_beforeAdvance, c_behindAdvance = c_beforeAdvance + 3 };

    std::uint16_t const* words;
    explicit operator bool() const { return words != nullptr; }
    std::size_t GetCount() const { return words[c_countAndFlags] & 0x1FFF; }
    bool HasOffsets() const { return (words[c_countAndFlags] & c_hasOffsets) != 0; }
    Adjustment GetAdjustment(Field field, std::uint16_t flag) const {
        return {Signed(words[field]), Signed(words[field + 1]), Signed(words[field + 2]),
                (words[c_countAndFlags] & flag) != 0};
    }
    Adjustment GetBefore() const { return GetAdjustment(c_beforeAdvance, c_beforeIsUnsafe); }
    Adjustment GetBehind() const { return GetAdjustment(c_behindAdvance, c_behindIsUnsafe); }
    std::uint16_t const* GetText() const { return words + c_header; }
    std::uint16_t const* GetGlyphs() const { return words + c_header + (words[c_key] & 0xFF); }

    static std::int32_t Signed(std::uint16_t value) { return static_cast<std::int16_t>(value); }
};

bool FitsIn16Bits(std::int32_t value) {
    using Limits = std::numeric_limits<std::int16_t>;
    return value >= Limits::min() && value <= Limits::max();
}
template <class T>
bool IsSmall(T const& glyph) {
    return FitsIn16Bits(glyph.advance) && FitsIn16Bits(glyph.offsetX) && FitsIn16Bits(glyph.offsetY);
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
        m_slots.resize(1024);
    }

    bool IsFor(ShapedRun const& run) const {
        auto const isSame = [](hb_feature_t const& a, hb_feature_t const& b) {
            return a.tag == b.tag && a.value == b.value;
        };
        auto const& features = run.look->features;
        return m_face.get() == run.face && m_script == run.script && m_language == run.look->language &&
               std::equal(m_features.begin(), m_features.end(), features.begin(), features.end(), isSame);
    }

    bool Shape(GlyphBuffer& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
               ShapedRun const& run) {
        GlyphScaler const scaler(run);
        std::size_t const first = glyphs.GetSize();
        Adjustment left; // what the word before the space does to it
        WordSpan stretch;
        for (std::uint32_t next = begin; m_works; next = stretch.end + 1) {
            stretch = FindStretch(text, next, end, next != begin);
            bool const canBeKept = stretch.isPlain && stretch.GetLength() <= c_maximumLength;
            auto word = canBeKept ? Find(text, stretch) : KeptWord{nullptr};
            Adjustment before, behind;
            if (!word) {
                if (!(m_works = Make(text, stretch, run, before, behind)))
                    break;
                if (canBeKept)
                    word = Keep(text, stretch, before, behind);
            }
            if (word) {
                before = word.GetBefore();
                behind = word.GetBehind();
            }
            if (stretch.hasSpaceBefore)
                *glyphs.Append(1) = MakeSpace(stretch.begin - 1, left, before, scaler);
            if (word)
                AppendKept(glyphs, word, stretch.begin, scaler);
            else
                AppendRaw(glyphs, text, scaler);
            left = behind;
            if (!stretch.hasSpaceBehind)
                return true;
        }
        glyphs.CutTo(first);
        return false;
    }

    std::size_t GetMemoryUse() const {
        return sizeof *this + m_slots.capacity() * sizeof(Slot) + m_kept.capacity() * sizeof(std::uint16_t);
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t place = 0; // in m_kept, from 1
    };

    static WordSpan FindStretch(std::u32string_view text, std::uint32_t begin, std::uint32_t end, bool hasSpaceBefore) {
        WordSpan stretch;
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
        stretch.hash ^= stretch.GetKey();
        stretch.hash ^= stretch.hash >> 15;
        return stretch;
    }

    KeptWord Find(std::u32string_view text, WordSpan const& stretch) const {
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t probe = 0; probe != c_maximumCacheProbes; ++probe) {
            std::size_t const i = (stretch.hash + probe) & mask;
            if (m_slots[i].place == 0)
                break;
            if (m_slots[i].hash != stretch.hash)
                continue;
            KeptWord const word{m_kept.data() + m_slots[i].place - 1};
            if (word.words[KeptWord::c_key] == stretch.GetKey() &&
                std::equal(text.begin() + stretch.begin, text.begin() + stretch.end, word.GetText()))
                return word;
        }
        return {nullptr};
    }

    // Shapes the span: its glyphs are in m_raw, without those of the spaces. False when a space came out of shaping
    // as something else.
    bool Make(std::u32string_view text, WordSpan const& stretch, ShapedRun const& run, Adjustment& before,
              Adjustment& behind) {
        std::uint32_t const from = stretch.begin - (stretch.hasSpaceBefore ? 1 : 0);
        std::uint32_t const to = stretch.end + (stretch.hasSpaceBehind ? 1 : 0);
        m_raw.clear();
        if (from != to)
            ShapeWithHarfBuzz(m_raw, text, from, to, run);
        return (!stretch.hasSpaceBehind || TakeSpace(m_raw.empty() ? 0 : m_raw.size() - 1, to - 1, behind)) &&
               (!stretch.hasSpaceBefore || TakeSpace(0, from, before));
    }

    bool TakeSpace(std::size_t index, std::uint32_t cluster, Adjustment& adjustment) {
        if (index >= m_raw.size())
            return false;
        auto const glyph = m_raw[index];
        auto const isOfCluster = [&](RawGlyph const& other) { return other.cluster == cluster; };
        if (glyph.id != m_space.id || std::count_if(m_raw.begin(), m_raw.end(), isOfCluster) != 1 ||
            glyph.cluster != cluster)
            return false;
        adjustment = {glyph.advance - m_space.advance, glyph.offsetX - m_space.offsetX, glyph.offsetY - m_space.offsetY,
                      glyph.isUnsafeToBreak};
        m_raw.erase(m_raw.begin() + static_cast<std::ptrdiff_t>(index));
        return true;
    }

    // Keeps what Make made; nothing when that does not fit.
    KeptWord Keep(std::u32string_view text, WordSpan const& stretch, Adjustment const& before,
                  Adjustment const& behind) {
        bool const fits = m_raw.size() <= c_maximumGlyphs && IsSmall(before) && IsSmall(behind) &&
                          std::all_of(m_raw.begin(), m_raw.end(),
                                      [](auto const& glyph) { return glyph.id <= 0xFFFF && IsSmall(glyph); });
        if (!fits)
            return {nullptr};
        if (m_count == c_maximumCachedWords) {
            m_count = 0;
            m_kept.clear();
            std::fill(m_slots.begin(), m_slots.end(), Slot());
        }
        if (2 * (m_count + 1) > m_slots.size())
            GrowSlots();
        auto const place = m_kept.size();
        if (!Enter({stretch.hash, static_cast<std::uint32_t>(place + 1)}))
            return {nullptr};
        ++m_count;
        bool const hasOffsets = std::any_of(
            m_raw.begin(), m_raw.end(), [](RawGlyph const& glyph) { return glyph.offsetX != 0 || glyph.offsetY != 0; });
        auto const put = [&](auto value) { m_kept.push_back(static_cast<std::uint16_t>(value)); };
        put(stretch.GetKey());
        put(m_raw.size() | (hasOffsets ? KeptWord::c_hasOffsets : 0) |
            (before.isUnsafeToBreak ? KeptWord::c_beforeIsUnsafe : 0) |
            (behind.isUnsafeToBreak ? KeptWord::c_behindIsUnsafe : 0));
        for (auto const& adjustment : {before, behind}) {
            put(adjustment.advance);
            put(adjustment.offsetX);
            put(adjustment.offsetY);
        }
        for (std::uint32_t i = stretch.begin; i != stretch.end; ++i)
            put(text[i]);
        for (auto const& glyph : m_raw) {
            put(glyph.id);
            put((glyph.cluster - stretch.begin) | (glyph.endsCluster ? KeptWord::c_endsCluster : 0) |
                (glyph.isUnsafeToBreak ? KeptWord::c_isUnsafe : 0));
            put(glyph.advance);
            if (hasOffsets) {
                put(glyph.offsetX);
                put(glyph.offsetY);
            }
        }
        return {m_kept.data() + place};
    }

    void GrowSlots() {
        std::vector<Slot> old(m_slots.size() * 2);
        old.swap(m_slots);
        for (auto const& slot : old) {
            if (slot.place != 0)
                Enter(slot);
        }
    }

    bool Enter(Slot const& slot) {
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t probe = 0; probe != c_maximumCacheProbes; ++probe) {
            auto& place = m_slots[(slot.hash + probe) & mask];
            if (place.place == 0) {
                place = slot;
                return true;
            }
        }
        return false;
    }

    ShapedGlyph MakeSpace(std::uint32_t cluster, Adjustment const& left, Adjustment const& right,
                          GlyphScaler const& scaler) const {
        auto glyph = scaler.Scale({m_space.id, cluster, m_space.advance + left.advance + right.advance,
                                   m_space.offsetX + left.offsetX + right.offsetX,
                                   m_space.offsetY + left.offsetY + right.offsetY,
                                   left.isUnsafeToBreak || right.isUnsafeToBreak, true});
        glyph.idAndFlags |= ShapedGlyph::c_stretches;
        return glyph;
    }

    // Plain characters never stretch.
    static void AppendKept(GlyphBuffer& glyphs, KeptWord const& word, std::uint32_t begin, GlyphScaler const& scaler) {
        auto const count = word.GetCount();
        auto const* from = word.GetGlyphs();
        auto* glyph = glyphs.Append(count);
        bool const hasOffsets = word.HasOffsets();
        for (std::size_t i = 0; i != count; ++i, ++glyph) {
            glyph->idAndFlags = from[0] | ((from[1] & KeptWord::c_isUnsafe) != 0 ? ShapedGlyph::c_unsafeToBreak : 0);
            glyph->cluster = begin + (from[1] & 0xFFu);
            glyph->advance = scaler.GetAdvance(KeptWord::Signed(from[2]), (from[1] & KeptWord::c_endsCluster) != 0);
            glyph->offsetX = hasOffsets ? scaler.GetOffsetX(KeptWord::Signed(from[3])) : 0;
            glyph->offsetY = hasOffsets ? scaler.GetOffsetY(KeptWord::Signed(from[4])) : 0;
            from += hasOffsets ? 5 : 3;
        }
    }

    void AppendRaw(GlyphBuffer& glyphs, std::u32string_view text, GlyphScaler const& scaler) const {
        auto* glyph = glyphs.Append(m_raw.size());
        for (auto const& raw : m_raw) {
            *glyph = scaler.Scale(raw);
            if (raw.endsCluster && IsStretchable(text[raw.cluster]))
                glyph->idAndFlags |= ShapedGlyph::c_stretches;
            ++glyph;
        }
    }

    Kernel::Counted<FontFace const> m_face;
    hb_script_t m_script;
    hb_language_t m_language;
    std::vector<hb_feature_t> m_features;
    RawGlyph m_space;
    // False when a space came out of shaping as something else, against what the font's tables say.
    bool m_works = true;
    // By hash; a power of two of them, half empty.
    std::vector<Slot> m_slots;
    std::size_t m_count = 0;
    // Words one behind the other; see KeptWord.
    std::vector<std::uint16_t> m_kept;
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

bool WordCache::CanPart(ShapedRun const& run) {
    auto const isWhole = [](hb_feature_t const& feature) {
        return feature.start == HB_FEATURE_GLOBAL_START && feature.end == HB_FEATURE_GLOBAL_END;
    };
    auto const& features = run.look->features;
    return run.face != nullptr && s_isEnabled.load(std::memory_order_relaxed) && !run.look->isMadeSmallCaps &&
           !run.IsRightToLeft() && !run.isUpright && IsSpacedScript(run.script) && run.face->HasSeparableSpaces() &&
           std::all_of(features.begin(), features.end(), isWhole);
}

bool WordCache::PartsAt(std::u32string_view text, std::uint32_t at) {
    return at != 0 && at + 1 < text.size() && text[at] == U' ' && IsPlain(text[at - 1]) && IsPlain(text[at + 1]);
}

bool WordCache::Shape(GlyphBuffer& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
                      ShapedRun const& run) {
    return begin != end && CanPart(run) && GetSet(run).Shape(glyphs, text, begin, end, run);
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
