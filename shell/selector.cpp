// SPDX-License-Identifier: Apache-2.0
#include "shell/selector.h"

#include "shell/failure.h"
#include "shell/values.h"

#include <algorithm>
#include <unordered_set>

namespace Shell {

namespace {

constexpr std::string_view c_none = "none", c_all = "all";

// Nodes in order, each once.
class Found {
public:
    void Add(Node& node) {
        if (m_known.insert(&node).second)
            m_nodes.emplace_back(&node);
    }
    std::vector<Kernel::Counted<Node>> Take() { return std::move(m_nodes); }

private:
    std::vector<Kernel::Counted<Node>> m_nodes;
    std::unordered_set<Node const*> m_known;
};

template <class F>
void ForEachOnSpreads(DocumentController& document, F const& visit) {
    for (auto const& spread : document.GetDocument()->GetSpreads())
        ForEachNode(*spread, visit);
}

Kernel::Counted<Node> FindById(DocumentController& document, std::string_view text) {
    std::string_view const number = text.substr(0, text.find('['));
    auto const id = ParseInteger(number, 1, std::numeric_limits<std::int64_t>::max());
    auto node = document.GetDocument()->FindNode(static_cast<NodeId>(id));
    if (!node || !node->IsInDocument())
        throw NoMatch("the document has no node #" + std::to_string(id));
    if (number.size() != text.size())
        throw ValueError("node #" + std::to_string(id) + " has no text to take a range of");
    return node;
}

bool IsNodeClass(std::string_view name) {
    auto const classes = Kernel::ClassRegistry::GetAll();
    return name.ends_with("Node") && std::any_of(classes.begin(), classes.end(),
                                                 [&](auto const* properties) { return properties->GetName() == name; });
}

void FindTerm(DocumentController& document, std::string_view term, Found& found) {
    constexpr std::string_view c_type = "type:";
    constexpr std::string_view c_name = "name:";
    if (term == c_none)
        return;
    if (term == c_all) {
        auto const spread = document.GetCurrentSpread();
        for (Node* child = spread->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            found.Add(*child);
    } else if (term.starts_with('#')) {
        found.Add(*FindById(document, term.substr(1)));
    } else if (term.starts_with(c_type)) {
        auto const type = term.substr(c_type.size());
        if (!IsNodeClass(type))
            throw ValueError("there is no node class " + Quote(type));
        ForEachOnSpreads(document, [&](Node& node) {
            if (node.GetTypeName() == type)
                found.Add(node);
        });
    } else if (term.starts_with(c_name)) {
        auto const name = term.substr(c_name.size());
        ForEachOnSpreads(document, [&](Node& node) {
            if (node.GetDescription(false).view() == name)
                found.Add(node);
        });
    } else {
        throw ValueError("needs a selector of the terms #ID, type:CLASS, name:TEXT, all and none, not " + Quote(term));
    }
}

} // namespace

std::vector<std::string> SplitTerms(std::string_view text) {
    std::vector<std::string> terms(1);
    for (std::size_t i = 0; i != text.size(); ++i) {
        if (text[i] == '\\' && i + 1 != text.size())
            terms.back() += text[++i];
        else if (text[i] == ',')
            terms.emplace_back();
        else
            terms.back() += text[i];
    }
    return terms;
}

std::vector<Kernel::Counted<Node>> FindNodes(DocumentController& document, std::string_view selector) {
    Found found;
    // A page may be empty.
    bool mayBeEmpty = false;
    for (auto const& term : SplitTerms(selector)) {
        mayBeEmpty = mayBeEmpty || Trim(term) == c_none || Trim(term) == c_all;
        FindTerm(document, Trim(term), found);
    }
    auto nodes = found.Take();
    if (nodes.empty() && !mayBeEmpty)
        throw NoMatch("no node matches " + Quote(selector));
    return nodes;
}

Kernel::Counted<Selection const> MakeSelection(DocumentController& document, std::string_view selector) {
    return Kernel::MakeCounted<Selection>(FindNodes(document, selector));
}

Kernel::Counted<Node> FindSymbol(DocumentController& document, std::string_view selector) {
    constexpr std::string_view c_name = "name:";
    std::vector<Kernel::Counted<Node>> symbols;
    for (int i = 0; i != document.GetSymbolCount(); ++i)
        symbols.push_back(document.GetSymbolAtIndex(i));
    auto const isMeant = [&](Kernel::Counted<Node> const& symbol) {
        if (selector.starts_with('#'))
            return selector.substr(1) == std::to_string(symbol->GetId());
        return symbol->GetDescription(false).view() == selector.substr(c_name.size());
    };
    if (!selector.starts_with('#') && !selector.starts_with(c_name))
        throw ValueError("needs a symbol, as #ID or name:TEXT, not " + Quote(selector));
    auto const count = std::count_if(symbols.begin(), symbols.end(), isMeant);
    if (count == 0)
        throw ValueError("the document has no symbol " + Quote(selector));
    if (count > 1)
        throw ValueError("the document has " + std::to_string(count) + " symbols " + Quote(selector) +
                         "; give one by #ID");
    return *std::find_if(symbols.begin(), symbols.end(), isMeant);
}

Kernel::Counted<SpreadNode> FindSpread(DocumentController& document, std::string_view number) {
    auto const spreads = document.GetDocument()->GetSpreads();
    auto const index = ParseInteger(number, 0, static_cast<std::int64_t>(spreads.size()) - 1);
    return spreads[static_cast<std::size_t>(index)];
}

} // namespace Shell
