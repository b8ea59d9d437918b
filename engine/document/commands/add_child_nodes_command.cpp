// SPDX-License-Identifier: Apache-2.0
#include "platform/document/add_child_nodes_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/shown_texts.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>

AddChildNodesCommand::AddChildNodesCommand(bool selectNodes, NodeChildListType list, InsertionMode mode,
                                           Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)),
      m_list(static_cast<std::uint32_t>(list)),
      m_mode(mode),
      m_selectNodes(selectNodes) {}

AddChildNodesCommand::AddChildNodesCommand(bool selectNodes, NodeChildListType list, bool toBack, bool keepLinks,
                                           bool inParentSpace, Kernel::Counted<Geometry::CurveDbl> pressure,
                                           Kernel::Counted<Selection const> selection, InsertionMode mode,
                                           int spreadOffset, ApplyDefault line, ApplyDefault paint)
    : AddChildNodesCommand(selectNodes, list, mode, std::move(selection)) {
    m_options = {toBack, keepLinks, inParentSpace, spreadOffset, line, paint, std::move(pressure)};
}

AddChildNodesCommand::AddChildNodesCommand(NodeChildListType list, Kernel::Counted<Node> const& parent)
    : AddChildNodesCommand(false, list, InsertionMode::Inside,
                           Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{parent})) {}

void AddChildNodesCommand::AddNode(Kernel::Counted<Node> const& node) {
    m_nodes.push_back(node);
    MarkChanged();
}

Kernel::LocalisedString AddChildNodesCommand::GetDescription() const {
    return Kernel::LocalisedString("Add objects", "Command description");
}

void AddChildNodesCommand::FindPlace() {
    auto const selection = m_mode == InsertionMode::FrontOfSpread ? nullptr : GetSelection();
    auto const selected = selection ? selection->GetNodesInDocument() : std::vector<Kernel::Counted<Node>>();
    m_before.reset();
    if (m_mode == InsertionMode::Inside) {
        if (selected.empty())
            throw Kernel::Exception("no object is selected that the new ones could go into");
        m_parent = selected.front();
    } else if (!selected.empty() && selected.back()->GetSpread() != nullptr &&
               selected.back()->GetSpread() != selected.back().get()) {
        auto const& below = selected.back();
        m_parent = Kernel::Counted<Node>(below->GetParent());
        if (below->GetChildListType() == GetList())
            m_before = Kernel::Counted<Node>(below->GetNextSibling());
    } else {
        m_parent = FindSpread();
    }
    if (m_options.toBack)
        m_before = Kernel::Counted<Node>(m_parent->GetFirstChild(GetList()));
}

Kernel::Counted<Node> AddChildNodesCommand::FindSpread() const {
    auto const current = m_documentController->GetCurrentSpread();
    if (m_options.spreadOffset == 0)
        return current;
    auto const spreads = m_documentController->GetDocument()->GetSpreads();
    auto const here = std::ranges::find_if(spreads, [&](auto const& spread) { return spread.get() == current.get(); });
    auto const wanted = here - spreads.begin() + std::ptrdiff_t{m_options.spreadOffset};
    if (wanted < 0 || wanted >= std::ssize(spreads))
        throw Kernel::Exception("the document has no such spread");
    return spreads[static_cast<std::size_t>(wanted)];
}

void AddChildNodesCommand::ApplyDefaults() {
    auto const defaults = m_documentController->GetDocumentDefaults();
    auto const isMeant = [](ApplyDefault apply, bool isUnset) {
        return apply == ApplyDefault::Always || (apply == ApplyDefault::WhereUnset && isUnset);
    };
    for (auto const& node : m_nodes) {
        auto* const lined = Kernel::CastPointer<LineStyleInterface>(node.get());
        if (lined == nullptr)
            continue;
        if (isMeant(m_options.line, !lined->GetLineStyleDescriptor()) && defaults->GetLineStyleDescriptor())
            lined->SetLineStyleDescriptor(defaults->GetLineStyleDescriptor());
        if (isMeant(m_options.paint, !lined->GetPenFillDescriptor()) && defaults->GetPenFillDescriptor())
            lined->SetPenFillDescriptor(defaults->GetPenFillDescriptor());
        if (auto const line = m_options.pressure ? lined->GetLineStyleDescriptor() : nullptr) {
            auto const changed = line->Clone();
            changed->SetPressure(m_options.pressure);
            lined->SetLineStyleDescriptor(changed);
        }
    }
}

// A parent that is squashed flat has no way back to its space: nodes keep the matrices that they have.
void AddChildNodesCommand::Do() {
    OrderedSelectionCommand::Do();
    if (m_nodes.empty())
        return;
    FindPlace();
    ApplyDefaults();
    auto const toSpread = m_options.inParentSpace ? Params() : m_parent->GetBaseToSpreadTransform();
    double const determinant = toSpread.GetDeterminant();
    bool const hasWayBack = determinant > 1e-128 || determinant < -1e-128;
    m_onSpread.clear();
    for (auto const& node : m_nodes) {
        auto* const place = Kernel::CastPointer<TransformInterface>(node.get());
        auto const onSpread = place == nullptr ? Params() : place->GetTransform(false, false);
        m_onSpread.push_back(onSpread);
        if (place == nullptr || !hasWayBack || toSpread.IsIdentity())
            continue;
        // Without rounding where a node is given in the very space of its parent.
        place->SetTransform(onSpread == toSpread ? Params() : toSpread.GetInverse() * onSpread, false);
    }
    WithAreas([this] { Insert(); });
    if (SelectsNodes())
        SetNewSelection(*GetDocumentController(), Kernel::MakeCounted<Selection const>(m_nodes));
}

