// SPDX-License-Identifier: Apache-2.0
#include "shapes/edit_wrap_shape_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/add_child_nodes_command.h"
#include "platform/document/change_text_wrap_command.h"
#include "platform/document/selection_commands.h"
#include "platform/kernel/cast.h"

namespace Commands {

namespace {

Kernel::Counted<Node> FindNode(DocumentController const& controller) {
    auto const selection = controller.GetCurrentSelection();
    auto const nodes = selection ? selection->GetNodesInDocument() : std::vector<Kernel::Counted<Node>>();
    return nodes.empty() ? nullptr : nodes.front();
}

bool IsWrapShape(Node const& node) {
    return node.GetParent() != nullptr && node.GetChildListType() == NodeChildListType::WrapShape;
}

Kernel::Counted<Selection const> SelectionOf(Kernel::Counted<Node> const& node) {
    return Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{node});
}

Kernel::Counted<DocumentCommand> MakeSelectCommand(Node* node) {
    return Kernel::MakeCounted<SetCurrentSelectionCommand>(SelectionOf(Kernel::Counted<Node>(node)), false, false,
                                                           false, CurrentSpreadEnsureVisible::Yes,
                                                           SelectionStacking::Step);
}

} // namespace

bool EditWrapShapeCommand::CanExecute(Kernel::NonCounted<DocumentController const> controller) {
    auto const node = FindNode(*controller);
    return node && (IsWrapShape(*node) || Kernel::CastPointer<TextWrapInterface const>(node.get()) != nullptr);
}

// Without a node it is still a step, one that changes nothing. The wrap style is set for all that is selected, the
// shape belongs to the first object.
void EditWrapShapeCommand::Do() {
    SetDirection(Direction::Do);
    m_selectCommand.reset();
    m_wrapCommand.reset();
    m_wrapNode.reset();
    m_leaving = false;
    auto const node = FindNode(*GetDocumentController());
    if (!node)
        return;
    if (IsWrapShape(*node)) {
        m_selectCommand = MakeSelectCommand(node->GetParent());
        m_leaving = true;
    } else {
        auto const* const wrap = Kernel::CastPointer<TextWrapInterface const>(node.get());
        if (wrap == nullptr)
            return;
        if (wrap->GetTextWrapStyle() == Story::WrapStyle::None) {
            m_wrapCommand = Kernel::MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::Around);
            InnerCommands::DoOne(*this, *m_wrapCommand);
        }
        m_selectCommand = MakeEnterCommand(node);
    }
    InnerCommands::DoOne(*this, *m_selectCommand);
}

Kernel::Counted<DocumentCommand> EditWrapShapeCommand::MakeEnterCommand(Kernel::Counted<Node> const& node) {
    if (node->HasChildren(NodeChildListType::WrapShape))
        return MakeSelectCommand(node->GetFirstChild(NodeChildListType::WrapShape));
    auto curves = Kernel::CastPointer<TextWrapInterface const>(node.get())->CreateDefaultTextWrapCurves();
    if (!curves)
        curves = Kernel::MakeCounted<Geometry::PolyCurveDbl const>(Kernel::RectT<double>());
    auto const shape = Kernel::MakeCounted<PolyCurveNode>();
    shape->SetCurves(curves->Clone());
    shape->Transform(node->GetBaseToSpreadTransform(), false);
    m_wrapNode = shape;
    auto const add = Kernel::MakeCounted<AddChildNodesCommand>(NodeChildListType::WrapShape, node);
    add->AddNode(shape);
    return Kernel::MakeCounted<CommandAndSetSelectionCommand>(add, SelectionOf(shape));
}

void EditWrapShapeCommand::Undo() {
    SetDirection(Direction::Undo);
    if (m_selectCommand)
        InnerCommands::UndoOne(*m_selectCommand);
    if (m_wrapCommand)
        InnerCommands::UndoOne(*m_wrapCommand);
}

void EditWrapShapeCommand::Redo() {
    SetDirection(Direction::Redo);
    if (m_wrapCommand)
        InnerCommands::RedoOne(*m_wrapCommand);
    if (m_selectCommand)
        InnerCommands::RedoOne(*m_selectCommand);
}

void EditWrapShapeCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    constexpr int c_objectTool = 1, c_shapeTool = 3;
    for (auto const& command : {m_wrapCommand, m_selectCommand}) {
        if (!command)
            continue;
        // A preview may have become a step since the commands ran.
        command->SetPreview(IsPreview());
        command->Notify(notifications);
    }
    notifications.push_back(Kernel::MakeCounted<RecommendSpecificToolNotification>(
        m_leaving ? c_objectTool : c_shapeTool, GetDocumentController(), nullptr));
}

void EditWrapShapeCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    for (auto const& command : {m_selectCommand, m_wrapCommand}) {
        if (command)
            command->PostLoad(controller);
    }
    DocumentCommand::PostLoad(controller);
}

void EditWrapShapeCommand::GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const {
    if (auto const* const maker = Kernel::CastPointer<NewNodesCommandInterface const>(m_selectCommand.get()))
        maker->GetNewNodes(nodes);
}

} // namespace Commands
