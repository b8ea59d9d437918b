// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/raster_command.h"
#include "platform/kernel/type_name.h"
#include "platform/raster/filter_plugin.h"
#include "shell/values.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

// How commands are made from text. A command's line in the table names its class and the parameters of its
// constructor; parsing, defaults, help and `redraft commands` follow from it.
namespace Shell {

// What values may refer to.
struct ValueContext {
    DocumentController& document;
    // What the command is to run on: the selection that was asked for, or else the document's.
    Kernel::Counted<Selection const> selection;
};

// The text that a value stands for: what the file holds for `@file`, `@...` for `@@...`.
std::string ReadTextValue(std::string const& text);

// The text form of a type: c_name is what help calls it, Parse throws ValueError. FormatDefault turns a default back
// into text where the type has defaults.
template <class T>
struct ValueForm;

template <>
struct ValueForm<bool> {
    static constexpr char const* c_name = "boolean";
    static bool Parse(std::string const& text, ValueContext const&) { return ParseBool(text); }
    static std::string Format(bool value) { return value ? "true" : "false"; }
};

template <>
struct ValueForm<int> {
    static constexpr char const* c_name = "integer";
    static int Parse(std::string const& text, ValueContext const&) {
        return static_cast<int>(ParseInteger(text, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    }
    static std::string Format(int value) { return std::to_string(value); }
};

template <>
struct ValueForm<double> {
    static constexpr char const* c_name = "number";
    static double Parse(std::string const& text, ValueContext const&) { return ParseNumber(text); }
    static std::string Format(double value) { return FormatNumber(value); }
};

template <>
struct ValueForm<Kernel::String> {
    static constexpr char const* c_name = "text";
    static Kernel::String Parse(std::string const& text, ValueContext const& context);
    static std::string Format(Kernel::String const& value) { return value.ToStdString(); }
};

template <>
struct ValueForm<Kernel::PointT<double>> {
    static constexpr char const* c_name = "point";
    static Kernel::PointT<double> Parse(std::string const& text, ValueContext const&) { return ParsePoint(text); }
};

template <>
struct ValueForm<Kernel::RectT<double>> {
    static constexpr char const* c_name = "rectangle";
    static Kernel::RectT<double> Parse(std::string const& text, ValueContext const&) { return ParseRectangle(text); }
};

template <>
struct ValueForm<Raster::AffineTransform::Params> {
    static constexpr char const* c_name = "transform";
    static Raster::AffineTransform::Params Parse(std::string const& text, ValueContext const&) {
        return ParseTransform(text);
    }
};

// A colour as a solid fill; `none` is no fill.
template <>
struct ValueForm<Kernel::Counted<Renderer::FillDescriptor const>> {
    static constexpr char const* c_name = "colour";
    static Kernel::Counted<Renderer::FillDescriptor const> Parse(std::string const& text, ValueContext const&);
};

// One contour, as SVG path data.
template <>
struct ValueForm<Kernel::Counted<Geometry::CurveDbl>> {
    static constexpr char const* c_name = "path";
    static Kernel::Counted<Geometry::CurveDbl> Parse(std::string const& text, ValueContext const& context);
};

// The pixels of a picture file.
template <>
struct ValueForm<Kernel::Counted<Raster::DynamicBitmap>> {
    static constexpr char const* c_name = "picture";
    static Kernel::Counted<Raster::DynamicBitmap> Parse(std::string const& path, ValueContext const& context);
};

// An installed filter by its name, with parameters if wanted: NAME:PARAMETER=VALUE,...
template <>
struct ValueForm<Kernel::Counted<Raster::RasterFilterPlugin>> {
    static constexpr char const* c_name = "plug-in";
    static Kernel::Counted<Raster::RasterFilterPlugin> Parse(std::string const& name, ValueContext const& context);
};

template <>
struct ValueForm<ViewPointData> {
    static constexpr char const* c_name = "record";
    static ViewPointData Parse(std::string const& text, ValueContext const& context);
};

// The root of one of the document's symbols.
struct SymbolReference {
    Kernel::Counted<Node> node;
    operator Kernel::Counted<Node>() const { return node; }
};
template <>
struct ValueForm<SymbolReference> {
    static constexpr char const* c_name = "symbol";
    static SymbolReference Parse(std::string const& text, ValueContext const& context);
};

// A spread of the document by its number, from 0.
struct SpreadIndex {
    int index = 0;
    operator int() const { return index; }
};
template <>
struct ValueForm<SpreadIndex> {
    static constexpr char const* c_name = "integer";
    static SpreadIndex Parse(std::string const& text, ValueContext const& context);
    static std::string Format(SpreadIndex value) { return std::to_string(value.index); }
};

// The names of an enumeration's values, in the order of the values from 0 on.
template <class E>
struct EnumNames;
template <>
struct EnumNames<MasterMigrationStrategy> {
    static constexpr std::string_view c_names[] = {"keep", "adapt", "drop"};
};
std::size_t ParseEnumName(std::string_view text, std::span<std::string_view const> names);

template <class E>
requires(sizeof(EnumNames<E>::c_names) > 0) struct ValueForm<E> {
    static constexpr char const* c_name = "name";
    static E Parse(std::string const& text, ValueContext const&) {
        return static_cast<E>(ParseEnumName(text, EnumNames<E>::c_names));
    }
    static std::string Format(E value) { return std::string(EnumNames<E>::c_names[static_cast<std::size_t>(value)]); }
};

// One named parameter of a constructor. Without a default it must be given.
template <class T>
struct Parameter {
    using Value = T;
    std::string_view name;
    std::string_view help;
    std::optional<std::type_identity_t<T>> defaultValue = std::nullopt;
};

// The place of a constructor that takes the selection.
struct SelectionParameter {
    using Value = Kernel::Counted<Selection const>;
};

// What is known of a parameter at run time.
struct ParameterInfo {
    std::string_view name;
    std::string_view type;
    std::string_view help;
    std::optional<std::string> defaultValue;
};

using NamedValues = std::map<std::string, std::string, std::less<>>;

// One way to make a command.
struct CommandForm {
    std::vector<ParameterInfo> parameters;
    // Its constructor takes the selection.
    bool takesSelection = false;
    std::function<Kernel::Counted<DocumentCommand>(NamedValues const& values, ValueContext const& context)> make;
};

struct CommandEntry {
    // The plain class name, and the same in kebab-case without `Command`.
    std::string className;
    std::string shortName;
    std::vector<CommandForm> forms;
    // Why the class has no form; empty when it has one.
    std::string_view reason;
    // Asks the class whether it would run on a selection; empty for classes that do not say.
    std::function<bool(Kernel::Counted<Selection const>)> canApplyTo;
    // Works on all selected objects together: they have to be of one spread, and hidden ones count.
    bool combinesObjects = false;

    // The form that the names choose. Throws Failure with ExitStatus::Usage.
    CommandForm const& ChooseForm(NamedValues const& values) const;
};

std::string MakeShortName(std::string_view className);

namespace Detail {

template <class P>
concept IsSelection = std::same_as<P, SelectionParameter>;

template <class P>
void Describe(P const& parameter, CommandForm& form) {
    if constexpr (IsSelection<P>) {
        form.takesSelection = true;
    } else {
        std::optional<std::string> defaultValue;
        if constexpr (requires(typename P::Value value) { ValueForm<typename P::Value>::Format(value); }) {
            if (parameter.defaultValue)
                defaultValue = ValueForm<typename P::Value>::Format(*parameter.defaultValue);
        }
        form.parameters.push_back({parameter.name, ValueForm<typename P::Value>::c_name, parameter.help, defaultValue});
    }
}

// Adds the parameter's name to what went wrong with its value.
[[noreturn]] void ThrowForParameter(std::string_view name, std::exception const& error);

template <class P>
typename P::Value Read(P const& parameter, NamedValues const& values, ValueContext const& context) {
    if constexpr (IsSelection<P>) {
        return context.selection;
    } else {
        auto const given = values.find(parameter.name);
        if (given == values.end())
            return *parameter.defaultValue;
        try {
            return ValueForm<typename P::Value>::Parse(given->second, context);
        } catch (ValueError const& error) {
            ThrowForParameter(parameter.name, error);
        }
    }
}

} // namespace Detail

// A constructor by its parameters, or, with `make`, any function of their values that returns a command.
template <class Make, class... P>
struct FormDescription {
    Make make;
    std::tuple<P...> parameters;
};

struct PlainConstructor {};

template <class... P>
auto Form(P... parameters) {
    return FormDescription<PlainConstructor, P...>{{}, {std::move(parameters)...}};
}
template <class Make, class... P>
auto FormBy(Make make, P... parameters) {
    return FormDescription<Make, P...>{std::move(make), {std::move(parameters)...}};
}

template <class C, class Make, class... P>
CommandForm MakeForm(FormDescription<Make, P...> description) {
    CommandForm form;
    std::apply([&](P const&... parameters) { (Detail::Describe(parameters, form), ...); }, description.parameters);
    form.make = [description = std::move(description)](NamedValues const& values, ValueContext const& context) {
        auto const build = [&](P const&... parameters) -> Kernel::Counted<DocumentCommand> {
            // Braces keep the values in the order of the parameters.
            std::tuple<typename P::Value...> read{Detail::Read(parameters, values, context)...};
            return std::apply(
                [&](auto&... value) -> Kernel::Counted<DocumentCommand> {
                    if constexpr (std::is_same_v<Make, PlainConstructor>)
                        return Kernel::MakeCounted<C>(std::move(value)...);
                    else
                        return description.make(std::move(value)...);
                },
                read);
        };
        return std::apply(build, description.parameters);
    };
    return form;
}

// Whether a selection names layers of pixels.
bool HasLayers(Kernel::Counted<Selection const> selection);

// A table line: class C with its forms.
template <class C, class... F>
CommandEntry Command(F... forms) {
    CommandEntry entry;
    entry.className = std::string(Kernel::TypeName<C>());
    entry.shortName = MakeShortName(entry.className);
    (entry.forms.push_back(MakeForm<C>(std::move(forms))), ...);
    if constexpr (requires(Kernel::Counted<Selection const> selection) { C::CanApplyTo(selection); })
        entry.canApplyTo = [](Kernel::Counted<Selection const> selection) { return C::CanApplyTo(selection); };
    else if constexpr (std::derived_from<C, RasterCommand>)
        entry.canApplyTo = &HasLayers;
    return entry;
}

inline CommandEntry Combining(CommandEntry entry) {
    entry.combinesObjects = true;
    return entry;
}

// A table line: class C, which cannot be given as text.
template <class C>
CommandEntry NoForm(std::string_view reason) {
    CommandEntry entry;
    entry.className = std::string(Kernel::TypeName<C>());
    entry.shortName = MakeShortName(entry.className);
    entry.reason = reason;
    return entry;
}

} // namespace Shell
