// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/byte_buffer.h"
#include "engine/kernel/crc32c.h"
#include "engine/kernel/record.h"
#include "platform/kernel/object_graph.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace KernelTest {

using Bytes = std::vector<std::byte>;

struct RecordParts {
    std::uint32_t id;
    std::uint32_t classTag;
    std::uint32_t version;
    std::vector<Bytes> fields;
};

inline std::vector<RecordParts> TakeApart(Bytes const& chunk) {
    std::vector<RecordParts> records;
    std::byte const* at = chunk.data();
    std::byte const* const end = at + chunk.size();
    while (at != end) {
        auto const record = Kernel::Detail::ReadRecord(at, end, Kernel::Detail::Checksum::Verify);
        auto& parts = records.emplace_back(RecordParts{record.id, record.classTag, record.version, {}});
        for (std::byte const* field = record.fields; field != record.fieldsEnd;) {
            std::byte const* const next = Kernel::Detail::ReadField(field, record.fieldsEnd).end;
            parts.fields.emplace_back(field, next);
            field = next;
        }
        at = record.end;
    }
    return records;
}

// The chunk of these records, with right checksums.
inline Bytes PutTogether(std::vector<RecordParts> const& records) {
    Kernel::Detail::ByteBuffer buffer;
    for (auto const& record : records) {
        std::size_t const begin = buffer.size();
        buffer.AppendVarint(record.id);
        buffer.AppendTag(record.classTag);
        buffer.AppendVarint(record.version);
        std::size_t const lengthAt = buffer.size();
        buffer.AppendByte(0);
        for (auto const& field : record.fields)
            buffer.Append(field.data(), field.size());
        buffer.PatchLength(lengthAt, 0);
        auto const checksum = Kernel::Detail::ComputeCrc32c(buffer.data() + begin, buffer.size() - begin);
        buffer.Append(&checksum, sizeof checksum);
    }
    return {buffer.data(), buffer.data() + buffer.size()};
}

// Changes the records of chunk 1.
inline void Operate(Kernel::MemoryChunkStorage& storage, std::function<void(std::vector<RecordParts>&)> const& change) {
    auto records = TakeApart(storage.ReadChunk(1));
    change(records);
    storage.WriteChunk(1, PutTogether(records));
}

} // namespace KernelTest
