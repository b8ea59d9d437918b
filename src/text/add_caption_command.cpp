// SPDX-License-Identifier: Apache-2.0
#include "text/add_caption_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"
#include "platform/document/text_commands.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

namespace Commands {

AddCaptionCommand::AddCaptionCommand(Kernel::Counted<CaptionInfo const> captionInfo,
                                     Kernel::Counted<Selection const> selection, bool selectNode)
    : Persisted(selectNode, NodeChildListType::Captions, false, false, false, Kernel::Counted<Geometry::CurveDbl>(),
                std::move(selection), InsertionMode::Inside, 0, ApplyDefault::Never, ApplyDefault::Never),
      m_captionInfo(std::move(captionInfo)) {}

void AddCaptionCommand::Do() {
    // The first call may only find out whose selection it is.
    GetSelection();
    auto const selection = GetSelection();
    auto const selected = selection ? selection->GetNodesInDocument() : std::vector<Kernel::Counted<Node>>();
    if (!m_captionInfo)
        throw Kernel::Exception("there is no caption to add");
    // Spreads, pages and the document itself have no captions.
    if (selected.empty() || Kernel::CastPointer<SceneNode>(selected.front().get()) == nullptr)
        throw Kernel::Exception("no object is selected that a caption could go with");
    auto const controller = GetDocumentController();
    auto const defaults = controller->GetDocumentDefaults();
    double const height = m_captionInfo->GetDefaultFrameHeight(controller);
    Kernel::JailCounted<Node> const& target = selected.front();
    Raster::AffineTransform::Params transform;
    auto rect = m_captionInfo->GetPositionForCaption(target, height, transform);

    auto const node = Kernel::MakeCounted<FrameTextNode>(rect);
    node->SetDocumentForComposition(controller->GetDocument().get());
    node->SetText(m_captionInfo->GetText(), defaults->GetGlyphAtts(), defaults->GetParagraphAtts());
    if (!m_captionInfo->GetParagraphStyleName().empty())
        ApplyStyle(node);
    auto const composed = node->MakeComposedStory(Story::CompositionEndConditions(node->GetStory()->GetAll()));
    auto const text = composed->GetFrame(0)->GetScaledTextBox({}, {}, Story::TextBox::Needed, false);
    if (text.GetHeight() > rect.GetHeight()) {
        rect = m_captionInfo->GetPositionForCaption(target, text.GetHeight(), transform);
        static_cast<Story::ColumnFrame&>(*node->GetMutableStoryFrameI()).SetRect(rect);
    }
    node->SetCaptionInfo(m_captionInfo);
    node->SetTransform(transform, false);
    node->SetDocumentForComposition(nullptr);
    AddNode(node);
    AddChildNodesCommand::Do();
    node->OnTransformChange(&m_changeResult, true, true, false);
    node->GetTransformInvalidationBox(m_invalidationRects, true);
}

// A step of its own is not needed: undoing the caption removes the node.
void AddCaptionCommand::ApplyStyle(Kernel::Counted<FrameTextNode> const& node) const {
    auto const all = Kernel::MakeCounted<TextSelection>(node->GetStory()->GetClientAll());
    auto const delta = Story::MakeDelta(Story::ParagraphAtt::String::StyleName, m_captionInfo->GetParagraphStyleName());
    auto const format = Kernel::MakeCounted<FormatTextCommand>(delta, Kernel::MakeCounted<Selection const>(node, all));
    format->PostDequeueWithMutableController(m_documentController);
    format->Do();
}

Kernel::Counted<FrameTextNode> AddCaptionCommand::GetNewNode() const {
    auto const node = GetNodes().empty() ? nullptr : Kernel::Cast<FrameTextNode>(GetNodes().front());
    if (!node)
        throw Kernel::Exception("a step of the history names no node where one is needed");
    return node;
}

// The area is taken while the node is in the tree.
void AddCaptionCommand::Undo() {
    SetDirection(Direction::Undo);
    auto const node = GetNewNode();
    node->OnTransformChange(&m_changeResult, false, true, false);
    node->GetTransformInvalidationBox(m_invalidationRects, true);
    AddChildNodesCommand::Undo();
    node->OnTransformChange(&m_changeResult, true, true, false);
}

void AddCaptionCommand::Redo() {
    SetDirection(Direction::Redo);
    auto const node = GetNewNode();
    node->OnTransformChange(&m_changeResult, false, true, false);
    AddChildNodesCommand::Redo();
    node->OnTransformChange(&m_changeResult, true, true, false);
    node->GetTransformInvalidationBox(m_invalidationRects, true);
}

void AddCaptionCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    auto const selection = GetSelection();
    AddChildNodesCommand::Notify(notifications);
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_invalidationRects, selection, m_preview, false, false, false));
    notifications.push_back(Kernel::MakeCounted<InvalidateToolAllNotification>(controller, false));
    m_changeResult.Notify(notifications, controller, selection, m_preview);
    notifications.push_back(Kernel::MakeCounted<NodesDataChangedNotification>(selection, controller, m_preview));
}

Kernel::Counted<DocumentCommand> AddCaptionCommand::Clone() const {
    return Kernel::MakeCounted<AddCaptionCommand>(m_captionInfo, nullptr, true);
}

} // namespace Commands
