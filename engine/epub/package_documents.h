// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/epub/exporter_state.h"

#include <string>

// The documents of an EPUB 3.2 package around its texts (EPUB Packages 3.2). Paths count from the package document.
namespace EPub {

inline constexpr char c_styleSheetPath[] = "Styles.css", c_coverPath[] = "Cover.xhtml",
                      c_coverPicturePath[] = "Images/cover.png", c_navigationPath[] = "Navigation.xhtml";

// The place in the archive of a style sheet of the document, by its number among all; unlike any other's.
std::string GetCssPath(ExportSettings const& settings, std::size_t index);

std::string MakePackageDocument(HtmlExporter::State const& state);
std::string MakeNavigationDocument(HtmlExporter::State const& state, HtmlExporter::Callbacks const& callbacks);
std::string MakeCoverDocument(HtmlExporter::State const& state, HtmlExporter::Callbacks const& callbacks);
// A part's document is its begin, its body and this end.
std::string MakePartBegin(HtmlExporter::State const& state, HtmlExporter::State::Part const& part);
inline constexpr std::string_view c_partEnd = "\n</body>\n</html>\n";

} // namespace EPub
