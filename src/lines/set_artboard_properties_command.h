// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "lines/artboard_arguments.h"
#include "platform/document/artboard.h"
#include "platform/document/interface_map.h"

namespace Commands {

// Sets properties of the selected artboards: margins, their colour, and above all the size. A board grows or shrinks
// about an anchor; its content scales along or keeps its place, its guides follow, and the other boards of the spread
// that lie beyond it move along, so that the gaps stay as they were. Disabled artboards take no part.
class REDRAFT_API SetArtboardPropertiesCommand final
    : public Persisted<SetArtboardPropertiesCommand,
                       SelectionCommandWithSingleInterface<SetArtboardPropertiesCommand, ArtboardInterface>> {
public:
    explicit SetArtboardPropertiesCommand(Kernel::Counted<Selection const> selection);
    SetArtboardPropertiesCommand(ArtboardChanges const& changes, Kernel::Counted<Selection const> selection);

    void SetUseMargins(bool use);
    void SetMargins(Kernel::EdgeOffsetsT<double> margins);
    void SetMarginFill(Kernel::Counted<Renderer::FillDescriptor const> fill);
    // Listeners are told; the scale itself is taken over by nobody.
    void SetDrawingScale(bool useDrawingScale, Kernel::Counted<DrawingScale const> scale);
    // In the boards' own spaces. No size is refused: a board without area, or whose size is no number, shows nothing.
    void SetDimensions(Kernel::SizeT<double> size);
    void SetAnchorType(SpatialAnchor anchor) { m_anchorType = anchor; }

    static bool CanApplyTo(Kernel::Counted<Selection const> selection);
    static constexpr auto c_description =
        Kernel::Localisable("Set Artboard Properties", "Set Artboard Properties Command");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ValidateUntrusted() override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    bool VisitInReverse() const override { return false; }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    static constexpr std::string_view c_keptByUndo =
        "After a change of size, guides, column guides and margins come back by arithmetic, which is not exact; guides "
        "of a board that was anchored do not come back.";
    void AppendInnerCommands(InnerCommands::List& found) const;

    // All that undo needs of one board.
    struct UndoData {
        // Of a selected board, before the change; null for a board that only moved along.
        Kernel::Counted<ArtboardProperties> properties;
        InnerCommands commands;
        Raster::AffineTransform::Params childTransform;
        Kernel::PointT<double> guideTranslate, guideScale;
        static constexpr Kernel::ClassUID GetClassUID() { return {"abud"}; }
        static constexpr auto Fields() {
            return Kernel::FieldList{
                Kernel::Field{"prop", &UndoData::properties}, Kernel::Field{"cmds", &UndoData::commands},
                Kernel::Field{"chtr", &UndoData::childTransform}, Kernel::Field{"gdtr", &UndoData::guideTranslate},
                Kernel::Field{"gdsc", &UndoData::guideScale}};
        }
    };
    InterfaceMap<ArtboardInterface, UndoData> const& GetUndoData() const { return m_undoData; }

protected:
    void ReceiveInterface(Kernel::NonCounted<ArtboardInterface> artboard) override;
    void ApplyProperties(Kernel::Counted<ArtboardProperties const> source, Kernel::Counted<ArtboardProperties> target);
    void PrepareTransforms();
    void TransformObjects(Kernel::NonCounted<Node> node, UndoData const& record);
    void TransformGuides(Kernel::NonCounted<ArtboardInterface> artboard, UndoData const& record);

private:
    friend struct Kernel::FieldAccess;
    SetArtboardPropertiesCommand() : SetArtboardPropertiesCommand(Kernel::Counted<Selection const>()) {}
    static constexpr auto Fields() {
        using This = SetArtboardPropertiesCommand;
        return Kernel::FieldList{
            Kernel::Field{"chgs", &This::m_changes}, Kernel::Field{"olpt", &This::m_undoData},
            Kernel::Field{"nwpt", &This::m_newProperties}.As<ArtboardChanges>("changes", "the properties to set"),
            Kernel::Field{"nwsz", &This::m_newSize},
            Kernel::Field{"anct", &This::m_anchorType}.EnumBy(&SpatialAnchorEnumSerialiser::GetInstance)};
    }
    // A board of the current spread while sizes are prepared.
    struct Board;
    std::vector<Board> PlaceBoards();
    void Resize(Board const& board);
    void MoveAlong(Board const& board);
    // Runs a transform of one board, in its own space, as a part of this command.
    void Transform(Node& board, UndoData& record, Raster::AffineTransform::Params const& transform, bool withoutContent,
                   bool scalesFrameText);
    UndoData TakeRecord(ArtboardInterface const& artboard) const;

    // Bits of what was set; their values are part of the stored form.
    std::uint64_t m_changes = 0;
    InterfaceMap<ArtboardInterface, UndoData> m_undoData;
    Kernel::Counted<ArtboardProperties> m_newProperties;
    Kernel::SizeT<double> m_newSize;
    SpatialAnchor m_anchorType = SpatialAnchor::TopLeft;
};

} // namespace Commands
