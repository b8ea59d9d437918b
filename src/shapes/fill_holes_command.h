// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_change.h"
#include "platform/document/nodes.h"
#include "platform/document/selection.h"
#include "platform/document/spread_rects.h"
#include "platform/document/structure_command_helper.h"
#include "shapes/fill_holes_record.h"
#include "shapes/outlines/planar_maps.h"

namespace Commands {

// Rebuilds the curves of each selected shape from the outline of its own areas: all that its curves enclose, which
// closes holes; or only those that its winding rule paints, which takes away lines inside.
class REDRAFT_API FillHolesCommand final : public Persisted<FillHolesCommand, DocumentCommand>,
                                           public StructureCommandHelper,
                                           public SelectionChange {
public:
    explicit FillHolesCommand(bool removeInternalLines = false);

    static bool CanApplyTo(Kernel::NonCounted<Selection const> selection, bool removeInternalLines);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Teardown() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    bool ShouldStackForUndo() const override { return m_valid; }
    ProgressType GetProgressType() const override { return ProgressType::Bar; }
    bool* GetProgressAbortPointer() const override { return &m_abort; }

private:
    friend struct Kernel::FieldAccess;
    using Items = std::vector<Kernel::Counted<SelectionItem const>>;
    static constexpr auto Fields() {
        using This = FillHolesCommand;
        return Kernel::FieldList{
            Kernel::Field{"Vali", &This::m_valid},
            Kernel::Field{"ILin", &This::m_removeInternalLines}.As(
                "removeInternalLines", "takes away lines inside the shapes, and closes no holes", false),
            Kernel::Field{"IRec", &This::m_invalidRects},
            Kernel::Field{"OldS", &This::m_oldSelection},
            Kernel::Field{"NewS", &This::m_newSelection}.OnlyWhenSet(),
            Kernel::Field{"Undo", &This::m_undoRecords}};
    }

    // There is no new selection when no selected object was changed or replaced itself.
    bool HasNewSelection() const { return static_cast<bool>(m_newSelection); }
    // Each adds records of what is to be changed and changes nothing yet. True when the object got a record itself;
    // what takes its place in the selection is appended to `items`, where that is not null.
    bool AddSelected(SelectionItem const& item, Items& items);
    bool AddShape(Node& node, ConstCurvesInterface& shape, Items* items);
    void Apply(FillHolesRecord& record);
    void EditInPlace(FillHolesRecord& record);

    bool m_removeInternalLines = false;
    // Whether there is anything to undo.
    bool m_valid = true;
    // Set by whoever shows the progress.
    mutable bool m_abort = false;
    SpreadRects m_invalidRects;
    std::vector<FillHolesRecord> m_undoRecords;
    PlanarMaps m_maps{&m_abort};
};

} // namespace Commands
