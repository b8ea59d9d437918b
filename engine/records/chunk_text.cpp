// SPDX-License-Identifier: Apache-2.0
#include "engine/records/chunk_text.h"

#include <algorithm>

namespace Records {

namespace {

// Enough for the rest of most records.
constexpr std::size_t c_littleMore = 4096;

} // namespace

void ChunkText::Load(TextChunks const& chunks, std::size_t chunk) {
    m_chunks = &chunks;
    m_chunk = chunk;
    m_next = chunk + 1;
    m_text.Clear();
    chunks.Append(chunk, m_text);
    m_ownSize = m_text.GetSize();
    m_ends.assign(1, m_ownSize);
    m_bytesToEnd = chunks.GetTextBytes() - std::uint64_t(chunk) * chunks.GetChunkBytes();
}

void ChunkText::AppendMore() {
    if (IsAsItIs()) {
        auto const size = m_text.GetSize();
        auto const at = std::uint64_t(m_chunk) * m_chunks->GetChunkBytes() + size;
        m_chunks->AppendBytes(at, size == m_ownSize ? c_littleMore : size, m_text);
        return;
    }
    for (auto count = m_ends.size(); count != 0 && m_next != m_chunks->GetCount(); --count) {
        m_chunks->Append(m_next++, m_text);
        m_ends.push_back(m_text.GetSize());
    }
}

TextPlace ChunkText::Locate(std::size_t offset) const {
    if (IsAsItIs())
        return {m_chunk + offset / m_chunks->GetChunkBytes(), offset % m_chunks->GetChunkBytes()};
    // Chunks without a character have no place.
    auto const index =
        static_cast<std::size_t>(std::upper_bound(m_ends.begin(), m_ends.end(), offset) - m_ends.begin());
    return {m_chunk + index, index == 0 ? offset : offset - m_ends[index - 1]};
}

} // namespace Records
