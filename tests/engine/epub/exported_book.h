// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/epub/flowing_epub_exporter.h"
#include "platform/kernel/files.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>
#include <unistd.h>
#include <zip.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

// A file in the tests' own folder, which goes with the object.
class BookPath {
public:
    explicit BookPath(char const* name)
        : m_path((std::filesystem::temp_directory_path() / ("redraft-test-" + std::to_string(::getpid()) + name))
                     .string()) {}
    ~BookPath() { std::filesystem::remove(m_path); }
    std::string const& Get() const { return m_path; }

private:
    std::string m_path;
};

inline std::string ReadText(std::string const& path) {
    auto const bytes = Kernel::ReadWholeFile(path, UINT64_MAX);
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

// The files of an e-book.
struct Book {
    std::vector<std::string> names;
    std::map<std::string, std::string> files;
    bool isFirstStored = false;

    std::string const& Get(std::string const& name) const {
        static std::string const s_none;
        auto const found = files.find("EPUB/" + name);
        EXPECT_NE(found, files.end()) << name;
        return found == files.end() ? s_none : found->second;
    }
};

inline Book ReadBook(std::string const& path) {
    Book book;
    int error = 0;
    auto* const archive = zip_open(path.c_str(), ZIP_RDONLY, &error);
    EXPECT_NE(archive, nullptr);
    if (archive == nullptr)
        return book;
    for (zip_int64_t i = 0; i != zip_get_num_entries(archive, 0); ++i) {
        zip_stat_t stat;
        zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat);
        if (i == 0)
            book.isFirstStored = stat.comp_method == ZIP_CM_STORE;
        std::string text(stat.size, 0);
        auto* const file = zip_fopen_index(archive, static_cast<zip_uint64_t>(i), 0);
        EXPECT_EQ(zip_fread(file, text.data(), text.size()), static_cast<zip_int64_t>(text.size()));
        // Sums are checked at the end.
        char beyond = 0;
        EXPECT_EQ(zip_fread(file, &beyond, 1), 0) << stat.name;
        zip_fclose(file);
        book.names.push_back(stat.name);
        book.files[stat.name] = std::move(text);
    }
    zip_discard(archive);
    return book;
}

// Every XML part can be read, every id is there once in its file, and every link within the book leads to a file and an
// id that it has.
inline void ExpectSound(Book const& book) {
    std::map<std::string, std::set<std::string>> ids;
    std::vector<std::pair<std::string, std::string>> links;
    for (auto const& [name, text] : book.files) {
        bool const isPage = name.ends_with(".xhtml");
        if (!isPage && !name.ends_with(".opf") && !name.ends_with(".xml"))
            continue;
        pugi::xml_document document;
        auto const result = document.load_buffer(text.data(), text.size(), pugi::parse_default);
        ASSERT_TRUE(result) << name << ": " << result.description() << " at " << result.offset;
        ids[name];
        auto const folder = name.substr(0, name.rfind('/') + 1);
        for (auto const& each : document.select_nodes("//*")) {
            if (auto const id = each.node().attribute("id")) {
                EXPECT_TRUE(ids[name].insert(id.value()).second) << name << " has twice " << id.value();
            }
            for (char const* attribute : {"href", "src"}) {
                std::string const target = each.node().attribute(attribute).value();
                if (target.empty() || target.find(':') != target.npos)
                    continue;
                links.emplace_back(target.front() == '#' ? name + target : folder + target, name);
            }
        }
    }
    for (auto const& [target, from] : links) {
        auto const hash = target.find('#');
        auto const file = target.substr(0, hash);
        EXPECT_TRUE(book.files.contains(file)) << from << " links to " << target;
        if (hash != target.npos) {
            EXPECT_TRUE(ids[file].contains(target.substr(hash + 1))) << from << " links to " << target;
        }
    }
}
