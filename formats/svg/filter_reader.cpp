// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/filter_reader.h"

#include "formats/svg/filter_functions.h"
#include "formats/svg/import_paint.h"
#include "formats/svg/keyword.h"
#include "formats/svg/paint_server.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

using Renderer::FilterPrimitive;
using Renderer::FilterPrimitiveKind;
using Renderer::TransferFunction;
using Renderer::TransferKind;

constexpr Keyword<FilterPrimitiveKind> c_primitives[] = {
    {"feGaussianBlur", FilterPrimitiveKind::GaussianBlur},
    {"feOffset", FilterPrimitiveKind::Offset},
    {"feFlood", FilterPrimitiveKind::Flood},
    {"feBlend", FilterPrimitiveKind::Blend},
    {"feMerge", FilterPrimitiveKind::Merge},
    {"feColorMatrix", FilterPrimitiveKind::ColourMatrix},
    {"feComposite", FilterPrimitiveKind::Composite},
    {"feDropShadow", FilterPrimitiveKind::DropShadow},
    {"feComponentTransfer", FilterPrimitiveKind::ComponentTransfer}};
constexpr Keyword<Renderer::CompositeOperator> c_operators[] = {
    {"over", Renderer::CompositeOperator::Over},
    {"in", Renderer::CompositeOperator::In},
    {"out", Renderer::CompositeOperator::Out},
    {"atop", Renderer::CompositeOperator::Atop},
    {"xor", Renderer::CompositeOperator::Xor},
    {"lighter", Renderer::CompositeOperator::Lighter},
    {"arithmetic", Renderer::CompositeOperator::Arithmetic}};
constexpr Keyword<TransferKind> c_transfers[] = {{"identity", TransferKind::Identity},
                                                 {"table", TransferKind::Table},
                                                 {"discrete", TransferKind::Discrete},
                                                 {"linear", TransferKind::Linear},
                                                 {"gamma", TransferKind::Gamma}};
// Inputs that nothing here stands for.
constexpr std::string_view c_foreignInputs[] = {"BackgroundImage", "BackgroundAlpha", "FillPaint", "StrokePaint"};
// Filters that take over from filters, one after another.
constexpr int c_maximumTemplates = 16;
// More different filters than this are read each time that they are met.
constexpr std::size_t c_maximumKnown = 4096;

std::vector<double> ParseNumbers(std::string_view text) {
    constexpr std::size_t c_most = 4096;
    std::vector<double> numbers;
    Scanner scanner(Trimmed(text));
    while (!scanner.IsAtEnd() && numbers.size() < c_most) {
        auto const number = scanner.TakeNumber();
        if (!number)
            return {};
        numbers.push_back(*number);
        scanner.SkipCommaSpace();
    }
    return numbers;
}

} // namespace

// Reads the primitives of one filter.
class FilterReader::ElementReader {
public:
    ElementReader(Drawing& drawing, Element const& user)
        : m_drawing(drawing), m_tree(drawing.GetTree()), m_user(user) {}

