// SPDX-License-Identifier: Apache-2.0
#include "engine/story/pattern_dictionary.h"

#include "engine/kernel/sanitizers.h"
#include "platform/kernel/files.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <unordered_map>
#include <xxhash.h>

namespace Story {

namespace {

// Files of the cache, in the byte order of the machine. The header is followed by `size` bytes: for each level of the
// dictionary a LevelHeader, `states` StateRecords, `replacements` ReplacementRecords and `textBytes` of texts. States
// stand in the order of a breadth-first walk, so that a state's successors follow one another, behind those of the
// states before it.
struct FileHeader {
    std::uint64_t magic;
    // Of what the patterns were compiled from, and by.
    std::uint64_t origin;
    std::uint64_t size;
    std::uint64_t checksum; // XXH3 of what follows
};
// To be raised when the layout changes.
constexpr std::uint64_t c_magic = 0x5264'7250'6174'0001;

struct LevelHeader {
    std::uint32_t states;
    std::uint32_t replacements;
    std::uint32_t textBytes;
    std::int32_t noHyphenCount;
    // Of a list of texts, one behind another; as other texts.
    std::uint32_t noHyphen;
    std::int32_t isUtf8;
    char leftMinimum, rightMinimum, compoundLeftMinimum, compoundRightMinimum;
    char characterSet[MAX_NAME];
};
struct StateRecord {
    std::int32_t fallback;
    // Texts are named by their offset plus one; 0 is none.
    std::uint32_t match;
    std::uint16_t successors;
    // That leads here.
    char character;
    std::uint8_t unused;
};
struct ReplacementRecord {
    std::uint32_t state;
    std::uint32_t text;
    signed char index, cut;
    std::uint16_t unused;
};
static_assert(sizeof(FileHeader) == 32 && sizeof(LevelHeader) == 48 && sizeof(StateRecord) == 12 &&
              sizeof(ReplacementRecord) == 12);

constexpr std::uint64_t c_longestFile = 256u << 20;
constexpr std::size_t c_mostLevels = 16;

template <class T>
void Append(std::string& bytes, T const& value) {
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

// The texts of a level, each kept once.
class Texts {
public:
    std::uint32_t Add(std::string text) {
        auto const [found, isNew] =
            m_places.try_emplace(std::move(text), static_cast<std::uint32_t>(m_bytes.size() + 1));
        if (isNew)
            m_bytes.append(found->first.data(), found->first.size() + 1);
        return found->second;
    }
    std::uint32_t AddOrNone(char const* text) { return text == nullptr ? 0 : Add(text); }
    std::string const& GetBytes() const { return m_bytes; }

private:
    std::string m_bytes;
    std::unordered_map<std::string, std::uint32_t> m_places;
};

// False when the automaton is no tree, which the cache has no form for.
bool CompileLevel(HyphenDict const& level, std::string& bytes) {
    auto const count = static_cast<std::size_t>(level.num_states);
    std::vector<std::int32_t> order{0}, numbers(count, -1);
    std::string characters(1, '\0');
    numbers[0] = 0;
    for (std::size_t i = 0; i != order.size(); ++i) {
        auto const& state = level.states[order[i]];
        for (int t = 0; t != state.num_trans; ++t) {
            auto const next = static_cast<std::size_t>(state.trans[t].new_state);
            if (numbers[next] >= 0)
                return false;
            numbers[next] = static_cast<std::int32_t>(order.size());
            order.push_back(state.trans[t].new_state);
            characters.push_back(state.trans[t].ch);
        }
    }
    if (order.size() != count)
        return false;
    Texts texts;
    std::string states, replacements;
    std::uint32_t replacementCount = 0;
    for (std::size_t i = 0; i != count; ++i) {
        auto const& state = level.states[order[i]];
        std::int32_t const fallback =
            state.fallback_state < 0 ? -1 : numbers[static_cast<std::size_t>(state.fallback_state)];
        Append(states, StateRecord{fallback, texts.AddOrNone(state.match), static_cast<std::uint16_t>(state.num_trans),
                                   characters[i], 0});
        if (state.repl == nullptr)
            continue;
        ++replacementCount;
        Append(replacements, ReplacementRecord{static_cast<std::uint32_t>(i), texts.Add(state.repl), state.replindex,
                                               state.replcut, 0});
    }
    LevelHeader header{};
    if (level.nohyphen != nullptr) {
        char const* end = level.nohyphen;
        for (int i = 0; i <= level.nohyphenl; ++i)
            end += std::strlen(end) + 1;
        header.noHyphen = texts.Add(std::string(static_cast<char const*>(level.nohyphen), end - 1));
    }
    header.states = static_cast<std::uint32_t>(count);
    header.replacements = replacementCount;
    header.textBytes = static_cast<std::uint32_t>((texts.GetBytes().size() + 7) / 4 * 4);
    header.noHyphenCount = level.nohyphenl;
    header.isUtf8 = level.utf8;
    header.leftMinimum = level.lhmin;
    header.rightMinimum = level.rhmin;
    header.compoundLeftMinimum = level.clhmin;
    header.compoundRightMinimum = level.crhmin;
    std::memcpy(header.characterSet, level.cset, sizeof header.characterSet);
    Append(bytes, header);
    bytes += states + replacements + texts.GetBytes();
    // At least one more, so that a list of texts that lost its ends still ends.
    bytes.append(header.textBytes - texts.GetBytes().size(), '\0');
    return true;
}

// Empty when the cache has no form for the dictionary.
std::string Compile(HyphenDict const& dictionary, std::uint64_t origin) {
    std::string bytes;
    for (auto const* level = &dictionary; level != nullptr; level = level->nextlevel) {
        if (!CompileLevel(*level, bytes))
            return {};
    }
    std::string file;
    Append(file, FileHeader{c_magic, origin, bytes.size(), XXH3_64bits(bytes.data(), bytes.size())});
    return file + bytes;
}

// Names a file as it is now: by its place, length and time.
void AppendIdentity(std::string& bytes, char const* path) {
    struct stat status {};
    bytes += path;
    if (::stat(path, &status) != 0)
        return;
    Append(bytes, status.st_size);
    Append(bytes, status.st_mtim.tv_sec);
    Append(bytes, status.st_mtim.tv_nsec);
}

// Changes with the dictionary, with the library that compiles it, and with what this program knows of both.
std::uint64_t GetOrigin(std::string const& file) {
    std::string identity;
    AppendIdentity(identity, file.c_str());
    Dl_info library{};
    if (dladdr(reinterpret_cast<void const*>(&hnj_hyphen_load), &library) != 0 && library.dli_fname != nullptr)
        AppendIdentity(identity, library.dli_fname);
    Append(identity, sizeof(HyphenState) << 8 | sizeof(HyphenDict));
    return XXH3_64bits(identity.data(), identity.size());
}

// One for each dictionary, whatever its state, so that the folder does not grow with each new one.
std::filesystem::path GetCachePath(std::string const& file, std::string const& folder) {
    auto const name = std::filesystem::path(file).stem().string();
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(XXH3_64bits(file.data(), file.size())));
    return std::filesystem::path(folder) / (name + "-" + hash + ".patterns");
}

struct FileBytes {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t size = 0;
};

// The bytes behind the header of a cache file, if it was made from this origin; otherwise nothing.
FileBytes ReadCached(std::filesystem::path const& path, std::uint64_t origin) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return {};
    Kernel::File file;
    if (!file.Open(path.c_str(), Kernel::File::AccessMode::Read, Kernel::File::ShareMode::Shared,
                   Kernel::File::VisibilityMode::Normal))
        return {};
    FileHeader header{};
    if (file.Read(std::as_writable_bytes(std::span(&header, 1))) != sizeof header || header.magic != c_magic ||
        header.origin != origin || header.size > c_longestFile || header.size + sizeof header != file.GetSize())
        return {};
    FileBytes read{std::unique_ptr<std::byte[]>(new std::byte[header.size]), header.size};
    if (file.Read({read.bytes.get(), read.size}) != read.size ||
        XXH3_64bits(read.bytes.get(), read.size) != header.checksum)
        return {};
    return read;
}

void WriteCached(std::filesystem::path const& path, std::string const& bytes) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (!error)
        Kernel::WriteWholeFile(Kernel::String(path.string()), std::as_bytes(std::span(bytes)));
}

} // namespace

