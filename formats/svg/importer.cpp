// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/importer.h"

#include "formats/svg/import.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

// The modes of style sheets come first in the renderer's list, in the same order.
Renderer::BlendMode ToBlendMode(MixMode mode) { return static_cast<Renderer::BlendMode>(mode); }

} // namespace

Importer::Importer(Drawing& drawing, std::uint64_t guids)
    : m_drawing(drawing), m_paints(drawing), m_filters(drawing), m_guids(guids) {
    m_paints.SetPatternMaker(
        [this](Element const& user, Pattern const& pattern, double opacity, Kernel::RectT<double> const& box) {
            return MakePatternFill(user, pattern, opacity, box);
        });
}

std::vector<Kernel::Counted<Node>> Importer::ImportRoot(double scale) {
    Element const root = m_drawing.GetRoot();
    auto const top = Build(root);
    if (!top)
        return {};
    Matrix const toPage = Scale(scale, scale) * top->GetMatrix();
    // The outermost group stays only where it does something to its children as a whole.
    bool const isPlain = top->GetOpacity() == 1 && top->GetBlendMode() == Renderer::BlendMode::Normal &&
                         !top->IsIsolated() && top->IsVisible() && !top->HasChildren(NodeChildListType::Clipping) &&
                         !top->HasChildren(NodeChildListType::Masks) && top->GetFilterEffects().empty();
    std::vector<Kernel::Counted<Node>> nodes;
    if (!isPlain) {
        top->SetTransform(WithoutNegativeZeros(toPage), false);
        nodes.push_back(top);
        return nodes;
    }
    while (Node* const child = top->GetFirstChild(NodeChildListType::Plain)) {
        nodes.push_back(child->RemoveFromParent());
        if (auto* const scene = Kernel::CastPointer<SceneNode>(nodes.back().get()))
            scene->SetTransform(WithoutNegativeZeros(toPage * scene->GetMatrix()), false);
    }
    PutOnArtboards(nodes, m_pages);
    PutOnListedPages(nodes, m_drawing.GetTree(), WithoutNegativeZeros(toPage));
    return nodes;
}

Importer::SceneNodePointer Importer::Build(Element const& element) {
    std::vector<Frame> frames;
    // Gives the node of an element that is done, or opens a frame for one with children.
    auto begin = [&](Element const& next) -> SceneNodePointer {
        FollowWork();
        if (!next.GetTransform())
            return {};
        bool isGroup = false;
        auto leaf = BuildLeaf(next, isGroup);
        if (isGroup)
            frames.push_back({next, Kernel::MakeCounted<GroupNode>(), next.GetFirstChild()});
        return leaf;
    };
    SceneNodePointer done = begin(element);
    while (!frames.empty()) {
        Frame& frame = frames.back();
        if (frame.nextChild) {
            Element const child = *frame.nextChild;
            frame.nextChild = child.GetNextSibling();
            if (auto const leaf = begin(child))
                frames.back().group->InsertChild(NodeChildListType::Plain, leaf, nullptr);
            continue;
        }
        // A group enters its parent when it is complete: the higher up the insertion, the less it has to check.
        done = FinishGroup(frame);
        frames.pop_back();
        if (done && !frames.empty())
            frames.back().group->InsertChild(NodeChildListType::Plain, done, nullptr);
    }
    return done;
}

void Importer::FollowWork() {
    constexpr std::size_t c_elementsPerUpdate = 256;
    Work const& work = m_drawing.GetOptions().work;
    work.CheckAbort();
    // References make more elements than the source has.
    if (++m_builtElements % c_elementsPerUpdate == 0)
        work.Update(static_cast<float>(std::min(m_builtElements, m_drawing.GetTree().GetCount())) /
                    static_cast<float>(m_drawing.GetTree().GetCount()));
}

void Importer::BuildChildren(Element const& parent, GroupNode& group) {
    for (auto child = parent.GetFirstChild(); child; child = child->GetNextSibling())
        if (auto const node = Build(*child))
            group.InsertChild(NodeChildListType::Plain, node, nullptr);
}

Importer::SceneNodePointer Importer::BuildLeaf(Element const& element, bool& isGroup) {
    switch (element.GetKind()) {
    case ElementKind::A:
    case ElementKind::G:
    case ElementKind::Svg:
    case ElementKind::Switch:
    case ElementKind::Symbol:
        isGroup = true;
        return {};
    case ElementKind::Use:
        return Finish(element, BuildInstance(element));
    case ElementKind::Image:
        return Finish(element, BuildImage(element));
    case ElementKind::Text:
        return Finish(element, BuildText(element));
    case ElementKind::ForeignObject:
        m_drawing.GetReport().Add("foreignObject", element.Describe());
        return {};
    default:
        return Finish(element, BuildPaintedShape(element));
    }
}

