// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/known_values.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/hashed_by_content.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/filter.h"
#include "platform/renderer/line_style.h"
#include "platform/renderer/recorded_drawing.h"

#include <algorithm>
#include <iterator>

namespace Renderer {

void NoFill::Save(Kernel::OutSerialiser&) const {}
bool NoFill::Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) { return true; }

void SolidFill::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Colr", m_colour); }
bool SolidFill::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Colr", m_colour);
    m_colour = m_colour.Sanitised();
    return true;
}

void GradientFill::SaveStops(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Stop", m_stops);
    Kernel::SaveValue(out, "Sprd", m_spread);
}
void GradientFill::LoadStops(Kernel::InSerialiser const& in) {
    Kernel::LoadValue(in, "Stop", m_stops);
    Kernel::LoadValue(in, "Sprd", m_spread);
    Limit(m_spread, GradientSpread::Repeat);
    Normalise();
}

void LinearGradientFill::Save(Kernel::OutSerialiser& out) const {
    SaveStops(out);
    Kernel::SaveValue(out, "Strt", m_start);
    Kernel::SaveValue(out, "End_", m_end);
}
bool LinearGradientFill::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    LoadStops(in);
    Kernel::LoadValue(in, "Strt", m_start);
    Kernel::LoadValue(in, "End_", m_end);
    return true;
}

void EllipticalGradientFill::Save(Kernel::OutSerialiser& out) const {
    SaveStops(out);
    Kernel::SaveValue(out, "Cntr", m_centre);
    Kernel::SaveValue(out, "End1", m_end1);
    Kernel::SaveValue(out, "End2", m_end2);
    Kernel::SaveValue(out, "Focs", m_focus);
    Kernel::SaveValue(out, "FRad", m_focalRadius);
}
bool EllipticalGradientFill::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    LoadStops(in);
    Kernel::LoadValue(in, "Cntr", m_centre);
    Kernel::LoadValue(in, "End1", m_end1);
    Kernel::LoadValue(in, "End2", m_end2);
    Kernel::LoadValue(in, "Focs", m_focus);
    Kernel::LoadValue(in, "FRad", m_focalRadius);
    m_focalRadius = m_focalRadius > 0 ? std::min(m_focalRadius, 1.0) : 0;
    return true;
}

void BitmapFill::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Bitm", m_bitmap);
    Kernel::SaveValue(out, "TilX", m_tileModeX);
    Kernel::SaveValue(out, "TilY", m_tileModeY);
    Kernel::SaveValue(out, "Resm", m_resampling);
    Kernel::SaveValue(out, "Opac", m_opacity);
}
bool BitmapFill::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Bitm", m_bitmap);
    Kernel::LoadValue(in, "TilX", m_tileModeX);
    Kernel::LoadValue(in, "TilY", m_tileModeY);
    Kernel::LoadValue(in, "Resm", m_resampling);
    Kernel::LoadValue(in, "Opac", m_opacity);
    Limit(m_tileModeX, TileMode::Mirror);
    Limit(m_tileModeY, TileMode::Mirror);
    Limit(m_resampling, Resampling::Bicubic);
    m_opacity = m_opacity > 0 ? std::min(m_opacity, 1.0) : 0;
    return true;
}

void PatternFill::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Draw", m_drawing);
    Kernel::SaveValue(out, "Tile", m_tileSize);
    Kernel::SaveValue(out, "Opac", m_opacity);
}
bool PatternFill::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Draw", m_drawing);
    Kernel::LoadValue(in, "Tile", m_tileSize);
    Kernel::LoadValue(in, "Opac", m_opacity);
    m_opacity = m_opacity > 0 ? std::min(m_opacity, 1.0) : 0;
    return true;
}

void FillDescriptor::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Fill", m_fill);
    Kernel::SaveValue(out, "Xfrm", m_transform);
    Kernel::SaveValue(out, "Blnd", m_blendMode);
    Kernel::SaveValue(out, "Scal", m_scaleWithObject);
    Kernel::SaveValue(out, "OvPr", m_overprint);
}
// The fill is not consolidated here: it may not have been loaded yet.
bool FillDescriptor::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Fill", m_fill);
    Kernel::LoadValue(in, "Xfrm", m_transform);
    Kernel::LoadValue(in, "Blnd", m_blendMode);
    Kernel::LoadValue(in, "Scal", m_scaleWithObject);
    Kernel::LoadValue(in, "OvPr", m_overprint);
    Limit(m_blendMode, BlendMode::Erase);
    return true;
}

void LineStyle::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Type", m_type);
    Kernel::SaveValue(out, "Wght", m_weight);
    Kernel::SaveValue(out, "HasW", m_hasWeight);
    Kernel::SaveValue(out, "Cap_", m_cap);
    Kernel::SaveValue(out, "Join", m_join);
    Kernel::SaveValue(out, "Mitr", m_mitreLimit);
    Kernel::SaveValue(out, "Dash", m_dashPattern);
    Kernel::SaveValue(out, "DPhs", m_dashPhase);
    // Lines without a nib keep the form, and so the hash, that they had before there were nibs.
    if (m_brush == LineBrush())
        return;
    Kernel::SaveValue(out, "BRnd", m_brush.roundness);
    Kernel::SaveValue(out, "BAng", m_brush.angle);
}
bool LineStyle::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Type", m_type);
    Kernel::LoadValue(in, "Wght", m_weight);
    Kernel::LoadValue(in, "HasW", m_hasWeight);
    Kernel::LoadValue(in, "Cap_", m_cap);
    Kernel::LoadValue(in, "Join", m_join);
    Kernel::LoadValue(in, "Mitr", m_mitreLimit);
    Kernel::LoadValue(in, "Dash", m_dashPattern);
    Kernel::LoadValue(in, "DPhs", m_dashPhase);
    Kernel::LoadValue(in, "BRnd", m_brush.roundness);
    Kernel::LoadValue(in, "BAng", m_brush.angle);
    Limit(m_type, LineType::Dashed);
    Limit(m_cap, LineCap::Round);
    Limit(m_join, LineJoin::Bevel);
    return true;
}

