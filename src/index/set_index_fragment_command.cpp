// SPDX-License-Identifier: Apache-2.0
#include "index/set_index_fragment_command.h"

#include "frame/settings/index_fragment_separator_enum_serialiser.h"
#include "platform/document/index_commands.h"
#include "platform/document/update_index_command.h"

#include <iterator>

namespace Commands {

namespace {

constexpr std::string_view c_keysOfFragments[] = {
    UpdateIndexCommand::AfterTopicTag,
    UpdateIndexCommand::BetweenListItemsTag,
    UpdateIndexCommand::BetweenRangesTag,
    UpdateIndexCommand::BeforeCrossReferencesTag,
    UpdateIndexCommand::SeeTag,
    UpdateIndexCommand::SeeAlsoTag,
    UpdateIndexCommand::AfterCrossReferencesTag,
};

} // namespace

Kernel::Counted<DocumentCommand> SetIndexFragmentCommand::GetReplacementCommand() {
    auto const number = static_cast<std::size_t>(m_separator);
    if (number >= std::size(c_keysOfFragments))
        return {};
    return Kernel::MakeCounted<SetLocalisableStringCommand>(Kernel::Counted<Story::Language const>(),
                                                            Kernel::String(c_keysOfFragments[number]),
                                                            Story::GlyphString(m_text), Story::GlyphString(m_oldText));
}

void SetIndexFragmentCommand::Save(Kernel::OutSerialiser& out) const {
    DocumentCommand::Save(out);
    Kernel::SaveValue(out, "nwNm", m_text);
    Kernel::SaveValue(out, "olNm", m_oldText);
    auto const& names = IndexFragmentSeparatorEnumSerialiser::GetInstance();
    if (names.IsRegistered(static_cast<int>(m_separator)))
        Kernel::Detail::SaveEnumMember(out, "Frgm", names, m_separator);
}

bool SetIndexFragmentCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    if (!DocumentCommand::Load(in, files, version))
        return false;
    Kernel::LoadValue(in, "nwNm", m_text);
    Kernel::LoadValue(in, "olNm", m_oldText);
    Kernel::Detail::LoadEnumMember(in, "Frgm", IndexFragmentSeparatorEnumSerialiser::GetInstance(), m_separator);
    return true;
}

Kernel::Counted<DocumentCommand> SetIndexFragmentCommand::Clone() const {
    return Kernel::MakeCounted<SetIndexFragmentCommand>(m_separator, m_text);
}

} // namespace Commands
