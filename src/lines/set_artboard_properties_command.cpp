// SPDX-License-Identifier: Apache-2.0
#include "lines/set_artboard_properties_command.h"

#include "frame/contract/notifications.h"
#include "lines/artboard_placing.h"
#include "platform/document/document_controller.h"
#include "platform/document/node_spaces.h"
#include "platform/document/transform_command.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

namespace Commands {

namespace {

using Params = Raster::AffineTransform::Params;
using Point = Kernel::PointT<double>;

// Margins are within the bits of sizes and of the use of margins: setting one of the two carries the other along.
constexpr std::uint64_t c_size = 0x30, c_useMargins = 0x4000, c_margins = 0x43c0, c_marginFill = 0x2000000,
                        c_drawingScale = 0x8000000;
constexpr double c_tolerance = 1e-6;

bool IsNearZero(double value) { return std::abs(value) <= c_tolerance; }
bool IsNearZero(Point const& value) { return IsNearZero(value.x) && IsNearZero(value.y); }

bool IsNearIdentity(Params const& t) {
    return IsNearZero(t.a - 1) && IsNearZero(t.b) && IsNearZero(t.tx) && IsNearZero(t.c) && IsNearZero(t.d - 1) &&
           IsNearZero(t.ty);
}

ArtboardInterface* AsEnabledArtboard(Kernel::Countable* object) {
    auto* const artboard = Kernel::CastPointer<ArtboardInterface>(object);
    return artboard != nullptr && artboard->IsArtboardEnabled() ? artboard : nullptr;
}

ArtboardToPlace::Resize MakeResize(Node const& board, Kernel::SizeT<double> const& size) {
    NodeSpaces const spaces(board);
    auto const toSpread = spaces.GetLocalToSpreadTransform();
    auto const box = spaces.GetLocalBaseBox(false);
    auto const placed = GetTransformedBox({box.left, box.top, box.left + size.width, box.top + size.height}, toSpread);
    return {{toSpread.a * size.width + toSpread.b * size.height, toSpread.c * size.width + toSpread.d * size.height},
            {placed.GetWidth(), placed.GetHeight()}};
}

} // namespace

SetArtboardPropertiesCommand::SetArtboardPropertiesCommand(Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)), m_newProperties(Kernel::MakeCounted<ArtboardProperties>()) {}

SetArtboardPropertiesCommand::SetArtboardPropertiesCommand(ArtboardChanges const& changes,
                                                           Kernel::Counted<Selection const> selection)
    : SetArtboardPropertiesCommand(std::move(selection)) {
    if (changes.size)
        SetDimensions(*changes.size);
    if (changes.useMargins)
        SetUseMargins(*changes.useMargins);
    if (changes.margins)
        SetMargins(*changes.margins);
    if (changes.marginFill)
        SetMarginFill(*changes.marginFill);
    if (changes.drawingScale)
        SetDrawingScale(true,
                        Kernel::MakeCounted<DrawingScale const>(changes.drawingScale->x, changes.drawingScale->y));
    SetAnchorType(changes.anchor);
}

void SetArtboardPropertiesCommand::SetUseMargins(bool use) {
    m_newProperties->SetUseMargins(use);
    m_changes |= c_useMargins;
}

void SetArtboardPropertiesCommand::SetMargins(Kernel::EdgeOffsetsT<double> margins) {
    m_newProperties->SetMargins(margins);
    m_changes |= c_margins;
}

void SetArtboardPropertiesCommand::SetMarginFill(Kernel::Counted<Renderer::FillDescriptor const> fill) {
    m_newProperties->SetMarginFill(std::move(fill));
    m_changes |= c_marginFill;
}

void SetArtboardPropertiesCommand::SetDrawingScale(bool useDrawingScale, Kernel::Counted<DrawingScale const> scale) {
    m_newProperties->SetDrawingScale(useDrawingScale, std::move(scale));
    m_changes |= c_drawingScale;
}

void SetArtboardPropertiesCommand::SetDimensions(Kernel::SizeT<double> size) {
    m_newSize = size;
    m_changes |= c_size;
}

bool SetArtboardPropertiesCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    auto const nodes = selection ? selection->GetNodesInDocument() : std::vector<Kernel::Counted<Node>>();
    return std::any_of(nodes.begin(), nodes.end(),
                       [](auto const& node) { return AsEnabledArtboard(node.get()) != nullptr; });
}

