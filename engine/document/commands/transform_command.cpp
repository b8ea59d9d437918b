// SPDX-License-Identifier: Apache-2.0
#include "platform/document/transform_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/node_spaces.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <cmath>

namespace {

using Params = Raster::AffineTransform::Params;

// A transform of a box's space as a change of the box's size about its own top left corner, and a way of that corner.
struct ScaleAndWay {
    Params scale;
    Params way;
};

bool IsUpright(Params const& transform) { return transform.b == 0 && transform.c == 0; }

// A way that is no number, as with a scale that is none, is no way.
ScaleAndWay Split(Params const& transform, Kernel::RectT<double> const& box) {
    Params const scale{transform.a, 0, (1 - transform.a) * box.left, 0, transform.d, (1 - transform.d) * box.top};
    double const x = transform.tx - scale.tx, y = transform.ty - scale.ty;
    return {scale, {1, 0, std::isfinite(x) ? x : 0, 0, 1, std::isfinite(y) ? y : 0}};
}

bool HasInverse(Params const& transform) { return std::abs(transform.GetDeterminant()) > 1e-128; }

// A frame of text cannot be turned round, and has a size.
bool FitsFrame(Params const& transform) {
    return IsUpright(transform) && transform.a > 0 && transform.d > 0 && std::isfinite(transform.a) &&
           std::isfinite(transform.d);
}

} // namespace

TransformCommand::TransformCommand(Params transform, bool inOwnSpace, bool canMerge, bool withoutContent,
                                   Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)),
      m_transform(transform),
      m_inOwnSpace(inOwnSpace),
      m_canMerge(canMerge),
      m_withoutContent(withoutContent) {}

TransformCommand::TransformCommand() = default;
TransformCommand::~TransformCommand() = default;

Kernel::LocalisedString TransformCommand::GetDescription() const {
    return Kernel::LocalisedString("Transform", "Command description");
}

void TransformCommand::Do() {
    ForgetKeptStates();
    m_boxes.Clear();
    m_areas.Around(GetSelection(), [this] { SelectionCommand::Do(); });
}

void TransformCommand::Undo() {
    m_areas.Around(GetSelection(), [this] {
        SelectionCommand::Undo();
        PutBoxesBack(true);
    });
}

void TransformCommand::Redo() {
    m_areas.Around(GetSelection(), [this] {
        SelectionCommand::Redo();
        PutBoxesBack(false);
    });
}

void TransformCommand::PutBoxesBack(bool before) {
    for (auto const& entry : m_boxes)
        entry.object->SetArtboardBox(before ? entry.value.before : entry.value.after);
}

void TransformCommand::ReceiveInterface(Kernel::NonCounted<TransformInterface> object) {
    auto* const node = Kernel::CastPointer<Node>(object.get());
    if (m_direction == Direction::Teardown || node == nullptr)
        return;
    // In the other directions the content's brackets put back what they have kept.
    if (m_direction != Direction::Do)
        return TransformContent(*node, {});
    NodeSpaces const spaces(*node);
    auto const own = m_inOwnSpace ? m_transform : spaces.GetInLocal(spaces.GetInParent(m_transform));
    if (auto* const artboard = Kernel::CastPointer<ArtboardNode>(node); artboard != nullptr && IsUpright(own))
        return TransformArtboard(*artboard, own);
    if (Kernel::CastPointer<FrameTextNode>(node) != nullptr && FitsFrame(own))
        return TransformFrame(*node, own);
    if (m_inOwnSpace)
        object->SetTransform(object->GetMatrix() * own, false);
    else
        object->Transform(m_transform, true);
    if (m_withoutContent && HasInverse(own))
        TransformContent(*node, own.GetInverse());
}

