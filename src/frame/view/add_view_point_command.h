// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "platform/document/view_point_data.h"

namespace Commands {

// Adds a stored view to the document. Not part of the history, but of the document.
class REDRAFT_API AddViewPointCommand final : public Persisted<AddViewPointCommand, DocumentCommand> {
public:
    static constexpr std::string_view c_keptByUndo =
        "Of two equal view points the first goes, so that the one that was added stays at the end.";

    explicit AddViewPointCommand(ViewPointData viewPoint) : m_viewPoint(std::move(viewPoint)) {}

    static constexpr auto c_description = Kernel::Localisable("Add View Point", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    // Swaps the view point of a preview; outside a preview both stay.
    bool Merge(Kernel::Counted<Command const> newer) override;
    bool ShouldStackForUndo() const override { return false; }
    bool ClearsPreviewCommands() const override { return false; }
    bool MakesDOMDirty() const override { return true; }

private:
    friend struct Kernel::FieldAccess;
    AddViewPointCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"data", &AddViewPointCommand::m_viewPoint}.As(
            "viewPoint", "{\"name\":TEXT,\"spreadIndex\":N,\"viewBox\":[l,t,r,b]}")};
    }
    void Append();

    ViewPointData m_viewPoint;
};

} // namespace Commands
