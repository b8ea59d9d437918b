// SPDX-License-Identifier: Apache-2.0
#include "engine/document/history/run_do.h"

#include "platform/document/command.h"
#include "platform/document/edit_journal.h"
#include "platform/document/ostra_ai_command.h"

void RunDo(DocumentCommand& command) {
    EditJournal journal;
    EditJournal::RunOrRollBack([&] { command.DoAndUpdateCaches(); });
    if (!command.ShouldStackForUndo() && dynamic_cast<OstraAICommand const*>(&command) != nullptr) [[unlikely]]
        journal.RollBack();
}
