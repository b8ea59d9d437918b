// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/importer.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace Formats::Svg {

namespace {

// More styles of one target than this are no symbols any more but plain copies.
constexpr std::size_t c_maximumLooks = 32;

bool Contains(Kernel::RectT<double> const& outer, Kernel::RectT<double> const& inner) {
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
           inner.bottom <= outer.bottom;
}

std::size_t CountNodesOf(Node& top) {
    std::size_t count = 0;
    ForEachNode(top, [&](Node&) { ++count; });
    return count;
}

// A counter in the form of a GUID, so that the same drawing always gives the same ones.
Kernel::String MakeGUID(std::uint64_t number) {
    char text[40];
    std::snprintf(text, sizeof text, "00000000-0000-0000-%04llx-%012llx", static_cast<unsigned long long>(number >> 48),
                  static_cast<unsigned long long>(number & 0xFFFFFFFFFFFF));
    return Kernel::String(text);
}

} // namespace

std::optional<std::uint64_t> GetGUIDNumber(std::string_view guid) {
    unsigned long long high = 0, low = 0;
    int end = 0;
    std::string const text(guid);
    if (std::sscanf(text.c_str(), "00000000-0000-0000-%4llx-%12llx%n", &high, &low, &end) != 2 ||
        MakeGUID(high << 48 | low) != Kernel::String(guid))
        return std::nullopt;
    return high << 48 | low;
}

bool Importer::Look::operator==(Look const& other) const {
    return viewport == other.viewport && useWidth == other.useWidth && useHeight == other.useHeight &&
           paints == other.paints && (style == other.style || *style == *other.style);
}

// Copies of symbols cost memory that no element of the source stands for: they count as elements that references make.
void Importer::CountNodes(std::size_t count) {
    m_copiedNodes += count;
    std::size_t const limit = m_drawing.GetOptions().limits.instances;
    if (m_copiedNodes > limit)
        throw Kernel::Exception("references make more than " + std::to_string(limit) + " elements");
}

// The groups of an instance carry the GUIDs of those that they are copies of. Instances inside have theirs already.
void Importer::GiveGUIDs(SymbolNode& symbol) {
    ForEachNode(symbol, [this](Node& node) {
        if (Kernel::CastPointer<GroupNode>(&node) != nullptr && node.GetGUID().empty())
            node.SetGUID(MakeGUID(++m_guids));
    });
}

Importer::SceneNodePointer Importer::BuildInstance(Element const& use) {
    auto const target = use.GetFirstChild();
    if (!target)
        return {};
    auto& symbols = m_symbolsByTarget[target->GetNode()];
    Context const& context = target->GetContext();
    ContextPaints const paints = m_paints.MakeContext(use, m_contextPaints);
    Look look{context.style, context.viewport, std::string(context.useWidth), std::string(context.useHeight), paints};
    auto found =
        std::find_if(symbols.begin(), symbols.end(), [&](Symbol const& symbol) { return symbol.look == look; });
    if (found == symbols.end()) {
        // References inside the target may add to the map, so the list is looked up again afterwards.
        bool const isPlain = symbols.size() >= c_maximumLooks;
        ContextPaints const outer = std::exchange(m_contextPaints, paints);
        auto content = Build(*target);
        m_contextPaints = outer;
        if (isPlain) {
            if (!content)
                return {};
            auto const group = Kernel::MakeCounted<GroupNode>();
            group->InsertChild(NodeChildListType::Plain, content, nullptr);
            return group;
        }
        Symbol symbol;
        symbol.look = std::move(look);
        if (content) {
            symbol.node = Kernel::MakeCounted<SymbolNode>();
            if (std::string title = target->GetTitle(); !title.empty())
                symbol.node->SetUserDescription(Kernel::String(title));
            symbol.node->InsertChild(NodeChildListType::Plain, content, nullptr);
            symbol.nodeCount = CountNodesOf(*symbol.node);
            GiveGUIDs(*symbol.node);
            m_symbols.push_back(symbol.node);
        }
        auto& list = m_symbolsByTarget[target->GetNode()];
        list.push_back(std::move(symbol));
        found = std::prev(list.end());
    }
    if (!found->node)
        return {};
    CountNodes(found->nodeCount);
    return MakeSymbolInstance(*found->node);
}

void Importer::ClipToRectangle(Kernel::RectT<double> const& clip, SceneNode& node) {
    if (Contains(clip, GetContentBounds(node, true)))
        return;
    auto shape = Kernel::MakeCounted<RectangleShape>();
    shape->box = clip;
    auto const clipNode = Kernel::MakeCounted<ShapeNode>(shape);
    clipNode->SetBrushFillDescriptor(m_paints.GetClipFill());
    node.InsertChild(NodeChildListType::Clipping, clipNode, nullptr);
}