void AddChildNodesCommand::Undo() {
    OrderedSelectionCommand::Undo();
    WithAreas([this] { Remove(); });
    if (SelectsNodes())
        UndoSelection(*GetDocumentController());
}

void AddChildNodesCommand::Redo() {
    OrderedSelectionCommand::Redo();
    WithAreas([this] { Insert(); });
    if (SelectsNodes())
        RedoSelection(*GetDocumentController());
}

void AddChildNodesCommand::Insert() {
    if (!m_parent)
        throw Kernel::Exception("a step of the history names no node where one is needed");
    bool const detach = ShouldDetach();
    for (auto const& node : m_nodes) {
        if (m_before)
            InsertChildBefore(m_parent, node, m_before, false, detach);
        else
            AddChildBack(m_parent, GetList(), node, false, detach);
    }
}

void AddChildNodesCommand::Remove() {
    bool const isReplay = IsReplay();
    for (auto node = m_nodes.rbegin(); node != m_nodes.rend(); ++node) {
        if (isReplay)
            RemoveFromParent(*node, false, !m_options.keepLinks && ShouldDetachLinksOnEdit(*node), {});
        else
            UndoStructureChanges(*node);
    }
}

// Nodes that do not draw themselves change the look of their parent, but for wrap shapes: those change only texts.
void AddChildNodesCommand::IncludeParent() {
    auto const list = GetList();
    bool const drawn = list == NodeChildListType::Pages || list == NodeChildListType::WrapShape ||
                       (list == NodeChildListType::Plain && (!m_parent || m_parent->DrawsChildren()));
    if (!drawn && m_parent && Kernel::CastPointer<SceneNode>(m_parent.get()) != nullptr)
        m_areas.IncludeWhereShown(*m_parent);
}

template <class Operation>
void AddChildNodesCommand::WithAreas(Operation const& operation) {
    auto const includeNodes = [this] {
        for (auto const& node : m_nodes) {
            if (node && node->GetParent() != nullptr && GetList() != NodeChildListType::WrapShape)
                m_areas.IncludeWhereShown(*node);
        }
    };
    m_areas = {};
    auto const texts = ShownTexts::AnyWraps() && m_parent ? ShownTexts({m_parent->GetSpread()}) : ShownTexts();
    // Captions that come or go change the numbers of others.
    bool const mayCount =
        GetList() == NodeChildListType::Captions && m_parent && m_parent->GetDocumentNode() != nullptr;
    auto const captions = mayCount ? ShownTexts::OfNumberedCaptions(*m_parent->GetDocumentNode()) : ShownTexts();
    IncludeParent();
    includeNodes();
    operation();
    IncludeParent();
    includeNodes();
    texts.IncludeChanged(m_areas);
    m_renumbered = captions.IncludeChanged(m_areas);
}

void AddChildNodesCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, m_preview));
    if (SelectsNodes())
        NotifySelection(*this, notifications);
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, m_areas, GetSelection(),
                                                                                m_preview, false, false, false));
    // The groups that the nodes stand in have other bounds with them.
    std::vector<Kernel::Counted<Node>> holders;
    for (auto* holder = GetList() == NodeChildListType::WrapShape ? nullptr : m_parent.get();
         holder != nullptr && holder != holder->GetSpread(); holder = holder->GetParent())
        holders.emplace_back(holder);
    if (!holders.empty()) {
        notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(
            Kernel::MakeCounted<Selection const>(holders), controller, m_preview));
    }
    if (!m_renumbered.empty())
        notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(
            controller, Kernel::MakeCounted<Selection const>(m_renumbered), m_preview));
    StructureCommandHelper::Notify(notifications);
}

bool AddChildNodesCommand::ValidateUntrusted() {
    return OrderedSelectionCommand::ValidateUntrusted() && m_parent &&
           std::all_of(m_nodes.begin(), m_nodes.end(), [](auto const& node) { return static_cast<bool>(node); });
}

void AddChildNodesCommand::GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const {
    std::copy_if(m_nodes.begin(), m_nodes.end(), std::back_inserter(nodes),
                 [](auto const& node) { return node && node->GetParent() != nullptr; });
}

void AddChildNodesCommand::ApplyTransform(Raster::AffineTransform::Params transform) {
    for (auto const& node : m_nodes) {
        if (auto* const place = Kernel::CastPointer<TransformInterface>(node.get()))
            place->Transform(transform, false);
    }
}

Kernel::Counted<DocumentCommand> AddChildNodesCommand::Clone() const {
    auto const clone = Kernel::MakeCounted<AddChildNodesCommand>(
        m_selectNodes, GetList(), m_mode, m_selectionFromDocument ? nullptr : GetOrigSelection());
    clone->m_options = m_options;
    for (std::size_t i = 0; i != m_nodes.size(); ++i) {
        CloneContext context(CloneType::Copy);
        auto const node = m_nodes[i]->Clone(context);
        auto* const place = Kernel::CastPointer<TransformInterface>(node.get());
        if (place != nullptr && i < m_onSpread.size())
            place->SetTransform(m_onSpread[i], false);
        clone->AddNode(node);
    }
    return clone;
}

bool AddChildNodesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return StoredClass::Load(in, files, version) && m_list < c_childListCount;
}