struct PatternDictionary::Level {
    HyphenDict dictionary{};
    std::unique_ptr<HyphenState[]> states;
    std::unique_ptr<HyphenTrans[]> transitions;
    std::unique_ptr<char[]> texts;
};

PatternDictionary::PatternDictionary() = default;

PatternDictionary::~PatternDictionary() {
    if (m_levels.empty() && m_dictionary != nullptr)
        hnj_hyphen_free(m_dictionary);
}

// The checksum tells damage. Numbers are checked all the same: the library trusts them.
bool PatternDictionary::Read(std::span<std::byte const> compiled) {
    auto const take = [&]<class T>(T& value) {
        if (compiled.size() < sizeof value)
            return false;
        std::memcpy(&value, compiled.data(), sizeof value);
        compiled = compiled.subspan(sizeof value);
        return true;
    };
    while (!compiled.empty()) {
        LevelHeader header{};
        if (m_levels.size() == c_mostLevels || !take(header) || header.states == 0 || header.textBytes == 0)
            return false;
        std::uint64_t const size = std::uint64_t{header.states} * sizeof(StateRecord) +
                                   std::uint64_t{header.replacements} * sizeof(ReplacementRecord) + header.textBytes;
        if (size > compiled.size())
            return false;
        auto const* const records = compiled.data();
        auto const* const replacements = records + header.states * sizeof(StateRecord);
        auto& level = *m_levels.emplace_back(std::make_unique<Level>());
        level.texts.reset(new char[header.textBytes]);
        std::memcpy(level.texts.get(), replacements + header.replacements * sizeof(ReplacementRecord),
                    header.textBytes);
        if (level.texts[header.textBytes - 1] != 0)
            return false;
        compiled = compiled.subspan(static_cast<std::size_t>(size));

        level.states.reset(new HyphenState[header.states]);
        level.transitions.reset(new HyphenTrans[header.states]);
        std::vector<std::uint16_t> depths(header.states);
        std::uint32_t next = 1;
        for (std::uint32_t i = 0; i != header.states; ++i) {
            StateRecord record;
            std::memcpy(&record, records + i * sizeof record, sizeof record);
            // Each state but the first is a successor of one before it, and its fallback, which stands for fewer
            // letters, is one before it, too.
            if (next <= i || record.successors > header.states - next || record.match > header.textBytes ||
                record.fallback >= static_cast<std::int32_t>(i) || record.fallback < -1)
                return false;
            auto& state = level.states[i];
            state = {};
            state.match = record.match == 0 ? nullptr : level.texts.get() + record.match - 1;
            // Levels stand before, between and behind the letters that lead here.
            if (state.match != nullptr && std::strlen(state.match) > depths[i] + std::size_t{1})
                return false;
            std::fill_n(depths.begin() + next, record.successors, static_cast<std::uint16_t>(depths[i] + 1));
            state.fallback_state = record.fallback;
            state.num_trans = record.successors;
            state.trans = level.transitions.get() + next;
            if (i != 0)
                level.transitions[i] = {record.character, static_cast<int>(i)};
            next += record.successors;
        }
        if (next != header.states)
            return false;
        for (std::uint32_t i = 0; i != header.replacements; ++i) {
            ReplacementRecord record;
            std::memcpy(&record, replacements + i * sizeof record, sizeof record);
            if (record.state >= header.states || record.text == 0 || record.text > header.textBytes)
                return false;
            auto& state = level.states[record.state];
            state.repl = level.texts.get() + record.text - 1;
            state.replindex = record.index;
            state.replcut = record.cut;
        }
        auto& dictionary = level.dictionary;
        dictionary.lhmin = header.leftMinimum;
        dictionary.rhmin = header.rightMinimum;
        dictionary.clhmin = header.compoundLeftMinimum;
        dictionary.crhmin = header.compoundRightMinimum;
        std::size_t end = header.noHyphen;
        for (std::int32_t text = 0; header.noHyphen != 0 && text <= header.noHyphenCount; ++text) {
            if (end == 0 || end > header.textBytes)
                return false;
            end += std::strlen(level.texts.get() + end - 1) + 1;
        }
        dictionary.nohyphen = header.noHyphen == 0 ? nullptr : level.texts.get() + header.noHyphen - 1;
        dictionary.nohyphenl = header.noHyphenCount;
        dictionary.num_states = static_cast<int>(header.states);
        std::memcpy(dictionary.cset, header.characterSet, sizeof dictionary.cset);
        dictionary.utf8 = header.isUtf8;
        dictionary.states = level.states.get();
        if (m_levels.size() > 1)
            m_levels[m_levels.size() - 2]->dictionary.nextlevel = &dictionary;
    }
    m_dictionary = m_levels.empty() ? nullptr : &m_levels.front()->dictionary;
    return m_dictionary != nullptr;
}

