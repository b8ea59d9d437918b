// SPDX-License-Identifier: Apache-2.0
#include "shell/look_json.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/artboard.h"
#include "platform/document/generated_image_node.h"
#include "platform/document/node_bounds.h"
#include "platform/document/text_nodes.h"
#include "platform/geometry/path_data.h"
#include "platform/kernel/cast.h"

#include <unordered_map>

namespace Shell {

namespace {

using Kernel::CastPointer;
using Rect = Kernel::RectT<double>;

Node* FirstChild(Node const& node, int fromList) {
    for (int list = fromList; list < c_childListCount; ++list) {
        if (Node* child = node.GetFirstChild(static_cast<NodeChildListType>(list)))
            return child;
    }
    return nullptr;
}

Node* FirstChild(Node const& node) { return FirstChild(node, 0); }

// The child behind this one, over all lists of its parent.
Node* NextChild(Node const& child) {
    if (Node* next = child.GetNextSibling())
        return next;
    return FirstChild(*child.GetParent(), static_cast<int>(child.GetChildListType()) + 1);
}

// Walks a tree of any depth without recursion: enter(node, depth) before the children, leave(node) after them.
template <class Enter, class Leave>
void Walk(Node& top, Enter const& enter, Leave const& leave) {
    Node* node = &top;
    std::size_t depth = 0;
    enter(*node, depth);
    for (;;) {
        if (Node* child = FirstChild(*node)) {
            node = child;
            enter(*node, ++depth);
            continue;
        }
        for (;;) {
            leave(*node);
            if (node == &top)
                return;
            if (Node* next = NextChild(*node)) {
                node = next;
                enter(*node, depth);
                break;
            }
            node = node->GetParent();
            --depth;
        }
    }
}

// The area that each node draws, lines counted, in spread space.
class AllBounds {
public:
    explicit AllBounds(Node& top) {
        auto const keep = [this](Node const& node, Rect const& bounds) { m_bounds.emplace(&node, bounds); };
        // Clips, masks and the like are the tops of walks of their own.
        Walk(
            top,
            [&](Node& node, std::size_t) {
                if (!m_bounds.contains(&node))
                    ForEachBounds(node, true, keep);
            },
            [](Node&) {});
    }
    Rect Get(Node const& node) const { return m_bounds.at(&node); }

private:
    std::unordered_map<Node const*, Rect> m_bounds;
};

// The box of a page or spread, else what is drawn.
Rect GetShownBounds(Node const& node, AllBounds const& bounds) {
    if (CastPointer<SceneNode const>(&node) != nullptr)
        return bounds.Get(node);
    auto const* const box = CastPointer<BaseBoxInterface const>(&node);
    return box == nullptr ? Rect() : box->GetBaseBox(true);
}

std::string GetPathData(CurvesNode const& node) {
    auto const outline = node.GetOutline();
    if (!outline)
        return {};
    try {
        return Geometry::WritePathData(*outline);
    } catch (Kernel::Exception const&) {
        // Path data has no word for coordinates that are not finite.
        return {};
    }
}

void WriteBitmap(JsonWriter& json, Raster::DynamicBitmap const& bitmap) {
    json.Key("bitmap").BeginObject();
    json.Member("width", bitmap.GetWidth());
    json.Member("height", bitmap.GetHeight());
    json.Member("format", Raster::GetFormatName(bitmap.GetFormat()));
    json.EndObject();
}

void WriteCurves(JsonWriter& json, CurvesNode const& node) {
    if (auto const fill = node.GetBrushFillDescriptor(false)) {
        json.Key("fill");
        WriteFill(json, *fill);
    }
    if (auto const line = node.GetLineStyleDescriptor()) {
        json.Key("line");
        WriteLine(json, *line, node.IsLineBehindFill(), node.GetPenFillDescriptor().get());
    }
    if (auto const path = GetPathData(node); !path.empty())
        json.Member("curves", path);
}

void WriteNumbers(JsonWriter& json, std::string_view name, std::vector<double> const& numbers) {
    json.Key(name).BeginArray();
    for (double const number : numbers)
        json.Value(number);
    json.EndArray();
}

// The box is in the artboard's own space; its bounds are that on the spread.
void WriteArtboard(JsonWriter& json, ArtboardNode const& artboard) {
    json.Member("box", artboard.GetArtboardBox());
    if (!artboard.IsArtboardEnabled())
        json.Member("enabled", false);
    if (auto const fill = artboard.GetBrushFillDescriptor(false)) {
        json.Key("fill");
        WriteFill(json, *fill);
    }
    auto const properties = artboard.GetArtboardProperties();
    if (auto const margins = properties->GetMargins(); !margins.IsUnset())
        WriteNumbers(json, "margins", {margins.left, margins.top, margins.right, margins.bottom});
    for (int axis = 0; axis != 2; ++axis) {
        if (auto const& guides = properties->GetGuidesPixels96(axis); !guides.empty())
            WriteNumbers(json, axis == 0 ? "uprightGuides" : "lyingGuides", guides);
    }
}

// The bitmap that shows.
Kernel::Counted<Raster::DynamicBitmap const> WriteGenerations(JsonWriter& json, GeneratedImageNode const& node) {
    json.Member("generations", node.GetGenerations().size());
    if (auto const* const chosen = node.FindChosenGeneration()) {
        json.Member("chosen", node.GetChosenGeneration());
        json.Member("prompt", chosen->GetPrompt().view());
    }
    return node.GetShownBitmap();
}

void WriteMembers(JsonWriter& json, Node const& node, bool isTop, AllBounds const& bounds) {
    json.Member("id", node.GetId());
    json.Member("type", node.GetTypeName());
    if (auto const name = node.GetDescription(false); !name.empty())
        json.Member("name", name.view());
    if (!isTop)
        json.Member("list", static_cast<int>(node.GetChildListType()));
    auto const* const scene = CastPointer<SceneNode const>(&node);
    if (scene != nullptr)
        json.Member("transform", scene->GetMatrix());
    if (auto const shown = GetShownBounds(node, bounds); !shown.IsEmpty())
        json.Member("bounds", shown);
    if (scene == nullptr)
        return;
    json.Member("visible", scene->IsVisible());
    json.Member("opacity", scene->GetOpacity());
    if (auto const* curves = CastPointer<CurvesNode const>(&node))
        WriteCurves(json, *curves);
    if (auto const* artboard = CastPointer<ArtboardNode const>(&node))
        WriteArtboard(json, *artboard);
    // The text that the node shows: of linked frames each its part.
    if (auto const* text = CastPointer<TextNode const>(&node))
        json.Member("text", text->GetStory()->GetString(text->MakeComposedText()->GetRange()).view());
    Kernel::Counted<Raster::DynamicBitmap const> bitmap;
    if (auto const* raster = CastPointer<ConstRasterInterface const>(&node))
        bitmap = raster->GetBitmap();
    else if (auto const* image = CastPointer<ImageResourceInterface const>(&node))
        bitmap = image->GetImage();
    else if (auto const* generated = CastPointer<GeneratedImageNode const>(&node))
        bitmap = WriteGenerations(json, *generated);
    if (bitmap)
        WriteBitmap(json, *bitmap);
}

void AnswerJson(JsonWriter& json, Node& top) {
    AllBounds const bounds(top);
    Walk(
        top,
        [&](Node& node, std::size_t) {
            json.BeginObject();
            WriteMembers(json, node, &node == &top, bounds);
            if (FirstChild(node) != nullptr)
                json.Key("children").BeginArray();
        },
        [&](Node& node) {
            if (FirstChild(node) != nullptr)
                json.EndArray();
            json.EndObject();
        });
}

std::string_view GetListName(NodeChildListType list) {
    constexpr std::string_view c_names[c_childListCount] = {
        "", "clip: ", "adjustment: ", "wrap: ", "mask: ", "symbol: ", ""};
    return c_names[static_cast<int>(list)];
}

// Deep trees stay readable, and their listing in proportion to the tree.
std::string MakeIndent(std::size_t depth) {
    constexpr std::size_t c_maximum = 40;
    if (depth <= c_maximum)
        return std::string(2 * depth, ' ');
    return std::string(2 * c_maximum, ' ') + "(" + std::to_string(depth) + ") ";
}

void AnswerText(Session& session, Node& top) {
    AllBounds const bounds(top);
    Walk(
        top,
        [&](Node& node, std::size_t depth) {
            auto line = MakeIndent(depth);
            if (&node != &top)
                line += GetListName(node.GetChildListType());
            line += "#" + std::to_string(node.GetId()) + " " + std::string(node.GetTypeName());
            if (auto const name = node.GetDescription(false); !name.empty())
                line += " \"" + OneLine(name.view(), 80) + "\"";
            if (auto const shown = GetShownBounds(node, bounds); !shown.IsEmpty()) {
                line += " " + FormatRounded(shown.left) + "," + FormatRounded(shown.top) + "," +
                        FormatRounded(shown.right) + "," + FormatRounded(shown.bottom);
            }
            if (auto const* scene = CastPointer<SceneNode>(&node); scene != nullptr && !scene->IsVisible())
                line += " hidden";
            session.Print(line + "\n");
        },
        [](Node&) {});
}

} // namespace

ExitStatus RunTree(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    if (session.IsJson())
        AnswerJson(session.Json(), *document.GetDocument());
    else
        AnswerText(session, *document.GetDocument());
    return ExitStatus::Done;
}

} // namespace Shell
