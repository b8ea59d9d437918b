// SPDX-License-Identifier: Apache-2.0
#include "platform/document/set_chosen_generation_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"

SetChosenGenerationCommand::SetChosenGenerationCommand(std::uint32_t index, Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_index(index) {}

Kernel::LocalisedString SetChosenGenerationCommand::GetDescription() const {
    return Kernel::LocalisedString("Choose generated image", "Command description");
}

void SetChosenGenerationCommand::Do() {
    ForgetKeptStates();
    m_areas.Around(GetSelection(), [this] { SelectionCommand::Do(); });
}

void SetChosenGenerationCommand::Undo() {
    m_areas.Around(GetSelection(), [this] { SelectionCommand::Undo(); });
}

void SetChosenGenerationCommand::Redo() {
    m_areas.Around(GetSelection(), [this] { SelectionCommand::Redo(); });
}

void SetChosenGenerationCommand::ReceiveInterface(Kernel::NonCounted<GenerativeInterface> object) {
    if (m_direction == Direction::Do && m_index < object->GetGenerations().size())
        object->SetChosenGeneration(m_index);
}

void SetChosenGenerationCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_selection, m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesAttributesChangedNotification>(m_selection, controller, m_preview));
}

Kernel::Counted<DocumentCommand> SetChosenGenerationCommand::Clone() const {
    return Kernel::MakeCounted<SetChosenGenerationCommand>(m_index, GetGivenSelection());
}
