// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "formats/svg/transform.h"

#include "platform/document/artboard.h"
#include "platform/document/document_renderer.h"
#include "platform/document/generated_image_node.h"
#include "platform/document/mask_node.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

constexpr std::string_view c_blendModes[] = {
    "normal",     "multiply",   "screen",     "overlay",   "darken", "lighten",    "color-dodge", "color-burn",
    "hard-light", "soft-light", "difference", "exclusion", "hue",    "saturation", "color",       "luminosity"};

bool HasEqualStates(Node const& a, Node const& b) {
    if (a.GetAttributes().SharesDataWith(b.GetAttributes()))
        return true;
    for (int i = 0; i < c_interfaceCount; ++i) {
        auto const id = static_cast<InterfaceId>(i);
        InterfaceState const* const stateA = a.FindState(id);
        InterfaceState const* const stateB = b.FindState(id);
        if (stateA == stateB)
            continue;
        if (stateA == nullptr || stateB == nullptr || !stateA->IsEqualTo(*stateB))
            return false;
    }
    return true;
}

bool IsEqualNode(Node const& a, Node const& b) {
    if (a.GetObjectClassProperties() != b.GetObjectClassProperties() || !HasEqualStates(a, b))
        return false;
    auto const* const maskA = Kernel::CastPointer<MaskNode const>(&a);
    auto const* const maskB = Kernel::CastPointer<MaskNode const>(&b);
    if (maskA != nullptr && maskB != nullptr && maskA->GetMaskKind() != maskB->GetMaskKind())
        return false;
    auto const* const sceneA = Kernel::CastPointer<SceneNode const>(&a);
    auto const* const sceneB = Kernel::CastPointer<SceneNode const>(&b);
    return sceneA == nullptr || (sceneB != nullptr && sceneA->GetMatrix() == sceneB->GetMatrix());
}

// Whether two rows of siblings, with all below them, are alike. Without recursion.
bool HasEqualChildren(Node const& topA, Node const& topB, NodeChildListType topList) {
    std::vector<std::pair<Node const*, Node const*>> pending{
        {topA.GetFirstChild(topList), topB.GetFirstChild(topList)}};
    while (!pending.empty()) {
        auto [a, b] = pending.back();
        pending.pop_back();
        for (; a != nullptr && b != nullptr; a = a->GetNextSibling(), b = b->GetNextSibling()) {
            if (!IsEqualNode(*a, *b))
                return false;
            for (int list = 0; list < c_childListCount; ++list) {
                auto const type = static_cast<NodeChildListType>(list);
                if (a->HasChildren(type) || b->HasChildren(type))
                    pending.emplace_back(a->GetFirstChild(type), b->GetFirstChild(type));
            }
        }
        if (a != b)
            return false;
    }
    return true;
}

} // namespace