Importer::SceneNodePointer Importer::FinishGroup(Frame& frame) {
    if (frame.element.GetOverflowClip() && frame.group->HasChildren(NodeChildListType::Plain))
        ClipToRectangle(*frame.element.GetOverflowClip(), *frame.group);
    if (frame.element.GetKind() == ElementKind::Svg && frame.element.GetOverflowClip() &&
        frame.element.GetOwnStyle().clipPath.empty() && frame.element.GetOwnStyle().mask.empty() &&
        frame.element.GetOwnStyle().filter.empty())
        m_pages.push_back({frame.group, *frame.element.GetOverflowClip()});
    return Finish(frame.element, frame.group);
}

Importer::SceneNodePointer Importer::Finish(Element const& element, SceneNodePointer node) {
    if (!node)
        return node;
    OwnStyle const& style = element.GetOwnStyle();
    bool isVisible = element.IsDisplayed();
    bool const isGroup = Kernel::CastPointer<GroupNode>(node.get()) != nullptr;
    if (!isGroup)
        isVisible = isVisible && element.GetStyle().visible;
    auto place = [&] { node->SetTransform(WithoutNegativeZeros(*element.GetTransform() * node->GetMatrix()), false); };
    bool const hasEffects = !style.clipPath.empty() || !style.mask.empty() || !style.filter.empty();
    if (hasEffects && node->HasChildren(NodeChildListType::Clipping)) {
        // An overflow clip stands in another space: then the effects need a group of their own.
        place();
        auto const outer = Kernel::MakeCounted<GroupNode>();
        outer->InsertChild(NodeChildListType::Plain, node, nullptr);
        isVisible = ApplyEffects(element, *outer) && isVisible;
        node = outer;
    } else {
        if (hasEffects)
            isVisible = ApplyEffects(element, *node) && isVisible;
        place();
    }
    if (std::string title = element.GetTitle(); !title.empty())
        node->SetUserDescription(Kernel::String(title));
    if (style.opacity != 1)
        node->SetOpacity(style.opacity);
    if (style.mixMode != MixMode::Normal)
        node->SetBlendMode(ToBlendMode(style.mixMode));
    // Compositing 1, section 2.2: these make a group of their own for blending.
    if (isGroup && (style.isolated || style.opacity != 1 || style.mixMode != MixMode::Normal))
        node->SetIsolated(true);
    if (!isVisible)
        node->SetVisible(false);
    return node;
}

bool Importer::ApplyEffects(Element const& element, SceneNode& node) {
    OwnStyle const& style = element.GetOwnStyle();
    if (!style.filter.empty())
        node.SetFilterEffects(m_filters.Read(element));
    // The box that a mask's units refer to is that of the whole object.
    bool const isShown = style.mask.empty() || ApplyMask(element, node);
    return (style.clipPath.empty() || ApplyClipPath(element, node)) && isShown;
}

Kernel::RectT<double> Importer::GetContentBounds(SceneNode& node, bool includeLines) const {
    Matrix const matrix = node.GetMatrix();
    node.SetTransform({}, false);
    auto const bounds = node.GetBounds(includeLines);
    node.SetTransform(matrix, false);
    return bounds;
}

ImportedDrawing Import(std::string_view bytes, ReadOptions options) {
    Drawing drawing(bytes, std::move(options));
    ImportedDrawing result;
    result.pageSize = drawing.GetPageSize();
    double scale = 1;
    double const side = std::max(result.pageSize.width, result.pageSize.height);
    if (side > c_maximumPageSide) {
        scale = c_maximumPageSide / side;
        result.pageSize.width = std::min(result.pageSize.width * scale, c_maximumPageSide);
        result.pageSize.height = std::min(result.pageSize.height * scale, c_maximumPageSide);
        drawing.GetReport().Add("page scaled down to " + std::to_string(static_cast<long>(c_maximumPageSide)) +
                                " units");
    }
    Importer importer(drawing, drawing.GetOptions().guids);
    result.nodes = importer.ImportRoot(scale);
    result.symbols = importer.TakeSymbols();
    result.guids = importer.GetGUIDs();
    if (!drawing.HasPageSize()) {
        // The page becomes what is drawn.
        Kernel::RectT<double> bounds;
        for (auto const& node : result.nodes)
            bounds = bounds.United(GetPageBounds(*node));
        if (!bounds.IsEmpty() && IsFinite(bounds) && bounds.GetWidth() <= c_maximumPageSide &&
            bounds.GetHeight() <= c_maximumPageSide) {
            result.pageSize = {bounds.GetWidth(), bounds.GetHeight()};
            for (auto const& node : result.nodes)
                if (auto* const scene = Kernel::CastPointer<SceneNode>(node.get()))
                    scene->Transform(Translation(-bounds.left, -bounds.top), false);
        }
    }
    result.report = std::move(drawing.GetReport());
    result.files = drawing.GetFiles();
    return result;
}

void Place(ImportedDrawing const& drawing, DocumentNode& document, SpreadNode& spread) {
    for (auto const& symbol : drawing.symbols)
        document.InsertChild(NodeChildListType::Symbols, symbol, nullptr);
    for (auto const& node : drawing.nodes)
        spread.InsertChild(NodeChildListType::Plain, node, nullptr);
}

} // namespace Formats::Svg
