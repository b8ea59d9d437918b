// SPDX-License-Identifier: Apache-2.0
#include "platform/document/reflow_pages_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

#include <algorithm>

ReflowPagesCommand::ReflowPagesCommand() = default;
ReflowPagesCommand::ReflowPagesCommand(int firstSpread) : m_firstSpread(firstSpread) {}
ReflowPagesCommand::~ReflowPagesCommand() = default;

Kernel::LocalisedString ReflowPagesCommand::GetDescription() const {
    return Kernel::LocalisedString("Reflow Pages", "Command description");
}

void ReflowPagesCommand::Do() {
    SetDirection(Direction::Do);
    for (auto* nodes : {&m_pages, &m_spreads})
        nodes->clear();
    for (auto* boxes : {&m_oldPageBoxes, &m_newPageBoxes, &m_oldSpreadBoxes, &m_newSpreadBoxes})
        boxes->clear();
    int index = 0;
    for (auto const& spread : m_documentController->GetDocument()->GetSpreads()) {
        if (index++ < m_firstSpread)
            continue;
        auto const old = spread->GetBaseBox(true);
        Kernel::RectT<double> box{old.left, old.top, old.left, old.top};
        for (Node* child = spread->GetFirstChild(NodeChildListType::Pages); child != nullptr;
             child = child->GetNextSibling()) {
            auto* const page = Kernel::CastPointer<PageNode>(child);
            if (page == nullptr)
                continue;
            auto const pageBox = page->GetBaseBox(true);
            Kernel::RectT<double> const placed{box.right, old.top, box.right + pageBox.GetWidth(),
                                               old.top + pageBox.GetHeight()};
            m_pages.emplace_back(page);
            m_oldPageBoxes.push_back(pageBox);
            m_newPageBoxes.push_back(placed);
            box.right = placed.right;
            box.bottom = std::max(box.bottom, placed.bottom);
        }
        m_spreads.emplace_back(spread);
        m_oldSpreadBoxes.push_back(old);
        // A spread without pages keeps the box that it has.
        m_newSpreadBoxes.push_back(spread->HasChildren(NodeChildListType::Pages) ? box : old);
    }
    Apply(m_newPageBoxes, m_newSpreadBoxes);
}

void ReflowPagesCommand::Apply(std::vector<Kernel::RectT<double>> const& pageBoxes,
                               std::vector<Kernel::RectT<double>> const& spreadBoxes) {
    for (std::size_t i = 0; i != m_pages.size(); ++i) {
        if (auto* page = Kernel::CastPointer<PageNode>(m_pages[i].get()))
            page->SetBaseBox(pageBoxes[i]);
    }
    for (std::size_t i = 0; i != m_spreads.size(); ++i) {
        if (auto* spread = Kernel::CastPointer<SpreadNode>(m_spreads[i].get()))
            spread->SetBaseBox(spreadBoxes[i]);
    }
}

void ReflowPagesCommand::Undo() {
    SetDirection(Direction::Undo);
    Apply(m_oldPageBoxes, m_oldSpreadBoxes);
}

void ReflowPagesCommand::Redo() {
    SetDirection(Direction::Redo);
    Apply(m_newPageBoxes, m_newSpreadBoxes);
}

void ReflowPagesCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (m_oldPageBoxes == m_newPageBoxes && m_oldSpreadBoxes == m_newSpreadBoxes)
        return;
    notifications.push_back(
        Kernel::MakeCounted<DocumentStructureChangedNotification>(GetDocumentController(), m_preview));
    SpreadRects areas;
    for (std::size_t i = 0; i != m_pages.size(); ++i) {
        if (!m_pages[i] || m_oldPageBoxes[i] == m_newPageBoxes[i])
            continue;
        areas.Append(SpreadRect(*m_pages[i], m_oldPageBoxes[i]));
        areas.Append(SpreadRect(*m_pages[i], m_newPageBoxes[i]));
    }
    if (!areas.IsEmpty())
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
            GetDocumentController(), areas, Kernel::Counted<Selection const>(), m_preview, false, false, false));
}

Kernel::Counted<DocumentCommand> ReflowPagesCommand::Clone() const {
    return Kernel::MakeCounted<ReflowPagesCommand>(m_firstSpread);
}

bool ReflowPagesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadFields(*this, in);
    bool const complete = m_pages.size() == m_oldPageBoxes.size() && m_pages.size() == m_newPageBoxes.size() &&
                          m_spreads.size() == m_oldSpreadBoxes.size() && m_spreads.size() == m_newSpreadBoxes.size();
    return complete && DocumentCommand::Load(in, files, version);
}
