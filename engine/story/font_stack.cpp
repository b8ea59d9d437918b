// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/sanitizers.h"
#include "engine/story/colour_glyphs.h"
#include "engine/story/emoji.h"
#include "engine/story/font.h"
#include "platform/story/composition.h"

#include <algorithm>
#include <atomic>
#include <fontconfig/fontconfig.h>
#include <map>
#include <string_view>

namespace Story {

namespace {

struct DestroyPattern {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
using Pattern = std::unique_ptr<FcPattern, DestroyPattern>;

FcChar8 const* Bytes(std::string const& text) { return reinterpret_cast<FcChar8 const*>(text.c_str()); }

std::string Trimmed(std::string_view text) {
    auto const isFringe = [](char c) { return c == ' ' || c == '\t' || c == '"' || c == '\''; };
    while (!text.empty() && isFringe(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isFringe(text.back()))
        text.remove_suffix(1);
    return std::string(text);
}

std::vector<std::string> SplitFamilies(std::string_view families) {
    std::vector<std::string> names;
    while (!families.empty()) {
        auto const comma = std::min(families.find(','), families.size());
        if (auto name = Trimmed(families.substr(0, comma)); !name.empty())
            names.push_back(std::move(name));
        families.remove_prefix(std::min(comma + 1, families.size()));
    }
    return names;
}

// By CSS, and by the names that fontconfig has for the same.
bool IsGeneric(std::string name) {
    static constexpr std::string_view c_generic[] = {"serif",        "sans-serif",   "sans",      "monospace",
                                                     "cursive",      "fantasy",      "system-ui", "ui-serif",
                                                     "ui-monospace", "ui-sans-serif"};
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return std::find(std::begin(c_generic), std::end(c_generic), name) != std::end(c_generic);
}

// The fonts of this system, as fontconfig lists them when they are first asked for.
class SystemFonts {
public:
    static SystemFonts& Get() {
        // Never destroyed: text may be drawn by destructors at exit.
        static auto& s_fonts = *new SystemFonts;
        return s_fonts;
    }
    // Null until the fonts have been asked for.
    static SystemFonts* Find() { return s_listed.load(std::memory_order_acquire); }
    std::mutex& GetMutex() { return m_mutex; }

    Pattern MakePattern(FontQuery const& query, std::string const& family) {
        Pattern pattern(FcPatternCreate());
        if (!family.empty())
            FcPatternAddString(pattern.get(), FC_FAMILY, Bytes(family));
        FcPatternAddString(pattern.get(), FC_LANG, Bytes(query.language));
        FcPatternAddDouble(pattern.get(), FC_WEIGHT, FcWeightFromOpenTypeDouble(query.weight));
        FcPatternAddDouble(pattern.get(), FC_WIDTH, query.width);
        FcPatternAddInteger(pattern.get(), FC_SLANT, query.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
        FcPatternAddBool(pattern.get(), FC_SCALABLE, FcTrue);
        FcPatternAddBool(pattern.get(), FC_OUTLINE, FcTrue);
        FcConfigSubstitute(m_config, pattern.get(), FcMatchPattern);
        FcDefaultSubstitute(pattern.get());
        return pattern;
    }

    Pattern Match(FcPattern* pattern) {
        FcResult result{};
        return Pattern(FcFontMatch(m_config, pattern, &result));
    }
    // `trim` leaves out fonts whose characters those in front of them have.
    std::unique_ptr<FcFontSet, void (*)(FcFontSet*)> Sort(FcPattern* pattern, FcBool trim) {
        FcResult result{};
        return {FcFontSort(m_config, pattern, trim, nullptr, &result), [](FcFontSet* set) {
                    if (set != nullptr)
                        FcFontSetDestroy(set);
                }};
    }

    FontFaceRef Open(FcPattern* pattern) {
        FcChar8* file = nullptr;
        int index = 0;
        if (pattern == nullptr || FcPatternGetString(pattern, FC_FILE, 0, &file) != FcResultMatch)
            return {};
        FcPatternGetInteger(pattern, FC_INDEX, 0, &index);
        std::pair const key(std::string(reinterpret_cast<char const*>(file)), index);
        auto found = m_faces.find(key);
        if (found == m_faces.end())
            found = m_faces.emplace(key, FontFace::Load(key.first, static_cast<unsigned>(index))).first;
        return found->second;
    }

    static bool HasFamily(FcPattern* pattern, std::string const& family) {
        FcChar8* name = nullptr;
        for (int i = 0; FcPatternGetString(pattern, FC_FAMILY, i, &name) == FcResultMatch; ++i) {
            if (FcStrCmpIgnoreCase(name, Bytes(family)) == 0)
                return true;
        }
        return false;
    }

    // Whether the answer to a family that is missing is another one than any unknown name would give.
    bool IsSubstitute(FontQuery const& query, FcPattern* match) {
        auto const fileOf = [](FcPattern* pattern) {
            FcChar8* file = nullptr;
            bool const isKnown = pattern != nullptr && FcPatternGetString(pattern, FC_FILE, 0, &file) == FcResultMatch;
            return std::string(isKnown ? reinterpret_cast<char const*>(file) : "");
        };
        return fileOf(match) != fileOf(Match(MakePattern(query, "a family that is not there").get()).get());
    }

    void NoteMissing(std::string const& family) {
        if (std::find(m_missing.begin(), m_missing.end(), family) == m_missing.end() && m_missing.size() < 1000)
            m_missing.push_back(family);
    }
    std::vector<std::string> const& GetMissing() const { return m_missing; }
    std::map<FontQuery, Kernel::Counted<FontStack const>>& GetStacks() { return m_stacks; }

private:
    SystemFonts() : m_config(LoadConfig()) { s_listed.store(this, std::memory_order_release); }
    // The library loses some bytes while it reads the system's configuration.
    static FcConfig* LoadConfig() {
        Kernel::KnownLeaks const known;
        return FcInitLoadConfigAndFonts();
    }

    static inline std::atomic<SystemFonts*> s_listed = nullptr;

    std::mutex m_mutex;
    FcConfig* m_config;
    std::map<std::pair<std::string, int>, FontFaceRef> m_faces;
    std::map<FontQuery, Kernel::Counted<FontStack const>> m_stacks;
    std::vector<std::string> m_missing;
};

} // namespace

// Faces for characters that the primary one lacks, best first; opened when a character is looked for.
struct FontStack::Fallback {
    struct Candidate {
        FcCharSet* characters = nullptr;
        FcPattern* pattern = nullptr;
        bool isOpened = false;
        FontFaceRef face;

        // Null where it has no such character, or cannot be read.
        FontFace const* Open(SystemFonts& fonts, char32_t c, char32_t mark) {
            if (FcCharSetHasChar(characters, c) == FcFalse ||
                (mark != 0 && FcCharSetHasChar(characters, mark) == FcFalse))
                return nullptr;
            if (!isOpened)
                face = fonts.Open(pattern);
            isOpened = true;
            // The list of characters may be older than the file.
            bool const has = face && face->HasCharacter(c) && (mark == 0 || face->HasCharacter(mark));
            return has ? face.get() : nullptr;
        }
    };
    using FontSet = std::unique_ptr<FcFontSet, void (*)(FcFontSet*)>;
    // A list of fonts that is sorted when somebody asks for it: going through all that are installed takes a while.
    struct Choice {
        FontSet set{nullptr, nullptr};
        std::vector<Candidate> candidates;
        bool isSorted = false;

        // Those that have what `property` names.
        void Take(FontSet sorted, char const* property, FcBool otherwise) {
            isSorted = true;
            set = std::move(sorted);
            for (int i = 0; set && i != set->nfont; ++i) {
                Candidate candidate;
                candidate.pattern = set->fonts[i];
                FcBool hasIt = otherwise;
                FcPatternGetBool(candidate.pattern, property, 0, &hasIt);
                if (hasIt == FcTrue &&
                    FcPatternGetCharSet(candidate.pattern, FC_CHARSET, 0, &candidate.characters) == FcResultMatch)
                    candidates.push_back(candidate);
            }
        }
    };
    FontQuery query;
    // With outlines; with colours, of which some may have outlines, too.
    Choice outlined, coloured;
    std::map<std::pair<char32_t, char32_t>, FontFace const*> answers;
    std::map<std::pair<std::u32string, bool>, FontFace const*> emoji;

    std::vector<Candidate>& GetOutlined(SystemFonts& fonts) {
        if (!outlined.isSorted) {
            auto const families = SplitFamilies(query.families);
            auto const pattern = fonts.MakePattern(query, families.empty() ? "serif" : families.front());
            outlined.Take(fonts.Sort(pattern.get(), FcTrue), FC_OUTLINE, FcTrue);
        }
        return outlined.candidates;
    }

    // The family "emoji" is the one that fontconfig has for this.
    std::vector<Candidate>& GetColoured(SystemFonts& fonts) {
        if (!coloured.isSorted) {
            auto const pattern = fonts.MakePattern(query, "emoji");
            FcPatternDel(pattern.get(), FC_OUTLINE);
            FcPatternAddBool(pattern.get(), FC_COLOR, FcTrue);
            coloured.Take(fonts.Sort(pattern.get(), FcFalse), FC_COLOR, FcFalse);
        }
        return coloured.candidates;
    }

    FontFace const* Find(SystemFonts& fonts, char32_t c, char32_t mark) {
        auto const findAmong = [&](std::vector<Candidate>& candidates) -> FontFace const* {
            for (auto& candidate : candidates) {
                if (auto const* const face = candidate.Open(fonts, c, mark))
                    return face;
            }
            return nullptr;
        };
        auto const* const face = findAmong(GetOutlined(fonts));
        return face != nullptr ? face : findAmong(GetColoured(fonts));
    }

    // The face must have all that the sequence shows, or at least, among the second choices, its first character.
    FontFace const* FindEmoji(SystemFonts& fonts, FontFace const* primary, std::u32string_view sequence,
                              bool inColours) {
        auto& candidates = inColours ? GetColoured(fonts) : GetOutlined(fonts);
        for (auto const characters : {sequence, sequence.substr(0, 1)}) {
            if (primary != nullptr && ShowsEmoji(*primary, characters, inColours))
                return primary;
            for (auto& candidate : candidates) {
                auto const* const face = candidate.Open(fonts, sequence.front(), 0);
                if (face != nullptr && ShowsEmoji(*face, characters, inColours))
                    return face;
            }
        }
        return nullptr;
    }

    static bool ShowsEmoji(FontFace const& face, std::u32string_view characters, bool inColours) {
        bool const hasAll = std::all_of(characters.begin(), characters.end(),
                                        [&](char32_t c) { return IsShapingControl(c) || face.HasCharacter(c); });
        if (!hasAll || face.HasColours() != inColours)
            return false;
        // A font may have a character for its sequences alone: letters of flags, digits of keys.
        constexpr char32_t c_key = 0x20E3;
        if (!inColours || IsRegionalIndicator(characters.front()) || characters.find(c_key) != characters.npos)
            return true;
        return face.FindColourGlyph(face.GetGlyphOfCharacter(characters.front()), 0) != nullptr;
    }
};

Kernel::Counted<FontStack const> FontStack::Get(FontQuery const& query) {
    // Queries come from documents: a forged one must not fill the memory with them.
    constexpr std::size_t c_maximumCount = 1000;
    auto& fonts = SystemFonts::Get();
    std::lock_guard const lock(fonts.GetMutex());
    auto& stacks = fonts.GetStacks();
    if (auto const found = stacks.find(query); found != stacks.end())
        return found->second;
    if (stacks.size() >= c_maximumCount)
        stacks.clear();
    return stacks.emplace(query, Kernel::MakeCounted<FontStack>(query)).first->second;
}

// Called with the fonts' mutex held.
FontStack::FontStack(FontQuery const& query) : m_fallback(std::make_unique<Fallback>()) {
    m_fallback->query = query;
    auto& fonts = SystemFonts::Get();
    for (auto const& family : SplitFamilies(query.families)) {
        auto const pattern = fonts.MakePattern(query, family);
        auto const match = fonts.Match(pattern.get());
        if (match && (IsGeneric(family) || SystemFonts::HasFamily(match.get(), family)))
            m_primary = fonts.Open(match.get());
        if (m_primary)
            return;
        bool const isUnreadable = match && SystemFonts::HasFamily(match.get(), family);
        fonts.NoteMissing(isUnreadable ? family + " that can be read" : family);
        // The system may know a family of the same measures, or of the same kind.
        if (match && fonts.IsSubstitute(query, match.get()))
            m_primary = fonts.Open(match.get());
        if (m_primary)
            return;
    }
    // The fonts that browsers fall back to, where the system has them or others of their metrics.
    constexpr char const* c_usual = "Times New Roman";
    if (auto const usual = fonts.Match(fonts.MakePattern(query, c_usual).get());
        usual && (SystemFonts::HasFamily(usual.get(), c_usual) || fonts.IsSubstitute(query, usual.get())))
        m_primary = fonts.Open(usual.get());
    if (!m_primary)
        m_primary = fonts.Open(fonts.Match(fonts.MakePattern(query, "serif").get()).get());
    if (m_primary)
        return;
    for (auto& candidate : m_fallback->GetOutlined(fonts)) {
        if (!m_primary)
            m_primary = fonts.Open(candidate.pattern);
    }
}

FontStack::~FontStack() = default;

FontFace const* FontStack::FindFace(char32_t c, char32_t mark) const {
    if (!m_primary || (m_primary->HasCharacter(c) && (mark == 0 || m_primary->HasCharacter(mark))))
        return m_primary.get();
    auto& fonts = SystemFonts::Get();
    std::lock_guard const lock(fonts.GetMutex());
    auto const [answer, isNew] = m_fallback->answers.try_emplace({c, mark}, nullptr);
    if (isNew) {
        answer->second = m_fallback->Find(fonts, c, mark);
        if (answer->second == nullptr && mark != 0)
            answer->second = m_primary->HasCharacter(c) ? m_primary.get() : m_fallback->Find(fonts, c, 0);
        if (answer->second == nullptr)
            answer->second = m_primary.get();
    }
    return answer->second;
}

FontFace const* FontStack::FindEmojiFace(std::u32string_view sequence, bool inColours) const {
    // Sequences come from documents, and there is no end of them.
    constexpr std::size_t c_maximumCount = 10'000;
    if (!m_primary || sequence.empty())
        return nullptr;
    auto& fonts = SystemFonts::Get();
    std::lock_guard const lock(fonts.GetMutex());
    auto& answers = m_fallback->emoji;
    if (answers.size() >= c_maximumCount)
        answers.clear();
    auto const [answer, isNew] = answers.try_emplace({std::u32string(sequence), inColours}, nullptr);
    if (isNew)
        answer->second = m_fallback->FindEmoji(fonts, m_primary.get(), sequence, inColours);
    return answer->second;
}

std::vector<std::string> GetMissingFonts() {
    // Where no text was laid out none is missing, and the system's fonts need not be listed.
    auto* const fonts = SystemFonts::Find();
    if (fonts == nullptr)
        return {};
    std::lock_guard const lock(fonts->GetMutex());
    return fonts->GetMissing();
}

} // namespace Story