    FilterPointer Read(NodeIndex filter) {
        FindTemplates(filter);
        Renderer::FilterSettings settings;
        settings.isRegionOfBox =
            ParseUnits(Find(Name::FilterUnits), Units::ObjectBoundingBox) == Units::ObjectBoundingBox;
        settings.arePrimitivesOfBox =
            ParseUnits(Find(Name::PrimitiveUnits), Units::UserSpaceOnUse) == Units::ObjectBoundingBox;
        Viewport const& viewport = m_user.GetViewport();
        auto resolve = [&](Name name, double missing, double whole) {
            auto const text = Find(name);
            auto const length = ParseLength(text.value_or(std::string_view()), m_user.GetFontSizes());
            return length.value_or(Length{missing, true}).Resolve(settings.isRegionOfBox ? 1 : whole);
        };
        settings.left = resolve(Name::X, -10, viewport.width);
        settings.top = resolve(Name::Y, -10, viewport.height);
        settings.width = resolve(Name::Width, 120, viewport.width);
        settings.height = resolve(Name::Height, 120, viewport.height);
        NodeIndex const withPrimitives = FindPrimitives();
        for (NodeIndex child = withPrimitives == c_noNode ? c_noNode : m_tree.GetFirstChild(withPrimitives);
             child != c_noNode; child = m_tree.GetNextSibling(child)) {
            if (!m_tree.GetLocalName(child).starts_with("fe"))
                continue;
            auto primitive = ReadPrimitive(child, settings.arePrimitivesOfBox);
            if (!primitive || !CheckInputs(*primitive))
                return {};
            settings.primitives.push_back(std::move(*primitive));
            if (settings.primitives.size() > Renderer::Filter::c_maximumPrimitives) {
                Count("more than 256 primitives");
                return {};
            }
        }
        return Kernel::MakeCounted<Renderer::Filter>(std::move(settings));
    }

private:
    void FindTemplates(NodeIndex filter) {
        for (int i = 0; i != c_maximumTemplates && filter != c_noNode; ++i) {
            m_templates.push_back(filter);
            std::string_view const reference = Trimmed(m_tree.Find(filter, Name::Href).value_or(std::string_view()));
            filter = reference.starts_with('#') ? m_tree.FindId(reference.substr(1)) : c_noNode;
            if (filter != c_noNode && (m_tree.GetKind(filter) != ElementKind::Filter ||
                                       std::find(m_templates.begin(), m_templates.end(), filter) != m_templates.end()))
                break;
        }
    }
    std::optional<std::string_view> Find(Name name) const {
        for (NodeIndex const node : m_templates)
            if (auto const value = m_tree.Find(node, name))
                return value;
        return std::nullopt;
    }
    NodeIndex FindPrimitives() const {
        for (NodeIndex const node : m_templates)
            if (m_tree.GetFirstChild(node) != c_noNode)
                return node;
        return c_noNode;
    }

    void Count(std::string_view reason) {
        m_drawing.GetReport().Add("filter with " + std::string(reason), m_user.Describe());
    }

    std::string_view GetText(NodeIndex node, std::string_view name) const {
        return Trimmed(m_tree.FindByText(node, name).value_or(std::string_view()));
    }
    double GetNumber(NodeIndex node, std::string_view name, double missing) const {
        return ParseNumber(GetText(node, name)).value_or(missing);
    }
    void CountInvalid(NodeIndex node, std::string_view name) {
        m_drawing.GetReport().Add("invalid value of " + std::string(name), m_tree.Describe(node));
    }

    std::optional<FilterPrimitive> ReadPrimitive(NodeIndex node, bool isOfBox) {
        FilterPrimitive p;
        if (!SetKeyword(c_primitives, m_tree.GetLocalName(node), p.kind)) {
            Count(Printable(m_tree.GetLocalName(node), 40));
            return std::nullopt;
        }
        Element const element = m_drawing.MakeElement(node, nullptr);
        p.isLinear = element.GetStyle().areFiltersLinear;
        p.result = Kernel::String(GetText(node, "result"));
        ReadSides(element, isOfBox, p);
        p.inputs.emplace_back(GetText(node, "in"));
        switch (p.kind) {
        case FilterPrimitiveKind::GaussianBlur:
            ReadDeviations(node, "", p);
            break;
        case FilterPrimitiveKind::DropShadow:
            ReadDeviations(node, "2", p);
            ReadColour(element, p);
            p.offsetX = GetNumber(node, "dx", 2);
            p.offsetY = GetNumber(node, "dy", 2);
            break;
        case FilterPrimitiveKind::Offset:
            p.offsetX = GetNumber(node, "dx", 0);
            p.offsetY = GetNumber(node, "dy", 0);
            break;
        case FilterPrimitiveKind::Flood:
            p.inputs.clear();
            ReadColour(element, p);
            break;
        case FilterPrimitiveKind::Blend:
            p.inputs.emplace_back(GetText(node, "in2"));
            p.blendMode =
                static_cast<Renderer::BlendMode>(ParseMixMode(GetText(node, "mode")).value_or(MixMode::Normal));
            break;
        case FilterPrimitiveKind::Merge:
            p.inputs.clear();
            for (NodeIndex child = m_tree.GetFirstChild(node); child != c_noNode; child = m_tree.GetNextSibling(child))
                if (m_tree.GetLocalName(child) == "feMergeNode")
                    p.inputs.emplace_back(GetText(child, "in"));
            break;
        case FilterPrimitiveKind::ColourMatrix:
            ReadMatrix(node, p);
            break;
        case FilterPrimitiveKind::Composite:
            p.inputs.emplace_back(GetText(node, "in2"));
            SetKeyword(c_operators, GetText(node, "operator"), p.compositeOperator);
            if (p.compositeOperator == Renderer::CompositeOperator::Arithmetic)
                p.numbers = {GetNumber(node, "k1", 0), GetNumber(node, "k2", 0), GetNumber(node, "k3", 0),
                             GetNumber(node, "k4", 0)};
            break;
        case FilterPrimitiveKind::ComponentTransfer:
            ReadTransfers(node, p);
            break;
        }
        return p;
    }

