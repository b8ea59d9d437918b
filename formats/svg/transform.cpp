// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/transform.h"

#include <array>
#include <cmath>

namespace Formats::Svg {

namespace {

// One argument of a transform function. Whether it is a number, a length or an angle depends on the function.
struct Argument {
    double value = 0;
    bool percent = false;
    bool hasUnit = false;
    // In radians, when its unit is an angle's.
    bool isAngle = false;
};

struct Arguments {
    std::array<Argument, 6> values;
    std::size_t count = 0;
};

std::optional<Argument> TakeArgument(Scanner& scanner, FontSizes const& sizes) {
    Scanner plain = scanner;
    if (auto const number = plain.TakeNumber()) {
        bool const hasUnit = plain.Peek() == '%' || !Scanner(plain).TakeLetters().empty();
        if (!hasUnit) {
            scanner = plain;
            return Argument{*number, false, false, false};
        }
        if (auto const length = TakeLength(scanner, sizes))
            return Argument{length->value, length->percent, true, false};
        if (auto const angle = TakeAngleRadians(scanner))
            return Argument{*angle, false, true, true};
    }
    return std::nullopt;
}

std::optional<Arguments> TakeArguments(Scanner& scanner, FontSizes const& sizes) {
    Arguments result;
    scanner.SkipSpace();
    while (!scanner.Take(')')) {
        auto const argument = result.count < result.values.size() ? TakeArgument(scanner, sizes) : std::nullopt;
        if (!argument)
            return std::nullopt;
        result.values[result.count++] = *argument;
        scanner.SkipCommaSpace();
    }
    return result;
}

class FunctionMaker {
public:
    FunctionMaker(Arguments const& arguments, Viewport const& viewport)
        : m_arguments(arguments), m_viewport(viewport) {}

    std::optional<Matrix> Make(std::string_view name) const {
        std::string const lower = LowerCase(name);
        std::size_t const count = m_arguments.count;
        if (lower == "matrix")
            return count == 6 ? MakeMatrix() : std::nullopt;
        if (lower == "translate" && (count == 1 || count == 2))
            return Translate(LengthAt(0, m_viewport.width), count == 2 ? LengthAt(1, m_viewport.height) : 0.0);
        if (lower == "translatex" && count == 1)
            return Translate(LengthAt(0, m_viewport.width), 0.0);
        if (lower == "translatey" && count == 1)
            return Translate(0.0, LengthAt(0, m_viewport.height));
        if (lower == "scale" && (count == 1 || count == 2))
            return ScaleBy(FactorAt(0), FactorAt(count - 1));
        if (lower == "scalex" && count == 1)
            return ScaleBy(FactorAt(0), 1.0);
        if (lower == "scaley" && count == 1)
            return ScaleBy(1.0, FactorAt(0));
        if (lower == "rotate" && (count == 1 || count == 3))
            return Rotate();
        if (lower == "skewx" && count == 1)
            return Skew(AngleAt(0), 0.0);
        if (lower == "skewy" && count == 1)
            return Skew(0.0, AngleAt(0));
        if (lower == "skew" && (count == 1 || count == 2))
            return Skew(AngleAt(0), count == 2 ? AngleAt(1) : 0.0);
        return std::nullopt;
    }

private:
    using Value = std::optional<double>;

    Value NumberAt(std::size_t i) const {
        Argument const& a = m_arguments.values[i];
        return a.hasUnit ? Value() : Value(a.value);
    }
    Value FactorAt(std::size_t i) const {
        Argument const& a = m_arguments.values[i];
        return a.percent ? Value(a.value / 100) : NumberAt(i);
    }
    Value LengthAt(std::size_t i, double reference) const {
        Argument const& a = m_arguments.values[i];
        return a.isAngle ? Value() : Value(Length{a.value, a.percent}.Resolve(reference));
    }
    Value AngleAt(std::size_t i) const {
        Argument const& a = m_arguments.values[i];
        if (a.isAngle)
            return a.value;
        return a.hasUnit ? Value() : Value(a.value * 3.14159265358979323846 / 180);
    }

