// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_controller.h"
#include "platform/document/ostra_ai_command.h"
#include "platform/kernel/field_value.h"

#include <algorithm>

void Macro::Record(Kernel::NonCounted<DocumentCommand const> command) {
    // Commands that ask a model cannot be parts of another command: whether they are steps shows when they have run.
    if (!command->ShouldStackForMacro() || dynamic_cast<OstraAICommand const*>(command.get()) != nullptr)
        return;
    auto clone = command->Clone();
    if (!clone || (!m_commands.empty() && m_commands.back()->MacroMerge(clone)))
        return;
    m_commands.push_back(std::move(clone));
    MarkChanged();
}

Kernel::Counted<Kernel::Serialisable> Macro::CreateObject() { return Kernel::MakeCounted<Macro>(); }

void Macro::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Name", m_name);
    Kernel::SaveValue(out, "Cmds", m_commands);
}

bool Macro::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Name", m_name);
    Kernel::LoadValue(in, "Cmds", m_commands);
    return std::all_of(m_commands.begin(), m_commands.end(), [](auto const& step) { return static_cast<bool>(step); });
}
