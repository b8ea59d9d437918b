// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/element.h"

#include "formats/svg/drawing.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

bool HoldsText(ElementKind kind) {
    return kind == ElementKind::Text || kind == ElementKind::TSpan || kind == ElementKind::TextPath ||
           kind == ElementKind::A;
}

bool IsRenderedInPlace(ElementKind kind, ElementKind parent) {
    switch (kind) {
    case ElementKind::TSpan:
    case ElementKind::TextPath:
        return HoldsText(parent);
    case ElementKind::A:
    case ElementKind::Circle:
    case ElementKind::Ellipse:
    case ElementKind::ForeignObject:
    case ElementKind::G:
    case ElementKind::Image:
    case ElementKind::Line:
    case ElementKind::Path:
    case ElementKind::Polygon:
    case ElementKind::Polyline:
    case ElementKind::Rect:
    case ElementKind::Svg:
    case ElementKind::Switch:
    case ElementKind::Text:
    case ElementKind::Use:
        return true;
    default:
        return false;
    }
}

// Kinds that the style sheet of every viewer gives `overflow: hidden` (SVG 2, appendix on the user agent style sheet).
bool HidesOverflow(ElementKind kind) {
    switch (kind) {
    case ElementKind::Svg:
    case ElementKind::Symbol:
    case ElementKind::Image:
    case ElementKind::Marker:
    case ElementKind::Pattern:
    case ElementKind::ForeignObject:
        return true;
    default:
        return false;
    }
}

bool HasNoInverse(Matrix const& m) { return !(std::abs(m.GetDeterminant()) > 1e-128); }

} // namespace

Element::Element(Drawing& drawing, NodeIndex node, std::shared_ptr<Context const> context, bool isUseTarget)
    : m_drawing(&drawing),
      m_node(node),
      m_kind(drawing.m_tree.GetKind(node)),
      m_isUseTarget(isUseTarget),
      m_context(std::move(context)),
      m_contentViewport(m_context->viewport) {
    ComputeStyle();
    ComputeTransform();
    if (!drawing.MeetsConditions(node))
        m_own.displayed = false;
}

std::string_view Element::GetId() const { return m_drawing->m_tree.GetId(m_node); }
std::string Element::Describe() const { return m_drawing->m_tree.Describe(m_node); }
std::optional<std::string_view> Element::Find(Name name) const { return m_drawing->m_tree.Find(m_node, name); }
FontSizes Element::GetFontSizes() const { return {m_style->fontSize, m_drawing->m_rootFontSize}; }

std::string Element::GetTitle() const {
    SourceTree const& tree = m_drawing->m_tree;
    for (NodeIndex child = tree.GetFirstChild(m_node); child != c_noNode; child = tree.GetNextSibling(child)) {
        if (tree.GetKind(child) == ElementKind::Title) {
            // An empty title says that the id is no name.
            std::string const text = tree.GetText(child);
            return std::string(Trimmed(text));
        }
    }
    std::string_view const label = Find(Name::Label).value_or(std::string_view());
    return std::string(label.empty() ? GetId() : label);
}

void Element::ComputeStyle() {
    bool const isRoot = m_node == m_drawing->m_tree.GetRoot() && !m_isUseTarget;
    StyleBuilder builder(m_context->style, m_drawing->m_rootFontSize, !isRoot && HidesOverflow(m_kind));
    auto const& declarations = m_drawing->CollectDeclarations(m_node);
    auto apply = [&](Declaration const& declaration) {
        if (!builder.Apply(declaration.property, declaration.value))
            m_drawing->m_report.Add("invalid value of " + std::string(GetNameText(declaration.property)), Describe());
    };
    auto isFirst = [](Name name) { return name == Name::Color || IsFontProperty(name); };
    for (Declaration const& declaration : declarations)
        if (isFirst(declaration.property))
            apply(declaration);
    for (Declaration const& declaration : declarations)
        if (!isFirst(declaration.property))
            apply(declaration);
    m_style = builder.TakeInherited();
    m_own = builder.TakeOwn();
}

