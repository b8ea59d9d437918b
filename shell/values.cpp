// SPDX-License-Identifier: Apache-2.0
#include "shell/values.h"

#include "formats/colour.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <vector>

namespace Shell {

namespace {

using Renderer::Colour;
using Renderer::ColourFormat;

template <class T>
std::optional<T> ReadNumber(std::string_view text) {
    if (text.starts_with('+'))
        text.remove_prefix(1);
    T value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        return std::nullopt;
    return value;
}

template <std::size_t Count>
std::array<double, Count> ParseNumbers(std::string_view text, std::string_view form) {
    std::array<double, Count> values{};
    std::string_view rest = text;
    for (std::size_t i = 0; i != Count; ++i) {
        auto const comma = rest.find(',');
        bool const isLast = i + 1 == Count;
        auto const value = ReadNumber<double>(Trim(rest.substr(0, comma)));
        if ((comma == rest.npos) != isLast || !value || !std::isfinite(*value))
            throw ValueError("needs " + std::string(form) + ", not " + Quote(text));
        values[i] = *value;
        rest.remove_prefix(isLast ? rest.size() : comma + 1);
    }
    return values;
}

ValueError NoColour(std::string_view text) {
    return ValueError("needs a colour, as a name of CSS, #rrggbb, #rrggbbaa, rgb(), cmyk(), lab() or grey(), not " +
                      Quote(text));
}

struct ComponentRange {
    double minimum = 0;
    double maximum = 1;
};

struct ColourForm {
    std::string_view name;
    ColourFormat format;
    std::vector<ComponentRange> components;
};

ColourForm const& FindColourForm(std::string_view text) {
    static std::array<ColourForm, 4> const s_forms{{
        {"rgb", ColourFormat::RGB, {{}, {}, {}}},
        {"cmyk", ColourFormat::CMYK, {{}, {}, {}, {}}},
        {"lab", ColourFormat::Lab, {{0, 100}, {-128, 127}, {-128, 127}}},
        {"grey", ColourFormat::Grey, {{}}},
    }};
    for (auto const& form : s_forms) {
        if (text.starts_with(form.name) && text.substr(form.name.size()).starts_with('('))
            return form;
    }
    throw NoColour(text);
}

// A percentage is of the range's upper end.
float ParseComponent(std::string_view text, ComponentRange const& range) {
    bool const isPercentage = text.ends_with('%');
    if (isPercentage)
        text.remove_suffix(1);
    auto value = ReadNumber<double>(Trim(text));
    if (value && isPercentage)
        *value *= range.maximum / 100;
    if (!value || !(*value >= range.minimum && *value <= range.maximum)) {
        throw ValueError("needs colour components from " + FormatNumber(range.minimum) + " to " +
                         FormatNumber(range.maximum) + ", not " + Quote(text));
    }
    return static_cast<float>(*value);
}

Colour ParseComponentColour(std::string_view text) {
    auto const& form = FindColourForm(text);
    if (!text.ends_with(')'))
        throw NoColour(text);
    std::string_view rest = text.substr(form.name.size() + 1);
    rest.remove_suffix(1);
    std::vector<float> values;
    for (bool more = true; more;) {
        auto const comma = rest.find(',');
        more = comma != rest.npos;
        if (values.size() > form.components.size())
            throw NoColour(text);
        auto const range = values.size() == form.components.size() ? ComponentRange{} : form.components[values.size()];
        values.push_back(ParseComponent(Trim(rest.substr(0, comma)), range));
        rest.remove_prefix(more ? comma + 1 : 0);
    }
    if (values.size() < form.components.size())
        throw NoColour(text);
    float const alpha = values.size() > form.components.size() ? values.back() : 1.0F;
    values.resize(4);
    if (form.format == ColourFormat::Lab)
        return Colour::FromLab(values[0], values[1], values[2], alpha);
    return {form.format, {values[0], values[1], values[2], values[3]}, alpha};
}

struct Unit {
    std::string_view name;
    double documentUnits;
};
constexpr std::array<Unit, 6> c_units{
    {{"mm", 96 / 25.4}, {"cm", 96 / 2.54}, {"in", 96}, {"pt", 96.0 / 72}, {"pc", 16}, {"px", 1}}};

Unit const* FindUnit(std::string_view text) {
    for (auto const& unit : c_units) {
        if (text.ends_with(unit.name))
            return &unit;
    }
    return nullptr;
}

std::string FormatFloat(float value) {
    std::array<char, 32> buffer;
    return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr};
}

// The number that (number - offset) / scale, in floats, takes back to the component. Rounding may have moved it by a
// step.
std::string FormatScaled(float component, float scale, float offset) {
    float const value = component * scale + offset;
    constexpr float c_infinity = std::numeric_limits<float>::infinity();
    for (float const candidate : {value, std::nextafter(value, c_infinity), std::nextafter(value, -c_infinity)}) {
        if ((candidate - offset) / scale == component)
            return FormatFloat(candidate);
    }
    return FormatFloat(value);
}

// Empty when a component lies between two of the 255 steps.
std::string FormatHexColour(Colour const& colour) {
    constexpr char c_digits[] = "0123456789abcdef";
    auto components = colour.GetComponents();
    components[3] = colour.GetAlpha();
    std::string text = "#";
    for (float const component : components) {
        auto const step = static_cast<int>(std::lround(component * 255));
        if (static_cast<float>(step) / 255 != component)
            return {};
        text += c_digits[step / 16];
        text += c_digits[step % 16];
    }
    if (text.ends_with("ff"))
        text.resize(7);
    return text;
}

} // namespace

