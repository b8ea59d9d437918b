// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_change.h"
#include "platform/document/structure_command_helper.h"

namespace Commands {

// Turns the whole current spread into one picture, in the document's pixel format and profiles: everything that the
// spread shows is drawn, its content is taken off, and a layer with the picture takes its place.
//
// One unit of the document is one pixel, and parts of pixels at the right and the lower edge are left out. Throws
// before anything has changed when the spread has no pixels, or too many to be a picture. Documents whose format has no
// colours get an empty picture.
class REDRAFT_API FlattenCommand final : public Persisted<FlattenCommand, DocumentCommand>,
                                         public StructureCommandHelper,
                                         public SelectionChange {
public:
    FlattenCommand() = default;

    static constexpr auto c_description = Kernel::Localisable("Flatten document", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    ProgressType GetProgressType() const override { return ProgressType::LargeBar; }

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = FlattenCommand;
        return Kernel::FieldList{
            Kernel::Field{"NewS", &This::m_newSelection}, Kernel::Field{"OldS", &This::m_oldSelection},
            Kernel::Field{"NewN", &This::m_rasterNode}, Kernel::Field{"OldN", &This::m_oldChildren}};
    }
    Kernel::JailCounted<Node> GetFlatteningRoot() const;
    Kernel::Counted<Raster::DynamicBitmap> MakePicture();
    static void Progress(float value, void* context);

    Kernel::Counted<RasterNode> m_rasterNode;
    // Of the spread, in their order.
    std::vector<Kernel::Counted<Node>> m_oldChildren;
};

} // namespace Commands