void Element::ComputeTransform() {
    Matrix matrix;
    if (!m_own.transform.empty()) {
        Viewport const& viewport = m_context->viewport;
        auto const parsed = ParseTransform(m_own.transform, viewport, GetFontSizes());
        if (!parsed)
            m_drawing->m_report.Add("invalid value of transform", Describe());
        matrix = parsed.value_or(Matrix{});
        if (!m_own.transformOrigin.empty()) {
            if (auto const origin = ParseTransformOrigin(m_own.transformOrigin, viewport, GetFontSizes()))
                matrix = Translation(origin->x, origin->y) * matrix * Translation(-origin->x, -origin->y);
            else
                m_drawing->m_report.Add("invalid value of transform-origin", Describe());
        }
    }
    bool isEmpty = HasNoInverse(matrix);
    if (m_kind == ElementKind::Use)
        matrix = matrix * Translation(GetX(Name::X), GetY(Name::Y));
    else if (m_kind == ElementKind::Svg || (m_kind == ElementKind::Symbol && m_isUseTarget))
        ComputeViewport(matrix, isEmpty);
    if (!isEmpty && IsFinite(matrix))
        m_transform = matrix;
}

// An `svg` or an instance of a `symbol` makes a new viewport (SVG 1.1, sections 5.6 and 7.9).
void Element::ComputeViewport(Matrix& toParent, bool& isEmpty) {
    bool const isRoot = m_node == m_drawing->m_tree.GetRoot() && !m_isUseTarget;
    Viewport const& outer = m_context->viewport;
    Viewport frame = outer;
    if (!isRoot) {
        bool const isSvg = m_kind == ElementKind::Svg;
        auto size = [&](std::string_view fromUse, Name name, double whole) {
            auto const given = ParseLength(fromUse, GetFontSizes());
            return given ? given->Resolve(whole) : GetLength(name, {100, true}).Resolve(whole);
        };
        frame = {isSvg ? GetX(Name::X) : 0, isSvg ? GetY(Name::Y) : 0,
                 size(m_context->useWidth, Name::Width, outer.width),
                 size(m_context->useHeight, Name::Height, outer.height)};
    }
    if (!(frame.width > 0 && frame.height > 0)) {
        isEmpty = true;
        return;
    }
    auto const aspectText = Find(Name::PreserveAspectRatio);
    AspectRatio const aspect = aspectText ? ParseAspectRatio(*aspectText).value_or(AspectRatio{}) : AspectRatio{};
    auto const viewBoxText = Find(Name::ViewBox);
    auto const viewBox = viewBoxText ? ParseViewBox(*viewBoxText) : std::nullopt;
    if (viewBoxText && !viewBox)
        m_drawing->m_report.Add("invalid value of viewBox", Describe());
    Matrix fit = Translation(frame.x, frame.y);
    m_contentViewport = {0, 0, frame.width, frame.height};
    if (viewBox) {
        isEmpty = isEmpty || !(viewBox->width > 0 && viewBox->height > 0);
        fit = isEmpty ? Matrix{} : FitTransform(*viewBox, frame, aspect);
        m_contentViewport = *viewBox;
    }
    toParent = toParent * fit;
    if (!isEmpty && (!isRoot || m_own.overflow == Overflow::Hidden))
        ComputeOverflowClip(fit.GetInverse().Apply(
            Kernel::RectT<double>{frame.x, frame.y, frame.x + frame.width, frame.y + frame.height}));
}

void Element::ComputeOverflowClip(Kernel::RectT<double> const& clip) {
    if (m_own.overflow != Overflow::Visible)
        m_overflowClip = clip;
}

