// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/make_card.h"
#include "shell/command_form.h"

#include <concepts>

// Roads to commands that the engine has for others. Each is a struct of its own: its fields are the arguments, named as
// those of a command are, and Make builds the command from them. Help, listings, completion and scripts follow.
//
//   struct InsertText {
//       static constexpr char c_name[] = "insert-text", c_class[] = "InsertTextCommand";
//       static constexpr bool c_takesSelection = true;
//       Kernel::String text;
//       static constexpr auto Fields() { ... Unstored{&This::text}.As("text", "the words") ... }
//       Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const;
//   };
namespace Shell {

// A command that takes a selection leaves the document's own alone. Make throws ValueError or Failure.
template <class Arguments>
CommandEntry MakeInnerEntry() {
    CommandEntry entry;
    entry.className = Arguments::c_class;
    entry.shortName = Arguments::c_name;
    entry.isInner = true;
    std::vector<ArgumentCard> cards;
    if constexpr (CardMaking::c_namedCount<Arguments> != 0)
        cards = CardMaking::DescribeAll(Kernel::GetNamedFields<Arguments>());
    entry.forms.push_back(MakeForm(std::move(cards), Arguments::c_takesSelection,
                                   [](std::vector<std::any> const& values, ValueContext const& context) {
                                       Arguments arguments;
                                       if constexpr (CardMaking::c_namedCount<Arguments> != 0)
                                           arguments = std::any_cast<Arguments>(CardMaking::MakeRecord<Arguments>(
                                               values, Kernel::GetNamedFields<Arguments>()));
                                       else
                                           static_cast<void>(values);
                                       return arguments.Make(context);
                                   }));
    return entry;
}

std::vector<CommandEntry> MakeInnerEntries();
// The selection with a caret in front of the one text that it names, or behind it: a mark takes no text away. Throws
// ValueError where it names none.
Kernel::Counted<Selection const> MakeCaret(Selection const& selection, bool isBehind = false);
// Those on texts.
std::vector<CommandEntry> MakeInnerTextEntries();
// Those on notes, links and numbers of paragraphs.
std::vector<CommandEntry> MakeInnerNoteEntries();
// Those that make the text of indices.
std::vector<CommandEntry> MakeIndexTextEntries();
// Those on the export of spreads.
std::vector<CommandEntry> MakeExportSettingEntries();
// Those of data merges.
std::vector<CommandEntry> MakeInnerMergeEntries();
// Those on pictures.
std::vector<CommandEntry> MakeInnerPictureEntries();
// Those on tables of contents.
std::vector<CommandEntry> MakeInnerContentsEntries();

} // namespace Shell
