// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/filter.h"

#include "engine/renderer/filter_graph.h"
#include "engine/renderer/known_values.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Renderer {

namespace {

// A table of this many values says all that a component can tell.
constexpr std::size_t c_maximumTable = 4096;

bool IsFinite(RectDbl const& r) {
    return std::isfinite(r.left) && std::isfinite(r.top) && std::isfinite(r.right) && std::isfinite(r.bottom);
}

void MakeFinite(double& v) {
    if (!std::isfinite(v))
        v = 0;
    // Values that differ in the sign of a zero are one.
    v += 0.0;
}

void MakeFinite(std::vector<double>& values) {
    for (double& v : values)
        MakeFinite(v);
}

} // namespace

Filter::Filter(FilterSettings settings) : m_settings(std::move(settings)) { Normalise(); }
Filter::~Filter() = default;

void Filter::Normalise() {
    FilterSettings& s = m_settings;
    if (!IsFinite(s.GetRegion()))
        s.left = s.top = s.width = s.height = 0;
    for (double* const v : {&s.left, &s.top, &s.width, &s.height})
        MakeFinite(*v);
    auto& primitives = m_settings.primitives;
    if (primitives.size() > c_maximumPrimitives)
        primitives.resize(c_maximumPrimitives);
    std::size_t inputs = 0;
    for (FilterPrimitive& p : primitives) {
        Limit(p.kind, FilterPrimitiveKind::ComponentTransfer);
        Limit(p.blendMode, BlendMode::Erase);
        Limit(p.compositeOperator, CompositeOperator::Arithmetic);
        p.colour = p.colour.Sanitised();
        for (double* const v :
             {&p.left, &p.top, &p.width, &p.height, &p.deviationX, &p.deviationY, &p.offsetX, &p.offsetY})
            MakeFinite(*v);
        p.deviationX = std::max(p.deviationX, 0.0);
        p.deviationY = std::max(p.deviationY, 0.0);
        MakeFinite(p.numbers);
        if (p.kind != FilterPrimitiveKind::Merge)
            p.inputs.resize(Detail::CountInputs(p));
        bool const isMatrix = p.kind == FilterPrimitiveKind::ColourMatrix;
        if (!p.numbers.empty())
            p.numbers.resize(isMatrix ? 20 : 4);
        if (p.inputs.size() > c_maximumPrimitives - std::min(inputs, c_maximumPrimitives))
            p.inputs.resize(c_maximumPrimitives - std::min(inputs, c_maximumPrimitives));
        inputs += p.inputs.size();
        if (!p.transfers.empty())
            p.transfers.resize(4);
        for (TransferFunction& f : p.transfers) {
            Limit(f.kind, TransferKind::Gamma);
            MakeFinite(f.values);
            if (f.kind == TransferKind::Linear)
                f.values.resize(2);
            else if (f.kind == TransferKind::Gamma)
                f.values.resize(3);
            else if (f.kind == TransferKind::Identity || f.values.size() > c_maximumTable)
                f.values.resize(f.kind == TransferKind::Identity ? 0 : c_maximumTable);
        }
    }
}

Kernel::Counted<Filter const> Filter::ResolveBox(RectDbl const& box) const {
    FilterSettings resolved = m_settings;
    if (NeedsBox() && (box.IsEmpty() || !std::isfinite(box.GetWidth()) || !std::isfinite(box.GetHeight())))
        return {};
    double const width = box.GetWidth(), height = box.GetHeight();
    auto const resolve = [&](auto& area) {
        area.left = box.left + area.left * width;
        area.top = box.top + area.top * height;
        area.width *= width;
        area.height *= height;
    };
    if (resolved.isRegionOfBox)
        resolve(resolved);
    if (resolved.arePrimitivesOfBox) {
        for (FilterPrimitive& p : resolved.primitives) {
            resolve(p);
            p.deviationX *= width;
            p.deviationY *= height;
            p.offsetX *= width;
            p.offsetY *= height;
        }
    }
    resolved.isRegionOfBox = resolved.arePrimitivesOfBox = false;
    return Kernel::MakeCounted<Filter const>(std::move(resolved));
}

RectDbl Filter::GetBounds(RectDbl const& content) const {
    if (m_settings.primitives.empty())
        return {};
    Detail::FilterGraph const graph(*this, {});
    return graph.FindBounds(content, true)[graph.GetSteps().size() - 1];
}

void Filter::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Left", m_settings.left);
    Kernel::SaveValue(out, "Top_", m_settings.top);
    Kernel::SaveValue(out, "Widt", m_settings.width);
    Kernel::SaveValue(out, "Heig", m_settings.height);
    Kernel::SaveValue(out, "RBox", m_settings.isRegionOfBox);
    Kernel::SaveValue(out, "PBox", m_settings.arePrimitivesOfBox);
    Kernel::SaveValue(out, "Prim", m_settings.primitives);
}

bool Filter::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Left", m_settings.left);
    Kernel::LoadValue(in, "Top_", m_settings.top);
    Kernel::LoadValue(in, "Widt", m_settings.width);
    Kernel::LoadValue(in, "Heig", m_settings.height);
    Kernel::LoadValue(in, "RBox", m_settings.isRegionOfBox);
    Kernel::LoadValue(in, "PBox", m_settings.arePrimitivesOfBox);
    Kernel::LoadValue(in, "Prim", m_settings.primitives);
    Normalise();
    return true;
}

} // namespace Renderer