Length Element::GetLength(Name name, Length missing) const {
    std::string_view text;
    if (IsGeometryProperty(name))
        text = m_own.GetGeometry(name);
    else if (auto const attribute = Find(name))
        text = *attribute;
    if (text.data() == nullptr || EqualsIgnoringCase(text, "auto"))
        return missing;
    auto const length = ParseLength(text, GetFontSizes());
    if (!length)
        m_drawing->m_report.Add("invalid value of " + std::string(GetNameText(name)), Describe());
    return length.value_or(missing);
}

std::optional<RectGeometry> Element::GetRect() const {
    RectGeometry rect{GetX(Name::X), GetY(Name::Y), GetX(Name::Width), GetY(Name::Height), 0, 0};
    if (!(rect.width > 0 && rect.height > 0) || !std::isfinite(rect.x + rect.width) ||
        !std::isfinite(rect.y + rect.height))
        return std::nullopt;
    // A radius that is missing or negative takes the other one's value (SVG 1.1, section 9.2).
    constexpr Length c_automatic{-1, false};
    double const rx = GetX(Name::Rx, c_automatic), ry = GetY(Name::Ry, c_automatic);
    rect.rx = std::min(rx >= 0 ? rx : std::max(ry, 0.0), rect.width / 2);
    rect.ry = std::min(ry >= 0 ? ry : std::max(rx, 0.0), rect.height / 2);
    return rect;
}

std::optional<EllipseGeometry> Element::GetEllipse() const {
    EllipseGeometry ellipse{GetX(Name::Cx), GetY(Name::Cy), 0, 0};
    if (m_kind == ElementKind::Circle) {
        ellipse.rx = ellipse.ry = GetLength(Name::R).Resolve(GetViewport().GetDiagonal());
    } else {
        constexpr Length c_automatic{-1, false};
        double const rx = GetX(Name::Rx, c_automatic), ry = GetY(Name::Ry, c_automatic);
        ellipse.rx = rx >= 0 ? rx : ry;
        ellipse.ry = ry >= 0 ? ry : rx;
    }
    if (!(ellipse.rx > 0 && ellipse.ry > 0))
        return std::nullopt;
    return ellipse;
}

LineGeometry Element::GetLine() const { return {{GetX(Name::X1), GetY(Name::Y1)}, {GetX(Name::X2), GetY(Name::Y2)}}; }

std::vector<Kernel::PointT<double>> Element::GetPoints() const {
    std::vector<Kernel::PointT<double>> points;
    Scanner scanner(Trimmed(Find(Name::Points).value_or(std::string_view())));
    while (!scanner.IsAtEnd()) {
        auto const x = scanner.TakeNumber();
        scanner.SkipCommaSpace();
        auto const y = x ? scanner.TakeNumber() : std::nullopt;
        if (!y) {
            m_drawing->m_report.Add("invalid value of points", Describe());
            break;
        }
        points.push_back({*x, *y});
        scanner.SkipCommaSpace();
    }
    return points;
}

std::string_view Element::GetPathData() const { return Find(Name::D).value_or(std::string_view()); }

std::shared_ptr<Context const> Element::MakeChildContext() const {
    if (!m_childContext) {
        auto context = std::make_shared<Context>();
        context->style = m_style;
        context->viewport = m_contentViewport;
        context->chain = m_context->chain;
        m_childContext = std::move(context);
    }
    return m_childContext;
}

std::optional<Element> Element::MakeChild(NodeIndex node) const {
    if (m_context->chain)
        m_drawing->CountInstance();
    return Element(*m_drawing, node, MakeChildContext(), false);
}

std::optional<Element> Element::GetFirstChild() const {
    if (m_kind == ElementKind::Use)
        return MakeUseTarget();
    SourceTree const& tree = m_drawing->m_tree;
    for (NodeIndex child = tree.GetFirstChild(m_node); child != c_noNode; child = tree.GetNextSibling(child)) {
        if (!IsRenderedInPlace(tree.GetKind(child), m_kind))
            continue;
        // Of the children of `switch` the first whose conditions hold is drawn, shown or not (SVG 1.1, section 5.8.2).
        if (m_kind != ElementKind::Switch || m_drawing->MeetsConditions(child))
            return MakeChild(child);
    }
    return std::nullopt;
}

