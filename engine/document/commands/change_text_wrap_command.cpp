// SPDX-License-Identifier: Apache-2.0
#include "platform/document/change_text_wrap_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/shown_texts.h"
#include "platform/kernel/field_value.h"

#include <algorithm>

ChangeTextWrapCommand::ChangeTextWrapCommand(Story::WrapStyle::Type style, Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_style(style) {}

Kernel::LocalisedString ChangeTextWrapCommand::GetDescription() const {
    return Kernel::LocalisedString("Change text wrap", "Command description");
}

template <class Operation>
void ChangeTextWrapCommand::WithAreas(Operation const& operation) {
    std::vector<SpreadNode const*> spreads;
    m_areas = {};
    if (auto const selection = GetSelection()) {
        for (auto const& node : selection->GetNodesInDocument()) {
            spreads.push_back(node->GetSpread());
            m_areas.IncludeWhereShown(*node);
        }
    }
    std::sort(spreads.begin(), spreads.end());
    spreads.erase(std::unique(spreads.begin(), spreads.end()), spreads.end());
    ShownTexts const texts(spreads);
    operation();
    texts.IncludeChanged(m_areas);
}

void ChangeTextWrapCommand::Do() {
    ForgetKeptStates();
    WithAreas([this] { SelectionCommand::Do(); });
}

void ChangeTextWrapCommand::Undo() {
    WithAreas([this] { SelectionCommand::Undo(); });
}

void ChangeTextWrapCommand::Redo() {
    WithAreas([this] { SelectionCommand::Redo(); });
}

void ChangeTextWrapCommand::ReceiveInterface(Kernel::NonCounted<TextWrapInterface> object) {
    if (m_direction == Direction::Do && object->GetTextWrapStyle() != m_style)
        object->SetTextWrapStyle(m_style);
}

void ChangeTextWrapCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, m_areas, m_selection,
                                                                                m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesAttributesChangedNotification>(m_selection, controller, m_preview));
}

Kernel::Counted<DocumentCommand> ChangeTextWrapCommand::Clone() const {
    return Kernel::MakeCounted<ChangeTextWrapCommand>(m_style, GetGivenSelection());
}
