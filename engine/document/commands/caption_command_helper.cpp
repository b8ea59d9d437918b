// SPDX-License-Identifier: Apache-2.0
#include "platform/document/caption_command_helper.h"

#include "platform/document/document_notification.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

CaptionCommandHelper::CaptionCommandHelper() = default;
CaptionCommandHelper::~CaptionCommandHelper() = default;

namespace {

// The list of captions is that of the pages in a spread.
template <class F>
void ForEachCaption(Node const& node, F const& use) {
    if (!node.IsInDocument())
        return;
    for (Node* child = node.GetFirstChild(NodeChildListType::Captions); child != nullptr;
         child = child->GetNextSibling()) {
        if (auto* const caption = Kernel::CastPointer<FrameTextNode>(child))
            use(*caption);
    }
}

} // namespace

void CaptionCommandHelper::PreProcess() {
    m_captions.clear();
    m_before.clear();
    m_changed = {};
}

void CaptionCommandHelper::NoteCaptionParentNode(Node const& node) {
    ForEachCaption(node, [&](FrameTextNode const& caption) { m_before.emplace_back(caption); });
}

void CaptionCommandHelper::HandleCaptionParentNode(Kernel::NonCounted<Node> node) {
    ForEachCaption(*node, [&](FrameTextNode& caption) { m_captions.emplace_back(&caption); });
}

void CaptionCommandHelper::PostProcess() {
    std::erase_if(m_captions, [](Kernel::Counted<Node> const& caption) { return !caption->IsInDocument(); });
    for (auto const& texts : m_before)
        texts.IncludeChanged(m_changed);
    m_before.clear();
}

void CaptionCommandHelper::CaptionNotify(Kernel::NonCounted<DocumentController> controller,
                                         std::vector<Kernel::Counted<Kernel::Notification>>& notifications,
                                         bool preview) {
    if (m_captions.empty())
        return;
    SpreadRects areas = m_changed;
    Selection::Items items;
    for (auto const& caption : m_captions) {
        areas.IncludeWhereShown(*caption);
        items.push_back(Kernel::MakeCounted<SelectionItem>(Kernel::Counted<Selectable>(caption.get())));
    }
    Kernel::Counted<DocumentController const> const shared(controller.get());
    auto const selection = Kernel::MakeCounted<Selection const>(std::move(items), false);
    notifications.push_back(
        Kernel::MakeCounted<InvalidateDocumentNotification>(shared, areas, selection, preview, false, false, false));
    notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(shared, selection, preview));
}
