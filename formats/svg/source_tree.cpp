// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/source_tree.h"

#include "formats/svg/source_text.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <pugixml.hpp>
#include <unordered_set>

namespace Formats::Svg {

namespace {

constexpr std::string_view c_svgNamespace = "http://www.w3.org/2000/svg";
constexpr std::string_view c_xlinkNamespace = "http://www.w3.org/1999/xlink";
constexpr std::string_view c_inkscapeNamespace = "http://www.inkscape.org/namespaces/inkscape";

struct QualifiedName {
    std::string_view prefix;
    std::string_view local;
};

QualifiedName Split(std::string_view name) {
    auto const colon = name.find(':');
    if (colon == std::string_view::npos)
        return {{}, name};
    return {name.substr(0, colon), name.substr(colon + 1)};
}

std::size_t LineAt(std::string_view text, std::size_t offset) {
    auto const end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
    return static_cast<std::size_t>(std::count(text.begin(), end, '\n')) + 1;
}

} // namespace

struct SourceTree::Xml {
    pugi::xml_document document;
    std::vector<pugi::xml_node> nodes;
};

// Lays the parsed elements out in document order, with namespaces resolved.
class SourceTree::Builder {
public:
    Builder(SourceTree& tree, DrawingLimits const& limits, Report& report)
        : m_tree(tree), m_limits(limits), m_report(report) {}

    void Build(pugi::xml_node root) {
        NodeIndex parent = c_noNode;
        pugi::xml_node node = root;
        while (node) {
            NodeIndex const added = Add(node, parent);
            if (pugi::xml_node const child = FirstElement(node.first_child())) {
                if (++m_depth > m_limits.depth)
                    throw Kernel::Exception("elements are nested more than " + std::to_string(m_limits.depth) +
                                            " deep");
                parent = added;
                m_previous = c_noNode;
                node = child;
                continue;
            }
            NodeIndex left = added;
            pugi::xml_node following = node == root ? pugi::xml_node() : FirstElement(node.next_sibling());
            Leave(left);
            while (!following && parent != c_noNode) {
                left = parent;
                --m_depth;
                node = node.parent();
                parent = m_tree.m_nodes[left].parent;
                following = node == root ? pugi::xml_node() : FirstElement(node.next_sibling());
                Leave(left);
            }
            m_previous = left;
            node = following;
        }
    }

private:
    struct Binding {
        NodeIndex node;
        std::string_view prefix;
    };

    static pugi::xml_node FirstElement(pugi::xml_node node) {
        while (node && node.type() != pugi::node_element)
            node = node.next_sibling();
        return node;
    }

    NodeIndex Add(pugi::xml_node xml, NodeIndex parent) {
        auto& nodes = m_tree.m_nodes;
        if (nodes.size() >= m_limits.elements)
            throw Kernel::Exception("the source has more than " + std::to_string(m_limits.elements) + " elements");
        auto const index = static_cast<NodeIndex>(nodes.size());
        Node node;
        node.parent = parent;
        node.previous = m_previous;
        node.attributesBegin = static_cast<std::uint32_t>(m_tree.m_attributes.size());
        Bind(xml, index);
        QualifiedName const name = Split(xml.name());
        bool const isSvg = IsSvg(name.prefix);
        node.kind = isSvg ? FindElementKind(name.local) : ElementKind::Foreign;
        if (m_previous != c_noNode)
            nodes[m_previous].next = index;
        nodes.push_back(node);
        m_tree.m_xml->nodes.push_back(xml);
        AddAttributes(xml, index);
        return index;
    }

    void Leave(NodeIndex node) {
        m_tree.m_nodes[node].last = static_cast<NodeIndex>(m_tree.m_nodes.size() - 1);
        while (!m_bindings.empty() && m_bindings.back().node == node) {
            m_uris[m_bindings.back().prefix].pop_back();
            m_bindings.pop_back();
        }
    }

