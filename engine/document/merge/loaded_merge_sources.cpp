// SPDX-License-Identifier: Apache-2.0
#include "engine/document/merge/loaded_merge_sources.h"

#include <filesystem>

namespace {

thread_local LoadedMergeSources* s_reading = nullptr;

} // namespace

LoadedMergeSources::LoadedMergeSources() noexcept : m_outer(s_reading) { s_reading = this; }

LoadedMergeSources::~LoadedMergeSources() { s_reading = m_outer; }

void LoadedMergeSources::Note(DataMergeSource& source) {
    if (s_reading != nullptr)
        s_reading->m_sources.emplace_back(&source);
}

void LoadedMergeSources::Place(Kernel::String const& path, Trust trust) {
    std::error_code error;
    auto const folder =
        path.empty() ? std::filesystem::path() : std::filesystem::absolute(path.ToStdString(), error).parent_path();
    for (auto const& source : m_sources) {
        source->SetFolder(Kernel::String(folder.string()));
        if (trust == Trust::None)
            source->RestrictToFolder();
        else if (trust == Trust::User)
            source->AllowPicturesAnywhere();
    }
    m_sources.clear();
}
