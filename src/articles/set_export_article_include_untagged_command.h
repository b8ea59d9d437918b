// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/export_tagging.h"

namespace Commands {

// Takes the selected objects that have no number into the reading order, or out of it.
class REDRAFT_API SetExportArticleIncludeUntaggedCommand final
    : public Persisted<
          SetExportArticleIncludeUntaggedCommand,
          SelectionCommandWithSingleInterface<SetExportArticleIncludeUntaggedCommand, ExportTaggingInterface>> {
public:
    SetExportArticleIncludeUntaggedCommand(bool include, Kernel::Counted<Selection const> selection)
        : Persisted(std::move(selection)), m_include(include) {}

    // False where no object of the document is selected.
    static bool CanApplyTo(Kernel::Counted<Selection const> selection) {
        return selection && !selection->GetNodesInDocument().empty();
    }

    Kernel::LocalisedString GetDescription() const override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }

    static constexpr bool c_storesBaseFirst = true;
    static constexpr std::string_view c_keptByUndo =
        "Where the objects were not all alike, taking this back gives all of them what the last one had.";

protected:
    void ReceiveInterface(Kernel::NonCounted<ExportTaggingInterface> object) override;

private:
    friend struct Kernel::FieldAccess;
    SetExportArticleIncludeUntaggedCommand() = default;
    static constexpr auto Fields() {
        using This = SetExportArticleIncludeUntaggedCommand;
        return Kernel::FieldList{
            Kernel::Field{"incl", &This::m_include}.As("include", "true: they are in the reading order"),
            Kernel::Field{"oinc", &This::m_oldInclude}};
    }

    bool m_include = false;
    // Required: one for all objects, that of the last one visited.
    bool m_oldInclude = false;
};

} // namespace Commands