    void Bind(pugi::xml_node xml, NodeIndex node) {
        for (pugi::xml_attribute const attribute : xml.attributes()) {
            std::string_view const name = attribute.name();
            if (name != "xmlns" && !name.starts_with("xmlns:"))
                continue;
            std::string_view const prefix = name == "xmlns" ? std::string_view() : name.substr(6);
            m_bindings.push_back({node, prefix});
            m_uris[prefix].push_back(attribute.value());
        }
    }

    std::string_view UriOf(std::string_view prefix) const {
        auto const found = m_uris.find(prefix);
        return found == m_uris.end() || found->second.empty() ? std::string_view() : found->second.back();
    }

    // A source that declares no namespace at all is read as SVG: old collections have many of them.
    bool IsSvg(std::string_view prefix) const {
        std::string_view const uri = UriOf(prefix);
        return uri == c_svgNamespace || (uri.empty() && (prefix.empty() || prefix == "svg"));
    }

    Name Resolve(QualifiedName const& name) const {
        if (name.prefix.empty())
            return FindName(name.local);
        if (name.prefix == "xml")
            return name.local == "space" ? Name::XmlSpace : name.local == "lang" ? Name::XmlLang : Name::Other;
        std::string_view const uri = UriOf(name.prefix);
        if (name.local == "href" && (uri == c_xlinkNamespace || (uri.empty() && name.prefix == "xlink")))
            return Name::Href;
        if (name.local == "label" && (uri == c_inkscapeNamespace || (uri.empty() && name.prefix == "inkscape")))
            return Name::Label;
        return Name::Other;
    }

    void AddAttributes(pugi::xml_node xml, NodeIndex index) {
        CheckUnique(xml, index);
        auto& attributes = m_tree.m_attributes;
        std::size_t const begin = attributes.size();
        for (pugi::xml_attribute const attribute : xml.attributes()) {
            QualifiedName const qualified = Split(attribute.name());
            Name const name = Resolve(qualified);
            if (name == Name::Other)
                continue;
            if (name == Name::Href) {
                // An href without a prefix goes before xlink:href, wherever it stands (SVG 2, section 16.1.5).
                auto const other = std::find_if(attributes.begin() + static_cast<std::ptrdiff_t>(begin),
                                                attributes.end(), [](auto& a) { return a.name == Name::Href; });
                if (other != attributes.end()) {
                    if (qualified.prefix.empty())
                        other->value = attribute.value();
                    continue;
                }
            }
            attributes.push_back({name, attribute.value()});
            if (name == Name::Id && *attribute.value() != '\0' &&
                !m_tree.m_ids.emplace(attribute.value(), index).second)
                m_report.Add("duplicate id", "#" + std::string(attribute.value()));
        }
    }

    void CheckUnique(pugi::xml_node xml, NodeIndex) {
        std::size_t count = 0;
        for ([[maybe_unused]] pugi::xml_attribute const attribute : xml.attributes())
            ++count;
        if (count < 2)
            return;
        constexpr std::size_t c_few = 24;
        bool repeated = false;
        if (count <= c_few) {
            for (pugi::xml_attribute a = xml.first_attribute(); a; a = a.next_attribute())
                for (pugi::xml_attribute b = a.next_attribute(); b; b = b.next_attribute())
                    repeated = repeated || std::string_view(a.name()) == b.name();
        } else {
            std::unordered_set<std::string_view> names;
            for (pugi::xml_attribute const attribute : xml.attributes())
                repeated = !names.insert(attribute.name()).second || repeated;
        }
        if (repeated)
            throw Kernel::Exception("an attribute of <" + Printable(xml.name(), 40) + "> is given twice");
    }