    std::optional<Matrix> MakeMatrix() const {
        std::array<double, 6> v{};
        for (std::size_t i = 0; i < 6; ++i) {
            // The offsets may be lengths (CSS Transforms 1, section 12.1).
            Value const value = i < 4 ? NumberAt(i) : LengthAt(i, 0);
            if (!value)
                return std::nullopt;
            v[i] = *value;
        }
        return Matrix{v[0], v[2], v[4], v[1], v[3], v[5]};
    }
    static std::optional<Matrix> Translate(Value x, Value y) {
        return x && y ? std::optional(Translation(*x, *y)) : std::nullopt;
    }
    static std::optional<Matrix> ScaleBy(Value x, Value y) {
        return x && y ? std::optional(Scale(*x, *y)) : std::nullopt;
    }
    static std::optional<Matrix> Skew(Value x, Value y) {
        return x && y ? std::optional(Matrix{1, std::tan(*x), 0, std::tan(*y), 1, 0}) : std::nullopt;
    }
    std::optional<Matrix> Rotate() const {
        Value const angle = AngleAt(0);
        if (!angle)
            return std::nullopt;
        Matrix const rotation = ExactRotation(*angle);
        if (m_arguments.count == 1)
            return rotation;
        Value const x = LengthAt(1, 0), y = LengthAt(2, 0);
        if (!x || !y)
            return std::nullopt;
        return Translation(*x, *y) * rotation * Translation(-*x, -*y);
    }
    // Quarter turns are made exact, so that upright shapes stay upright.
    static Matrix ExactRotation(double radians) {
        double sine = std::sin(radians), cosine = std::cos(radians);
        double const quarters = radians / (3.14159265358979323846 / 2);
        if (std::abs(quarters) < 1e6 && std::abs(quarters - std::round(quarters)) < 1e-12) {
            sine = std::round(sine);
            cosine = std::round(cosine);
        }
        return {cosine, -sine, 0, sine, cosine, 0};
    }

