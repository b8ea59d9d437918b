// SPDX-License-Identifier: Apache-2.0
#include "text/locate_text_resource_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <algorithm>

namespace Commands {

namespace {

// The same objects, and of texts the same spans.
bool NamesTheSame(SelectionItem const& a, SelectionItem const& b) {
    auto const spansOf = [](SelectionItem const& item) {
        auto const* const sub = Kernel::CastPointer<SubSelectionItem const>(&item);
        auto const part = sub == nullptr ? nullptr : Kernel::Cast<TextSelection const>(sub->GetSubSelection());
        return part ? part->GetRanges() : std::vector<Story::SelectionRange>();
    };
    return a.GetSelectable() == b.GetSelectable() && a.IsWholeObject() == b.IsWholeObject() && spansOf(a) == spansOf(b);
}

bool NamesTheSame(Selection const* a, Selection const* b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    return std::equal(a->begin(), a->end(), b->begin(), b->end(),
                      [](auto const& one, auto const& other) { return NamesTheSame(*one, *other); });
}

} // namespace

LocateTextResourceCommand::LocateTextResourceCommand(Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection), false, false, false, CurrentSpreadEnsureVisible::Yes) {}

Kernel::LocalisedString LocateTextResourceCommand::GetDescription() const {
    return Kernel::LocalisedString("Locate resource", "Locate resource command name");
}

void LocateTextResourceCommand::Notify(Kernel::NotificationList& notifications) {
    SetCurrentSelectionCommand::Notify(notifications);
    if (!NamesTheSame(m_oldSelection.get(), m_newSelection.get()))
        notifications.push_back(Kernel::MakeCounted<EnsureSelectionVisibleNotification>());
}

} // namespace Commands
