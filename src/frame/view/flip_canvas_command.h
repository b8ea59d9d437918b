// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

#include <deque>

namespace Commands {

// Mirrors everything on the current spread about the spread's centre.
class REDRAFT_API FlipCanvasCommand final : public Persisted<FlipCanvasCommand, DocumentCommand> {
public:
    // True mirrors left to right, false top to bottom.
    explicit FlipCanvasCommand(bool horizontal) : m_horizontal(horizontal) {}

    static constexpr auto c_description = Kernel::Localisable("Flip canvas", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;

private:
    friend struct Kernel::FieldAccess;
    using Transforms = std::deque<Raster::AffineTransform::Params>;
    FlipCanvasCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Horz", &FlipCanvasCommand::m_horizontal}.As(
                                     "horizontal", "true mirrors left to right, false top to bottom"),
                                 Kernel::Field{"OldT", &FlipCanvasCommand::m_oldTransforms},
                                 Kernel::Field{"NewT", &FlipCanvasCommand::m_newTransforms}};
    }
    void Exchange(Transforms& put, Transforms& keep);

    bool m_horizontal = false;
    // One for each child of the spread, in child order: what Undo puts back, and what Redo does.
    Transforms m_oldTransforms, m_newTransforms;
};

} // namespace Commands
