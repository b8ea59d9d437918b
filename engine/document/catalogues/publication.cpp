// SPDX-License-Identifier: Apache-2.0
// The settings of a document that its publications carry beside its pages.
#include "platform/document/document_controller.h"
#include "platform/document/edit_journal.h"
#include "platform/document/epub_cover_info.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"
#include "platform/kernel/exception.h"

#include <algorithm>

void DocumentNode::AddCssFile(Kernel::Counted<EPub::CSSFile const> file, int index) {
    if (!file)
        throw Kernel::Exception("a style sheet is missing");
    EditJournal::NoteValue(*this, m_cssFiles);
    bool const isWithin = index >= 0 && static_cast<std::size_t>(index) < m_cssFiles.size();
    m_cssFiles.insert(isWithin ? m_cssFiles.begin() + index : m_cssFiles.end(), std::move(file));
    MarkChanged();
}

void DocumentNode::RemoveCssFile(Kernel::Counted<EPub::CSSFile const> const& file) {
    auto const found = std::ranges::find(m_cssFiles, file);
    if (found != m_cssFiles.end())
        RemoveCssFile(static_cast<int>(found - m_cssFiles.begin()));
}

void DocumentNode::RemoveCssFile(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= m_cssFiles.size())
        throw Kernel::Exception("the document has no style sheet at place " + std::to_string(index));
    EditJournal::NoteValue(*this, m_cssFiles);
    m_cssFiles.erase(m_cssFiles.begin() + index);
    MarkChanged();
}

void DocumentNode::SetEPubCoverInfo(Kernel::Counted<EPubCoverInfo const> info) {
    EditJournal::NoteValue(*this, m_ePubCover);
    m_ePubCover = std::move(info);
    MarkChanged();
}

Kernel::Counted<EPub::AccessibilityMetadata const> DocumentController::GetAccessibilityMetadata() const {
    return m_settings->accessibility;
}

void DocumentController::SetAccessibilityMetadata(Kernel::Counted<EPub::AccessibilityMetadata const> metadata) {
    EditJournal::NoteValue(*m_settings, m_settings->accessibility);
    m_settings->accessibility = std::move(metadata);
    m_settings->MarkChanged();
}
