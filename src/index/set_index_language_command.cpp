// SPDX-License-Identifier: Apache-2.0
#include "index/set_index_language_command.h"

namespace Commands {

void SetIndexLanguageCommand::Put(Direction direction, Kernel::String const& language) {
    SetDirection(direction);
    if (auto* const index = FindIndex(*this))
        index->SetIndexLangauge(Story::Language::Make(language));
}

void SetIndexLanguageCommand::Do() {
    if (auto const* const index = FindIndex(*this))
        m_oldLanguage = index->GetIndexLanguage()->GetIdentifier();
    Put(Direction::Do, m_language);
}

void SetIndexLanguageCommand::Undo() { Put(Direction::Undo, m_oldLanguage); }
void SetIndexLanguageCommand::Redo() { Put(Direction::Redo, m_language); }

} // namespace Commands
