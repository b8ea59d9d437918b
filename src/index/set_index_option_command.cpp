// SPDX-License-Identifier: Apache-2.0
#include "index/set_index_option_command.h"

namespace Commands {

void SetIndexOptionCommand::Do() {
    if (auto const* const index = FindIndex(*this)) {
        switch (m_option) {
        case Option::SectionHeadings:
            m_oldValue = index->GetShouldIncludeSectionHeadings();
            break;
        case Option::PageRanges:
            m_oldValue = index->GetShouldGroupPageRanges();
            break;
        case Option::ExpandCrossReferences:
            m_oldValue = index->GetShouldExpandCrossReferences();
            break;
        }
    }
    Put(Direction::Do, m_value);
}

void SetIndexOptionCommand::Undo() { Put(Direction::Undo, m_oldValue); }
void SetIndexOptionCommand::Redo() { Put(Direction::Redo, m_value); }

void SetIndexOptionCommand::Put(Direction direction, bool value) {
    SetDirection(direction);
    auto* const index = FindIndex(*this);
    if (index == nullptr)
        return;
    switch (m_option) {
    case Option::SectionHeadings:
        return index->SetShouldIncludeSectionHeadings(value);
    case Option::PageRanges:
        return index->SetShouldGroupPageRanges(value);
    case Option::ExpandCrossReferences:
        return index->SetShouldExpandCrossReferences(value);
    }
}

} // namespace Commands
