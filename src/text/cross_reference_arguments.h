// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "text/anchor_reference.h"

// How programs outside the library give references.

namespace Commands {

// A style of references as a record of values.
struct CrossReferenceStyleArgument {
    Kernel::String name;
    Kernel::String pattern{"{}"};

    static constexpr auto Fields() {
        using This = CrossReferenceStyleArgument;
        using Kernel::Unstored;
        return Kernel::FieldList{Unstored{&This::name}.As("name", "the name of the style", std::string_view()),
                                 Unstored{&This::pattern}.As(
                                     "pattern",
                                     "how references read: {text}, {page}, {name} and {number} stand for those of the "
                                     "target, {} for the part that is asked for",
                                     std::string_view("{}"))};
    }
    operator Kernel::Counted<Story::CrossReferenceAtt const>() const {
        return Kernel::MakeCounted<Story::CrossReferenceAtt>(name, pattern);
    }
};

inline constexpr std::string_view c_crossReferenceTargetNames[] = {"none", "page", "text", "name", "number"};

} // namespace Commands

template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Story::CrossReferenceTargetType> =
    Commands::c_crossReferenceTargetNames;
