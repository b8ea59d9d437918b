// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/field_data_source.h"
#include "platform/story/numberer.h"
#include "platform/story/style_sheet.h"
#include "platform/story/table.h"

#include <cstddef>
#include <span>
#include <vector>

namespace Story {

class Story;

// A story as RTF (Rich Text Format Specification 1.9.1), in ASCII: fonts, colours, styles by name, attributes of
// letters and paragraphs, fields as the text that they show, links and references as HYPERLINK fields with bookmarks at
// their anchors, notes as footnotes. The same story gives the same bytes.
//
// `table`: not written. Null `styles`, `numberer` (numbers begin with the story) and `fields` are allowed. A length of
// the text divided by `scaleX` across lines, by `scaleY` along them, is in points; `resolutionScale`, units of the
// document to a point, stands in for a scale that is not a positive number. `withNumbers`: the numbers of paragraphs
// are written before their texts.
REDRAFT_ENGINE std::vector<char>
StoryToRtf(Kernel::Counted<Story const> const& story, Kernel::Counted<Table const> const& table,
           Kernel::Counted<StyleSheet const> const& styles, Kernel::Counted<Numberer const> const& numberer,
           FieldDataSourceRef const& fields, double scaleX, double scaleY, double resolutionScale, bool withNumbers);

// A text or a picture among others of one file.
struct RtfPart {
    // Null for a picture. The rest as StoryToRtf takes it.
    Kernel::Counted<Story const> story = {};
    FieldDataSourceRef fields = {};
    double scaleX = 0, scaleY = 0;
    // A whole PNG file, which the caller keeps; its size in points, and the words for those who do not see it. Pictures
    // that are larger than a page of six by nine inches are made as large as that.
    std::span<std::byte const> png = {};
    double width = 0, height = 0;
    Kernel::String description = {};
};

// The same for texts and pictures one after another, each beginning a paragraph. Links lead from one text to another.
REDRAFT_ENGINE std::vector<char> StoriesToRtf(std::span<RtfPart const> parts,
                                              Kernel::Counted<StyleSheet const> const& styles, double resolutionScale,
                                              bool withNumbers);

} // namespace Story