    bool CheckInputs(FilterPrimitive const& primitive) {
        for (auto const& input : primitive.inputs) {
            if (std::find(std::begin(c_foreignInputs), std::end(c_foreignInputs), input.view()) !=
                std::end(c_foreignInputs)) {
                Count(input.view());
                return false;
            }
        }
        return true;
    }

    void ReadSides(Element const& element, bool isOfBox, FilterPrimitive& p) const {
        Viewport const& viewport = m_user.GetViewport();
        struct Side {
            Name name;
            double whole;
            double* target;
            std::uint32_t bit;
        };
        for (Side const& side :
             {Side{Name::X, viewport.width, &p.left, 1}, Side{Name::Y, viewport.height, &p.top, 2},
              Side{Name::Width, viewport.width, &p.width, 4}, Side{Name::Height, viewport.height, &p.height, 8}}) {
            auto const length = ParseLength(element.GetOwnStyle().GetGeometry(side.name), element.GetFontSizes());
            if (!length)
                continue;
            *side.target = length->Resolve(isOfBox ? 1 : side.whole);
            p.givenSides |= side.bit;
        }
    }

    void ReadDeviations(NodeIndex node, std::string_view missing, FilterPrimitive& p) {
        std::string_view const text = GetText(node, "stdDeviation");
        auto const numbers = ParseNumbers(text.empty() ? missing : text);
        bool const isValid =
            numbers.size() <= 2 && std::all_of(numbers.begin(), numbers.end(), [](double v) { return v >= 0; });
        if (!isValid || (numbers.empty() && !text.empty()))
            CountInvalid(node, "stdDeviation");
        if (!isValid || numbers.empty())
            return;
        p.deviationX = numbers.front();
        p.deviationY = numbers.back();
    }

    static void ReadColour(Element const& element, FilterPrimitive& p) {
        OwnStyle const& style = element.GetOwnStyle();
        Rgba colour = style.floodIsCurrentColour ? element.GetStyle().colour : style.floodColour;
        colour.alpha *= style.floodOpacity;
        p.colour = ToColour(colour, element.GetDrawing().GetOptions().profiles);
    }

    void ReadMatrix(NodeIndex node, FilterPrimitive& p) {
        std::string_view const type = GetText(node, "type");
        auto const numbers = ParseNumbers(GetText(node, "values"));
        if (type.empty() || type == "matrix") {
            p.numbers = numbers.size() == 20 ? numbers : std::vector<double>();
            if (numbers.size() != 20 && m_tree.FindByText(node, "values"))
                CountInvalid(node, "values");
        } else if (type == "saturate") {
            p.numbers = MakeSaturation(numbers.size() == 1 ? numbers[0] : 1);
        } else if (type == "hueRotate") {
            constexpr double c_radians = 3.14159265358979323846 / 180;
            p.numbers = MakeHueRotation((numbers.size() == 1 ? numbers[0] : 0) * c_radians);
        } else if (type == "luminanceToAlpha") {
            p.numbers.assign(20, 0);
            p.numbers[15] = 0.2125;
            p.numbers[16] = 0.7154;
            p.numbers[17] = 0.0721;
        } else {
            CountInvalid(node, "type");
        }
    }

