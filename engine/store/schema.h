// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace Store::Schema {

// "Rdft", most significant byte first.
inline constexpr std::uint32_t c_applicationId = 0x52646674;

// A definition as it must stand in a document, to the byte.
struct Object {
    char const* type;
    char const* name;
    char const* table;
    char const* sql;
};

// Size and digest of chunks stand apart from their content, so that opening a document reads few pages. The keys of
// blobs are not declared unique: a blob that cannot be read any more keeps its row when its content is written again.
inline constexpr std::array<Object, 5> c_objects{{
    {"table", "meta", "meta", "CREATE TABLE meta(name TEXT NOT NULL PRIMARY KEY, value NOT NULL) WITHOUT ROWID"},
    {"table", "chunk", "chunk",
     "CREATE TABLE chunk(id INTEGER PRIMARY KEY, size INTEGER NOT NULL, digest BLOB NOT NULL)"},
    {"table", "chunk_data", "chunk_data",
     "CREATE TABLE chunk_data(id INTEGER PRIMARY KEY, coding INTEGER NOT NULL, stored BLOB NOT NULL)"},
    {"table", "blob", "blob",
     "CREATE TABLE blob(id INTEGER PRIMARY KEY, key BLOB NOT NULL, size INTEGER NOT NULL, coding INTEGER NOT NULL, "
     "stored BLOB NOT NULL)"},
    {"index", "blob_key", "blob", "CREATE INDEX blob_key ON blob(key)"},
}};

} // namespace Store::Schema
