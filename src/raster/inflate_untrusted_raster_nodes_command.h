// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/update_transformed_raster_nodes_visitor.h"

namespace Commands {

// Brings the selected layers of a document from elsewhere up to date: see UpdateTransformedRasterNodesVisitor. It is
// no step of the history.
class REDRAFT_API InflateUntrustedRasterNodesCommand final
    : public Persisted<
          InflateUntrustedRasterNodesCommand,
          SelectionCommandWithSingleInterface<InflateUntrustedRasterNodesCommand, MutableRasterInterface>> {
public:
    explicit InflateUntrustedRasterNodesCommand(Kernel::Counted<Selection const> selection)
        : Persisted(std::move(selection)) {}

    static constexpr auto c_description = Kernel::Localisable("Inflate untrusted raster nodes", "Command description");
    void Do() override;
    void Undo() override {}
    void Redo() override {}
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>&) override {}
    bool ShouldStackForUndo() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    // Nothing of it is kept.
    void Save(Kernel::OutSerialiser&) const override {}
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return true; }

protected:
    void ReceiveInterface(Kernel::NonCounted<MutableRasterInterface> layer) override;

private:
    friend struct Kernel::FieldAccess;
    InflateUntrustedRasterNodesCommand() = default;

    // Empty until Do.
    Kernel::Counted<UpdateTransformedRasterNodesVisitor> m_visitor;
};

} // namespace Commands
