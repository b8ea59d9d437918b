// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_notification.h"

#include "platform/document/ai_operation_notification.h"
#include "platform/document/new_selection_notification.h"
#include "platform/kernel/cast.h"

#include <typeinfo>

namespace {

// The key by which notifications merge. 0 is for those that never do.
enum DedupeId { c_invalidateDocument = 2, c_structureChanged = 3, c_symbolsChanged = 4 };

} // namespace

DocumentNotification::DocumentNotification(Kernel::Counted<DocumentController const> const& controller, bool preview)
    : m_controller(controller), m_preview(preview) {}

Kernel::Counted<Kernel::Notification> DocumentNotification::Merge(Kernel::Counted<Kernel::Notification> other) {
    auto const newer = Kernel::Cast<DocumentNotification>(other);
    if (!newer || newer->m_controller != m_controller)
        return {};
    auto const& self = *this;
    auto const& peer = *newer;
    if (typeid(self) != typeid(peer))
        return {};
    // A preview that is followed by the real change is the real change.
    m_preview = m_preview && newer->m_preview;
    return Kernel::Counted<Kernel::Notification>(this);
}

bool DocumentNotification::RequiredForPreviewing() { return true; }

bool DocumentNotification::FrontEndProcessingTimeIsCritical() { return false; }

bool DocumentNotification::MustProcessWithoutDocumentLock() { return false; }

bool DocumentNotification::IsActiveDocumentController() const { return m_controller && m_controller->IsActive(); }

InvalidateDocumentNotification::InvalidateDocumentNotification(
    Kernel::Counted<DocumentController const> const& controller, Kernel::RectT<double> const& area,
    Kernel::Counted<Selection const> const& selection, bool preview, bool allSpreads, bool onlyOverlays,
    bool immediately)
    : DocumentNotification(controller, preview),
      m_area(area),
      m_selection(selection),
      m_allSpreads(allSpreads),
      m_onlyOverlays(onlyOverlays),
      m_immediately(immediately) {}

InvalidateDocumentNotification::InvalidateDocumentNotification(
    Kernel::Counted<DocumentController const> const& controller, SpreadRects const& areas,
    Kernel::Counted<Selection const> const& selection, bool preview, bool allSpreads, bool onlyOverlays,
    bool immediately)
    : DocumentNotification(controller, preview),
      m_areas(areas),
      m_selection(selection),
      m_allSpreads(allSpreads),
      m_onlyOverlays(onlyOverlays),
      m_immediately(immediately) {}

int InvalidateDocumentNotification::GetDedupeId() const { return c_invalidateDocument; }

Kernel::Counted<Kernel::Notification>
InvalidateDocumentNotification::Merge(Kernel::Counted<Kernel::Notification> other) {
    auto const newer = Kernel::Cast<InvalidateDocumentNotification>(other);
    if (!newer || newer->m_onlyOverlays != m_onlyOverlays)
        return {};
    auto merged = DocumentNotification::Merge(other);
    if (!merged)
        return {};
    m_area = m_area.United(newer->m_area);
    for (auto const& rect : newer->m_areas.GetRects())
        m_areas.Append(rect);
    m_selection = newer->m_selection;
    m_allSpreads = m_allSpreads || newer->m_allSpreads;
    m_immediately = m_immediately || newer->m_immediately;
    return merged;
}

bool InvalidateDocumentNotification::ShouldForwardToFrontEnd() { return IsActiveDocumentController(); }

bool InvalidateDocumentNotification::RequiredForPreviewing() { return true; }

int DocumentStructureChangedNotification::GetDedupeId() const { return c_structureChanged; }

Kernel::Counted<Kernel::Notification> NewSelectionNotification::Merge(Kernel::Counted<Kernel::Notification> other) {
    auto const newer = Kernel::Cast<NewSelectionNotification>(other);
    if (!newer)
        return {};
    m_newSelection = newer->m_newSelection;
    return DocumentNotification::Merge(std::move(other));
}

StoryChangedNotification::StoryChangedNotification(Kernel::Counted<DocumentController const> const& controller,
                                                   Kernel::Counted<Selection const> const& selection, bool preview)
    : DocumentNotification(controller, preview), m_selection(selection) {}

SymbolsChangedNotification::SymbolsChangedNotification(Kernel::Counted<DocumentController const> const& controller)
    : DocumentNotification(controller, false) {}

int SymbolsChangedNotification::GetDedupeId() const { return c_symbolsChanged; }

MetadataChangedNotification::MetadataChangedNotification(Kernel::Counted<DocumentController const> const& controller,
                                                         Kernel::Counted<Selection const> selection, bool preview)
    : DocumentNotification(controller, preview), m_selection(std::move(selection)) {}

ShowPanelNotification::ShowPanelNotification(Kernel::Counted<DocumentController const> const& controller, Panel panel,
                                             Kernel::Counted<ShowPanelInfo> info)
    : DocumentNotification(controller, false), m_panel(panel), m_info(std::move(info)) {}

AIOperationFailedNotification::AIOperationFailedNotification(
    Kernel::Counted<DocumentController const> const& controller, Learning::RemoteInference::Result result,
    Kernel::LocalisedString title, OstraAICommandSource source)
    : DocumentNotification(controller, false),
      m_result(std::move(result)),
      m_title(std::move(title)),
      m_source(source) {}
