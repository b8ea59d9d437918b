// SPDX-License-Identifier: Apache-2.0
#include "shell/look_json.h"

#include "platform/raster/dynamic_bitmap.h"
#include "shell/values.h"

#include <array>
#include <numbers>

namespace Shell {

namespace {

using namespace Renderer;

template <std::size_t Count, class E>
std::string_view GetName(std::array<std::string_view, Count> const& names, E value) {
    auto const index = static_cast<std::size_t>(value);
    return index < Count ? names[index] : "unknown";
}

constexpr std::array<std::string_view, 6> c_fillTypes{"none",   "solid",  "linear-gradient", "elliptical-gradient",
                                                      "bitmap", "pattern"};
constexpr std::array<std::string_view, 3> c_spreads{"pad", "reflect", "repeat"};
constexpr std::array<std::string_view, 3> c_lineTypes{"none", "solid", "dashed"};
constexpr std::array<std::string_view, 3> c_caps{"butt", "square", "round"};
constexpr std::array<std::string_view, 3> c_joins{"mitre", "round", "bevel"};
constexpr std::array<std::string_view, 3> c_alignments{"centre", "inside", "outside"};

void WritePoint(JsonWriter& json, std::string_view name, PointDbl point) {
    json.Key(name).BeginArray();
    json.Value(point.x);
    json.Value(point.y);
    json.EndArray();
}

void WriteGradient(JsonWriter& json, GradientFill const& gradient) {
    if (auto const* linear = dynamic_cast<LinearGradientFill const*>(&gradient)) {
        WritePoint(json, "start", linear->GetStart());
        WritePoint(json, "end", linear->GetEnd());
    } else if (auto const* elliptical = dynamic_cast<EllipticalGradientFill const*>(&gradient)) {
        WritePoint(json, "centre", elliptical->GetCentre());
        WritePoint(json, "end1", elliptical->GetEnd1());
        WritePoint(json, "end2", elliptical->GetEnd2());
        WritePoint(json, "focus", elliptical->GetFocus());
        json.Member("focalRadius", elliptical->GetFocalRadius());
    }
    json.Member("spread", GetName(c_spreads, gradient.GetSpread()));
    json.Key("stops").BeginArray();
    for (auto const& stop : gradient.GetStops()) {
        json.BeginObject();
        json.Member("offset", stop.offset);
        json.Member("colour", FormatColour(stop.colour));
        json.Member("opacity", stop.opacity);
        json.EndObject();
    }
    json.EndArray();
}

} // namespace

void WriteFill(JsonWriter& json, FillDescriptorConst const& fill) {
    if (fill.IsFillNone()) {
        json.Value("none");
        return;
    }
    if (auto const* solid = dynamic_cast<SolidFill const*>(fill.GetFill().get())) {
        json.Value(FormatColour(solid->GetColour()));
        return;
    }
    json.BeginObject();
    json.Member("type", GetName(c_fillTypes, fill.GetFill()->GetType()));
    json.Member("transform", fill.GetTransform());
    if (auto const* gradient = dynamic_cast<GradientFill const*>(fill.GetFill().get()))
        WriteGradient(json, *gradient);
    if (auto const* picture = dynamic_cast<BitmapFill const*>(fill.GetFill().get()); picture && picture->GetBitmap()) {
        json.Member("width", picture->GetBitmap()->GetWidth());
        json.Member("height", picture->GetBitmap()->GetHeight());
    }
    if (auto const* pattern = dynamic_cast<PatternFill const*>(fill.GetFill().get())) {
        json.Member("width", pattern->GetTileSize().width);
        json.Member("height", pattern->GetTileSize().height);
    }
    json.EndObject();
}

void WriteLine(JsonWriter& json, LineStyleDescriptorConst const& line, bool behindFill,
               FillDescriptorConst const* paint) {
    auto const& style = line.GetLineStyle();
    json.BeginObject();
    json.Member("type", GetName(c_lineTypes, style ? style->GetType() : LineType::None));
    if (style) {
        json.Member("weight", style->GetWeightOrZero());
        json.Member("cap", GetName(c_caps, style->GetCap()));
        json.Member("join", GetName(c_joins, style->GetJoin()));
        json.Member("mitreLimit", style->GetMitreLimit());
        if (auto const& brush = style->GetBrush(); brush.IsBroad()) {
            json.Member("brushRoundness", brush.roundness);
            json.Member("brushAngle", brush.angle * 180 / std::numbers::pi);
        }
        if (!style->GetDashPattern().empty()) {
            json.Key("dashes").BeginArray();
            for (double const length : style->GetDashPattern())
                json.Value(length);
            json.EndArray();
            json.Member("phase", style->GetDashPhase());
        }
    }
    json.Member("alignment", GetName(c_alignments, line.GetStrokeAlignment()));
    json.Member("behindFill", behindFill);
    json.Member("scaleWithObject", line.GetScaleWithObject());
    if (paint != nullptr) {
        json.Key("fill");
        WriteFill(json, *paint);
    }
    json.EndObject();
}

} // namespace Shell