bool Importer::ApplyClipPath(Element const& element, SceneNode& node) {
    auto const clipPath = element.Follow(element.GetOwnStyle().clipPath, {ElementKind::ClipPath}, "clip-path");
    if (!clipPath)
        return true;
    Matrix toNode;
    if (ParseUnits(clipPath->Find(Name::ClipPathUnits), Units::UserSpaceOnUse) == Units::ObjectBoundingBox) {
        auto const box = GetContentBounds(node, false);
        toNode = Translation(box.left, box.top) * Scale(box.GetWidth(), box.GetHeight());
    }
    bool const canShow = clipPath->GetTransform() && IsFinite(toNode) && std::abs(toNode.GetDeterminant()) > 1e-128;
    auto const clip = canShow ? BuildClip(*clipPath, toNode) : nullptr;
    if (!clip) {
        // A clip without content hides everything; a node without clipping content would show everything.
        m_drawing.GetReport().Add("empty clip path", element.Describe());
        return false;
    }
    node.InsertChild(NodeChildListType::Clipping, clip, nullptr);
    return true;
}

Kernel::Counted<Node> Importer::BuildClip(Element const& clipPath, Matrix const& toNode) {
    auto const group = Kernel::MakeCounted<GroupNode>();
    for (auto child = clipPath.GetFirstChild(); child; child = child->GetNextSibling()) {
        if (!child->IsDisplayed() || !child->GetStyle().visible || !child->GetTransform())
            continue;
        if (auto const shape = BuildClipShape(*child))
            group->InsertChild(NodeChildListType::Plain, shape, nullptr);
    }
    if (!group->HasChildren(NodeChildListType::Plain))
        return {};
    if (!clipPath.GetOwnStyle().clipPath.empty() && !ApplyClipPath(clipPath, *group))
        return {};
    // The units scale what stands inside the element; its transform moves that (CSS Masking 1, 6.1, as engines of
    // browsers read it).
    Matrix const matrix = *clipPath.GetTransform() * toNode;
    group->SetTransform(WithoutNegativeZeros(matrix), false);
    if (std::string title = clipPath.GetTitle(); !title.empty())
        group->SetUserDescription(Kernel::String(title));
    // One shape needs no group around it.
    Node* const only = group->GetFirstChild(NodeChildListType::Plain);
    if (only->GetNextSibling() != nullptr || group->HasChildren(NodeChildListType::Clipping))
        return group;
    auto const shape = only->RemoveFromParent();
    auto& scene = dynamic_cast<SceneNode&>(*shape);
    scene.SetTransform(WithoutNegativeZeros(matrix * scene.GetMatrix()), false);
    if (scene.GetDescription(false).empty())
        scene.SetUserDescription(group->GetDescription(false));
    return shape;
}

// A shape, or a `use` of one directly (SVG 1.1, section 14.3.5).
Importer::SceneNodePointer Importer::BuildClipShape(Element const& child) {
    bool const isUse = child.GetKind() == ElementKind::Use;
    auto const target = isUse ? child.GetFirstChild() : std::optional(child);
    if (!target || !target->GetTransform() || !target->IsDisplayed() || !target->GetStyle().visible)
        return {};
    bool const isText = target->GetKind() == ElementKind::Text;
    SceneNodePointer const shape = isText ? BuildText(*target, true) : BuildShape(*target);
    if (!shape)
        return {};
    if (auto* const curves = dynamic_cast<CurvesNode*>(shape.get()))
        curves->SetBrushFillDescriptor(m_paints.GetClipFill());
    if (auto* const curves = dynamic_cast<PolyCurveNode*>(shape.get())) {
        bool const isAlternating = target->GetStyle().clipRule == FillRule::EvenOdd;
        curves->SetWindingOrderMode(isAlternating ? Geometry::WindingOrderMode::Alternating
                                                  : Geometry::WindingOrderMode::NonZero);
    }
    if (std::string title = child.GetTitle(); !title.empty())
        shape->SetUserDescription(Kernel::String(title));
    SceneNodePointer node = shape;
    for (Element const* const element : {&*target, &child}) {
        if (element == &child && !isUse)
            break;
        if (!element->GetOwnStyle().clipPath.empty()) {
            if (node->HasChildren(NodeChildListType::Clipping)) {
                auto const group = Kernel::MakeCounted<GroupNode>();
                group->InsertChild(NodeChildListType::Plain, node, nullptr);
                node = group;
            }
            if (!ApplyClipPath(*element, *node))
                return {};
        }
        node->SetTransform(WithoutNegativeZeros(*element->GetTransform() * node->GetMatrix()), false);
    }
    return node;
}

} // namespace Formats::Svg
