// SPDX-License-Identifier: Apache-2.0
#include "shell/selector.h"

#include "formats/text_pattern.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "shell/failure.h"
#include "shell/interrupt.h"
#include "shell/values.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace Shell {

namespace {

constexpr std::string_view c_none = "none", c_all = "all";

using TextRanges = std::vector<Story::SelectionRange>;

// Nodes in order, each once, with the parts of their texts.
class Found {
public:
    struct Entry {
        Kernel::Counted<Node> node;
        bool isWhole = false;
        TextRanges ranges = {};
    };
    void Add(Node& node) { GetEntry(node).isWhole = true; }
    void Add(Node& node, TextRanges const& ranges) {
        auto& entry = GetEntry(node);
        entry.ranges.insert(entry.ranges.end(), ranges.begin(), ranges.end());
    }
    std::vector<Entry> const& GetEntries() const { return m_entries; }

private:
    Entry& GetEntry(Node& node) {
        if (m_known.emplace(&node, m_entries.size()).second)
            m_entries.push_back({Kernel::Counted<Node>(&node)});
        return m_entries[m_known.at(&node)];
    }

    std::vector<Entry> m_entries;
    std::unordered_map<Node const*, std::size_t> m_known;
};

// In ascending order; what overlaps is one.
TextRanges Normalise(TextRanges ranges) {
    std::sort(ranges.begin(), ranges.end(), [](Story::SelectionRange const& a, Story::SelectionRange const& b) {
        return a.anchor != b.anchor ? a.anchor < b.anchor : a.end < b.end;
    });
    TextRanges normal;
    for (auto const& range : ranges) {
        bool const overlaps = !normal.empty() && (range.anchor < normal.back().end || range == normal.back());
        if (overlaps)
            normal.back().end = std::max(normal.back().end, range.end);
        else
            normal.push_back(range);
    }
    return normal;
}

template <class F>
void ForEachOnSpreads(DocumentController& document, F const& visit) {
    for (auto const& spread : document.GetDocument()->GetSpreads())
        ForEachNode(*spread, visit);
}

// A term `#ID`, or `#ID[RANGE]` with what stands in the brackets.
struct IdTerm {
    Kernel::Counted<Node> node;
    std::optional<std::string_view> range;
};

IdTerm FindById(DocumentController& document, std::string_view text) {
    auto const bracket = text.find('[');
    auto const id = ParseInteger(text.substr(0, bracket), 1, std::numeric_limits<std::int64_t>::max());
    IdTerm term{document.GetDocument()->FindNode(static_cast<NodeId>(id)), {}};
    if (!term.node || !term.node->IsInDocument())
        throw NoMatch("the document has no node #" + std::to_string(id));
    if (bracket == text.npos)
        return term;
    if (!text.ends_with(']'))
        throw ValueError("needs #ID[from:to] or #ID[/regex/] for a part of a text, not " +
                         Quote("#" + std::string(text)));
    term.range = text.substr(bracket + 1, text.size() - bracket - 2);
    return term;
}

// `from:to` in a text of so many characters. Either may be missing.
Story::SelectionRange ParseTextRange(std::string_view text, int length) {
    auto const colon = text.find(':');
    if (colon == text.npos)
        throw ValueError("needs from:to or /regex/ in the brackets, not " + Quote(text));
    auto const parse = [&](std::string_view number, int missing) {
        number = Trim(number);
        if (number.empty())
            return missing;
        auto const value = ParseInteger(number, 0, std::numeric_limits<std::int64_t>::max());
        if (value > length)
            throw ValueError("names a place behind the end of a text of " +
                             Count(static_cast<std::uint64_t>(length), "character", "characters") + ": " + Quote(text));
        return static_cast<int>(value);
    };
    Story::SelectionRange const range{parse(text.substr(0, colon), 0), parse(text.substr(colon + 1), length)};
    if (range.end < range.anchor)
        throw ValueError("needs a range that ends where it begins or behind, not " + Quote(text));
    return range;
}

TextRanges FindTextRanges(Story::Story const& story, std::string_view text) {
    if (text.size() < 2 || !text.starts_with('/') || !text.ends_with('/'))
        return {ParseTextRange(text, static_cast<int>(story.GetClientAll().end))};
    auto const expression = text.substr(1, text.size() - 2);
    TextRanges ranges;
    bool abort = false;
    Interrupt::Scope const interrupt(&abort);
    try {
        for (auto const& match : Formats::TextPattern(expression).FindAll(story, &abort))
            ranges.push_back({static_cast<int>(match.begin), static_cast<int>(match.end)});
    } catch (Kernel::AbortException const&) {
        RethrowAsFailure(ExitStatus::Usage, "--select");
    } catch (Kernel::Exception const& failure) {
        throw ValueError(expression.empty() ? std::string(failure.what()) : Quote(expression) + " " + failure.what());
    }
    return ranges;
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
        auto const byId = FindById(document, term.substr(1));
        if (!byId.range) {
            found.Add(*byId.node);
            return;
        }
        auto const* const text = Kernel::CastPointer<TextNode const>(byId.node.get());
        if (text == nullptr)
            throw ValueError("node #" + std::to_string(byId.node->GetId()) + " has no text to take a range of");
        if (auto const ranges = FindTextRanges(*text->GetStory(), *byId.range); !ranges.empty())
            found.Add(*byId.node, ranges);
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

// The terms of a selector. In a regular expression, which is between "[/" and "/]", commas and backslashes are its own.
std::vector<std::string> SplitSelector(std::string_view selector) {
    constexpr std::string_view c_begin = "[/", c_end = "/]";
    std::vector<std::string> terms;
    for (;;) {
        auto const blanks = std::min(selector.find_first_not_of(" \t\r\n"), selector.size());
        auto const digits = selector.starts_with('#') || selector.substr(blanks).starts_with('#') ? blanks + 1 : blanks;
        auto const bracket = selector.find_first_not_of("0123456789", digits);
        std::size_t end = selector.npos;
        if (digits != blanks && bracket != selector.npos && selector.substr(bracket).starts_with(c_begin)) {
            // The term ends at the first "/]" that a comma or the end stands behind.
            for (end = selector.find(c_end, bracket + c_begin.size()); end != selector.npos;
                 end = selector.find(c_end, end + 1)) {
                auto const rest = Trim(selector.substr(end + c_end.size()));
                if (rest.empty() || rest.starts_with(','))
                    break;
            }
        }
        if (end == selector.npos) {
            std::size_t comma = 0;
            while (comma < selector.size() && selector[comma] != ',')
                comma += selector[comma] == '\\' ? 2 : 1;
            comma = std::min(comma, selector.size());
            terms.push_back(SplitTerms(selector.substr(0, comma)).front());
            end = comma;
        } else {
            end += c_end.size();
            terms.emplace_back(selector.substr(0, end));
        }
        auto const comma = selector.find(',', end);
        if (comma == selector.npos)
            return terms;
        selector.remove_prefix(comma + 1);
    }
}

Found FindAll(DocumentController& document, std::string_view selector) {
    Found found;
    // A page may be empty.
    bool mayBeEmpty = false;
    for (auto const& term : SplitSelector(selector)) {
        mayBeEmpty = mayBeEmpty || Trim(term) == c_none || Trim(term) == c_all;
        FindTerm(document, Trim(term), found);
    }
    if (found.GetEntries().empty() && !mayBeEmpty)
        throw NoMatch((selector.find("[/") == selector.npos ? "no node matches " : "nothing matches ") +
                      Quote(selector));
    return found;
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
    std::vector<Kernel::Counted<Node>> nodes;
    auto const found = FindAll(document, selector);
    for (auto const& entry : found.GetEntries()) {
        if (!entry.isWhole)
            throw ValueError("takes whole nodes here, and no part of the text of #" +
                             std::to_string(entry.node->GetId()));
        nodes.push_back(entry.node);
    }
    return nodes;
}

Kernel::Counted<Selection const> MakeSelection(DocumentController& document, std::string_view selector) {
    Selection::Items items;
    auto const found = FindAll(document, selector);
    for (auto const& entry : found.GetEntries()) {
        Kernel::Counted<Selectable> const selectable(entry.node.get());
        if (entry.isWhole)
            items.push_back(Kernel::MakeCounted<SelectionItem>(selectable));
        else
            items.push_back(Kernel::MakeCounted<SubSelectionItem>(
                selectable, Kernel::MakeCounted<TextSelection>(Normalise(entry.ranges))));
    }
    return Kernel::MakeCounted<Selection>(std::move(items), false);
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
