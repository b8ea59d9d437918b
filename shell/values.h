// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"
#include "platform/renderer/colour.h"
#include "shell/failure.h"

#include <cstdint>
#include <exception>
#include <limits>
#include <string>
#include <string_view>

// Values as users write them and as the program prints them. Printed values can be given back.
namespace Shell {

// A text is no value of its type, or the value is out of range. The message goes on from the value's name, as in "needs
// a number, not 'x'".
class ValueError final : public std::exception {
public:
    explicit ValueError(std::string message) : m_message(std::move(message)) {}
    char const* what() const noexcept override { return m_message.c_str(); }

private:
    std::string m_message;
};

struct NumberRange {
    double minimum = -std::numeric_limits<double>::max();
    double maximum = std::numeric_limits<double>::max();
};

// A selector that no node matches. The call finds nothing to do.
class NoMatch final : public std::exception {
public:
    explicit NoMatch(std::string message) : m_message(std::move(message)) {}
    ~NoMatch() override;
    char const* what() const noexcept override { return m_message.c_str(); }

private:
    std::string m_message;
};

// The value that `parse` makes of an option's text; when it makes none, the program ends as it does after wrong usage,
// or where a selector matches nothing as it does when there is nothing to do.
template <class F>
auto ParseOption(std::string_view option, F const& parse) {
    try {
        return parse();
    } catch (ValueError const& error) {
        throw Failure(ExitStatus::Usage, std::string(option), error.what());
    } catch (NoMatch const& error) {
        throw Failure(ExitStatus::NothingToDo, std::string(option), error.what());
    }
}

// All of these throw ValueError. Numbers are read alike in every locale, and are finite.
double ParseNumber(std::string_view text, NumberRange const& range = {});
std::int64_t ParseInteger(std::string_view text, std::int64_t minimum, std::int64_t maximum);
bool ParseBool(std::string_view text);
// A length in document units, which are 1/96 inch; or with mm, cm, in, pt, pc or px behind it.
double ParseLength(std::string_view text);
// `WxH`, two lengths above 0; a unit behind the second only is that of both.
Kernel::SizeT<double> ParseSize(std::string_view text);
// `#rgb`, `#rrggbb`, `#rrggbbaa`, and by components `rgb(r,g,b)`, `cmyk(c,m,y,k)`, `lab(l,a,b)`, `grey(g)`, each with
// an alpha as its last one if wanted. Components go from 0 to 1, or in percent; l from 0 to 100, a and b from -128 to
// 127.
Renderer::Colour ParseColour(std::string_view text);
Kernel::PointT<double> ParsePoint(std::string_view text);
// `l,t,r,b`, with l <= r and t <= b.
Kernel::RectT<double> ParseRectangle(std::string_view text);
// `a,b,tx,c,d,ty`: x' = a x + b y + tx, y' = c x + d y + ty.
Raster::AffineTransform::Params ParseTransform(std::string_view text);

// The shortest text that reads back the same.
std::string FormatNumber(double value);
std::string FormatColour(Renderer::Colour const& colour);
std::string FormatRectangle(Kernel::RectT<double> const& rectangle);
// Rounded for people: at most two decimals.
std::string FormatRounded(double value);
// "1 spread", "3 spreads".
std::string Count(std::uint64_t count, std::string_view singular, std::string_view plural);

std::string_view Trim(std::string_view text);

} // namespace Shell
