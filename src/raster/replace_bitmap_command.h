// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/spread_rects.h"

namespace Commands {

// Puts one bitmap in place of the bitmap of each selected layer.
class REDRAFT_API ReplaceBitmapCommand final
    : public Persisted<ReplaceBitmapCommand, SelectionCommand<ReplaceBitmapCommand>> {
public:
    ReplaceBitmapCommand(Kernel::Counted<Raster::DynamicBitmap> bitmap, Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Replace bitmap", "Command description");
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    // The bitmap must have the size of each selected layer's.
    bool ValidateUntrusted() override;
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    bool ShouldStackForMacro() const override { return false; }
    void Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) override;
    bool VisitInReverse() const override { return false; }

    void Receive(Kernel::NonCounted<RasterNode> layer);

private:
    friend struct Kernel::FieldAccess;
    ReplaceBitmapCommand();
    static constexpr auto Fields() {
        using This = ReplaceBitmapCommand;
        return Kernel::FieldList{Kernel::Field{"InvA", &This::m_invalidationArea},
                                 Kernel::Field{"Bitm", &This::m_bitmap}.As("bitmap", "the new pixels: a picture file"),
                                 Kernel::Field{"OldB", &This::m_oldBitmaps}};
    }

    // Filled by Do and kept for Undo and Redo.
    SpreadRects m_invalidationArea;
    // One for each layer whose bitmap is replaced at present, in the order of the visit.
    std::vector<Kernel::Counted<Raster::DynamicBitmap>> m_oldBitmaps;
    Kernel::Counted<Raster::DynamicBitmap> m_bitmap;
};

} // namespace Commands
