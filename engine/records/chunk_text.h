// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/text_chunks.h"

#include <vector>

namespace Records {

// A place in the text of all chunks. Never at the end of a chunk: that is the beginning of the next one.
struct TextPlace {
    std::size_t chunk = 0, offset = 0;
    friend bool operator==(TextPlace const&, TextPlace const&) = default;
};

// The text of one chunk, and as much behind it as is asked for.
class ChunkText {
public:
    void Load(TextChunks const& chunks, std::size_t chunk);
    std::string_view GetView() const { return m_text.GetView(); }
    // Of the chunk alone.
    std::size_t GetOwnSize() const { return m_ownSize; }
    // Nothing follows.
    bool IsWhole() const { return IsAsItIs() ? m_text.GetSize() == m_bytesToEnd : m_next == m_chunks->GetCount(); }
    // A little at first, then about as much again as there is.
    void AppendMore();
    TextPlace Locate(std::size_t offset) const;

private:
    bool IsAsItIs() const { return m_chunks->GetForm() == TextForm::Utf8; }

    TextChunks const* m_chunks = nullptr;
    std::size_t m_chunk = 0, m_next = 0, m_ownSize = 0;
    std::uint64_t m_bytesToEnd = 0;
    // The size of the text when each chunk had been appended.
    std::vector<std::size_t> m_ends;
    TextBuffer m_text;
};

} // namespace Records