    SourceTree& m_tree;
    DrawingLimits const& m_limits;
    Report& m_report;
    // The declarations that hold here, outermost first, and what each prefix means, innermost last.
    std::vector<Binding> m_bindings;
    std::unordered_map<std::string_view, std::vector<std::string_view>> m_uris;
    NodeIndex m_previous = c_noNode;
    std::size_t m_depth = 0;
};

SourceTree::SourceTree(std::string_view bytes, DrawingLimits const& limits, Report& report)
    : m_text(ReadSourceText(bytes, limits, report)), m_xml(std::make_unique<Xml>()) {
    auto const flags = pugi::parse_default | pugi::parse_ws_pcdata_single;
    auto const result = m_xml->document.load_buffer_inplace(m_text.data(), m_text.size(), flags, pugi::encoding_utf8);
    if (!result) {
        // Parsing in place has changed the text; for the line it is read once more.
        Report ignored;
        std::string const text = ReadSourceText(bytes, limits, ignored);
        throw Kernel::Exception("line " + std::to_string(LineAt(text, static_cast<std::size_t>(result.offset))) + ": " +
                                result.description());
    }
    pugi::xml_node root;
    for (pugi::xml_node const child : m_xml->document.children()) {
        if (child.type() != pugi::node_element)
            continue;
        if (root)
            throw Kernel::Exception("there is more than one root element");
        root = child;
    }
    if (!root || Split(root.name()).local != "svg")
        throw Kernel::Exception("the root element is not svg");
    Builder(*this, limits, report).Build(root);
    if (m_nodes[0].kind != ElementKind::Svg)
        throw Kernel::Exception("the root element is svg of an unknown namespace");
}

SourceTree::~SourceTree() = default;

NodeIndex SourceTree::GetFirstChild(NodeIndex node) const { return m_nodes[node].last == node ? c_noNode : node + 1; }

bool SourceTree::IsWithin(NodeIndex node, NodeIndex ancestor) const {
    return node >= ancestor && node <= m_nodes[ancestor].last;
}

std::string_view SourceTree::GetLocalName(NodeIndex node) const { return Split(m_xml->nodes[node].name()).local; }

std::span<Attribute const> SourceTree::GetAttributes(NodeIndex node) const {
    std::size_t const begin = m_nodes[node].attributesBegin;
    std::size_t const end = node + 1 < m_nodes.size() ? m_nodes[node + 1].attributesBegin : m_attributes.size();
    return std::span(m_attributes).subspan(begin, end - begin);
}

std::optional<std::string_view> SourceTree::Find(NodeIndex node, Name name) const {
    for (Attribute const& attribute : GetAttributes(node))
        if (attribute.name == name)
            return attribute.value;
    return std::nullopt;
}

std::optional<std::string_view> SourceTree::FindByText(NodeIndex node, std::string_view qualifiedName) const {
    for (pugi::xml_attribute const attribute : m_xml->nodes[node].attributes())
        if (qualifiedName == attribute.name())
            return attribute.value();
    return std::nullopt;
}

std::string SourceTree::GetText(NodeIndex node) const {
    std::string text;
    for (pugi::xml_node const child : m_xml->nodes[node].children())
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            text += child.value();
    return text;
}

std::vector<SourceTree::Content> SourceTree::GetContent(NodeIndex node) const {
    std::vector<Content> content;
    NodeIndex child = GetFirstChild(node);
    for (pugi::xml_node const each : m_xml->nodes[node].children()) {
        if (each.type() == pugi::node_pcdata || each.type() == pugi::node_cdata) {
            content.push_back({each.value(), c_noNode});
        } else if (child != c_noNode && m_xml->nodes[child] == each) {
            content.push_back({{}, child});
            child = GetNextSibling(child);
        }
    }
    return content;
}

NodeIndex SourceTree::FindId(std::string_view id) const {
    auto const found = m_ids.find(id);
    return found == m_ids.end() ? c_noNode : found->second;
}

std::string SourceTree::Describe(NodeIndex node) const {
    std::string_view const id = GetId(node);
    return id.empty() ? "<" + std::string(GetLocalName(node)) + ">" : "#" + std::string(id);
}

} // namespace Formats::Svg
