// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/paint_server.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

// The element itself and those that its href names, and theirs, as long as they are of the given kinds.
std::vector<NodeIndex> FollowTemplates(Drawing& drawing, NodeIndex node, std::initializer_list<ElementKind> kinds) {
    SourceTree const& tree = drawing.GetTree();
    std::vector<NodeIndex> row{node};
    for (;;) {
        std::string_view const href = Trimmed(tree.Find(row.back(), Name::Href).value_or(std::string_view()));
        if (href.empty())
            return row;
        NodeIndex const next = href.front() == '#' ? tree.FindId(href.substr(1)) : c_noNode;
        if (next == c_noNode || std::find(kinds.begin(), kinds.end(), tree.GetKind(next)) == kinds.end()) {
            drawing.GetReport().Add("missing target of " + std::string(tree.GetLocalName(row.back())),
                                    tree.Describe(row.back()));
            return row;
        }
        if (std::find(row.begin(), row.end(), next) != row.end() ||
            row.size() >= drawing.GetOptions().limits.referenceDepth) {
            drawing.GetReport().Add("circular reference", tree.Describe(node));
            return row;
        }
        row.push_back(next);
    }
}

// Attributes that are looked for in a row of templates: the first that has one gives it.
class TemplateReader {
public:
    TemplateReader(Drawing& drawing, std::vector<NodeIndex> const& row, Element const& element)
        : m_drawing(drawing), m_row(row), m_element(element) {}

    std::optional<std::string_view> Find(Name name) const {
        for (NodeIndex const node : m_row)
            if (auto const value = m_drawing.GetTree().Find(node, name))
                return value;
        return std::nullopt;
    }

    // Places and sizes come from templates of the element's own kind only: a radial gradient has no `y2`, even where
    // its source says so (SVG 2, 14.2.2 and 14.2.3).
    Length GetLength(Name name, Length missing) const {
        SourceTree const& tree = m_drawing.GetTree();
        std::optional<std::string_view> text;
        for (NodeIndex const node : m_row)
            if (!text && tree.GetKind(node) == m_element.GetKind())
                text = tree.Find(node, name);
        if (!text)
            return missing;
        auto const length = ParseLength(*text, m_element.GetFontSizes());
        if (!length)
            CountInvalid(name);
        return length.value_or(missing);
    }

    // A transform without an inverse makes the server unusable; it is given back.
    Matrix GetTransform(Name name) const {
        auto text = Find(name);
        // CSS Transforms 1 makes these presentation attributes of the property `transform`.
        if (!m_element.GetOwnStyle().transform.empty())
            text = m_element.GetOwnStyle().transform;
        if (!text)
            return {};
        Viewport const& viewport = m_element.GetViewport();
        auto const matrix = ParseTransform(*text, viewport, m_element.GetFontSizes());
        if (!matrix) {
            CountInvalid(name);
            return {};
        }
        auto const& originText = m_element.GetOwnStyle().transformOrigin;
        auto const origin =
            originText.empty() ? std::nullopt : ParseTransformOrigin(originText, viewport, m_element.GetFontSizes());
        return origin ? Translation(origin->x, origin->y) * *matrix * Translation(-origin->x, -origin->y) : *matrix;
    }

    void CountInvalid(Name name) const {
        m_drawing.GetReport().Add("invalid value of " + std::string(GetNameText(name)), m_element.Describe());
    }

private:
    Drawing& m_drawing;
    std::vector<NodeIndex> const& m_row;
    Element const& m_element;
};

bool HasChildOfKind(SourceTree const& tree, NodeIndex node, ElementKind kind) {
    for (NodeIndex child = tree.GetFirstChild(node); child != c_noNode; child = tree.GetNextSibling(child))
        if (tree.GetKind(child) == kind)
            return true;
    return false;
}

std::vector<GradientStop> ReadStops(Drawing& drawing, NodeIndex gradient) {
    std::vector<GradientStop> stops;
    SourceTree const& tree = drawing.GetTree();
    double last = 0;
    for (NodeIndex child = tree.GetFirstChild(gradient); child != c_noNode; child = tree.GetNextSibling(child)) {
        if (tree.GetKind(child) != ElementKind::Stop)
            continue;
        Element const stop = drawing.MakeElement(child, nullptr);
        OwnStyle const& style = stop.GetOwnStyle();
        GradientStop made;
        made.colour = style.stopIsCurrentColour ? stop.GetStyle().colour : style.stopColour;
        made.colour.alpha *= style.stopOpacity;
        auto const offset = tree.Find(child, Name::Offset);
        auto const parsed = offset ? ParseUnitInterval(*offset) : std::nullopt;
        if (offset && !parsed)
            drawing.GetReport().Add("invalid value of offset", stop.Describe());
        last = made.offset = std::max(last, parsed.value_or(0));
        stops.push_back(made);
    }
    return stops;
}

} // namespace

