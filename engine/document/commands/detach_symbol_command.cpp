// SPDX-License-Identifier: Apache-2.0
#include "platform/document/detach_symbol_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/field_list.h"

DetachSymbolCommand::DetachSymbolCommand() = default;

DetachSymbolCommand::DetachSymbolCommand(Kernel::Counted<Selection const> selection, bool keepLook,
                                         UnlinkRecurse recurse, bool selectResult)
    : m_selection(std::move(selection)), m_keepLook(keepLook), m_recurse(recurse), m_selectResult(selectResult) {}

DetachSymbolCommand::~DetachSymbolCommand() = default;

Kernel::LocalisedString DetachSymbolCommand::GetDescription() const {
    return Kernel::LocalisedString("Detach Symbol", "Command description");
}

// An instance inside the instance is another instance's top node: its own source is a symbol's root.
void DetachSymbolCommand::Do() {
    SetDirection(Direction::Do);
    m_nodes.clear();
    m_sources.clear();
    if (!m_selection)
        return;
    for (auto const& top : m_selection->GetNodes()) {
        auto const free = [&](Node& node) {
            if (auto const source = node.GetLinkSource()) {
                m_nodes.emplace_back(&node);
                m_sources.push_back(source);
            }
        };
        if (m_recurse == UnlinkRecurse::NodeOnly) {
            free(*top);
            continue;
        }
        Node const* nested = nullptr;
        ForEachNode(*top, [&](Node& node) {
            if (nested != nullptr && nested->IsSelfOrAncestorOf(&node))
                return;
            nested = nullptr;
            auto const source = node.GetLinkSource();
            bool const isInstance =
                source && source->GetParent() != nullptr && source->GetChildListType() == NodeChildListType::Symbols;
            if (isInstance && &node != top.get() && m_recurse == UnlinkRecurse::Instance) {
                nested = &node;
                return;
            }
            free(node);
        });
    }
    m_oldSelection = m_documentController ? m_documentController->GetCurrentSelection() : nullptr;
    SetLinks(false);
}

void DetachSymbolCommand::SetLinks(bool linked) {
    for (std::size_t i = 0; i != m_nodes.size() && i != m_sources.size(); ++i)
        m_nodes[i]->SetLinkSource(linked ? m_sources[i] : nullptr);
    if (m_selectResult && m_documentController)
        m_documentController->SetSelection(linked ? m_oldSelection : m_selection, false);
}

void DetachSymbolCommand::Undo() {
    SetDirection(Direction::Undo);
    SetLinks(true);
}

void DetachSymbolCommand::Redo() {
    SetDirection(Direction::Redo);
    SetLinks(false);
}

void DetachSymbolCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    notifications.push_back(Kernel::MakeCounted<SymbolsChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> DetachSymbolCommand::Clone() const {
    return Kernel::MakeCounted<DetachSymbolCommand>(m_selection, m_keepLook, m_recurse, m_selectResult);
}

bool DetachSymbolCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadFields(*this, in);
    bool const complete = m_nodes.size() == m_sources.size();
    for (std::size_t i = 0; i != m_nodes.size(); ++i) {
        if (!complete || !m_nodes[i])
            return false;
    }
    return DocumentCommand::Load(in, files, version);
}
