// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/affine_transform.h"

#include <string>
#include <string_view>

namespace Formats::Svg {

// Appends XML to a text: tags, attributes and character data, whatever characters names and values hold. Characters
// that XML 1.0 has no form for (most control characters, U+FFFE, U+FFFF) become U+FFFD.
class XmlWriter {
public:
    // Opens a start tag; attributes may follow.
    void Open(std::string_view name);
    void Attribute(std::string_view name, std::string_view value);
    // Shortest decimal form that reads back as the same number.
    void Attribute(std::string_view name, double value);
    void Attribute(std::string_view name, Raster::AffineTransform::Params const& matrix);
    // Ends the start tag: of an element with content, or of one without.
    void EndStart();
    void EndEmpty();
    void Close(std::string_view name);
    void Text(std::string_view text);
    void Raw(std::string_view xml) { m_out += xml; }

    std::string const& GetText() const { return m_out; }
    std::string Take() { return std::move(m_out); }

private:
    std::string m_out;
};

// The shortest decimal form that reads back as the same number; of a float, as the same float.
std::string FormatNumber(double value);
std::string FormatNumber(float value);
// Appends text with the characters of markup escaped.
void AppendEscaped(std::string& out, std::string_view text);
// Whether a text may be an id: a name without colons (XML Namespaces 1.0, NCName), as CSS and URL fragments take
// it without escapes.
bool IsPlainId(std::string_view text);

} // namespace Formats::Svg