void TransformCommand::TransformArtboard(ArtboardNode& artboard, Params const& own) {
    auto const before = artboard.GetArtboardBox();
    auto const [scale, way] = Split(own, before);
    if (!way.IsIdentity())
        artboard.SetTransform(artboard.GetMatrix() * way, false);
    artboard.SetArtboardBox(GetTransformedBox(before, scale));
    m_boxes.Set(Kernel::NonCounted<ArtboardInterface>(&artboard), {before, artboard.GetArtboardBox()});
    if (m_withoutContent && !way.IsIdentity())
        TransformContent(artboard, way.GetInverse());
    if (!m_withoutContent && !scale.IsIdentity())
        TransformContent(artboard, scale);
}

void TransformCommand::TransformFrame(Node& node, Params const& own) {
    auto& frame = static_cast<FrameTextNode&>(node);
    auto const split = Split(own, frame.GetFrameRect());
    Params const& scale = split.scale;
    if (!split.way.IsIdentity())
        frame.SetTransform(frame.GetMatrix() * split.way, false);
    if (scale.IsIdentity())
        return;
    frame.SetFrameRect(GetTransformedBox(frame.GetFrameRect(), scale));
    if (!m_isFrameTextScale)
        return;
    // All lengths of the text's layout scale alike, so that its lines break where they did.
    frame.ScaleFrameText({scale.a, 0, 0, 0, scale.d, 0});
    frame.EditState<TextFrameState>([&](TextFrameState& state) {
        state.columnGap *= scale.a;
        state.insets = {state.insets.left * scale.a, state.insets.top * scale.d, state.insets.right * scale.a,
                        state.insets.bottom * scale.d};
    });
    frame.EditState<BaselineGridState>([&](BaselineGridState& state) {
        state.start *= scale.d;
        state.spacing *= scale.d;
    });
}

void TransformCommand::TransformContent(Node& parent, Params const& transform) {
    for (Node* child = parent.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        auto* const placed = Kernel::CastPointer<TransformInterface>(child);
        if (placed == nullptr)
            continue;
        PreVisitSubSelection(Kernel::NonCounted<Kernel::Countable>(child));
        if (m_direction == Direction::Do) {
            // A frame takes the part along its axes into its box.
            auto const own = placed->GetMatrix().GetInverse() * transform * placed->GetMatrix();
            bool const isFrame = Kernel::CastPointer<FrameTextNode>(child) != nullptr;
            if (isFrame && IsUpright(placed->GetMatrix()) && HasInverse(placed->GetMatrix()) && FitsFrame(own))
                TransformFrame(*child, own);
            else
                placed->Transform(transform, false);
        }
        PostVisitSubSelection(Kernel::NonCounted<Kernel::Countable>(child));
    }
}

// Where the objects showed before and show now, and that their attributes changed.
void TransformCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    if (!controller || m_direction == Direction::Teardown)
        return;
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_selection, m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesAttributesChangedNotification>(m_selection, controller, m_preview));
}

bool TransformCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    auto const other = Kernel::Cast<TransformCommand const>(newer);
    return other && m_canMerge && other->m_canMerge && m_inOwnSpace == other->m_inOwnSpace &&
           m_withoutContent == other->m_withoutContent && m_isFrameTextScale == other->m_isFrameTextScale &&
           SelectionCommandBase::CanMerge(newer);
}

bool TransformCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!CanMerge(newer))
        return false;
    auto const other = Kernel::Cast<TransformCommand const>(newer);
    // A newer one of the own space comes before the older, as it does before the matrix.
    m_transform = m_inOwnSpace ? m_transform * other->m_transform : other->m_transform * m_transform;
    for (auto const& entry : other->m_boxes) {
        auto const* const own = m_boxes.Find(*entry.object);
        m_boxes.Set(entry.object, {own == nullptr ? entry.value.before : own->before, entry.value.after});
    }
    MergeStates(*other);
    return true;
}

Kernel::Counted<DocumentCommand> TransformCommand::Clone() const {
    auto const clone = Kernel::MakeCounted<TransformCommand>(m_transform, m_inOwnSpace, m_canMerge, m_withoutContent,
                                                             GetGivenSelection());
    clone->SetIsFrameTextScale(m_isFrameTextScale);
    return clone;
}