std::unique_ptr<PatternDictionary> PatternDictionary::Load(std::string const& file, std::string const& cacheFolder) {
    std::optional<std::filesystem::path> path;
    std::uint64_t origin = 0;
    if (!cacheFolder.empty()) {
        path = GetCachePath(file, cacheFolder);
        origin = GetOrigin(file);
        try {
            std::unique_ptr<PatternDictionary> cached(new PatternDictionary);
            auto const read = ReadCached(*path, origin);
            if (read.size != 0 && cached->Read({read.bytes.get(), read.size}))
                return cached;
        } catch (Kernel::FileException const&) {
            // As if it were not there.
        }
    }
    std::unique_ptr<PatternDictionary> compiled(new PatternDictionary);
    {
        // The library loses some bytes of a dictionary's doubled patterns while it reads them.
        Kernel::KnownLeaks const known;
        compiled->m_dictionary = hnj_hyphen_load(file.c_str());
    }
    if (compiled->m_dictionary == nullptr)
        return nullptr;
    if (path) {
        try {
            if (auto const bytes = Compile(*compiled->m_dictionary, origin); !bytes.empty())
                WriteCached(*path, bytes);
        } catch (Kernel::FileException const&) {
            // The next process compiles again.
        }
    }
    return compiled;
}

} // namespace Story
