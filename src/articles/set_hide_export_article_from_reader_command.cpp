// SPDX-License-Identifier: Apache-2.0
#include "articles/set_hide_export_article_from_reader_command.h"

namespace Commands {

Kernel::LocalisedString SetHideExportArticleFromReaderCommand::GetDescription() const {
    return m_hide ? Kernel::LocalisedString("Hide from Reading Order", "Command Description")
                  : Kernel::LocalisedString("Unhide from Reading Order", "Command Description");
}

void SetHideExportArticleFromReaderCommand::Do() {
    SetDirection(Direction::Do);
    for (auto const& entry : m_collectors) {
        m_oldHidden.push_back(entry && entry->IsHidden());
        m_oldAutoHide.push_back(entry && entry->IsAutoHide());
        if (entry)
            entry->SetHide(m_hide, false);
    }
}

// A forged list of old values may be too short.
void SetHideExportArticleFromReaderCommand::Undo() {
    SetDirection(Direction::Undo);
    auto const at = [](std::vector<bool> const& values, std::size_t i) { return i < values.size() && values[i]; };
    for (std::size_t i = 0; i != m_collectors.size(); ++i) {
        if (m_collectors[i])
            m_collectors[i]->SetHide(at(m_oldHidden, i), at(m_oldAutoHide, i));
    }
}

void SetHideExportArticleFromReaderCommand::Redo() {
    SetDirection(Direction::Redo);
    for (auto const& entry : m_collectors) {
        if (entry)
            entry->SetHide(m_hide, false);
    }
}

// Older programs hid one entry at a time.
bool SetHideExportArticleFromReaderCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                                 unsigned short version) {
    bool const loaded = ArticleCommand::Load(in, files, version);
    bool hidden = false, autoHide = false;
    Kernel::Counted<ExportArticleCollector> entry;
    if (Kernel::LoadValue(in, "ohid", hidden))
        m_oldHidden.push_back(hidden);
    if (Kernel::LoadValue(in, "oaut", autoHide))
        m_oldAutoHide.push_back(autoHide);
    if (Kernel::LoadValue(in, "arti", entry))
        m_collectors.push_back(std::move(entry));
    return loaded;
}

} // namespace Commands
