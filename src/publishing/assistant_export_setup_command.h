// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/assistant_command.h"
#include "platform/document/compound_command.h"
#include "platform/document/nodes.h"

namespace Commands {

// Sets up the export of every spread that has not been set up before: a file name for its slice and, where the
// document has no artboards, a place among the slices that are exported.
class REDRAFT_API AssistantExportSetupCommand final : public Persisted<AssistantExportSetupCommand, AssistantCommand> {
public:
    AssistantExportSetupCommand() = default;

    static constexpr auto c_description =
        Kernel::Localisable("Export setup (assistant)", "Export setup (assistant) command name");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return m_changed; }
    bool MakesDOMDirty() const override { return m_changed; }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = AssistantExportSetupCommand;
        return Kernel::FieldList{Kernel::Field{"Innr", &This::m_innerCommand}, Kernel::Field{"Spds", &This::m_spreads}};
    }
    void SetUp(Kernel::Counted<DocumentController> const& controller);
    void MarkSpreads(bool setUp);

    // Null until something was found to do.
    Kernel::Counted<CompoundCommand> m_innerCommand;
    std::vector<Kernel::Counted<SpreadNode>> m_spreads;
    // Of a step that names no spreads: Undo and Redo go by the current one.
    bool m_legacyLoaded = false;
    // Whether Do found something. A loaded command did, or it would not have been kept.
    bool m_changed = true;
};

} // namespace Commands