// The deed

void SetArtboardPropertiesCommand::Do() {
    ForgetKeptStates();
    m_undoData.Clear();
    SelectionCommand::Do();
    if ((m_changes & c_size) != 0)
        PrepareTransforms();
}

void SetArtboardPropertiesCommand::Undo() {
    SetDirection(Direction::Undo);
    if ((m_changes & c_size) != 0) {
        for (auto left = m_undoData.GetSize(); left != 0; --left) {
            auto const& [artboard, record] = *(m_undoData.begin() + static_cast<std::ptrdiff_t>(left - 1));
            TransformGuides(artboard, record);
            TransformObjects(artboard->GetNode(), record);
            auto const& commands = record.commands.Get();
            std::for_each(commands.rbegin(), commands.rend(), [](auto& inner) { InnerCommands::UndoOne(*inner); });
        }
    }
    SelectionCommand::Undo();
}

void SetArtboardPropertiesCommand::Redo() {
    SelectionCommand::Redo();
    if ((m_changes & c_size) == 0)
        return;
    for (auto const& [artboard, record] : m_undoData) {
        for (auto const& inner : record.commands.Get())
            InnerCommands::RedoOne(*inner);
        TransformObjects(artboard->GetNode(), record);
        TransformGuides(artboard, record);
    }
}

void SetArtboardPropertiesCommand::ReceiveInterface(Kernel::NonCounted<ArtboardInterface> artboard) {
    if (!artboard->IsArtboardEnabled() || m_direction == Direction::Teardown)
        return;
    auto const current = artboard->GetArtboardProperties();
    auto const* const record = m_undoData.Find(*artboard);
    if (m_direction == Direction::Undo) {
        if (record != nullptr)
            ApplyProperties(record->properties, current);
        return;
    }
    if (m_direction == Direction::Do) {
        CloneContext context(CloneType::Copy);
        m_undoData.Set(artboard, {.properties = Kernel::MakeCounted<ArtboardProperties>(*current, context, artboard),
                                  .commands = {},
                                  .childTransform = {},
                                  .guideTranslate = {},
                                  .guideScale = {}});
    }
    ApplyProperties(m_newProperties, current);
}

// Required: the use of margins lies within the bits of margins. Setting either carries both from the staged properties.
// The drawing scale is carried by none.
void SetArtboardPropertiesCommand::ApplyProperties(Kernel::Counted<ArtboardProperties const> source,
                                                   Kernel::Counted<ArtboardProperties> target) {
    if (!source)
        return;
    if ((m_changes & c_useMargins) != 0) {
        target->SetUseMargins(source->GetUseMargins());
        target->UpdateMargins();
    }
    if ((m_changes & c_margins) != 0) {
        target->SetMargins(source->GetMargins());
        target->UpdateMargins();
    }
    if ((m_changes & c_marginFill) != 0)
        target->SetMarginFill(source->GetMarginFill());
}

// Sizes

struct SetArtboardPropertiesCommand::Board {
    Kernel::Counted<ArtboardInterface> artboard;
    bool isSelected = false;
    // On the spread, before and after.
    Kernel::RectT<double> oldBox, newBox;

    Node& GetNode() const { return *artboard->GetNode(); }
};

// All selected boards get their size first; then those that lie beyond, and selected ones that were pushed, move.
void SetArtboardPropertiesCommand::PrepareTransforms() {
    auto const boards = PlaceBoards();
    for (auto const& board : boards) {
        if (board.isSelected)
            Resize(board);
    }
    for (auto const& board : boards) {
        if (!IsNearZero({board.newBox.left - board.oldBox.left, board.newBox.top - board.oldBox.top}))
            MoveAlong(board);
    }
}

// The enabled boards of the current spread, in its order, with their places. Selected boards of other spreads keep
// their size.
auto SetArtboardPropertiesCommand::PlaceBoards() -> std::vector<Board> {
    auto const selection = GetSelection();
    if (!selection)
        return {};
    auto const& selected = selection->GetObjects();
    std::unordered_set<Kernel::Countable const*> const isSelected(selected.begin(), selected.end());
    std::vector<Board> boards;
    std::vector<ArtboardToPlace> toPlace;
    for (auto& artboard : GetArtboards(*m_documentController->GetCurrentSpread())) {
        Node const& node = *artboard->GetNode();
        auto& board = boards.emplace_back();
        board.isSelected = isSelected.contains(static_cast<Kernel::Countable const*>(&node));
        board.oldBox = NodeSpaces(node).GetSpreadBaseBox(false);
        board.artboard = std::move(artboard);
        toPlace.push_back({board.oldBox, {}});
        if (board.isSelected)
            toPlace.back().resize = MakeResize(node, m_newSize);
    }
    auto const places = PlaceArtboards(toPlace);
    for (std::size_t i = 0; i != boards.size(); ++i)
        boards[i].newBox = places[i];
    return boards;
}

