// SPDX-License-Identifier: Apache-2.0
#include "publishing/assistant_export_setup_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/exportable_commands.h"
#include "platform/document/selection_commands.h"

namespace Commands {

void AssistantExportSetupCommand::Do() {
    SetDirection(Direction::Do);
    m_changed = false;
    m_innerCommand.reset();
    m_spreads.clear();
    Kernel::Counted<DocumentController> const controller = m_documentController;
    if (!controller || !controller->GetDocument())
        return;
    SetUp(controller);
    if (m_spreads.empty())
        return;
    auto const spread = controller->GetCurrentSpread();
    if (spread && spread->GetSlicePage())
        m_innerCommand->AppendCommand(
            Kernel::MakeCounted<SetCurrentSelectionCommand>(Selection::CreateWithSingleObject(spread->GetSlicePage()),
                                                            false, false, false, CurrentSpreadEnsureVisible::Yes));
    InnerCommands::DoOne(*this, *m_innerCommand);
    m_changed = true;
}

// Collects the commands for each spread that was not set up, and marks it.
void AssistantExportSetupCommand::SetUp(Kernel::Counted<DocumentController> const& controller) {
    bool const hasArtboards = controller->HasArtboards();
    for (auto const& spread : controller->GetDocument()->GetSpreads()) {
        auto const& slice = spread->GetSlicePage();
        if (!slice || slice->IsAssistantSetUp())
            continue;
        if (!m_innerCommand)
            m_innerCommand = Kernel::MakeCounted<CompoundCommand>(true, false, true);
        if (auto const name = slice->GenerateDefaultFilename(*controller); !name.empty())
            m_innerCommand->AppendCommand(SetExportableFilenameCommand::Create(name, slice));
        if (!hasArtboards)
            m_innerCommand->AppendCommand(SetExportableIncludeCommand::Create(true, slice));
        slice->SetAssistantSetUp(true);
        m_spreads.push_back(spread);
    }
}

void AssistantExportSetupCommand::Undo() {
    SetDirection(Direction::Undo);
    if (!m_changed)
        return;
    if (m_innerCommand)
        InnerCommands::UndoOne(*m_innerCommand);
    MarkSpreads(false);
}

void AssistantExportSetupCommand::Redo() {
    SetDirection(Direction::Redo);
    if (!m_changed)
        return;
    if (m_innerCommand)
        InnerCommands::RedoOne(*m_innerCommand);
    MarkSpreads(true);
}

void AssistantExportSetupCommand::MarkSpreads(bool setUp) {
    auto const mark = [setUp](Kernel::Counted<SpreadNode> const& spread) {
        if (spread && spread->GetSlicePage())
            spread->GetSlicePage()->SetAssistantSetUp(setUp);
    };
    if (m_legacyLoaded)
        return mark(m_documentController->GetCurrentSpread());
    for (auto const& spread : m_spreads)
        mark(spread);
}

void AssistantExportSetupCommand::Notify(Kernel::NotificationList& notifications) {
    if (!m_changed || !m_innerCommand)
        return;
    m_innerCommand->SetPreview(IsPreview());
    m_innerCommand->Notify(notifications);
}

// Steps of the first form name no spreads.
bool AssistantExportSetupCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                       unsigned short version) {
    m_legacyLoaded = !Kernel::LoadValue(in, "Spds", m_spreads);
    return Persisted::Load(in, files, version);
}

void AssistantExportSetupCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    if (m_innerCommand)
        m_innerCommand->PostLoad(controller);
    DocumentCommand::PostLoad(controller);
}

} // namespace Commands
