// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/caption_info.h"

// How programs outside the library give captions.

namespace Commands {

// A caption as a record of values. Lengths are in document units (1/96 inch).
struct CaptionArgument {
    Kernel::String text;
    Kernel::String style;
    CaptionPosition position = CaptionPosition::Below;
    double gap = CaptionInfo::Placing().gap;
    double width = 0;
    double height = 0;

    static constexpr auto Fields() {
        using This = CaptionArgument;
        using Kernel::Unstored;
        constexpr std::string_view c_unit = "px (1/96 inch)";
        return Kernel::FieldList{
            Unstored{&This::text}.As("text", "the words of the caption"),
            Unstored{&This::style}.As("style", "the name of a paragraph style", std::string_view()),
            Unstored{&This::position}.As("position", "the side of the object", CaptionPosition::Below),
            Unstored{&This::gap}.As("gap", "between object and caption", 8.0).In(c_unit).AtLeast(0),
            Unstored{&This::width}.As("width", "of the frame; 0: as wide as the object", 0.0).In(c_unit).AtLeast(0),
            Unstored{&This::height}
                .As("height", "of the frame, which grows with its text; 0: one line", 0.0)
                .In(c_unit)
                .AtLeast(0)};
    }
    operator Kernel::Counted<CaptionInfo const>() const {
        return Kernel::MakeCounted<CaptionInfo>(Story::GlyphString(text), style,
                                                CaptionInfo::Placing{position, gap, width, height});
    }
};

inline constexpr std::string_view c_captionPositionNames[] = {"below", "above", "left", "right"};

} // namespace Commands

template <>
inline constexpr std::span<std::string_view const> c_outsideNames<CaptionPosition> = Commands::c_captionPositionNames;