    void ReadTransfers(NodeIndex node, FilterPrimitive& p) {
        static constexpr std::string_view c_functions[] = {"feFuncR", "feFuncG", "feFuncB", "feFuncA"};
        p.transfers.resize(4);
        for (NodeIndex child = m_tree.GetFirstChild(node); child != c_noNode; child = m_tree.GetNextSibling(child)) {
            auto const found = std::find(std::begin(c_functions), std::end(c_functions), m_tree.GetLocalName(child));
            if (found == std::end(c_functions))
                continue;
            // The last one of each counts.
            TransferFunction f;
            SetKeyword(c_transfers, GetText(child, "type"), f.kind);
            if (f.kind == TransferKind::Table || f.kind == TransferKind::Discrete)
                f.values = ParseNumbers(GetText(child, "tableValues"));
            else if (f.kind == TransferKind::Linear)
                f.values = {GetNumber(child, "slope", 1), GetNumber(child, "intercept", 0)};
            else if (f.kind == TransferKind::Gamma)
                f.values = {GetNumber(child, "amplitude", 1), GetNumber(child, "exponent", 1),
                            GetNumber(child, "offset", 0)};
            if (f.kind != TransferKind::Linear && f.kind != TransferKind::Gamma && f.values.empty())
                f.kind = TransferKind::Identity;
            p.transfers[static_cast<std::size_t>(found - std::begin(c_functions))] = std::move(f);
        }
    }

    Drawing& m_drawing;
    SourceTree const& m_tree;
    Element const& m_user;
    // The filter, and those that it takes over from.
    std::vector<NodeIndex> m_templates;
};

FilterReader::FilterPointer FilterReader::ReadElement(Element const& user, std::string_view id) {
    SourceTree const& tree = m_drawing.GetTree();
    NodeIndex const node = tree.FindId(id);
    if (node == c_noNode || tree.GetKind(node) != ElementKind::Filter) {
        m_drawing.GetReport().Add("missing target of filter", user.Describe());
        return {};
    }
    if (m_known.size() >= c_maximumKnown)
        m_known.clear();
    auto const key = std::make_tuple(id, user.GetViewport().width, user.GetViewport().height);
    auto const known = m_known.find(key);
    // One that cannot be taken over is read again, so that it is counted for each element.
    if (known != m_known.end() && known->second)
        return known->second;
    return m_known[key] = ElementReader(m_drawing, user).Read(node);
}

std::vector<Kernel::Counted<Kernel::Serialisable>> FilterReader::Read(Element const& user) {
    constexpr std::size_t c_most = 64;
    std::vector<Kernel::Counted<Kernel::Serialisable>> effects;
    Scanner scanner(Trimmed(user.GetOwnStyle().filter));
    auto const fail = [&](std::string_view reason) {
        m_drawing.GetReport().Add(reason, user.Describe());
        return std::vector<Kernel::Counted<Kernel::Serialisable>>();
    };
    while (!scanner.IsAtEnd()) {
        std::string_view const name = scanner.TakeIdentifier();
        if (!scanner.Take('('))
            return fail("invalid value of filter");
        // Colours have parentheses of their own.
        std::string_view const rest = scanner.GetRest();
        std::size_t length = 0;
        for (int depth = 1; length < rest.size(); ++length) {
            depth += rest[length] == '(' ? 1 : rest[length] == ')' ? -1 : 0;
            if (depth == 0)
                break;
        }
        std::string_view const arguments = rest.substr(0, length);
        scanner.Advance(length);
        if (!scanner.Take(')') || effects.size() >= c_most)
            return fail("invalid value of filter");
        scanner.SkipSpace();
        if (!EqualsIgnoringCase(name, "url")) {
            auto const primitive = ParseFilterFunction(name, arguments, user);
            if (!primitive)
                return fail("invalid value of filter");
            // Style sheets give functions no region.
            constexpr double c_far = 1e6;
            Renderer::FilterSettings settings;
            settings.isRegionOfBox = false;
            settings.left = settings.top = -c_far;
            settings.width = settings.height = 2 * c_far;
            settings.primitives.push_back(*primitive);
            effects.emplace_back(Kernel::MakeCounted<Renderer::Filter>(std::move(settings)));
            continue;
        }
        bool isExternal = false;
        auto const id = ParseLocalUrl("url(" + std::string(arguments) + ")", &isExternal);
        if (!id)
            return fail(isExternal ? "external reference" : "invalid value of filter");
        // The view above ends with its text; the argument's own lives as long as the drawing.
        std::string_view const kept = arguments.substr(arguments.find('#') + 1, id->size());
        auto const filter = ReadElement(user, kept);
        if (!filter)
            return {};
        effects.emplace_back(filter);
    }
    return effects;
}

} // namespace Formats::Svg