Units ParseUnits(std::optional<std::string_view> text, Units missing) {
    if (text && Trimmed(*text) == "userSpaceOnUse")
        return Units::UserSpaceOnUse;
    if (text && Trimmed(*text) == "objectBoundingBox")
        return Units::ObjectBoundingBox;
    return missing;
}

std::optional<Gradient> FindGradient(Drawing& drawing, std::string_view id) {
    SourceTree const& tree = drawing.GetTree();
    NodeIndex const node = tree.FindId(id);
    if (node == c_noNode ||
        (tree.GetKind(node) != ElementKind::LinearGradient && tree.GetKind(node) != ElementKind::RadialGradient))
        return std::nullopt;
    auto const row = FollowTemplates(drawing, node, {ElementKind::LinearGradient, ElementKind::RadialGradient});
    Element const element = drawing.MakeElement(node, nullptr);
    TemplateReader const reader(drawing, row, element);
    Gradient gradient;
    gradient.isRadial = tree.GetKind(node) == ElementKind::RadialGradient;
    gradient.units = ParseUnits(reader.Find(Name::GradientUnits), Units::ObjectBoundingBox);
    gradient.transform = reader.GetTransform(Name::GradientTransform);
    auto const spread = Trimmed(reader.Find(Name::SpreadMethod).value_or(std::string_view()));
    gradient.spread = spread == "reflect"  ? SpreadMethod::Reflect
                      : spread == "repeat" ? SpreadMethod::Repeat
                                           : SpreadMethod::Pad;
    gradient.x1 = reader.GetLength(Name::X1, {0, true});
    gradient.y1 = reader.GetLength(Name::Y1, {0, true});
    gradient.x2 = reader.GetLength(Name::X2, {100, true});
    gradient.y2 = reader.GetLength(Name::Y2, {0, true});
    gradient.cx = reader.GetLength(Name::Cx, {50, true});
    gradient.cy = reader.GetLength(Name::Cy, {50, true});
    gradient.r = reader.GetLength(Name::R, {50, true});
    gradient.fx = reader.GetLength(Name::Fx, gradient.cx);
    gradient.fy = reader.GetLength(Name::Fy, gradient.cy);
    gradient.fr = reader.GetLength(Name::Fr, {0, true});
    auto const withStops = std::find_if(row.begin(), row.end(), [&](NodeIndex candidate) {
        return HasChildOfKind(tree, candidate, ElementKind::Stop);
    });
    if (withStops != row.end())
        gradient.stops = ReadStops(drawing, *withStops);
    return gradient;
}

std::optional<Pattern> FindPattern(Element const& user, std::string_view id) {
    Drawing& drawing = user.GetDrawing();
    SourceTree const& tree = drawing.GetTree();
    NodeIndex const node = tree.FindId(id);
    if (node == c_noNode || tree.GetKind(node) != ElementKind::Pattern)
        return std::nullopt;
    auto const row = FollowTemplates(drawing, node, {ElementKind::Pattern});
    auto const withContent = std::find_if(
        row.begin(), row.end(), [&](NodeIndex candidate) { return tree.GetFirstChild(candidate) != c_noNode; });
    if (withContent == row.end())
        return std::nullopt;
    auto const content = user.Follow(tree.GetId(*withContent), {ElementKind::Pattern}, "pattern");
    if (!content)
        return std::nullopt;
    Element const element = drawing.MakeElement(node, nullptr);
    TemplateReader const reader(drawing, row, element);
    Pattern pattern(*content);
    pattern.units = ParseUnits(reader.Find(Name::PatternUnits), Units::ObjectBoundingBox);
    pattern.contentUnits = ParseUnits(reader.Find(Name::PatternContentUnits), Units::UserSpaceOnUse);
    pattern.transform = reader.GetTransform(Name::PatternTransform);
    pattern.x = reader.GetLength(Name::X, {});
    pattern.y = reader.GetLength(Name::Y, {});
    pattern.width = reader.GetLength(Name::Width, {});
    pattern.height = reader.GetLength(Name::Height, {});
    if (auto const viewBox = reader.Find(Name::ViewBox))
        pattern.viewBox = ParseViewBox(*viewBox);
    if (auto const aspect = reader.Find(Name::PreserveAspectRatio))
        pattern.aspect = ParseAspectRatio(*aspect).value_or(AspectRatio{});
    if (!(pattern.width.value > 0 && pattern.height.value > 0))
        return std::nullopt;
    return pattern;
}

} // namespace Formats::Svg
