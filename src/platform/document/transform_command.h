// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_command.h"
#include "platform/document/artboard.h"
#include "platform/document/changed_areas.h"
#include "platform/document/interface_map.h"
#include "platform/kernel/stored_class.h"

// Transforms the selected objects. Frames of text and artboards take a scale along their own axes into their box, and
// keep their matrix; of other objects the matrix takes everything. Undo and Redo put back what was there, bit for bit,
// also where the transform has no inverse.
class REDRAFT_ENGINE TransformCommand final
    : public Kernel::StoredClass<TransformCommand,
                                 SelectionCommandWithSingleInterface<TransformCommand, TransformInterface>> {
public:
    // The transform is one of each object's own space, before its matrix, with `inOwnSpace`, and otherwise one of the
    // spread's. `canMerge`: a newer command of this kind on the same selection merges, as those of a drag do.
    // `withoutContent`: what stands on an artboard, or in a group, stays where it is; where the transform has no
    // inverse, it is left alone in the object's space.
    TransformCommand(Raster::AffineTransform::Params transform, bool inOwnSpace, bool canMerge, bool withoutContent,
                     Kernel::Counted<Selection const> selection);
    ~TransformCommand() override;
    // The sizes of text scale together with its frame. Otherwise a frame that is scaled shows text of the size that it
    // had.
    void SetIsFrameTextScale(bool scale) { m_isFrameTextScale = scale; }
    Raster::AffineTransform::Params const& GetTransform() const { return m_transform; }

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void ReceiveInterface(Kernel::NonCounted<TransformInterface> object) override;

private:
    using Params = Raster::AffineTransform::Params;
    friend struct Kernel::FieldAccess;
    TransformCommand();
    // The boxes of an artboard that took a scale.
    struct Boxes {
        Kernel::RectT<double> before, after;
        static constexpr Kernel::ClassUID GetClassUID() { return {"TrBx"}; }
        static constexpr auto Fields() {
            return Kernel::FieldList{Kernel::Field{"Befo", &Boxes::before}, Kernel::Field{"Aftr", &Boxes::after}};
        }
    };
    static constexpr auto Fields() {
        using This = TransformCommand;
        return Kernel::FieldList{
            Kernel::Field{"Tran", &This::m_transform},        Kernel::Field{"OwnS", &This::m_inOwnSpace},
            Kernel::Field{"CanM", &This::m_canMerge},         Kernel::Field{"WoCo", &This::m_withoutContent},
            Kernel::Field{"FTxS", &This::m_isFrameTextScale}, Kernel::Field{"Boxs", &This::m_boxes}};
    }

    void TransformArtboard(ArtboardNode& artboard, Params const& own);
    void TransformFrame(Node& frame, Params const& own);
    // Puts a transform of the parent's space after each content's own, and keeps what each was.
    void TransformContent(Node& parent, Params const& transform);
    void PutBoxesBack(bool before);

    Params m_transform;
    bool m_inOwnSpace = false;
    bool m_canMerge = false;
    bool m_withoutContent = false;
    bool m_isFrameTextScale = false;
    InterfaceMap<ArtboardInterface, Boxes> m_boxes;
    ChangedAreas m_areas;
};
