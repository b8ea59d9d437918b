// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/sanitizers.h"
#include "engine/story/hyphenator.h"
#include "engine/story/pattern_dictionary.h"
#include "platform/story/hyphenation.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <thread>
#include <unistd.h>

namespace {

using namespace Story;
namespace Files = std::filesystem;

constexpr char c_english[] = "/usr/share/hyphen/hyph_en_US.dic";
constexpr char c_german[] = "/usr/share/hyphen/hyph_de_DE.dic";

std::string ReadFile(Files::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void WriteFile(Files::path const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Everything that the library says of a word.
std::string Hyphenate(HyphenDict& dictionary, std::string const& word) {
    std::vector<char> marks(word.size() + 5);
    char** replacements = nullptr;
    int *positions = nullptr, *cuts = nullptr;
    // The library loses some of the replacements that it makes.
    Kernel::KnownLeaks const known;
    hnj_hyphen_hyphenate3(&dictionary, word.data(), static_cast<int>(word.size()), marks.data(), nullptr, &replacements,
                          &positions, &cuts, 2, 3, 2, 3);
    std::string said(marks.data(), word.size());
    for (std::size_t i = 0; replacements != nullptr && i != word.size(); ++i) {
        if (replacements[i] != nullptr)
            said += "," + std::to_string(i) + replacements[i] + std::to_string(positions[i]) + std::to_string(cuts[i]);
        std::free(replacements[i]);
    }
    std::free(replacements);
    std::free(positions);
    std::free(cuts);
    return said;
}

// Words that meet the patterns: their letters, two of them in a row, and with letters exchanged.
std::vector<std::string> MakeWords(std::string const& dictionaryFile, std::size_t count) {
    std::ifstream in(dictionaryFile, std::ios::binary);
    std::vector<std::string> stems, words;
    for (std::string line; std::getline(in, line);) {
        std::erase_if(line, [](char c) { return c == '.' || (c >= '0' && c <= '9') || c == '\r'; });
        if (line.size() > 1 && line.size() < 40)
            stems.push_back(line);
    }
    std::mt19937 random(5);
    auto const any = [&]() -> std::string const& { return stems[random() % stems.size()]; };
    while (words.size() < count) {
        auto word = random() % 3 == 0 ? any() : any() + any();
        if (random() % 4 == 0)
            word[random() % word.size()] = any()[0];
        if (random() % 20 == 0)
            word.insert(random() % word.size(), 1, random() % 2 == 0 ? '-' : '\'');
        words.push_back(std::move(word));
    }
    return words;
}

class CompiledPatterns : public testing::Test {
protected:
    CompiledPatterns() : folder(Files::temp_directory_path() / ("redraft-patterns-" + std::to_string(getpid()))) {
        Files::remove_all(folder);
    }
    ~CompiledPatterns() override { Files::remove_all(folder); }
    std::unique_ptr<PatternDictionary> Load(std::string const& file) const {
        return PatternDictionary::Load(file, folder.string());
    }
    Files::path GetFile() const { return Files::directory_iterator(folder)->path(); }

    Files::path folder;
};

TEST_F(CompiledPatterns, PartWordsAsTheLibraryDoes) {
    for (auto const* const file : {c_english, c_german}) {
        auto const first = Load(file), second = Load(file);
        ASSERT_TRUE(first && second);
        EXPECT_FALSE(first->IsFromCache());
        EXPECT_TRUE(second->IsFromCache());
        std::size_t parted = 0;
        for (auto const& word : MakeWords(file, 100'000)) {
            auto const expected = Hyphenate(first->Get(), word);
            parted += expected.find_first_of("13579") != expected.npos ? 1 : 0;
            ASSERT_EQ(Hyphenate(second->Get(), word), expected) << word;
        }
        EXPECT_GT(parted, 50'000u);
    }
}

// Everything that a dictionary may say: levels, places where letters change, words that stay whole, least distances.
TEST_F(CompiledPatterns, KeepAllThatADictionarySays) {
    Files::create_directories(folder);
    auto const file = (folder / "hyph_xx.dic").string();
    WriteFile(file, "UTF-8\nLEFTHYPHENMIN 3\nRIGHTHYPHENMIN 2\nCOMPOUNDLEFTHYPHENMIN 2\nCOMPOUNDRIGHTHYPHENMIN 2\n"
                    "NOHYPHEN ',-\nab1cd\n1-1\nNEXTLEVEL\nf1f/ff=f,1,2\na1b\nb1c\n.c2d\n4x.\n\xC3\xA4"
                    "1\xC3\xB6/\xC3\xA4=\xC3\xB6,1,4\n");
    auto const own = (folder / "cache").string();
    auto const first = PatternDictionary::Load(file, own), second = PatternDictionary::Load(file, own);
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(second->IsFromCache());
    std::mt19937 random(9);
    std::string const letters[] = {"a", "b", "c", "d", "x", "f", "ff", "'", "-", "\xC3\xA4", "\xC3\xB6"};
    for (int i = 0; i != 20'000; ++i) {
        std::string word;
        for (unsigned count = 2 + random() % 10; count != 0; --count)
            word += letters[random() % std::size(letters)];
        ASSERT_EQ(Hyphenate(second->Get(), word), Hyphenate(first->Get(), word)) << word;
    }
}

// Damaged cache files are made again, and never used.
TEST_F(CompiledPatterns, AreMadeAgainWhenTheyAreDamaged) {
    auto const words = MakeWords(c_english, 50);
    auto const whole = Load(c_english);
    auto const path = GetFile();
    auto const bytes = ReadFile(path);
    std::mt19937 random(11);
    for (int round = 0; round != 60; ++round) {
        auto damaged = bytes;
        if (round % 3 == 0)
            damaged.resize(random() % bytes.size());
        else if (round % 3 == 1)
            damaged[round < 30 ? random() % 100 : random() % bytes.size()] ^= static_cast<char>(1 << random() % 8);
        else
            damaged += "more";
        WriteFile(path, damaged);
        auto const again = Load(c_english);
        ASSERT_TRUE(again);
        EXPECT_FALSE(again->IsFromCache()) << round;
        for (auto const& word : words)
            ASSERT_EQ(Hyphenate(again->Get(), word), Hyphenate(whole->Get(), word));
        EXPECT_EQ(ReadFile(path), bytes);
    }
}

TEST_F(CompiledPatterns, FollowTheirDictionary) {
    Files::create_directories(folder);
    auto const file = (folder / "hyph_xx.dic").string(), own = (folder / "cache").string();
    WriteFile(file, "UTF-8\na1b\n");
    EXPECT_EQ(Hyphenate(PatternDictionary::Load(file, own)->Get(), "aaabbb")[2], '1');
    WriteFile(file, "UTF-8\nb1b\naa1a\n");
    auto const later = PatternDictionary::Load(file, own);
    EXPECT_FALSE(later->IsFromCache());
    EXPECT_EQ(Hyphenate(later->Get(), "aaabbb")[2], '0');
    // The new ones take the place of the old.
    EXPECT_EQ(std::distance(Files::directory_iterator(own), Files::directory_iterator()), 1);
}

TEST_F(CompiledPatterns, AreWrittenAndReadByManyAtOnce) {
    auto const words = MakeWords(c_english, 50);
    auto const whole = PatternDictionary::Load(c_english, "");
    std::vector<std::thread> threads;
    for (int i = 0; i != 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round != 5; ++round) {
                auto const dictionary = Load(c_english);
                for (auto const& word : words)
                    EXPECT_EQ(Hyphenate(dictionary->Get(), word), Hyphenate(whole->Get(), word));
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_TRUE(Load(c_english)->IsFromCache());
    EXPECT_EQ(std::distance(Files::directory_iterator(folder), Files::directory_iterator()), 1);
}

TEST_F(CompiledPatterns, AreDoneWithoutWhereTheFolderCannotBeWritten) {
    WriteFile(folder, "a file");
    EXPECT_FALSE(Load(c_english)->IsFromCache());
    EXPECT_EQ(Load("/nowhere/hyph_xx.dic"), nullptr);
    EXPECT_EQ(ReadFile(folder), "a file");
}

} // namespace
