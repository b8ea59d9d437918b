// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/drawing.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

// The size that CSS gives to a replaced element without one.
constexpr Kernel::SizeT<double> c_defaultPageSize{300, 150};
// Different `style` attributes that are kept as read; beyond so many reading starts anew.
constexpr std::size_t c_mostReadStyles = 4096;

} // namespace

Drawing::Drawing(std::string_view bytes, ReadOptions options)
    : m_options(std::move(options)),
      m_tree(bytes, m_options.limits, m_report),
      m_matchStepsLeft(m_options.limits.matchSteps) {
    ReadStyleSheets();
    auto context = std::make_shared<Context>();
    context->style = std::make_shared<InheritedStyle>();
    context->viewport = {0, 0, c_defaultPageSize.width, c_defaultPageSize.height};
    m_rootContext = context;
    ReadPageSize();
    context->viewport = {0, 0, m_pageSize.width, m_pageSize.height};
}

Drawing::~Drawing() = default;

void Drawing::ReadStyleSheets() {
    for (NodeIndex node = 0; node < m_tree.GetCount(); ++node) {
        if (m_tree.GetKind(node) != ElementKind::Style)
            continue;
        std::string const type = LowerCase(m_tree.Find(node, Name::Type).value_or("text/css"));
        if (!type.empty() && type != "text/css") {
            m_report.Add("style sheet of type " + Printable(type, 40));
            continue;
        }
        std::string const media = LowerCase(m_tree.Find(node, Name::Media).value_or("all"));
        if (!media.empty() && media.find("all") == std::string::npos && media.find("screen") == std::string::npos) {
            m_report.Add("style sheet for other media");
            continue;
        }
        m_styleSheet.Add(m_tree.GetText(node), m_report);
    }
}

void Drawing::ReadPageSize() {
    Element const root = GetRoot();
    m_rootFontSize = root.GetStyle().fontSize;
    auto const viewBoxText = root.Find(Name::ViewBox);
    auto const viewBox = viewBoxText ? ParseViewBox(*viewBoxText) : std::nullopt;
    auto given = [&](Name name) -> std::optional<Length> {
        auto const length = ParseLength(root.GetOwnStyle().GetGeometry(name), root.GetFontSizes());
        return length && length->value >= 0 ? length : std::nullopt;
    };
    auto const width = given(Name::Width), height = given(Name::Height);
    bool const hasWidth = width && !width->percent, hasHeight = height && !height->percent;
    Viewport const box = viewBox.value_or(Viewport{});
    bool const hasBox = box.width > 0 && box.height > 0;
    m_hasPageSize = hasBox || (hasWidth && hasHeight);
    m_pageSize = hasBox ? Kernel::SizeT<double>{box.width, box.height} : c_defaultPageSize;
    double const ratio = m_pageSize.width / m_pageSize.height;
    if (hasWidth && hasHeight)
        m_pageSize = {width->value, height->value};
    else if (hasWidth)
        m_pageSize = {width->value, width->value / ratio};
    else if (hasHeight)
        m_pageSize = {height->value * ratio, height->value};
    if (!(m_pageSize.width > 0 && m_pageSize.height > 0) || (viewBox.has_value() && !hasBox) || !std::isfinite(ratio) ||
        !std::isfinite(m_pageSize.width) || !std::isfinite(m_pageSize.height))
        throw Kernel::Exception("the drawing has no area");
}

Element Drawing::GetRoot() { return Element(*this, m_tree.GetRoot(), m_rootContext, false); }

Element Drawing::MakeElement(NodeIndex node, std::shared_ptr<ReferenceChain const> chain) {
    NodeIndex const parent = m_tree.GetParent(node);
    std::shared_ptr<Context const> const where = parent == c_noNode ? m_rootContext : GetChildContext(parent);
    if (!chain)
        return Element(*this, node, where, false);
    auto context = std::make_shared<Context>(*where);
    context->chain = std::move(chain);
    return Element(*this, node, std::move(context), false);
}

std::shared_ptr<Context const> Drawing::GetChildContext(NodeIndex parent) {
    std::vector<NodeIndex> pending;
    NodeIndex node = parent;
    while (node != c_noNode && !m_childContexts.contains(node)) {
        pending.push_back(node);
        node = m_tree.GetParent(node);
    }
    std::shared_ptr<Context const> context = node == c_noNode ? m_rootContext : m_childContexts.at(node);
    for (auto next = pending.rbegin(); next != pending.rend(); ++next) {
        context = Element(*this, *next, context, false).MakeChildContext();
        m_childContexts.emplace(*next, context);
    }
    return context;
}

std::vector<Declaration> const& Drawing::CollectDeclarations(NodeIndex node) {
    m_collected.clear();
    for (Attribute const& attribute : m_tree.GetAttributes(node))
        if (IsPresentationAttribute(attribute.name))
            m_collected.push_back({attribute.name, attribute.value, false});
    if (!m_styleSheet.IsEmpty() && m_matchStepsLeft != 0) {
        m_styleSheet.Match(m_tree, node, m_matchStepsLeft, m_collected);
        if (m_matchStepsLeft == 0)
            m_report.Add("style sheets that take too long to match", m_tree.Describe(node));
    }
    if (auto const style = m_tree.Find(node, Name::Style)) {
        auto const& declared = ReadStyleAttribute(*style);
        m_collected.insert(m_collected.end(), declared.begin(), declared.end());
    }
    std::stable_partition(m_collected.begin(), m_collected.end(), [](Declaration const& d) { return !d.important; });
    return m_collected;
}

std::vector<Declaration> const& Drawing::ReadStyleAttribute(std::string_view style) {
    auto const found = m_readStyles.find(style);
    if (found != m_readStyles.end())
        return found->second;
    if (m_readStyles.size() >= c_mostReadStyles)
        m_readStyles.clear();
    auto& declarations = m_readStyles[style];
    bool const hasComments = style.find("/*") != std::string_view::npos;
    ParseDeclarations(hasComments ? m_keptTexts.emplace_back(WithoutComments(style)) : style, declarations);
    return declarations;
}

// SVG 1.1, section 5.8. Required features are not asked for: SVG 2 took them away.
bool Drawing::MeetsConditions(NodeIndex node) const {
    if (auto const extensions = m_tree.Find(node, Name::RequiredExtensions); extensions)
        return false;
    auto const wanted = m_tree.Find(node, Name::SystemLanguage);
    if (!wanted)
        return true;
    Scanner scanner(*wanted);
    while (!scanner.IsAtEnd()) {
        std::string_view const tag = Trimmed(scanner.TakeUntil(","));
        scanner.Take(',');
        for (std::string const& language : m_options.languages) {
            std::string_view const start = tag.substr(0, language.size());
            if (!tag.empty() && EqualsIgnoringCase(start, language) &&
                (tag.size() == language.size() || tag[language.size()] == '-'))
                return true;
        }
    }
    return false;
}

void Drawing::CountInstance() {
    if (++m_instances > m_options.limits.instances)
        throw Kernel::Exception("references make more than " + std::to_string(m_options.limits.instances) +
                                " elements");
}

} // namespace Formats::Svg
