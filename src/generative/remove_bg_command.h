// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/ostra_ai_command.h"
#include "platform/document/raster_command.h"

namespace Commands {

// Has the ground of each selected layer removed: the layer's pixels become the answer of a model or of the engine's own
// remover. A command that was loaded puts the pixels back, and never asks again.
class REDRAFT_API RemoveBGCommand final : public Persisted<RemoveBGCommand, RasterCommand>, public OstraAICommand {
public:
    // On the document's selection, when it runs.
    explicit RemoveBGCommand(OstraAICommandSource source);
    // For programs outside.
    explicit RemoveBGCommand(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Remove background", "Command description");
    bool ShouldStackForUndo() const override { return m_shouldStack; }
    ProgressType GetProgressType() const override { return ProgressType::LargeBar; }
    int GetProgressInterval() const override { return 0; }
    Kernel::Counted<DocumentCommand> Clone() const override;

    // Required: past the base's own form, which has more. The history keeps the rest.
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override;

private:
    friend struct Kernel::FieldAccess;
    RemoveBGCommand();

    // Nothing writes or reads it.
    Kernel::String m_reserved;
};

} // namespace Commands
