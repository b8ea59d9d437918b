// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/line_commands.h"
#include "platform/kernel/field_list.h"

// How programs outside the library give lines.

namespace Commands {

// The properties of a line, by the bits of a mask.
enum class LineProperty : std::uint32_t {
    Type = 0,
    Weight = 1,
    Brush = 2,
    Cap = 3,
    Join = 4,
    MitreLimit = 5,
    DashPattern = 6,
    DashPhase = 7,
    // Means the weight as well.
    WeightAgain = 8,
    Alignment = 9,
    BehindFill = 10,
    ScaleWithObject = 11,
    FrontHead = 12,
    BackHead = 13,
    HeadAlignment = 14,
    FrontHeadScale = 15,
    BackHeadScale = 16,
    Pressure = 17
};
using LinePropertySet = OutsideFlags<LineProperty>;

enum class ArrowHeadShape : std::uint32_t { None = 0, Arrow = 1, Barbed = 2, Circle = 3, Square = 4, Bar = 5 };

// The outline of a head, in weights of the line: the line ends at (0, 0), x leads out of it. Null for None.
REDRAFT_API Kernel::Counted<Geometry::PolyCurveDbl const> MakeArrowHeadShape(ArrowHeadShape shape);

// A line as a record of values. Lengths are in document units (1/96 inch); dashes are in multiples of the weight.
struct LineArgument {
    Renderer::LineType type = Renderer::LineType::Solid;
    double weight = 1;
    Renderer::LineCap cap = Renderer::LineCap::Butt;
    Renderer::LineJoin join = Renderer::LineJoin::Mitre;
    double mitreLimit = 4;
    double brushRoundness = 1;
    // In degrees.
    double brushAngle = 0;
    // A solid line with a pattern is a dashed one.
    std::vector<double> dash;
    double dashPhase = 0;
    Renderer::StrokeAlignment alignment = Renderer::StrokeAlignment::Centre;
    bool behindFill = false;
    bool scaleWithObject = true;
    ArrowHeadShape startHead = ArrowHeadShape::None;
    ArrowHeadShape endHead = ArrowHeadShape::None;
    bool headsBeyondEnds = false;
    double startHeadScale = 1;
    double endHeadScale = 1;

    static constexpr auto Fields() {
        using This = LineArgument;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::type}.As("type", "none, solid or dashed", Renderer::LineType::Solid),
            Unstored{&This::weight}.As("weight", "the width of the line", 1.0).In("px (1/96 inch)").AtLeast(0),
            Unstored{&This::cap}.As("cap", "the ends of lines and dashes", Renderer::LineCap::Butt),
            Unstored{&This::join}.As("join", "the corners", Renderer::LineJoin::Mitre),
            Unstored{&This::mitreLimit}.As("mitreLimit", "sharper corners are bevelled, as in SVG", 4.0).AtLeast(1),
            Unstored{&This::brushRoundness}
                .As("brushRoundness", "the nib's width by its length; below 1 it is a broad pen", 1.0)
                .AtLeast(0),
            Unstored{&This::brushAngle}
                .As("brushAngle", "which way the nib's length lies, clockwise from the x axis", 0.0)
                .In("degrees"),
            Unstored{&This::dash}
                .As("dash", "lengths of dashes and gaps", std::array<double, 0>())
                .In("multiples of the weight")
                .AtLeast(0),
            Unstored{&This::dashPhase}
                .As("dashPhase", "where in the pattern the line starts", 0.0)
                .In("multiples of the weight"),
            Unstored{&This::alignment}.As("alignment", "where the line lies, of closed curves",
                                          Renderer::StrokeAlignment::Centre),
            Unstored{&This::behindFill}.As("behindFill", "the fill covers the line", false),
            Unstored{&This::scaleWithObject}.As("scaleWithObject", "the line scales with its object", true),
            Unstored{&This::startHead}.As("startHead", "the head at the start of open curves", ArrowHeadShape::None),
            Unstored{&This::endHead}.As("endHead", "the head at their end", ArrowHeadShape::None),
            Unstored{&This::headsBeyondEnds}.As("headsBeyondEnds", "heads begin where the line ends", false),
            Unstored{&This::startHeadScale}.As("startHeadScale", "a factor of the head's size", 1.0).AtLeast(0),
            Unstored{&This::endHeadScale}.As("endHeadScale", "a factor of the head's size", 1.0).AtLeast(0)};
    }
    REDRAFT_API operator Kernel::Counted<Renderer::LineStyleDescriptor>() const;
};

inline constexpr std::string_view c_linePropertyNames[] = {"type",
                                                           "weight",
                                                           "brush",
                                                           "cap",
                                                           "join",
                                                           "mitreLimit",
                                                           "dash",
                                                           "dashPhase",
                                                           "weightAgain",
                                                           "alignment",
                                                           "behindFill",
                                                           "scaleWithObject",
                                                           "startHead",
                                                           "endHead",
                                                           "headsBeyondEnds",
                                                           "startHeadScale",
                                                           "endHeadScale",
                                                           "pressure"};
inline constexpr std::string_view c_arrowHeadNames[] = {"none", "arrow", "barbed", "circle", "square", "bar"};
inline constexpr std::string_view c_contentTypeNames[] = {"object", "frame"};
inline constexpr std::string_view c_defaultsModeNames[] = {"selection-only", "selection-and-defaults", "defaults-only"};
inline constexpr std::string_view c_lineTypeNames[] = {"none", "solid", "dashed"};
inline constexpr std::string_view c_lineCapNames[] = {"butt", "square", "round"};
inline constexpr std::string_view c_lineJoinNames[] = {"mitre", "round", "bevel"};
inline constexpr std::string_view c_strokeAlignmentNames[] = {"centre", "inside", "outside"};

} // namespace Commands

template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Commands::LineProperty> =
    Commands::c_linePropertyNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Commands::ArrowHeadShape> =
    Commands::c_arrowHeadNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<ContentType> = Commands::c_contentTypeNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<LineCommandDefaultsMode> =
    Commands::c_defaultsModeNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Renderer::LineType> = Commands::c_lineTypeNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Renderer::LineCap> = Commands::c_lineCapNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Renderer::LineJoin> = Commands::c_lineJoinNames;
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Renderer::StrokeAlignment> =
    Commands::c_strokeAlignmentNames;
