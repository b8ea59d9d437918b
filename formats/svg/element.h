// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/source_tree.h"
#include "formats/svg/style.h"
#include "formats/svg/transform.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Formats::Svg {

class Drawing;

// A row of references that are being followed, innermost first: an element that is named again while it is followed
// would have no end.
struct ReferenceChain {
    NodeIndex target;
    std::size_t depth;
    std::shared_ptr<ReferenceChain const> outer;
};

// The properties that an element inherits from its place. The place may differ from the one in the source, for `use`
// sets its target as a child of its own.
struct Context {
    std::shared_ptr<InheritedStyle const> style;
    Viewport viewport;
    std::shared_ptr<ReferenceChain const> chain;
    // Width and height of the `use` that this is the target of; null views where they are not set.
    std::string_view useWidth, useHeight;
};

struct RectGeometry {
    double x = 0, y = 0, width = 0, height = 0, rx = 0, ry = 0;
};
// Of circles and ellipses.
struct EllipseGeometry {
    double cx = 0, cy = 0, rx = 0, ry = 0;
};
struct LineGeometry {
    Kernel::PointT<double> start, end;
};

// One element of a drawing in one place, with its style computed. Elements are values: cheap to copy, and valid as
// long as their drawing.
class Element {
public:
    ElementKind GetKind() const { return m_kind; }
    NodeIndex GetNode() const { return m_node; }
    std::string_view GetId() const;
    // The `title` child's text, else the editor's label, else the id. Empty where an empty title says so.
    std::string GetTitle() const;
    std::string Describe() const;
    // An attribute that no style sheet sets.
    std::optional<std::string_view> Find(Name name) const;

    InheritedStyle const& GetStyle() const { return *m_style; }
    OwnStyle const& GetOwnStyle() const { return m_own; }
    // With `visibility`, `display`, the conditions of `switch` and `systemLanguage`; what stands above is not asked.
    bool IsDisplayed() const { return m_own.displayed; }

    // From the element's content to its parent's user space: its transform, the offset of `use`, and how a viewBox is
    // fitted. Empty when the source's transform has no inverse or a size is 0: then nothing is drawn.
    std::optional<Matrix> const& GetTransform() const { return m_transform; }
    // The viewport that the element's own percentages refer to, and that of its children.
    Viewport const& GetViewport() const { return m_context->viewport; }
    Viewport const& GetContentViewport() const { return m_contentViewport; }
    // Of `svg` and `symbol` that clip their content, in the content's space.
    std::optional<Kernel::RectT<double>> const& GetOverflowClip() const { return m_overflowClip; }

    // A length attribute or geometry property; `missing` where it is not set or invalid.
    Length GetLength(Name name, Length missing = {}) const;
    double GetX(Name name, Length missing = {}) const { return GetLength(name, missing).Resolve(GetViewport().width); }
    double GetY(Name name, Length missing = {}) const { return GetLength(name, missing).Resolve(GetViewport().height); }
    FontSizes GetFontSizes() const;

    // Geometry in user space. Empty when the element draws nothing, as with a negative or missing size.
    std::optional<RectGeometry> GetRect() const;
    std::optional<EllipseGeometry> GetEllipse() const;
    LineGeometry GetLine() const;
    // Of polyline and polygon; everything before an error.
    std::vector<Kernel::PointT<double>> GetPoints() const;
    std::string_view GetPathData() const;

    // The rendered children in order: of `use` its target, of `switch` the one chosen; elements that are never
    // rendered where they stand, such as gradients, are stepped over. Throws Kernel::Exception when `use` would make
    // more elements than the limits allow.
    std::optional<Element> GetFirstChild() const;
    std::optional<Element> GetNextSibling() const;

    // The element that `use` refers to or that one of its properties names, computed where it stands in the source.
    // Empty, and counted in the report, where there is none, where it is not of a kind that the caller asks for, or
    // where following it would have no end.
    std::optional<Element> Follow(std::string_view id, std::initializer_list<ElementKind> kinds,
                                  std::string_view property) const;

    Drawing& GetDrawing() const { return *m_drawing; }
    // The properties that the element inherited.
    Context const& GetContext() const { return *m_context; }

private:
    friend class Drawing;
    Element(Drawing& drawing, NodeIndex node, std::shared_ptr<Context const> context, bool isUseTarget);
    void ComputeStyle();
    void ComputeTransform();
    void ComputeViewport(Matrix& toParent, bool& isEmpty);
    void ComputeOverflowClip(Kernel::RectT<double> const& clip);
    std::optional<Element> MakeChild(NodeIndex node) const;
    std::optional<Element> MakeUseTarget() const;
    std::shared_ptr<Context const> MakeChildContext() const;

    Drawing* m_drawing;
    NodeIndex m_node;
    ElementKind m_kind;
    bool m_isUseTarget;
    std::shared_ptr<Context const> m_context;
    // Made with the first child and shared by all.
    mutable std::shared_ptr<Context const> m_childContext;
    std::shared_ptr<InheritedStyle const> m_style;
    OwnStyle m_own;
    std::optional<Matrix> m_transform;
    Viewport m_contentViewport;
    std::optional<Kernel::RectT<double>> m_overflowClip;
};

} // namespace Formats::Svg
