// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/import_artboards.h"

#include "formats/svg/scanner.h"
#include "platform/document/artboard.h"
#include "platform/document/node_spaces.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace Formats::Svg {

namespace {

using Rect = Kernel::RectT<double>;

constexpr std::size_t c_maximumPages = 1000;

bool AreClose(Rect const& a, Rect const& b) {
    constexpr double c_tolerance = 1e-9;
    double const size = std::max({std::abs(b.left), std::abs(b.top), std::abs(b.right), std::abs(b.bottom), 1.0});
    auto const isClose = [&](double x, double y) { return std::abs(x - y) <= c_tolerance * size; };
    return isClose(a.left, b.left) && isClose(a.top, b.top) && isClose(a.right, b.right) && isClose(a.bottom, b.bottom);
}

bool IsPlainBackground(Node const& node, Rect const& box) {
    auto const* const shape = Kernel::CastPointer<ShapeNode const>(&node);
    auto const definition = shape == nullptr ? nullptr : shape->GetShapeDefinition();
    auto const* const rectangle = Kernel::CastPointer<RectangleShape const>(definition.get());
    return rectangle != nullptr && AreClose(rectangle->box, box) &&
           rectangle->cornerRadius == Kernel::PointT<double>() && shape->GetMatrix().IsIdentity() &&
           shape->IsVisible() && shape->GetOpacity() == 1 && shape->GetBlendMode() == Renderer::BlendMode::Normal &&
           !shape->IsLineStyleVisible() && !shape->HasChildren(NodeChildListType::Clipping) &&
           shape->GetDescription(false).empty();
}

// A group of the same content, clipped to the same box, as an artboard.
Kernel::Counted<Node> MakeArtboard(GroupNode& group, Rect const& box) {
    auto artboard = Kernel::MakeCounted<ArtboardNode>(box);
    artboard->SetTransform(group.GetMatrix(), false);
    artboard->SetUserDescription(group.GetDescription(false));
    artboard->SetVisible(group.IsVisible());
    artboard->SetOpacity(group.GetOpacity());
    artboard->SetBlendMode(group.GetBlendMode());
    artboard->SetIsolated(group.IsIsolated());
    Node* const first = group.GetFirstChild(NodeChildListType::Plain);
    if (first != nullptr && IsPlainBackground(*first, box)) {
        artboard->SetBrushFillDescriptor(static_cast<ShapeNode&>(*first).GetBrushFillDescriptor(true));
        first->RemoveFromParent();
    }
    while (Node* const child = group.GetFirstChild(NodeChildListType::Plain))
        artboard->InsertChild(NodeChildListType::Plain, child->RemoveFromParent(), nullptr);
    return artboard;
}

bool OverlapsAny(Rect const& place, std::vector<Rect> const& places) {
    return std::any_of(places.begin(), places.end(),
                       [&](Rect const& other) { return !other.Intersected(place).IsEmpty(); });
}

struct ListedPage {
    Rect box;
    Kernel::String name;
};

std::vector<ListedPage> FindListedPages(SourceTree const& tree, Raster::AffineTransform::Params const& toPage) {
    std::vector<ListedPage> pages;
    for (auto view = tree.GetFirstChild(tree.GetRoot()); view != c_noNode; view = tree.GetNextSibling(view)) {
        if (tree.GetLocalName(view) != "namedview")
            continue;
        for (auto page = tree.GetFirstChild(view); page != c_noNode; page = tree.GetNextSibling(page)) {
            if (tree.GetLocalName(page) != "page")
                continue;
            auto const number = [&](std::string_view name) {
                auto const text = tree.FindByText(page, name);
                return text ? ParseNumber(*text).value_or(0) : 0;
            };
            double const x = number("x"), y = number("y");
            auto const box = GetTransformedBox({x, y, x + number("width"), y + number("height")}, toPage);
            auto const label = tree.FindByText(page, "inkscape:label");
            pages.push_back({box, Kernel::String(label ? *label : tree.GetId(page))});
        }
    }
    return pages;
}

} // namespace

Rect GetPageBounds(Node const& node) {
    return node.IsArtboard() ? NodeSpaces(node).GetSpreadBaseBox(false) : node.GetBounds(true);
}

void PutOnListedPages(std::vector<Kernel::Counted<Node>>& nodes, SourceTree const& tree,
                      Raster::AffineTransform::Params const& toPage) {
    auto const pages = FindListedPages(tree, toPage);
    bool const hasArtboards = !nodes.empty() && nodes.front()->IsArtboard();
    if (pages.size() < 2 || pages.size() > c_maximumPages || hasArtboards)
        return;
    std::vector<Rect> places;
    for (auto const& page : pages) {
        if (page.box.IsEmpty() || OverlapsAny(page.box, places))
            return;
        places.push_back(page.box);
    }
    auto const holds = [](Rect const& page, Rect const& bounds) {
        return bounds.left >= page.left && bounds.top >= page.top && bounds.right <= page.right &&
               bounds.bottom <= page.bottom;
    };
    std::vector<std::size_t> pageOf;
    for (auto const& node : nodes) {
        auto const bounds = node->GetBounds(true);
        auto const found =
            std::find_if(places.begin(), places.end(), [&](Rect const& page) { return holds(page, bounds); });
        if (bounds.IsEmpty() || found == places.end())
            return;
        pageOf.push_back(static_cast<std::size_t>(found - places.begin()));
    }
    std::vector<Kernel::Counted<Node>> artboards;
    for (auto const& page : pages) {
        auto artboard = Kernel::MakeCounted<ArtboardNode>(page.box);
        artboard->SetUserDescription(page.name);
        artboards.push_back(std::move(artboard));
    }
    for (std::size_t i = 0; i != nodes.size(); ++i)
        artboards[pageOf[i]]->InsertChild(NodeChildListType::Plain, nodes[i], nullptr);
    nodes = std::move(artboards);
}

void PutOnArtboards(std::vector<Kernel::Counted<Node>>& nodes, std::vector<PageOfDrawing> const& pages) {
    std::unordered_map<Node const*, Rect> boxes;
    for (auto const& page : pages)
        boxes.emplace(page.group.get(), page.box);
    auto const isPage = [&](Kernel::Counted<Node> const& node) { return boxes.contains(node.get()); };
    if (nodes.size() < 2 || nodes.size() > c_maximumPages || !std::all_of(nodes.begin(), nodes.end(), isPage))
        return;
    // Drawings that are laid over each other are no pages.
    std::vector<Rect> places;
    for (auto const& node : nodes) {
        auto const place = GetTransformedBox(boxes.at(node.get()), NodeSpaces(*node).GetLocalToParentTransform());
        if (place.IsEmpty() || OverlapsAny(place, places))
            return;
        places.push_back(place);
    }
    for (auto& node : nodes)
        node = MakeArtboard(static_cast<GroupNode&>(*node), boxes.at(node.get()));
}

} // namespace Formats::Svg