std::optional<Element> Element::GetNextSibling() const {
    if (m_isUseTarget)
        return std::nullopt;
    SourceTree const& tree = m_drawing->m_tree;
    NodeIndex const parent = tree.GetParent(m_node);
    if (parent == c_noNode || tree.GetKind(parent) == ElementKind::Switch)
        return std::nullopt;
    for (NodeIndex next = tree.GetNextSibling(m_node); next != c_noNode; next = tree.GetNextSibling(next)) {
        if (!IsRenderedInPlace(tree.GetKind(next), tree.GetKind(parent)))
            continue;
        if (m_context->chain)
            m_drawing->CountInstance();
        return Element(*m_drawing, next, m_context, false);
    }
    return std::nullopt;
}

std::optional<Element> Element::MakeUseTarget() const {
    auto const href = Find(Name::Href);
    std::string_view const reference = Trimmed(href.value_or(std::string_view()));
    if (reference.empty())
        return std::nullopt;
    if (reference.front() != '#') {
        m_drawing->m_report.Add("external reference", Describe());
        return std::nullopt;
    }
    SourceTree const& tree = m_drawing->m_tree;
    NodeIndex const target = tree.FindId(reference.substr(1));
    if (target == c_noNode) {
        m_drawing->m_report.Add("missing target of use", Describe());
        return std::nullopt;
    }
    ElementKind const kind = tree.GetKind(target);
    if (!IsRenderedInPlace(kind, m_kind) && kind != ElementKind::Symbol) {
        m_drawing->m_report.Add("reference of use to " + Printable(tree.GetLocalName(target), 40), Describe());
        return std::nullopt;
    }
    bool isCycle = tree.IsWithin(m_node, target);
    for (ReferenceChain const* link = m_context->chain.get(); link != nullptr && !isCycle; link = link->outer.get())
        isCycle = link->target == target;
    std::size_t const depth = m_context->chain ? m_context->chain->depth + 1 : 1;
    if (isCycle || depth > m_drawing->m_options.limits.referenceDepth) {
        m_drawing->m_report.Add(isCycle ? "circular reference" : "references nested too deeply", Describe());
        return std::nullopt;
    }
    m_drawing->CountInstance();
    auto context = std::make_shared<Context>(*MakeChildContext());
    context->chain = std::make_shared<ReferenceChain const>(ReferenceChain{target, depth, m_context->chain});
    context->useWidth = m_own.GetGeometry(Name::Width);
    context->useHeight = m_own.GetGeometry(Name::Height);
    return Element(*m_drawing, target, std::move(context), true);
}

std::optional<Element> Element::Follow(std::string_view id, std::initializer_list<ElementKind> kinds,
                                       std::string_view property) const {
    SourceTree const& tree = m_drawing->m_tree;
    NodeIndex const target = tree.FindId(id);
    if (target == c_noNode || std::find(kinds.begin(), kinds.end(), tree.GetKind(target)) == kinds.end()) {
        m_drawing->m_report.Add("missing target of " + std::string(property), Describe());
        return std::nullopt;
    }
    bool isCycle = false;
    for (ReferenceChain const* link = m_context->chain.get(); link != nullptr && !isCycle; link = link->outer.get())
        isCycle = link->target == target;
    std::size_t const depth = m_context->chain ? m_context->chain->depth + 1 : 1;
    if (isCycle || tree.IsWithin(m_node, target) || depth > m_drawing->m_options.limits.referenceDepth) {
        m_drawing->m_report.Add("circular reference", Describe());
        return std::nullopt;
    }
    return m_drawing->MakeElement(
        target, std::make_shared<ReferenceChain const>(ReferenceChain{target, depth, m_context->chain}));
}

} // namespace Formats::Svg