void LineStyleArrowHead::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Shap", m_shape);
    Kernel::SaveValue(out, "SclX", m_scaleX);
    Kernel::SaveValue(out, "SclY", m_scaleY);
}
bool LineStyleArrowHead::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Shap", m_shape);
    Kernel::LoadValue(in, "SclX", m_scaleX);
    Kernel::LoadValue(in, "SclY", m_scaleY);
    return true;
}

void LineStyleDescriptor::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Styl", m_style);
    Kernel::SaveValue(out, "Pres", m_pressure);
    Kernel::SaveValue(out, "HeaF", m_frontArrowHead);
    Kernel::SaveValue(out, "HeaB", m_backArrowHead);
    Kernel::SaveValue(out, "Algn", m_alignment);
    Kernel::SaveValue(out, "Behi", m_drawBehindFill);
    Kernel::SaveValue(out, "Scal", m_scaleWithObject);
    Kernel::SaveValue(out, "HeaE", m_arrowHeadsBeyondEnds);
}
bool LineStyleDescriptor::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Styl", m_style);
    Kernel::LoadValue(in, "Pres", m_pressure);
    Kernel::LoadValue(in, "HeaF", m_frontArrowHead);
    Kernel::LoadValue(in, "HeaB", m_backArrowHead);
    Kernel::LoadValue(in, "Algn", m_alignment);
    Kernel::LoadValue(in, "Behi", m_drawBehindFill);
    Kernel::LoadValue(in, "Scal", m_scaleWithObject);
    Kernel::LoadValue(in, "HeaE", m_arrowHeadsBeyondEnds);
    Limit(m_alignment, StrokeAlignment::Outside);
    return true;
}

namespace {

// Properties are made when they are first asked for; asking for them registers the class.
template <class T>
Kernel::ClassProperties const* Register(Kernel::ClassUID tag, char const* name) {
    static Kernel::ClassProperties const s_properties(
        tag, [] { return Kernel::Counted<Kernel::Serialisable>(new T); }, 1, nullptr, nullptr, name);
    static Kernel::ClassPropertiesBase::Init const s_registration(&s_properties);
    static Kernel::HashedByContent const s_value(&s_properties);
    return &s_properties;
}

} // namespace

using Properties = Kernel::ClassProperties const*;

// clang-format off
Properties NoFill::GetTypeClassProperties()                 { return Register<NoFill>("RFNo", "NoFill"); }
Properties SolidFill::GetTypeClassProperties()              { return Register<SolidFill>("RFSo", "SolidFill"); }
Properties LinearGradientFill::GetTypeClassProperties()     { return Register<LinearGradientFill>("RFLi", "LinearGradientFill"); }
Properties EllipticalGradientFill::GetTypeClassProperties() { return Register<EllipticalGradientFill>("RFEl", "EllipticalGradientFill"); }
Properties BitmapFill::GetTypeClassProperties()             { return Register<BitmapFill>("RFBm", "BitmapFill"); }
Properties PatternFill::GetTypeClassProperties()            { return Register<PatternFill>("RFPa", "PatternFill"); }
Properties RecordedDrawing::GetTypeClassProperties()        { return Register<RecordedDrawing>("RDrw", "RecordedDrawing"); }
Properties Filter::GetTypeClassProperties()                 { return Register<Filter>("RFlt", "Filter"); }
Properties FillDescriptor::GetTypeClassProperties()         { return Register<FillDescriptor>("RFil", "FillDescriptor"); }
Properties LineStyle::GetTypeClassProperties()              { return Register<LineStyle>("RLSt", "LineStyle"); }
Properties LineStyleArrowHead::GetTypeClassProperties()     { return Register<LineStyleArrowHead>("RLAH", "LineStyleArrowHead"); }
Properties LineStyleDescriptor::GetTypeClassProperties()    { return Register<LineStyleDescriptor>("RLin", "LineStyleDescriptor"); }
// clang-format on

// Classes are known before the first document is read.
static Properties const s_registered[] = {NoFill::GetTypeClassProperties(),
                                          SolidFill::GetTypeClassProperties(),
                                          LinearGradientFill::GetTypeClassProperties(),
                                          EllipticalGradientFill::GetTypeClassProperties(),
                                          BitmapFill::GetTypeClassProperties(),
                                          PatternFill::GetTypeClassProperties(),
                                          RecordedDrawing::GetTypeClassProperties(),
                                          Filter::GetTypeClassProperties(),
                                          FillDescriptor::GetTypeClassProperties(),
                                          LineStyle::GetTypeClassProperties(),
                                          LineStyleArrowHead::GetTypeClassProperties(),
                                          LineStyleDescriptor::GetTypeClassProperties()};
static_assert(std::size(s_registered) == 12);

} // namespace Renderer
