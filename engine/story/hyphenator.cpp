// SPDX-License-Identifier: Apache-2.0
#include "engine/story/hyphenator.h"

#include "engine/story/pattern_dictionary.h"
#include "platform/story/hyphenation.h"
#include "platform/story/paragraph.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <unicode/uchar.h>
#include <utility>

namespace Story {

namespace {

constexpr char c_folder[] = "/usr/share/hyphen";
// Longer words are none.
constexpr std::size_t c_maximumWord = 100;
// For each thread: so many languages, and so many words of each.
constexpr std::size_t c_maximumLanguages = 8;
constexpr std::size_t c_maximumWords = 1 << 15;
// Words are looked for at so many places: a text that was made to have its words all at one place finds none there.
constexpr std::size_t c_maximumProbes = 64;
constexpr int c_leastBefore = 2;
constexpr int c_leastBehind = 3;

bool IsLetter(char32_t c) {
    if (c < 0x80)
        return (c | 0x20) >= U'a' && (c | 0x20) <= U'z';
    return u_isalpha(static_cast<UChar32>(c)) != 0;
}

char32_t ToLower(char32_t c) {
    if (c < 0x80)
        return c >= U'A' && c <= U'Z' ? c + 0x20 : c;
    return static_cast<char32_t>(u_tolower(static_cast<UChar32>(c)));
}

// Words that were asked for, with their places: one thread's, of one language.
class KnownWords {
public:
    struct Places {
        std::uint32_t const* first = nullptr;
        std::uint32_t count = 0;
        std::uint32_t const* begin() const { return first; }
        std::uint32_t const* end() const { return first + count; }
    };

    KnownWords() : m_slots(1024) {}

    // False when the word is not known.
    bool Find(std::u32string_view word, std::uint32_t hash, Places& places) const {
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t probe = 0; probe != c_maximumProbes; ++probe) {
            std::size_t const i = (hash + probe) & mask;
            if (m_slots[i].place == 0)
                break;
            // Length, letters, number of places, places.
            auto const* const kept = m_kept.data() + m_slots[i].place - 1;
            if (m_slots[i].hash == hash && kept[0] == word.size() && std::equal(word.begin(), word.end(), kept + 1)) {
                places = {kept + word.size() + 2, kept[word.size() + 1]};
                return true;
            }
        }
        return false;
    }

    Places Keep(std::u32string_view word, std::uint32_t hash, std::vector<std::uint8_t> const& found) {
        if (m_count == c_maximumWords)
            *this = KnownWords();
        if (2 * (m_count + 1) > m_slots.size()) {
            std::vector<Slot> old(m_slots.size() * 2);
            old.swap(m_slots);
            for (auto const& slot : old) {
                if (slot.place != 0)
                    Enter(slot);
            }
        }
        ++m_count;
        Enter({hash, static_cast<std::uint32_t>(m_kept.size() + 1)});
        m_kept.push_back(static_cast<std::uint32_t>(word.size()));
        m_kept.insert(m_kept.end(), word.begin(), word.end());
        m_kept.push_back(static_cast<std::uint32_t>(found.size()));
        m_kept.insert(m_kept.end(), found.begin(), found.end());
        auto const count = static_cast<std::uint32_t>(found.size());
        return {m_kept.data() + m_kept.size() - count, count};
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t place = 0; // in m_kept, from 1
    };

    // A word that finds no place is not found later.
    void Enter(Slot const& slot) {
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t probe = 0; probe != c_maximumProbes; ++probe) {
            auto& place = m_slots[(slot.hash + probe) & mask];
            if (place.place == 0) {
                place = slot;
                return;
            }
        }
    }

    // A power of two of them, half empty.
    std::vector<Slot> m_slots;
    std::size_t m_count = 0;
    std::vector<std::uint32_t> m_kept;
};

// Those of the calling thread; the most recently used language first.
KnownWords& GetKnownWords(Hyphenator const* hyphenator) {
    using Entry = std::pair<Hyphenator const*, std::unique_ptr<KnownWords>>;
    thread_local std::vector<Entry> s_all;
    auto found =
        std::find_if(s_all.begin(), s_all.end(), [&](Entry const& entry) { return entry.first == hyphenator; });
    if (found == s_all.end()) {
        if (s_all.size() == c_maximumLanguages)
            s_all.pop_back();
        found = s_all.insert(s_all.end(), {hyphenator, std::make_unique<KnownWords>()});
    }
    std::rotate(s_all.begin(), found, found + 1);
    return *s_all.front().second;
}

