// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "platform/document/mask_node.h"
#include "platform/kernel/cast.h"

#include <cmath>
#include <utility>

namespace Formats::Svg {

namespace {

using Renderer::FilterPrimitive;
using Renderer::FilterPrimitiveKind;
using Renderer::TransferKind;

// Masks within masks, as deep as they are written.
constexpr std::size_t c_maximumMaskDepth = 64;

// The rectangle that is all of a mask's clipping content, or null.
CurvesNode const* FindRegion(MaskNode const& mask) {
    Node const* const only = mask.GetFirstChild(NodeChildListType::Clipping);
    auto const* const shape = only == nullptr ? nullptr : Kernel::CastPointer<ShapeNode const>(only);
    if (shape == nullptr || only->GetNextSibling() != nullptr || !shape->GetMatrix().IsIdentity() ||
        !shape->IsContent() || !shape->IsBrushFillVisible(0.99) || shape->HasChildren(NodeChildListType::Clipping) ||
        shape->FindState(InterfaceId::GeometryModifier) != nullptr)
        return nullptr;
    auto const* const rectangle = dynamic_cast<RectangleShape const*>(shape->GetShapeDefinition().get());
    return rectangle != nullptr && !rectangle->box.IsEmpty() && !(rectangle->cornerRadius.x > 0) ? shape : nullptr;
}

// A rectangle with whole sides that holds all that a mask draws.
Kernel::RectT<double> FindExtent(MaskNode const& mask) {
    Matrix const matrix = mask.GetBaseToSpreadTransform();
    auto const bounds = std::abs(matrix.GetDeterminant()) > 1e-128 ? matrix.GetInverse().Apply(mask.GetBounds(true))
                                                                   : Kernel::RectT<double>();
    Kernel::RectT<double> const extent{std::floor(bounds.left) - 1, std::floor(bounds.top) - 1,
                                       std::ceil(bounds.right) + 1, std::ceil(bounds.bottom) + 1};
    return bounds.IsEmpty() || !std::isfinite(extent.GetWidth()) || !std::isfinite(extent.GetHeight())
               ? Kernel::RectT<double>{-1, -1, 1, 1}
               : extent;
}

std::string_view GetElementName(FilterPrimitiveKind kind) {
    constexpr std::string_view c_names[] = {"feGaussianBlur", "feOffset",     "feFlood",
                                            "feBlend",        "feMerge",      "feColorMatrix",
                                            "feComposite",    "feDropShadow", "feComponentTransfer"};
    return c_names[static_cast<std::size_t>(kind)];
}

std::string Join(std::vector<double> const& numbers) {
    std::string text;
    for (double const number : numbers)
        text += (text.empty() ? "" : " ") + FormatNumber(number);
    return text;
}

} // namespace

// Each mask takes away from what those before it show: it becomes an element that is masked by the next.
std::string Exporter::DefineMasks(Node const& node) {
    if (m_maskDepth >= c_maximumMaskDepth) {
        m_report.Add("mask too deep", Describe(node));
        return {};
    }
    ++m_maskDepth;
    std::string id;
    for (Node const* child = node.GetLastChild(NodeChildListType::Masks); child != nullptr;
         child = child->GetPreviousSibling()) {
        auto const* const mask = Kernel::CastPointer<MaskNode const>(child);
        if (mask == nullptr)
            m_report.Add("pixel mask", Describe(node));
        else if (mask->IsContent())
            id = DefineOneMask(*mask, id);
    }
    --m_maskDepth;
    return id;
}

std::string Exporter::DefineOneMask(MaskNode const& mask, std::string const& inner) {
    XmlWriter outer = std::exchange(m_out, {});
    Matrix const matrix = mask.GetMatrix();
    bool const isPlain = matrix.IsIdentity() && !mask.HasChildren(NodeChildListType::Masks) &&
                         mask.GetFilterEffects().empty() && mask.GetOpacity() == 1 &&
                         mask.GetBlendMode() == Renderer::BlendMode::Normal && !mask.IsIsolated();
    CurvesNode const* const region = isPlain ? FindRegion(mask) : nullptr;
    m_out.Attribute("maskUnits", "userSpaceOnUse");
    if (region != nullptr) {
        WriteGeometry(m_out, *region, "rect", {});
    } else {
        auto const extent = matrix.Apply(FindExtent(mask));
        m_out.Attribute("x", extent.left);
        m_out.Attribute("y", extent.top);
        m_out.Attribute("width", extent.GetWidth());
        m_out.Attribute("height", extent.GetHeight());
    }
    if (mask.GetMaskKind() == Renderer::MaskKind::Alpha)
        m_out.Attribute("style", "mask-type:alpha");
    else if (mask.GetMaskKind() == Renderer::MaskKind::LinearLuminance)
        m_out.Attribute("color-interpolation", "linearRGB");
    if (!inner.empty())
        m_out.Attribute("mask", "url(#" + inner + ")");
    m_out.EndStart();
    WriteTitle(m_out, mask, "");
    if (mask.GetDescription(false).empty())
        m_out.Raw("<title/>\n");
    // A group in the mask has a form for attributes that a mask element has none for.
    bool const needsGroup = !isPlain || (region == nullptr && mask.HasChildren(NodeChildListType::Clipping));
    if (needsGroup) {
        m_out.Open("g");
        WriteCommon(mask, {});
        m_out.EndStart();
    }
    for (Node const* child = mask.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        Write({child, {}, std::nullopt, {}});
    if (needsGroup)
        m_out.Close("g");
    m_out.Close("mask");
    std::string const text = m_out.Take();
    m_out = std::move(outer);
    return Define("mask", "mask", text);
}

void Exporter::WriteFilters(SceneNode const& node) {
    std::string references;
    for (auto const& effect : node.GetFilterEffects()) {
        if (auto const* const filter = Kernel::CastPointer<Renderer::Filter const>(effect.get()))
            references += (references.empty() ? "url(#" : " url(#") + DefineFilter(*filter, node) + ")";
        else
            m_report.Add("effect", Describe(node));
    }
    if (!references.empty())
        m_out.Attribute("filter", references);
}

std::string Exporter::DefineFilter(Renderer::Filter const& filter, Node const& node) {
    Renderer::FilterSettings const& settings = filter.GetSettings();
    XmlWriter out;
    if (!settings.isRegionOfBox)
        out.Attribute("filterUnits", "userSpaceOnUse");
    if (settings.arePrimitivesOfBox)
        out.Attribute("primitiveUnits", "objectBoundingBox");
    out.Attribute("x", settings.left);
    out.Attribute("y", settings.top);
    out.Attribute("width", settings.width);
    out.Attribute("height", settings.height);
    out.EndStart();
    for (FilterPrimitive const& primitive : settings.primitives)
        WriteFilterPrimitive(out, primitive, node);
    out.Close("filter");
    return Define("filter", "filter", out.GetText());
}

void Exporter::WriteFilterPrimitive(XmlWriter& out, FilterPrimitive const& p, Node const& node) {
    std::string_view const element = GetElementName(p.kind);
    out.Open(element);
    bool const isMerge = p.kind == FilterPrimitiveKind::Merge;
    if (!isMerge && !p.inputs.empty() && !p.inputs[0].empty())
        out.Attribute("in", p.inputs[0].view());
    if (!isMerge && p.inputs.size() > 1 && !p.inputs[1].empty())
        out.Attribute("in2", p.inputs[1].view());
    std::pair<std::string_view, double> const sides[] = {
        {"x", p.left}, {"y", p.top}, {"width", p.width}, {"height", p.height}};
    for (std::size_t i = 0; i != std::size(sides); ++i)
        if ((p.givenSides >> i & 1) != 0)
            out.Attribute(sides[i].first, sides[i].second);
    bool const isShadow = p.kind == FilterPrimitiveKind::DropShadow;
    if (p.kind == FilterPrimitiveKind::GaussianBlur || isShadow)
        out.Attribute("stdDeviation", p.deviationX == p.deviationY
                                          ? FormatNumber(p.deviationX)
                                          : FormatNumber(p.deviationX) + ' ' + FormatNumber(p.deviationY));
    if (p.kind == FilterPrimitiveKind::Offset || isShadow) {
        out.Attribute("dx", p.offsetX);
        out.Attribute("dy", p.offsetY);
    }
    if (p.kind == FilterPrimitiveKind::Flood || isShadow)
        WriteColour(out, "flood-color", p.colour, node);
    if (p.kind == FilterPrimitiveKind::Blend && p.blendMode != Renderer::BlendMode::Normal) {
        std::string_view const mode = GetBlendModeName(p.blendMode);
        if (mode.empty())
            m_report.Add("blend mode", Describe(node));
        else
            out.Attribute("mode", mode);
    }
    if (p.kind == FilterPrimitiveKind::ColourMatrix && !p.numbers.empty())
        out.Attribute("values", Join(p.numbers));
    if (p.kind == FilterPrimitiveKind::Composite)
        WriteCompositeOperator(out, p);
    // The initial value stands for colours as light.
    if (!p.isLinear)
        out.Attribute("color-interpolation-filters", "sRGB");
    if (!p.result.empty())
        out.Attribute("result", p.result.view());
    if (isMerge ? p.inputs.empty() : p.transfers.empty())
        return out.EndEmpty();
    out.EndStart();
    for (std::size_t i = 0; isMerge && i != p.inputs.size(); ++i) {
        out.Open("feMergeNode");
        if (!p.inputs[i].empty())
            out.Attribute("in", p.inputs[i].view());
        out.EndEmpty();
    }
    for (std::size_t i = 0; !isMerge && i != std::min<std::size_t>(p.transfers.size(), 4); ++i)
        WriteTransfer(out, "RGBA"[i], p.transfers[i]);
    out.Close(element);
}

void Exporter::WriteCompositeOperator(XmlWriter& out, FilterPrimitive const& p) {
    constexpr std::string_view c_names[] = {"over", "in", "out", "atop", "xor", "lighter", "arithmetic"};
    auto const number = static_cast<std::size_t>(p.compositeOperator);
    if (number != 0)
        out.Attribute("operator", c_names[number]);
    for (std::size_t i = 0; i != p.numbers.size() && i != 4; ++i)
        out.Attribute("k" + std::to_string(i + 1), p.numbers[i]);
}

void Exporter::WriteTransfer(XmlWriter& out, char component, Renderer::TransferFunction const& f) {
    constexpr std::string_view c_names[] = {"identity", "table", "discrete", "linear", "gamma"};
    if (f.kind == TransferKind::Identity)
        return;
    out.Open(std::string("feFunc") + component);
    out.Attribute("type", c_names[static_cast<std::size_t>(f.kind)]);
    if (f.kind == TransferKind::Linear && f.values.size() == 2) {
        out.Attribute("slope", f.values[0]);
        out.Attribute("intercept", f.values[1]);
    } else if (f.kind == TransferKind::Gamma && f.values.size() == 3) {
        out.Attribute("amplitude", f.values[0]);
        out.Attribute("exponent", f.values[1]);
        out.Attribute("offset", f.values[2]);
    } else {
        out.Attribute("tableValues", Join(f.values));
    }
    out.EndEmpty();
}

} // namespace Formats::Svg
