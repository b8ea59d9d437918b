// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/story/toc.h"

// How programs outside the library give styles of tables of contents.

namespace Commands {

// A style of the document, by its name.
struct TocStyleReference {
    Kernel::String name;
    operator Kernel::String() const { return name; }
};

// The definition of a style as a record of values.
struct TocStyleArgument {
    Kernel::String title;
    Kernel::String titleStyle{"Contents Title"};

    static constexpr auto Fields() {
        using This = TocStyleArgument;
        using Kernel::Unstored;
        return Kernel::FieldList{Unstored{&This::title}.As("title", "the paragraph above the lines; empty for none"),
                                 Unstored{&This::titleStyle}.As("titleStyle", "the paragraph style of the title",
                                                                std::string_view("Contents Title"))};
    }
    operator Kernel::Counted<Story::TocStyleDelta const>() const {
        auto const toc = Kernel::MakeCounted<Story::TocAtt>();
        toc->SetTitle(title);
        toc->SetTitleStyleName(titleStyle);
        return Kernel::MakeCounted<Story::TocStyleDelta>(toc);
    }
};

} // namespace Commands