// The dictionary's file: for "de-CH" that of de_CH, of de, or the first of any region by name.
std::string FindFile(std::string const& language) {
    std::string name = language;
    std::replace(name.begin(), name.end(), '-', '_');
    bool const isPlain = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    });
    if (!isPlain)
        return {};
    std::error_code error;
    std::string const base = name.substr(0, name.find('_'));
    for (auto const& candidate : {name, base + "_US", base + "_" + base, base}) {
        std::string regional = candidate;
        if (auto const underscore = regional.find('_'); underscore != std::string::npos) {
            for (auto i = underscore; i != regional.size(); ++i)
                regional[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(regional[i])));
        }
        auto path = std::string(c_folder) + "/hyph_" + regional + ".dic";
        if (std::filesystem::exists(path, error))
            return path;
    }
    return {};
}

std::mutex s_folderMutex;
std::string& GetFolder() {
    static auto& s_folder = *new std::string;
    return s_folder;
}

} // namespace

struct Hyphenator::State {
    std::unique_ptr<PatternDictionary> dictionary;
};

void SetHyphenationCacheFolder(std::string folder) {
    std::lock_guard const lock(s_folderMutex);
    GetFolder() = std::move(folder);
}

std::string GetHyphenationCacheFolder() {
    std::lock_guard const lock(s_folderMutex);
    return GetFolder();
}

Hyphenator::Hyphenator(std::unique_ptr<State> state) : m_state(std::move(state)) {}
Hyphenator::~Hyphenator() = default;

Hyphenator* Hyphenator::Get(std::string const& language) {
    static std::mutex s_mutex;
    static auto& s_all = *new std::map<std::string, std::unique_ptr<Hyphenator>>;
    std::lock_guard const lock(s_mutex);
    if (auto const found = s_all.find(language); found != s_all.end())
        return found->second.get();
    if (s_all.size() >= 1000)
        return nullptr;
    auto& entry = s_all[language];
    if (auto const file = FindFile(language); !file.empty()) {
        auto state = std::make_unique<State>();
        state->dictionary = PatternDictionary::Load(file, GetHyphenationCacheFolder());
        if (state->dictionary)
            entry.reset(new Hyphenator(std::move(state)));
    }
    return entry.get();
}

// Offsets into the word. A word that its dictionary's encoding cannot express has none.
std::vector<std::uint8_t> Hyphenator::HyphenateWord(std::u32string const& word) {
    auto& dictionary = m_state->dictionary->Get();
    std::string bytes;
    if (dictionary.utf8 != 0) {
        bytes = EncodeUtf8(word);
    } else {
        for (char32_t const c : word) {
            if (c > 0xFF)
                return {};
            bytes.push_back(static_cast<char>(c));
        }
    }
    std::vector<char> marks(bytes.size() + 5);
    char** replacements = nullptr;
    int *positions = nullptr, *cuts = nullptr;
    std::vector<std::uint8_t> places;
    int const failed = hnj_hyphen_hyphenate3(&dictionary, bytes.data(), static_cast<int>(bytes.size()), marks.data(),
                                             nullptr, &replacements, &positions, &cuts, c_leastBefore, c_leastBehind,
                                             c_leastBefore, c_leastBehind);
    for (std::size_t i = 0; failed == 0 && i + 1 < word.size(); ++i) {
        // Where letters would change, as in some German words of the old spelling, the word stays whole.
        bool const changes = replacements != nullptr && replacements[i] != nullptr;
        if ((marks[i] & 1) != 0 && !changes)
            places.push_back(static_cast<std::uint8_t>(i + 1));
    }
    if (replacements != nullptr) {
        for (std::size_t i = 0; i != bytes.size(); ++i)
            std::free(replacements[i]);
        std::free(replacements);
        std::free(positions);
        std::free(cuts);
    }
    return places;
}

void Hyphenator::FindPlaces(std::u32string_view text, std::uint32_t base, std::vector<std::uint32_t>& places) {
    auto& known = GetKnownWords(this);
    std::u32string word;
    for (std::size_t begin = 0; begin < text.size();) {
        if (!IsLetter(text[begin])) {
            ++begin;
            continue;
        }
        std::size_t end = begin;
        std::uint32_t hash = 2166136261u;
        word.clear();
        for (; end != text.size() && (IsLetter(text[end]) || text[end] == 0x2019); ++end) {
            if (word.size() > c_maximumWord)
                continue;
            word.push_back(ToLower(text[end]));
            hash = (hash ^ word.back()) * 16777619u;
        }
        if (word.size() >= c_leastBefore + c_leastBehind && word.size() <= c_maximumWord) {
            hash ^= hash >> 15;
            KnownWords::Places found;
            if (!known.Find(word, hash, found))
                found = known.Keep(word, hash, HyphenateWord(word));
            for (auto const place : found)
                places.push_back(static_cast<std::uint32_t>(base + begin + place));
        }
        begin = end;
    }
}

} // namespace Story