// The board's box changes about its upper left corner, in its own space. Then either the content has been scaled along,
// or it moves by the anchor; the guides follow.
void SetArtboardPropertiesCommand::Resize(Board const& board) {
    bool const scalesContent = m_anchorType == SpatialAnchor::ScaleContent;
    auto& node = board.GetNode();
    auto record = TakeRecord(*board.artboard);
    NodeSpaces const spaces(node);
    auto const oldLocal = spaces.GetLocalBaseBox(false);
    double const scaleX = m_newSize.width / oldLocal.GetWidth(), scaleY = m_newSize.height / oldLocal.GetHeight();
    Transform(node, record, {scaleX, 0, (1 - scaleX) * oldLocal.left, 0, scaleY, (1 - scaleY) * oldLocal.top},
              !scalesContent, scalesContent);
    if (scalesContent) {
        record.guideScale = {board.newBox.GetWidth() / board.oldBox.GetWidth(),
                             board.newBox.GetHeight() / board.oldBox.GetHeight()};
    } else {
        auto const anchor = GetAnchorPoint(m_anchorType, {0, 0, 1, 1});
        auto const newLocal = spaces.GetLocalBaseBox(false);
        // Required: the old size less the new one.
        Point const shift{(oldLocal.GetWidth() - newLocal.GetWidth()) * anchor.x,
                          (oldLocal.GetHeight() - newLocal.GetHeight()) * anchor.y};
        if (!IsNearZero(shift))
            record.childTransform = spaces.GetInLocal({1, 0, shift.x, 0, 1, shift.y});
        record.guideTranslate = {(board.newBox.GetWidth() - board.oldBox.GetWidth()) * anchor.x,
                                 (board.newBox.GetHeight() - board.oldBox.GetHeight()) * anchor.y};
        TransformObjects(board.artboard->GetNode(), record);
    }
    TransformGuides(board.artboard, record);
    m_undoData.Set(board.artboard, std::move(record));
}

void SetArtboardPropertiesCommand::MoveAlong(Board const& board) {
    auto record = TakeRecord(*board.artboard);
    auto const toBase = NodeSpaces(board.GetNode()).GetSpreadToBaseTransform();
    auto const from = GetTransformedBox(board.oldBox, toBase), to = GetTransformedBox(board.newBox, toBase);
    Transform(board.GetNode(), record, {1, 0, to.left - from.left, 0, 1, to.top - from.top}, false, false);
    m_undoData.Set(board.artboard, std::move(record));
}

void SetArtboardPropertiesCommand::Transform(Node& board, UndoData& record, Params const& transform,
                                             bool withoutContent, bool scalesFrameText) {
    constexpr bool c_inOwnSpace = true, c_canMerge = false;
    auto command =
        Kernel::MakeCounted<TransformCommand>(transform, c_inOwnSpace, c_canMerge, withoutContent,
                                              Selection::CreateWithSingleObject(Kernel::Counted<Selectable>(&board)));
    command->SetIsFrameTextScale(scalesFrameText);
    record.commands.DoAndAppend(*this, std::move(command));
}

// The record as it is so far; one without properties for a board that is not selected.
auto SetArtboardPropertiesCommand::TakeRecord(ArtboardInterface const& artboard) const -> UndoData {
    auto const* const record = m_undoData.Find(artboard);
    return record == nullptr ? UndoData() : *record;
}

// Each child keeps what it was, so that Undo and Redo are exact where the transform or its inverse is not.
void SetArtboardPropertiesCommand::TransformObjects(Kernel::NonCounted<Node> node, UndoData const& record) {
    if (m_anchorType == SpatialAnchor::ScaleContent || m_anchorType == SpatialAnchor::LeaveContent ||
        IsNearIdentity(record.childTransform))
        return;
    bool const isUndone = m_direction == Direction::Undo;
    auto const transform = isUndone ? record.childTransform.GetInverse() : record.childTransform;
    for (Node* child = node->GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        auto* const placed = Kernel::CastPointer<TransformInterface>(child);
        if (placed == nullptr)
            continue;
        PreVisitSubSelection(Kernel::NonCounted<Kernel::Countable>(child));
        placed->Transform(transform, false);
        PostVisitSubSelection(Kernel::NonCounted<Kernel::Countable>(child));
    }
}