ExportedDrawing Exporter::Run(std::vector<Kernel::Counted<Node>> const& nodes, std::vector<Matrix> const& toSpread,
                              Kernel::RectT<double> const& area) {
    Prepare(nodes);
    for (std::size_t i = 0; i < m_symbols.size(); ++i) {
        Node const& symbol = *m_symbols[i];
        std::string const& id = m_symbolIds.at(&symbol);
        Node const* const only = symbol.GetFirstChild(NodeChildListType::Plain);
        if (only != nullptr && only->GetNextSibling() == nullptr) {
            Write({only, {}, std::nullopt, id});
            // The one name that the element has is its content's.
            if (symbol.GetDescription(false) != only->GetDescription(false))
                m_report.Add("name of a symbol", Describe(symbol));
        } else {
            m_out.Open("g");
            m_out.Attribute("id", id);
            m_out.EndStart();
            WriteTitle(m_out, symbol, id);
            for (Node const* child = only; child != nullptr; child = child->GetNextSibling())
                Write({child, {}, std::nullopt, {}});
            m_out.Close("g");
        }
    }
    std::string const symbols = m_out.Take();
    m_out = {};
    for (std::size_t i = 0; i < nodes.size(); ++i)
        Write({nodes[i].get(), {}, toSpread[i], {}});
    std::string const body = m_out.Take();

    XmlWriter drawing;
    drawing.Raw("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    drawing.Open("svg");
    drawing.Attribute("xmlns", "http://www.w3.org/2000/svg");
    drawing.Attribute("xmlns:xlink", "http://www.w3.org/1999/xlink");
    drawing.Attribute("version", "1.1");
    drawing.Attribute("width", area.GetWidth());
    drawing.Attribute("height", area.GetHeight());
    if (area.left != 0 || area.top != 0)
        drawing.Attribute("viewBox", FormatNumber(area.left) + ' ' + FormatNumber(area.top) + ' ' +
                                         FormatNumber(area.GetWidth()) + ' ' + FormatNumber(area.GetHeight()));
    drawing.EndStart();
    if (!m_definitions.empty() || !symbols.empty()) {
        drawing.Raw("<defs>\n");
        drawing.Raw(m_definitions);
        drawing.Raw(symbols);
        drawing.Raw("</defs>\n");
    }
    drawing.Raw(body);
    drawing.Close("svg");
    return {drawing.Take(), std::move(m_report)};
}

void Exporter::Prepare(std::vector<Kernel::Counted<Node>> const& nodes) {
    std::vector<Node const*> pending;
    for (auto const& node : nodes)
        Visit(*node, pending);
    // Symbols may show other symbols; the list grows while it is walked.
    for (std::size_t i = 0; i < m_symbols.size(); ++i) {
        Node const* const symbol = m_symbols[i];
        for (Node const* child = symbol->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            Visit(*child, pending);
    }
    for (Node const* const symbol : m_symbols) {
        Node const* const only = symbol->GetFirstChild(NodeChildListType::Plain);
        Node const& named = only->GetNextSibling() == nullptr ? *only : *symbol;
        std::string id = FindId(named, {});
        m_symbolIds[symbol] = id.empty() ? MakeId("symbol") : std::move(id);
    }
}

void Exporter::Visit(Node const& top, std::vector<Node const*>& pending) {
    pending.push_back(&top);
    while (!pending.empty()) {
        Node const& node = *pending.back();
        pending.pop_back();
        ++m_nodeCount;
        m_work.CheckAbort();
        Kernel::String const name = node.GetDescription(false);
        Node const* const symbol = FindShownSymbol(node);
        // The name that an instance has from its symbol is the id of what it refers to.
        bool const isMask = Kernel::CastPointer<MaskNode const>(&node) != nullptr;
        if (IsPlainId(name.view()) && !isMask && (symbol == nullptr || name != symbol->GetDescription(false)))
            m_names.emplace(name.ToStdString(), &node);
        for (Node const* caption = node.GetLastChild(NodeChildListType::Captions); caption != nullptr;
             caption = caption->GetPreviousSibling())
            pending.push_back(caption);
        for (Node const* mask = node.GetLastChild(NodeChildListType::Masks); mask != nullptr;
             mask = mask->GetPreviousSibling())
            pending.push_back(mask);
        if (symbol != nullptr) {
            if (m_symbolIds.emplace(symbol, std::string()).second)
                m_symbols.push_back(symbol);
            continue;
        }
        for (Node const* child = node.GetLastChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetPreviousSibling())
            pending.push_back(child);
    }
}

Node const* Exporter::FindShownSymbol(Node const& node) {
    auto const source = node.GetLinkSource();
    auto const* const symbol = Kernel::CastPointer<SymbolNode const>(static_cast<Node const*>(source.get()));
    if (symbol == nullptr || !symbol->HasChildren(NodeChildListType::Plain) ||
        !HasEqualChildren(node, *symbol, NodeChildListType::Plain))
        return nullptr;
    return symbol;
}

void Exporter::Write(Step top) {
    std::vector<Step> pending;
    pending.push_back(std::move(top));
    while (!pending.empty()) {
        Step const step = std::move(pending.back());
        pending.pop_back();
        if (step.node == nullptr) {
            m_out.Close(step.close);
            continue;
        }
        FollowWork();
        PushCaptions(step, pending);
        if (auto const* const artboard = AsPage(*step.node)) {
            if (OpenArtboard(*artboard, step))
                pending.push_back({nullptr, "g", std::nullopt, {}});
            pending.push_back({nullptr, "svg", std::nullopt, {}});
            PushChildren(*step.node, pending);
            continue;
        }
        WriteNode(step);
        bool const isOpen = Kernel::CastPointer<CurvesNode const>(step.node) == nullptr &&
                            Kernel::CastPointer<TextNode const>(step.node) == nullptr &&
                            Kernel::CastPointer<RasterNode const>(step.node) == nullptr &&
                            Kernel::CastPointer<GeneratedImageNode const>(step.node) == nullptr &&
                            Kernel::CastPointer<SceneNode const>(step.node) != nullptr &&
                            FindShownSymbol(*step.node) == nullptr;
        if (!isOpen)
            continue;
        pending.push_back({nullptr, "g", std::nullopt, {}});
        if (auto const* box = Kernel::CastPointer<CloudSyncedNode const>(step.node)) {
            if (auto const contents = box->GetBoxContents(); contents && contents->GetParent() == nullptr)
                pending.push_back({contents.get(), {}, std::nullopt, {}});
        }
        PushChildren(*step.node, pending);
    }
}

void Exporter::PushChildren(Node const& node, std::vector<Step>& pending) {
    for (Node const* child = node.GetLastChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetPreviousSibling())
        pending.push_back({child, {}, std::nullopt, {}});
}

// Captions are written behind their object, which may be clipped, and in the space around it.
void Exporter::PushCaptions(Step const& step, std::vector<Step>& pending) {
    auto const* const scene = Kernel::CastPointer<SceneNode const>(step.node);
    if (scene == nullptr || !scene->IsVisible() || scene->GetOpacity() == 0)
        return;
    Matrix const matrix = step.matrix.value_or(scene->GetMatrix());
    for (Node const* caption = scene->GetLastChild(NodeChildListType::Captions); caption != nullptr;
         caption = caption->GetPreviousSibling()) {
        if (auto const* const captioning = Kernel::CastPointer<SceneNode const>(caption))
            pending.push_back({caption, {}, matrix * captioning->GetMatrix(), {}});
    }
}

// An artboard that clips its content to a box that can be written.
ArtboardNode const* Exporter::AsPage(Node const& node) {
    auto const* const artboard = Kernel::CastPointer<ArtboardNode const>(&node);
    if (artboard == nullptr || !artboard->IsArtboardEnabled())
        return nullptr;
    auto const box = artboard->GetArtboardBox();
    bool const isFinite =
        std::isfinite(box.left) && std::isfinite(box.top) && std::isfinite(box.right) && std::isfinite(box.bottom);
    return isFinite && !box.IsEmpty() ? artboard : nullptr;
}

bool Exporter::OpenArtboard(ArtboardNode const& artboard, Step const& step) {
    CountUnsupported(artboard);
    auto const box = artboard.GetArtboardBox();
    Matrix const matrix = step.matrix.value_or(artboard.GetMatrix());
    // An `svg` element has a place, and no other transform.
    bool const isMoved = matrix == Matrix{1, 0, matrix.tx, 0, 1, matrix.ty};
    if (!isMoved) {
        m_out.Open("g");
        if (IsFinite(matrix))
            m_out.Attribute("transform", matrix);
        m_out.EndStart();
    }
    m_out.Open("svg");
    m_out.Attribute("x", box.left + (isMoved ? matrix.tx : 0));
    m_out.Attribute("y", box.top + (isMoved ? matrix.ty : 0));
    m_out.Attribute("width", box.GetWidth());
    m_out.Attribute("height", box.GetHeight());
    m_out.Attribute("viewBox", FormatNumber(box.left) + ' ' + FormatNumber(box.top) + ' ' +
                                   FormatNumber(box.GetWidth()) + ' ' + FormatNumber(box.GetHeight()));
    WriteCommon(artboard, {&artboard, {}, Matrix{}, step.id});
    m_out.EndStart();
    WriteTitle(m_out, artboard, FindId(artboard, step));
    if (auto const fill = artboard.GetBrushFillDescriptor(true); fill && !fill->IsFillNone()) {
        auto const definition = Kernel::MakeCounted<RectangleShape>();
        definition->box = box;
        auto const background = Kernel::MakeCounted<ShapeNode>(definition);
        background->SetBrushFillDescriptor(fill);
        WriteShape(*background, {background.get(), {}, std::nullopt, {}});
    }
    return !isMoved;
}

void Exporter::FollowWork() {
    constexpr std::size_t c_nodesPerUpdate = 64;
    m_work.CheckAbort();
    if (++m_writtenNodes % c_nodesPerUpdate == 0)
        m_work.Update(static_cast<float>(std::min(m_writtenNodes, m_nodeCount)) / static_cast<float>(m_nodeCount));
}

void Exporter::WriteNode(Step const& step) {
    auto const* const scene = Kernel::CastPointer<SceneNode const>(step.node);
    if (scene == nullptr)
        return;
    CountUnsupported(*scene);
    if (auto const* raster = Kernel::CastPointer<RasterNode const>(step.node))
        return WriteBitmap(*raster, raster->GetBitmap().get(), step);
    if (auto const* image = Kernel::CastPointer<ImageNode const>(step.node))
        return WriteBitmap(*image, image->GetImage().get(), step);
    if (auto const* generated = Kernel::CastPointer<GeneratedImageNode const>(step.node)) {
        Step placed = step;
        if (auto const toNode = generated->GetShownTransform(); !toNode.IsIdentity())
            placed.matrix = step.matrix.value_or(generated->GetMatrix()) * toNode;
        return WriteBitmap(*generated, generated->GetShownBitmap().get(), placed);
    }
    if (auto const* curves = Kernel::CastPointer<CurvesNode const>(step.node))
        return WriteShape(*curves, step);
    if (auto const* text = Kernel::CastPointer<TextNode const>(step.node))
        return WriteText(*text, step);
    if (Node const* const symbol = FindShownSymbol(*step.node)) {
        m_out.Open("use");
        WriteCommon(*scene, step);
        m_out.Attribute("xlink:href", "#" + m_symbolIds.at(symbol));
        return EndLeaf(*scene, step, "use");
    }
    m_out.Open("g");
    WriteCommon(*scene, step);
    m_out.EndStart();
    WriteTitle(m_out, *scene, FindId(*scene, step));
}

void Exporter::WriteShape(CurvesNode const& node, Step const& step) {
    if (auto const outline = FindLineOutline(node))
        return WriteShapeWithOutline(node, *outline, step);
    std::string_view const element = ChooseElement(node);
    m_out.Open(element);
    WriteCommon(node, step);
    WritePaints(node);
    WriteGeometry(m_out, node, element, "fill-rule");
    EndLeaf(node, step, element);
}

void Exporter::WriteCommon(SceneNode const& node, Step const& step) {
    if (std::string const id = FindId(node, step); !id.empty())
        m_out.Attribute("id", id);
    Matrix const matrix = step.matrix.value_or(node.GetMatrix());
    if (!matrix.IsIdentity() && IsFinite(matrix))
        m_out.Attribute("transform", matrix);
    if (!node.IsVisible())
        m_out.Attribute("display", "none");
    if (node.GetOpacity() != 1)
        m_out.Attribute("opacity", node.GetOpacity());
    // Opacity isolates by itself (Compositing 1, section 2.2).
    WriteBlending(node.GetBlendMode(), node.IsIsolated() && node.GetOpacity() == 1);
    if (!node.GetFilterEffects().empty())
        WriteFilters(node);
    if (node.HasChildren(NodeChildListType::Masks))
        if (std::string const mask = DefineMasks(node); !mask.empty())
            m_out.Attribute("mask", "url(#" + mask + ")");
    if (node.HasChildren(NodeChildListType::Clipping))
        if (std::string const clip = DefineClip(node, {}); !clip.empty())
            m_out.Attribute("clip-path", "url(#" + clip + ")");
}

std::string_view Exporter::GetBlendModeName(Renderer::BlendMode mode) {
    auto const number = static_cast<std::size_t>(mode);
    return number < std::size(c_blendModes) ? c_blendModes[number] : std::string_view();
}

void Exporter::WriteBlending(Renderer::BlendMode mode, bool isIsolated) {
    auto const number = static_cast<std::size_t>(mode);
    if (number != 0 && number < std::size(c_blendModes))
        m_out.Attribute("style", "mix-blend-mode:" + std::string(c_blendModes[number]));
    else if (number == 0 && isIsolated)
        m_out.Attribute("style", "isolation:isolate");
}

void Exporter::EndLeaf(Node const& node, Step const& step, std::string_view element) {
    XmlWriter title;
    WriteTitle(title, node, FindId(node, step));
    if (title.GetText().empty())
        return m_out.EndEmpty();
    m_out.EndStart();
    m_out.Raw(title.GetText());
    m_out.Close(element);
}

void Exporter::WriteTitle(XmlWriter& out, Node const& node, std::string_view id) {
    Kernel::String const name = node.GetDescription(false);
    if (name.view() == id)
        return;
    // An instance that says nothing gets the name of its symbol.
    if (id.empty() && node.GetLinkSource() != nullptr) {
        Node const* const symbol = FindShownSymbol(node);
        if (symbol != nullptr && name == symbol->GetDescription(false))
            return;
    }
    out.Raw("<title>");
    out.Text(name.view());
    out.Close("title");
}

std::string Exporter::FindId(Node const& node, Step const& step) const {
    if (!step.id.empty())
        return step.id;
    Kernel::String const name = node.GetDescription(false);
    auto const found = m_names.find(name.ToStdString());
    return found != m_names.end() && found->second == &node ? found->first : std::string();
}

void Exporter::CountUnsupported(SceneNode const& node) {
    if (static_cast<std::size_t>(node.GetBlendMode()) >= std::size(c_blendModes))
        m_report.Add("blend mode", Describe(node));
    if (node.HasChildren(NodeChildListType::Adjustments))
        m_report.Add("effect", Describe(node));
}

std::string Exporter::MakeId(std::string_view kind) {
    std::size_t& counter = m_counters.emplace(kind, 0).first->second;
    std::string id;
    do {
        id = std::string(kind) + std::to_string(++counter);
    } while (m_names.contains(id));
    return id;
}

std::string Exporter::Define(std::string_view element, std::string_view kind, std::string const& rest) {
    std::string const content = std::string(element) + rest;
    auto const found = m_idsByContent.find(content);
    if (found != m_idsByContent.end())
        return found->second;
    std::string id = MakeId(kind);
    m_definitions += '<';
    m_definitions += element;
    m_definitions += " id=\"" + id + '"' + rest;
    m_idsByContent.emplace(content, id);
    return id;
}

std::string Exporter::Describe(Node const& node) { return node.GetDescription(true).ToStdString(); }

ExportedDrawing ExportSpread(SpreadNode const& spread, Work const& work) {
    std::vector<Kernel::Counted<Node>> nodes;
    std::vector<Matrix> matrices;
    for (Node* child = spread.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        nodes.emplace_back(child);
        matrices.push_back(child->GetBaseToSpreadTransform());
    }
    return Exporter(work, GetDocumentProfiles(spread)).Run(nodes, matrices, spread.GetBaseBox(false));
}

ExportedDrawing ExportNodes(std::vector<Kernel::Counted<Node>> const& nodes, Work const& work) {
    Kernel::RectT<double> area;
    std::vector<Matrix> matrices;
    for (auto const& node : nodes) {
        area = area.United(node->GetBounds(true));
        matrices.push_back(node->GetBaseToSpreadTransform());
    }
    // A drawing of nothing has a size all the same, for without one it could not be read.
    if (area.IsEmpty() || !std::isfinite(area.GetWidth()) || !std::isfinite(area.GetHeight()))
        area = {0, 0, 1, 1};
    auto const profiles = nodes.empty() ? Raster::ICCProfileSet() : GetDocumentProfiles(*nodes.front());
    return Exporter(work, profiles).Run(nodes, matrices, area);
}

} // namespace Formats::Svg
