// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/caption_info.h"
#include "platform/story/field_glyphs.h"

// How programs outside the library give captions.

namespace Commands {

// A caption as a record of values. Lengths are in document units (1/96 inch).
struct CaptionArgument {
    Kernel::String text;
    Kernel::String style;
    Kernel::String counter;
    CaptionPosition position = CaptionPosition::Below;
    double gap = CaptionInfo::Placing().gap;
    double width = 0;
    double height = 0;

    static constexpr auto Fields() {
        using This = CaptionArgument;
        using Kernel::Unstored;
        constexpr std::string_view c_unit = "px (1/96 inch)";
        return Kernel::FieldList{
            Unstored{&This::text}.As("text", "the words of the caption, in which {number} is its number"),
            Unstored{&This::style}.As("style", "the name of a paragraph style", std::string_view()),
            Unstored{&This::counter}.As("counter", "the name that it counts by, as Figure", std::string_view()),
            Unstored{&This::position}.As("position", "the side of the object", CaptionPosition::Below),
            Unstored{&This::gap}.As("gap", "between object and caption", 8.0).In(c_unit).AtLeast(0),
            Unstored{&This::width}.As("width", "of the frame; 0: as wide as the object", 0.0).In(c_unit).AtLeast(0),
            Unstored{&This::height}
                .As("height", "of the frame, which grows with its text; 0: one line", 0.0)
                .In(c_unit)
                .AtLeast(0)};
    }
    operator Kernel::Counted<CaptionInfo const>() const {
        return Kernel::MakeCounted<CaptionInfo>(MakeText(), style, CaptionInfo::Placing{position, gap, width, height},
                                                counter);
    }
    // A caption that does not count has no number to show.
    Story::GlyphString MakeText() const {
        constexpr std::string_view c_place = "{number}";
        Story::GlyphString glyphs;
        std::string_view rest = text.view();
        for (auto at = rest.find(c_place); at != rest.npos && !counter.empty(); at = rest.find(c_place)) {
            glyphs.Add(Story::GlyphString(Kernel::String(rest.substr(0, at))).GetText());
            glyphs.Add(Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::CaptionNumberGlyph>()));
            rest.remove_prefix(at + c_place.size());
        }
        glyphs.Add(Story::GlyphString(Kernel::String(rest)).GetText());
        return glyphs;
    }
};

inline constexpr std::string_view c_captionPositionNames[] = {"below", "above", "left", "right"};

} // namespace Commands

template <>
inline constexpr std::span<std::string_view const> c_outsideNames<CaptionPosition> = Commands::c_captionPositionNames;
