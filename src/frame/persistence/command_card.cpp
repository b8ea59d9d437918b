// SPDX-License-Identifier: Apache-2.0
#include "frame/persistence/command_card.h"

namespace {

std::vector<CommandCard>& GetCards() {
    static std::vector<CommandCard> s_cards;
    return s_cards;
}

} // namespace

void CommandCard::Register(CommandCard card) { GetCards().push_back(std::move(card)); }

void CommandCard::Unregister(std::string_view className) {
    std::erase_if(GetCards(), [&](CommandCard const& card) { return card.className == className; });
}

std::vector<CommandCard> const& CommandCard::GetAll() { return GetCards(); }
