// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// The texts between the parts of a generated index. Values are part of the stored form.
enum class IndexFragmentSeparator : std::int32_t {
    AfterTopic = 0,
    BetweenListItems = 1,
    BetweenRanges = 2,
    BeforeCrossReferences = 3,
    See = 4,
    SeeAlso = 5,
    AfterCrossReferences = 6,
    None = 7
};

// Does nothing. Histories of old documents hold it, and SetLocalisableStringCommand takes its place when they load.
class REDRAFT_API SetIndexFragmentCommand final : public Persisted<SetIndexFragmentCommand, DocumentCommand> {
public:
    SetIndexFragmentCommand(IndexFragmentSeparator separator, Kernel::String text)
        : m_separator(separator), m_text(std::move(text)) {}

    static constexpr auto c_description = Kernel::Localisable("Set Index Option", "Command description");
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    // Null for None.
    Kernel::Counted<DocumentCommand> GetReplacementCommand() override;
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

private:
    friend struct Kernel::FieldAccess;
    SetIndexFragmentCommand() = default;
    IndexFragmentSeparator m_separator = IndexFragmentSeparator::None;
    Kernel::String m_text, m_oldText;
};

} // namespace Commands
