// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/fade_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_value.h"

namespace Lives {

void FadeCommand::Do() {
    SetDirection(Direction::Do);
    SelectionCommandBase::Do();
    m_nodes.clear();
    m_old.clear();
    if (!m_selection)
        return;
    for (auto const& node : m_selection->GetNodesInDocument()) {
        auto const* const look = Kernel::CastPointer<TransparencyInterface>(node.get());
        if (look == nullptr)
            continue;
        m_nodes.push_back(node);
        m_old.push_back(look->GetOpacity());
    }
    SetAll(m_opacity);
}

void FadeCommand::Undo() {
    SetDirection(Direction::Undo);
    SelectionCommandBase::Undo();
    for (std::size_t i = m_nodes.size(); i-- != 0;)
        Kernel::CastPointer<TransparencyInterface>(m_nodes[i].get())->SetOpacity(m_old[i]);
}

void FadeCommand::Redo() {
    SetDirection(Direction::Redo);
    SelectionCommandBase::Redo();
    SetAll(m_opacity);
}

void FadeCommand::SetAll(double opacity) {
    for (auto const& node : m_nodes)
        Kernel::CastPointer<TransparencyInterface>(node.get())->SetOpacity(opacity);
}

void FadeCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, controller->GetCurrentSpread()->GetBaseBox(true), m_selection, m_preview, true, true, true));
}

bool FadeCommand::Merge(Kernel::Counted<Command const> newer) {
    auto const other = Kernel::Cast<FadeCommand const>(newer);
    if (!other)
        return false;
    m_opacity = other->m_opacity;
    return true;
}

Kernel::Counted<DocumentCommand> FadeCommand::Clone() const {
    return Kernel::MakeCounted<FadeCommand>(m_opacity,
                                            m_selectionFromDocument ? Kernel::Counted<Selection const>() : m_selection);
}

namespace {

Kernel::Counted<Kernel::Serialisable> MakeEmpty() {
    return Kernel::MakeCounted<FadeCommand>(1, Kernel::Counted<Selection const>());
}

} // namespace

Kernel::ClassProperties const* FadeCommand::GetTypeClassProperties() {
    static Kernel::ClassProperties const s_properties("LvFd", &MakeEmpty, 1, nullptr,
                                                      SelectionCommandBase::GetTypeClassProperties(), "FadeCommand");
    static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
    return &s_properties;
}

void FadeCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Opac", m_opacity);
    Kernel::SaveValue(out, "Node", m_nodes);
    Kernel::SaveValue(out, "OldO", m_old);
    SelectionCommandBase::Save(out);
}

bool FadeCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Opac", m_opacity);
    Kernel::LoadValue(in, "Node", m_nodes);
    Kernel::LoadValue(in, "OldO", m_old);
    return m_nodes.size() == m_old.size() && SelectionCommandBase::Load(in, files, version);
}

} // namespace Lives
