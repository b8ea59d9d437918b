// SPDX-License-Identifier: Apache-2.0
#include "platform/document/history.h"

#include "platform/document/ostra_ai_command.h"
#include "platform/document/raster_command.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_value.h"

namespace {

// The stored form of a command that asks a model about pixels has neither its selection nor what it keeps for undo: the
// entry has them in its place. Null for every other command.
RasterCommand* FindUnstored(Kernel::Serialisable* command) {
    return dynamic_cast<OstraAICommand*>(command) == nullptr ? nullptr : Kernel::CastPointer<RasterCommand>(command);
}

} // namespace

HistoryEntry::HistoryEntry(Kernel::Counted<DocumentCommand> const& command, Kernel::JailCounted<SpreadNode> spread)
    : m_spread(std::move(spread)) {
    SetCommand(command);
}

Kernel::Counted<DocumentCommand> HistoryEntry::GetCommand() const { return Kernel::Cast<DocumentCommand>(m_command); }

void HistoryEntry::SetCommand(Kernel::Counted<DocumentCommand> const& command) {
    m_command = command;
    m_description = command->GetDescription();
    MarkChanged();
}

Kernel::Counted<Kernel::Serialisable> HistoryEntry::CreateObject() { return Kernel::MakeCounted<HistoryEntry>(); }

void HistoryEntry::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Comm", m_command);
    Kernel::SaveValue(out, "Text", m_description.GetText());
    Kernel::SaveValue(out, "Ctxt", m_description.GetContext());
    if (m_spread)
        Kernel::SaveValue(out, "Sprd", m_spread);
    if (auto const* const unstored = FindUnstored(m_command.get()))
        unstored->RasterCommand::Save(out);
}

bool HistoryEntry::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::String text, context;
    Kernel::LoadValue(in, "Comm", m_command);
    Kernel::LoadValue(in, "Text", text);
    Kernel::LoadValue(in, "Ctxt", context);
    Kernel::LoadValue(in, "Sprd", m_spread);
    m_description = Kernel::LocalisedString(std::move(text), std::move(context));
    // Whether the command itself has been read yet makes no difference: it reads none of this.
    auto* const unstored = FindUnstored(m_command.get());
    return unstored == nullptr || unstored->RasterCommand::Load(in, files, version);
}

History::~History() = default;

Kernel::Counted<DocumentCommand> History::GetCommand(std::size_t index) const {
    return index < m_steps.size() ? m_steps[index].command : nullptr;
}

Kernel::LocalisedString History::GetDescription(std::size_t index) const {
    if (index >= m_steps.size())
        return {};
    HistoryStep const& step = m_steps[index];
    return step.stored ? step.stored->GetDescription() : step.command->GetDescription();
}

HistoryEntry& History::GetStored(HistoryStep const& step) const {
    if (!step.stored)
        step.stored = Kernel::MakeCounted<HistoryEntry>(step.command, step.spread);
    return *step.stored;
}

Kernel::Counted<Kernel::Serialisable> History::CreateObject() { return Kernel::MakeCounted<History>(); }

// Entries are objects of their own, so that a save after one more step writes that step and the list of references.
void History::Save(Kernel::OutSerialiser& out) const {
    std::vector<Kernel::Counted<HistoryEntry>> entries;
    entries.reserve(m_steps.size());
    for (auto const& step : m_steps)
        entries.emplace_back(&GetStored(step));
    Kernel::SaveValue(out, "Entr", entries);
    Kernel::SaveValue(out, "Posi", static_cast<std::uint32_t>(m_position));
}

bool History::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    std::vector<Kernel::Counted<HistoryEntry>> entries;
    std::uint32_t position = 0;
    Kernel::LoadValue(in, "Entr", entries);
    Kernel::LoadValue(in, "Posi", position);
    if (position > entries.size())
        throw Kernel::DamagedDataException("the history is damaged: its position lies behind its end");
    m_position = position;
    m_steps.clear();
    for (auto& entry : entries) {
        if (!entry)
            throw Kernel::DamagedDataException("the history is damaged: a step is missing");
        m_steps.emplace_back().stored = std::move(entry);
    }
    return true;
}

std::uint64_t History::CountUntrusted() const {
    auto const last =
        std::find_if(m_steps.rbegin(), m_steps.rend(), [](HistoryStep const& step) { return step.needsValidation; });
    return static_cast<std::uint64_t>(m_steps.rend() - last);
}

void History::ResolveLoaded(std::uint64_t untrustedSteps) {
    std::uint64_t index = 0;
    for (auto& step : m_steps) {
        step.command = step.stored->GetCommand();
        step.spread = step.stored->GetSpread();
        step.needsValidation = index++ < untrustedSteps;
        if (!step.command)
            continue;
        if (auto replacement = step.command->GetReplacementCommand()) {
            step.command = std::move(replacement);
            step.stored->SetCommand(step.command);
        }
    }
}
