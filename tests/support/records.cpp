// SPDX-License-Identifier: Apache-2.0
#include "tests/support/records.h"

#include <functional>
#include <stdexcept>

namespace Support {

namespace {

// A second reading of the stored form, written from its description.
constexpr std::uint8_t c_object = 8;
constexpr std::uint8_t c_array = 0x80;

std::size_t FixedSize(std::uint8_t form) {
    switch (form) {
    case 1:
    case 12:
        return 1;
    case 13:
        return 2;
    case 5:
    case 7:
        return 4;
    case 4:
    case 6:
    case 10:
        return 8;
    case 11:
        return 0;
    case 36:
        return 16;
    case 38:
        return 32;
    case 40:
        return 48;
    default:
        return SIZE_MAX;
    }
}

std::size_t ReadVarint(std::vector<std::byte> const& bytes, std::size_t& at) {
    std::size_t value = 0;
    for (int shift = 0;; shift += 7) {
        auto const byte = std::to_integer<std::size_t>(bytes.at(at++));
        value |= (byte & 0x7F) << shift;
        if (byte < 0x80)
            return value;
    }
}

std::uint32_t Crc32c(std::byte const* bytes, std::size_t size) {
    std::uint32_t crc = ~0U;
    for (std::size_t i = 0; i != size; ++i) {
        crc ^= std::to_integer<std::uint32_t>(bytes[i]);
        for (int bit = 0; bit != 8; ++bit)
            crc = crc >> 1 ^ (0x82F63B78U & (0U - (crc & 1U)));
    }
    return ~crc;
}

std::string ReadTag(std::vector<std::byte> const& bytes, std::size_t at) {
    std::string tag;
    for (std::size_t i = 0; i != 4; ++i)
        tag += static_cast<char>(bytes.at(at + i));
    return tag;
}

// Calls visit(class tag, position of the field's tag, its tag) for each field of each record; visit may overwrite tags.
using Visit = std::function<bool(std::string const&, std::size_t, std::string const&)>;
void ForEachField(std::vector<std::byte>& bytes, Visit const& visit) {
    for (std::size_t at = 0; at != bytes.size();) {
        std::size_t const start = at;
        ReadVarint(bytes, at);
        auto const classTag = ReadTag(bytes, at);
        at += 4;
        ReadVarint(bytes, at);
        std::size_t const length = ReadVarint(bytes, at);
        std::size_t const end = at + length;
        bool changed = false;
        while (at < end) {
            changed |= visit(classTag, at, ReadTag(bytes, at));
            at += 4;
            auto const form = std::to_integer<std::uint8_t>(bytes.at(at++));
            if (form == c_object) {
                ReadVarint(bytes, at);
            } else if ((form & c_array) == 0 && FixedSize(form) != SIZE_MAX) {
                at += FixedSize(form);
            } else {
                std::size_t const size = ReadVarint(bytes, at);
                at += size;
            }
        }
        if (at != end)
            throw std::runtime_error("a record that does not end where it says");
        if (changed) {
            auto const crc = Crc32c(bytes.data() + start, end - start);
            for (std::size_t i = 0; i != 4; ++i)
                bytes.at(end + i) = static_cast<std::byte>(crc >> (8 * i));
        }
        at = end + 4;
    }
}

} // namespace

Kernel::MemoryChunkStorage SaveToMemory(Roots const& roots) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph::SaveCopy(roots, storage);
    return storage;
}

std::vector<SavedField> ListFields(Kernel::MemoryChunkStorage const& storage) {
    std::vector<SavedField> fields;
    for (auto const id : storage.ListChunks()) {
        auto bytes = storage.ReadChunk(id);
        if (id == 0)
            continue;
        ForEachField(bytes, [&](std::string const& classTag, std::size_t, std::string const& tag) {
            fields.push_back({classTag, tag});
            return false;
        });
    }
    return fields;
}

void HideField(Kernel::MemoryChunkStorage& storage, SavedField const& field) {
    for (auto const id : storage.ListChunks()) {
        auto bytes = storage.ReadChunk(id);
        if (id == 0)
            continue;
        ForEachField(bytes, [&](std::string const& classTag, std::size_t at, std::string const& tag) {
            if (classTag != field.classTag || tag != field.tag)
                return false;
            bytes.at(at) = bytes.at(at + 1) = std::byte{'_'};
            return true;
        });
        storage.WriteChunk(id, bytes);
    }
}

Kernel::ObjectGraph::LoadedRoots LoadFromMemory(Kernel::MemoryChunkStorage const& storage) {
    Kernel::FileStore files;
    Kernel::ObjectGraph graph;
    return graph.Load(storage, files);
}

} // namespace Support
