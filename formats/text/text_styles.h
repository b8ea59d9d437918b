// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/story/style_sheet.h"

namespace Formats {

// Of imported text, in units of 1/96 inch.
inline constexpr double c_textSize = 14;
inline constexpr double c_firstIndent = 16;
inline constexpr int c_headingLevels = 6;

// Names of styles that imported text uses.
namespace TextStyle {
inline constexpr char c_body[] = "Body Text", c_first[] = "First Paragraph", c_quote[] = "Block Quote",
                      c_list[] = "List Item", c_code[] = "Code Block", c_figure[] = "Figure", c_rule[] = "Rule";
inline constexpr char c_emphasis[] = "Emphasis", c_strong[] = "Strong", c_codeWords[] = "Code", c_link[] = "Link";
} // namespace TextStyle

// "Heading 1" to "Heading 6".
Kernel::String GetHeadingStyleName(int level);
// Styles of the headings alone, and these with those of marked-up text.
Kernel::Counted<Story::StyleSheet const> const& GetHeadingStyles();
Kernel::Counted<Story::StyleSheet const> const& GetMarkupStyles();
// Adds the styles whose names the document has not.
void AddMissingStyles(DocumentNode& document, Story::StyleSheet const& styles);

} // namespace Formats
