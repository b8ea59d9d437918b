// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/epub/css_file.h"

namespace Commands {

// A style sheet as programs outside the library give it.
struct CssFileArgument {
    Kernel::String name;
    Kernel::String text;

    static constexpr auto Fields() {
        using This = CssFileArgument;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::name}.As("name", "the name of the file in the book", std::string_view("book.css")),
            Unstored{&This::text}.As("text", "the style sheet")};
    }
    operator Kernel::Counted<EPub::CSSFile const>() const { return Kernel::MakeCounted<EPub::CSSFile>(name, text); }
};

} // namespace Commands
