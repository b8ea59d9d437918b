// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_source.h"

#include <vector>

// The merge sources that are read with a document, those that only its history holds too: they are told where the
// document lies, and whether it is trusted. Of the calling thread.
class LoadedMergeSources {
public:
    LoadedMergeSources() noexcept;
    LoadedMergeSources(LoadedMergeSources const&) = delete;
    LoadedMergeSources& operator=(LoadedMergeSources const&) = delete;
    ~LoadedMergeSources();

    // Of a source that has just been read.
    static void Note(DataMergeSource& source);
    // Of whom a document has its trust: of nobody, of its seal, or of its user.
    enum class Trust : std::uint8_t { None, Seal, User };
    // When everything has been read. `path`: of the document; empty for one that has no file.
    void Place(Kernel::String const& path, Trust trust);

private:
    std::vector<Kernel::Counted<DataMergeSource>> m_sources;
    LoadedMergeSources* m_outer;
};
