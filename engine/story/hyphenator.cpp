// SPDX-License-Identifier: Apache-2.0
#include "engine/story/hyphenator.h"

#include "engine/kernel/sanitizers.h"
#include "platform/story/paragraph.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <hyphen.h>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <unicode/uchar.h>
#include <unordered_map>

namespace Story {

namespace {

constexpr char c_folder[] = "/usr/share/hyphen";
// Longer words are none.
constexpr std::size_t c_maximumWord = 100;
constexpr std::size_t c_maximumCachedWords = 200'000;
constexpr int c_leastBefore = 2;
constexpr int c_leastBehind = 3;

bool IsLetter(char32_t c) {
    if (c < 0x80)
        return (c | 0x20) >= U'a' && (c | 0x20) <= U'z';
    return u_isalpha(static_cast<UChar32>(c)) != 0;
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

// The library loses some bytes of a dictionary's doubled patterns while it reads them, once for each dictionary.
HyphenDict* LoadDictionary(std::string const& file) {
    Kernel::KnownLeaks const known;
    return hnj_hyphen_load(file.c_str());
}

} // namespace

struct Hyphenator::State {
    struct Free {
        void operator()(HyphenDict* dictionary) const { hnj_hyphen_free(dictionary); }
    };
    std::unique_ptr<HyphenDict, Free> dictionary;
    std::shared_mutex mutex;
    std::unordered_map<std::u32string, std::vector<std::uint8_t>> words;
};

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
        state->dictionary.reset(LoadDictionary(file));
        if (state->dictionary)
            entry.reset(new Hyphenator(std::move(state)));
    }
    return entry.get();
}

// Offsets into the word. A word that its dictionary's encoding cannot express has none.
std::vector<std::uint8_t> Hyphenator::HyphenateWord(std::u32string const& word) {
    auto& dictionary = *m_state->dictionary;
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
    std::u32string word;
    for (std::size_t begin = 0; begin < text.size();) {
        if (!IsLetter(text[begin])) {
            ++begin;
            continue;
        }
        std::size_t end = begin;
        word.clear();
        while (end != text.size() && (IsLetter(text[end]) || text[end] == 0x2019)) {
            word.push_back(static_cast<char32_t>(u_tolower(static_cast<UChar32>(text[end]))));
            ++end;
        }
        if (word.size() >= c_leastBefore + c_leastBehind && word.size() <= c_maximumWord) {
            std::shared_lock reading(m_state->mutex);
            auto found = m_state->words.find(word);
            if (found == m_state->words.end()) {
                reading.unlock();
                auto found2 = HyphenateWord(word);
                std::lock_guard const writing(m_state->mutex);
                if (m_state->words.size() >= c_maximumCachedWords)
                    m_state->words.clear();
                for (auto const place : m_state->words.emplace(word, std::move(found2)).first->second)
                    places.push_back(static_cast<std::uint32_t>(base + begin + place));
            } else {
                for (auto const place : found->second)
                    places.push_back(static_cast<std::uint32_t>(base + begin + place));
            }
        }
        begin = end;
    }
}

} // namespace Story