std::string_view Trim(std::string_view text) {
    constexpr std::string_view c_blanks = " \t\r\n";
    auto const first = text.find_first_not_of(c_blanks);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(c_blanks) - first + 1);
}

NoMatch::~NoMatch() = default;

double ParseNumber(std::string_view text, NumberRange const& range) {
    auto const value = ReadNumber<double>(text);
    if (!value || !std::isfinite(*value))
        throw ValueError("needs a number, not " + Quote(text));
    if (*value < range.minimum || *value > range.maximum) {
        throw ValueError("needs a number from " + FormatNumber(range.minimum) + " to " + FormatNumber(range.maximum) +
                         ", not " + Quote(text));
    }
    return *value;
}

std::int64_t ParseInteger(std::string_view text, std::int64_t minimum, std::int64_t maximum) {
    auto const value = ReadNumber<std::int64_t>(text);
    if (!value || *value < minimum || *value > maximum) {
        throw ValueError("needs a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum) +
                         ", not " + Quote(text));
    }
    return *value;
}

bool ParseBool(std::string_view text) {
    if (text != "true" && text != "false")
        throw ValueError("needs true or false, not " + Quote(text));
    return text == "true";
}

double ParseLength(std::string_view text) {
    auto const* const unit = FindUnit(text);
    auto const value = ReadNumber<double>(unit == nullptr ? text : Trim(text.substr(0, text.size() - 2)));
    if (!value || !std::isfinite(*value))
        throw ValueError("needs a length, as 210mm or 793.7, not " + Quote(text));
    return unit == nullptr ? *value : *value * unit->documentUnits;
}

Kernel::SizeT<double> ParseSize(std::string_view text) {
    auto const cross = text.find_first_of("x*", text.starts_with("0x") ? 2 : 0);
    // The x of "px" is none.
    auto const separator =
        cross != text.npos && cross > 0 && text[cross - 1] == 'p' ? text.find('x', cross + 1) : cross;
    if (separator == text.npos)
        throw ValueError("needs a size, as 800x600 or 210x297mm, not " + Quote(text));
    std::string width(text.substr(0, separator));
    auto const height = text.substr(separator + 1);
    if (auto const* const unit = FindUnit(height); unit != nullptr && FindUnit(width) == nullptr)
        width += unit->name;
    Kernel::SizeT<double> const size{ParseLength(width), ParseLength(height)};
    if (!(size.width > 0 && size.height > 0))
        throw ValueError("needs a width and a height above 0, not " + Quote(text));
    return size;
}

Renderer::Colour ParseColour(std::string_view text) {
    // The functions of style sheets count in other units than those of pixel formats that are taken here.
    if (text.find('(') != text.npos)
        return ParseComponentColour(text);
    if (auto const colour = Formats::ParseCssColour(text))
        return *colour;
    throw NoColour(text);
}

Kernel::PointT<double> ParsePoint(std::string_view text) {
    auto const values = ParseNumbers<2>(text, "a point, as x,y");
    return {values[0], values[1]};
}

Kernel::RectT<double> ParseRectangle(std::string_view text) {
    auto const values = ParseNumbers<4>(text, "a rectangle, as left,top,right,bottom");
    if (values[0] > values[2] || values[1] > values[3])
        throw ValueError("needs a rectangle whose left is not right of its right, nor its top below its bottom");
    return {values[0], values[1], values[2], values[3]};
}

Raster::AffineTransform::Params ParseTransform(std::string_view text) {
    auto const values = ParseNumbers<6>(text, "a transform, as a,b,tx,c,d,ty");
    return {values[0], values[1], values[2], values[3], values[4], values[5]};
}

std::string FormatNumber(double value) {
    std::array<char, 32> buffer;
    return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr};
}

std::string FormatRounded(double value) {
    double const rounded = std::round(value * 100) / 100;
    return FormatNumber(std::isfinite(rounded) ? rounded + 0.0 : value);
}

std::string FormatColour(Renderer::Colour const& colour) {
    auto const& components = colour.GetComponents();
    std::string text;
    switch (colour.GetFormat()) {
    case ColourFormat::RGB:
        if (auto const hex = FormatHexColour(colour); !hex.empty())
            return hex;
        text =
            "rgb(" + FormatFloat(components[0]) + "," + FormatFloat(components[1]) + "," + FormatFloat(components[2]);
        break;
    case ColourFormat::Grey:
        text = "grey(" + FormatFloat(components[0]);
        break;
    case ColourFormat::CMYK:
        text = "cmyk(" + FormatFloat(components[0]) + "," + FormatFloat(components[1]) + "," +
               FormatFloat(components[2]) + "," + FormatFloat(components[3]);
        break;
    case ColourFormat::Lab:
        text = "lab(" + FormatScaled(components[0], 100, 0) + "," + FormatScaled(components[1], 255, -128) + "," +
               FormatScaled(components[2], 255, -128);
        break;
    }
    if (colour.GetAlpha() != 1)
        text += "," + FormatFloat(colour.GetAlpha());
    return text + ")";
}

std::string FormatRectangle(Kernel::RectT<double> const& rectangle) {
    return FormatNumber(rectangle.left) + "," + FormatNumber(rectangle.top) + "," + FormatNumber(rectangle.right) +
           "," + FormatNumber(rectangle.bottom);
}

std::string Count(std::uint64_t count, std::string_view singular, std::string_view plural) {
    return std::to_string(count) + " " + std::string(count == 1 ? singular : plural);
}

} // namespace Shell
