// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_update_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"

TextUpdateCommand::~TextUpdateCommand() = default;

void TextUpdateCommand::Do() {
    SelectionCommandBase::Do();
    SetDirection(Direction::Do);
    ForgetKeptStates();
    std::vector<Kernel::Counted<Node>> changed;
    m_areas.Around([&] {
        UpdateTexts([&](TextNode& text) {
            m_areas.Note(text);
            StoreInterfaces(Kernel::NonCounted<Kernel::Countable>(&text));
            changed.emplace_back(&text);
        });
        for (auto text = changed.rbegin(); text != changed.rend(); ++text)
            RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(text->get()));
    });
    m_changed = Kernel::MakeCounted<Selection const>(changed);
}

TextUpdateCommand::Place TextUpdateCommand::FindPlace() {
    auto const selection = GetSelection();
    if (!selection)
        return {};
    for (auto const& item : *selection) {
        auto* const text = Kernel::CastPointer<TextNode>(item->GetSelectable().get());
        if (text == nullptr || !text->IsInDocument())
            continue;
        auto const ranges = item->MakeStorySelection(true).GetRanges(true);
        return {Kernel::Counted<TextNode>(text), ranges.empty() ? 0 : ranges[0].begin};
    }
    return {};
}

void TextUpdateCommand::PutBack(Direction direction) {
    SetDirection(direction);
    if (!m_changed)
        return;
    m_areas.Around([&] {
        for (auto const& node : m_changed->GetNodes()) {
            if (auto* const text = Kernel::CastPointer<TextNode>(node.get()))
                m_areas.Note(*text);
            RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(node.get()));
        }
    });
}

void TextUpdateCommand::Undo() {
    PutBack(Direction::Undo);
    SelectionCommandBase::Undo();
}

void TextUpdateCommand::Redo() {
    SelectionCommandBase::Redo();
    PutBack(Direction::Redo);
}

void TextUpdateCommand::Notify(Kernel::NotificationList& notifications) {
    if (!m_changed || m_changed->empty())
        return;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_changed, m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesAttributesChangedNotification>(m_areas.GetNodes(m_changed), controller, m_preview));
    notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(controller, m_changed, m_preview));
}

void TextUpdateCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Chgd", m_changed);
    SelectionCommandProxyStateManager::Save(out);
}

bool TextUpdateCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Chgd", m_changed);
    return SelectionCommandProxyStateManager::Load(in, files, version);
}