    Arguments const& m_arguments;
    Viewport const& m_viewport;
};

} // namespace

double Viewport::GetDiagonal() const { return std::hypot(width, height) / std::sqrt(2.0); }

bool IsFinite(Matrix const& m) {
    return std::isfinite(m.a) && std::isfinite(m.b) && std::isfinite(m.c) && std::isfinite(m.d) &&
           std::isfinite(m.tx) && std::isfinite(m.ty);
}

bool IsFinite(Kernel::RectT<double> const& r) {
    return std::isfinite(r.left) && std::isfinite(r.top) && std::isfinite(r.right) && std::isfinite(r.bottom);
}

std::optional<Matrix> ParseTransform(std::string_view text, Viewport const& viewport, FontSizes const& sizes) {
    text = Trimmed(text);
    Matrix product;
    if (EqualsIgnoringCase(text, "none"))
        return product;
    Scanner scanner(text);
    while (!scanner.IsAtEnd()) {
        std::string_view const name = scanner.TakeIdentifier();
        scanner.SkipSpace();
        if (!scanner.Take('('))
            return std::nullopt;
        auto const arguments = TakeArguments(scanner, sizes);
        if (!arguments)
            return std::nullopt;
        auto const matrix = FunctionMaker(*arguments, viewport).Make(name);
        if (!matrix)
            return std::nullopt;
        product = product * *matrix;
        scanner.SkipCommaSpace();
    }
    return IsFinite(product) ? std::optional(product) : std::nullopt;
}

std::optional<Kernel::PointT<double>> ParseTransformOrigin(std::string_view text, Viewport const& viewport,
                                                           FontSizes const& sizes) {
    enum class Direction { Either, Horizontal, Vertical };
    struct Keyword {
        std::string_view name;
        double percent;
        Direction direction;
    };
    static constexpr std::array<Keyword, 5> c_keywords = {{{"left", 0, Direction::Horizontal},
                                                           {"right", 100, Direction::Horizontal},
                                                           {"top", 0, Direction::Vertical},
                                                           {"bottom", 100, Direction::Vertical},
                                                           {"center", 50, Direction::Either}}};
    struct Part {
        Length length;
        Direction direction = Direction::Either;
    };
    std::array<Part, 2> parts;
    std::size_t count = 0;
    Scanner scanner(Trimmed(text));
    while (!scanner.IsAtEnd() && count < 2) {
        Part part;
        if (auto const length = TakeLength(scanner, sizes)) {
            part.length = *length;
        } else {
            std::string_view const name = scanner.TakeIdentifier();
            Keyword const* found = nullptr;
            for (Keyword const& keyword : c_keywords)
                if (EqualsIgnoringCase(name, keyword.name))
                    found = &keyword;
            if (found == nullptr)
                return std::nullopt;
            part = {{found->percent, true}, found->direction};
        }
        parts[count++] = part;
        scanner.SkipSpace();
    }
    if (count == 0)
        return std::nullopt;
    if (count == 1)
        parts[1].length = {50, true};
    if (parts[0].direction == Direction::Vertical || parts[1].direction == Direction::Horizontal)
        std::swap(parts[0], parts[1]);
    if (parts[0].direction == Direction::Vertical || parts[1].direction == Direction::Horizontal)
        return std::nullopt;
    auto place = [](Length length, double start, double extent) {
        return length.percent ? start + length.Resolve(extent) : length.value;
    };
    return Kernel::PointT<double>{place(parts[0].length, viewport.x, viewport.width),
                                  place(parts[1].length, viewport.y, viewport.height)};
}

std::optional<Viewport> ParseViewBox(std::string_view text) {
    Scanner scanner(Trimmed(text));
    std::array<double, 4> values{};
    for (double& value : values) {
        auto const number = scanner.TakeNumber();
        if (!number)
            return std::nullopt;
        value = *number;
        scanner.SkipCommaSpace();
    }
    if (!scanner.IsAtEnd() || values[2] < 0 || values[3] < 0)
        return std::nullopt;
    return Viewport{values[0], values[1], values[2], values[3]};
}

std::optional<AspectRatio> ParseAspectRatio(std::string_view text) {
    Scanner scanner(Trimmed(text));
    std::string_view word = scanner.TakeIdentifier();
    scanner.SkipSpace();
    if (word == "defer") {
        word = scanner.TakeIdentifier();
        scanner.SkipSpace();
    }
    AspectRatio result;
    if (word == "none") {
        result.stretch = true;
    } else {
        static constexpr std::array<std::string_view, 3> c_places = {"Min", "Mid", "Max"};
        if (word.size() != 8 || word[0] != 'x' || word[4] != 'Y')
            return std::nullopt;
        auto placeOf = [](std::string_view name) -> std::optional<double> {
            for (std::size_t i = 0; i < c_places.size(); ++i)
                if (name == c_places[i])
                    return 0.5 * static_cast<double>(i);
            return std::nullopt;
        };
        auto const x = placeOf(word.substr(1, 3)), y = placeOf(word.substr(5, 3));
        if (!x || !y)
            return std::nullopt;
        result.alignX = *x;
        result.alignY = *y;
    }
    std::string_view const fit = scanner.TakeIdentifier();
    result.slice = fit == "slice";
    if (!scanner.IsAtEnd() || (!fit.empty() && fit != "meet" && fit != "slice"))
        return std::nullopt;
    return result;
}

Matrix FitTransform(Viewport const& from, Viewport const& to, AspectRatio const& aspect) {
    double scaleX = to.width / from.width, scaleY = to.height / from.height;
    if (!aspect.stretch)
        scaleX = scaleY = aspect.slice ? std::max(scaleX, scaleY) : std::min(scaleX, scaleY);
    double const spareX = aspect.stretch ? 0 : to.width - from.width * scaleX;
    double const spareY = aspect.stretch ? 0 : to.height - from.height * scaleY;
    return {scaleX, 0,      to.x + spareX * aspect.alignX - from.x * scaleX,
            0,      scaleY, to.y + spareY * aspect.alignY - from.y * scaleY};
}

} // namespace Formats::Svg