// Required: the way back, p / scale - translate, is not the inverse of the way there, p * scale + translate, and no
// scale is looked at. A board that was anchored has the scale 0: all guides of an axis go to the value of translate,
// and come back as no numbers.
void SetArtboardPropertiesCommand::TransformGuides(Kernel::NonCounted<ArtboardInterface> artboard,
                                                   UndoData const& record) {
    auto const& translate = record.guideTranslate;
    auto const& scale = record.guideScale;
    if (m_anchorType == SpatialAnchor::LeaveContent || (IsNearZero(translate) && IsNearZero(scale)))
        return;
    bool const isUndone = m_direction == Direction::Undo;
    auto const properties = artboard->GetArtboardProperties();
    for (int axis = 0; axis != 2; ++axis) {
        auto guides = properties->GetGuidesPixels96(axis);
        double const by = axis == 0 ? scale.x : scale.y, along = axis == 0 ? translate.x : translate.y;
        for (double& position : guides)
            position = isUndone ? position / by - along : position * by + along;
        properties->SetGuides(axis, std::move(guides));
    }
    if (IsNearZero(scale))
        return;
    auto columns = properties->GetColumnGuides();
    // Required: the first column guide goes there by the scale of x and comes back by that of y.
    if (!columns.empty())
        columns.front() = isUndone ? columns.front() / scale.y : columns.front() * scale.x;
    properties->SetColumnGuides(std::move(columns));
    auto const margins = properties->GetMargins();
    if (margins.IsUnset())
        return;
    properties->SetMargins(isUndone ? Kernel::EdgeOffsetsT<double>{margins.left / scale.x, margins.top / scale.y,
                                                                   margins.right / scale.x, margins.bottom / scale.y}
                                    : Kernel::EdgeOffsetsT<double>{margins.left * scale.x, margins.top * scale.y,
                                                                   margins.right * scale.x, margins.bottom * scale.y});
}

void SetArtboardPropertiesCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    if (m_direction != Direction::Teardown) {
        if ((m_changes & (c_useMargins | c_margins | c_marginFill | c_size)) != 0)
            notifications.push_back(Kernel::MakeCounted<GuidesChangedNotification>(controller, m_preview));
        if ((m_changes & c_drawingScale) != 0)
            notifications.push_back(Kernel::MakeCounted<DocumentUnitChangedNotification>(controller));
    }
    // In the order in which they are stored, so that a loaded step tells the same.
    std::vector<std::pair<NodeId, InnerCommands const*>> ordered;
    for (auto const& [artboard, record] : m_undoData)
        ordered.emplace_back(artboard->GetNode()->GetId(), &record.commands);
    std::stable_sort(ordered.begin(), ordered.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
    for (auto const& [id, commands] : ordered) {
        commands->SetPreview(m_preview);
        commands->Notify(notifications);
    }
}

// The parts of the step, and what they need of it

void SetArtboardPropertiesCommand::AppendInnerCommands(InnerCommands::List& found) const {
    for (auto const& [artboard, record] : m_undoData)
        found.insert(found.end(), record.commands.Get().begin(), record.commands.Get().end());
}

bool SetArtboardPropertiesCommand::ValidateUntrusted() {
    return Persisted::ValidateUntrusted() && std::all_of(m_undoData.begin(), m_undoData.end(), [](auto const& entry) {
               return entry.value.commands.ValidateUntrusted();
           });
}

void SetArtboardPropertiesCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    for (auto const& [artboard, record] : m_undoData) {
        for (auto const& inner : record.commands.Get())
            inner->PostLoad(controller);
    }
    SelectionCommandBase::PostLoad(controller);
}

bool SetArtboardPropertiesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                        unsigned short version) {
    bool const isLoaded = Persisted::Load(in, files, version);
    InnerCommands::List parts;
    AppendInnerCommands(parts);
    // A step that lacks a part of itself could not be undone.
    return isLoaded && std::none_of(parts.begin(), parts.end(), [](auto const& part) { return !part; });
}

} // namespace Commands
