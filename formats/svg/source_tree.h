// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/limits.h"
#include "formats/svg/names.h"
#include "formats/svg/report.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Formats::Svg {

using NodeIndex = std::uint32_t;
inline constexpr NodeIndex c_noNode = ~NodeIndex{0};

struct Attribute {
    Name name;
    std::string_view value;
};

// The elements of a source in document order, with the attributes that have a meaning. Every step through it is an
// index, so that no depth of nesting costs stack. Views into it live as long as the tree.
class SourceTree {
public:
    // Reads the bytes of an .svg or .svgz file. Throws Kernel::Exception on what is not well-formed XML with an `svg`
    // root, or costs more than the limits allow.
    SourceTree(std::string_view bytes, DrawingLimits const& limits, Report& report);
    SourceTree(SourceTree const&) = delete;
    SourceTree& operator=(SourceTree const&) = delete;
    ~SourceTree();

    NodeIndex GetRoot() const { return 0; }
    std::size_t GetCount() const { return m_nodes.size(); }
    ElementKind GetKind(NodeIndex node) const { return m_nodes[node].kind; }
    NodeIndex GetParent(NodeIndex node) const { return m_nodes[node].parent; }
    NodeIndex GetFirstChild(NodeIndex node) const;
    NodeIndex GetNextSibling(NodeIndex node) const { return m_nodes[node].next; }
    NodeIndex GetPreviousSibling(NodeIndex node) const { return m_nodes[node].previous; }
    // Whether `node` is `ancestor` or stands in it.
    bool IsWithin(NodeIndex node, NodeIndex ancestor) const;

    // Without its namespace prefix.
    std::string_view GetLocalName(NodeIndex node) const;
    std::span<Attribute const> GetAttributes(NodeIndex node) const;
    // Empty where the attribute is missing; an empty value is a view of size 0 that is not null.
    std::optional<std::string_view> Find(NodeIndex node, Name name) const;
    std::string_view GetId(NodeIndex node) const { return Find(node, Name::Id).value_or(std::string_view()); }
    // Any attribute, by its name as the source writes it.
    std::optional<std::string_view> FindByText(NodeIndex node, std::string_view qualifiedName) const;
    // The character data directly in the element, comments left out.
    std::string GetText(NodeIndex node) const;
    // Character data and child elements in their order; a child has no text here.
    struct Content {
        std::string text;
        NodeIndex child = c_noNode;
    };
    std::vector<Content> GetContent(NodeIndex node) const;
    // The first element with that id in document order, or c_noNode.
    NodeIndex FindId(std::string_view id) const;
    // For messages: `#id`, or `<name>` for an element without one.
    std::string Describe(NodeIndex node) const;

private:
    struct Node {
        NodeIndex parent = c_noNode;
        NodeIndex next = c_noNode;
        NodeIndex previous = c_noNode;
        // The last node that stands in this one, itself when there is none.
        NodeIndex last = 0;
        std::uint32_t attributesBegin = 0;
        ElementKind kind = ElementKind::Unknown;
    };
    struct Xml;
    class Builder;

    std::string m_text;
    std::unique_ptr<Xml> m_xml;
    std::vector<Node> m_nodes;
    std::vector<Attribute> m_attributes;
    std::unordered_map<std::string_view, NodeIndex> m_ids;
};

} // namespace Formats::Svg
