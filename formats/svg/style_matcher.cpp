// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/scanner.h"
#include "formats/svg/style_sheet.h"

#include <algorithm>

namespace Formats::Svg {

// Matches rules against one element.
class StyleSheet::Matcher {
public:
    Matcher(StyleSheet const& sheet, SourceTree const& tree, std::uint64_t& steps)
        : m_sheet(sheet), m_tree(tree), m_steps(steps) {}

    // A selector is a row of rigid runs (compounds joined by child and sibling combinators) with descendant combinators
    // between them. Taking the nearest ancestor for each run is enough: it leaves the most ancestors to the next one.
    bool Matches(Rule const& rule, NodeIndex node) {
        std::uint32_t at = rule.compoundsBegin;
        auto place = MatchRun(rule, at, node);
        while (place && at < rule.compoundsEnd) {
            std::optional<NodeIndex> next;
            for (NodeIndex ancestor = m_tree.GetParent(*place); ancestor != c_noNode && !next;
                 ancestor = m_tree.GetParent(ancestor)) {
                std::uint32_t runEnd = at;
                next = MatchRun(rule, runEnd, ancestor);
                if (next)
                    at = runEnd;
                if (m_steps == 0)
                    return false;
            }
            place = next;
        }
        return place.has_value();
    }

private:
    // Matches compounds from `at` until a descendant combinator; moves `at` behind them. Returns the leftmost element.
    std::optional<NodeIndex> MatchRun(Rule const& rule, std::uint32_t& at, NodeIndex node) {
        for (;;) {
            Compound const& compound = m_sheet.m_compounds[at];
            if (!MatchesCompound(compound, node))
                return std::nullopt;
            ++at;
            if (at == rule.compoundsEnd || compound.combinator == Combinator::Descendant)
                return node;
            node = compound.combinator == Combinator::Child ? m_tree.GetParent(node) : m_tree.GetPreviousSibling(node);
            if (node == c_noNode)
                return std::nullopt;
        }
    }

    bool Step() {
        if (m_steps == 0)
            return false;
        --m_steps;
        return true;
    }

    bool MatchesCompound(Compound const& compound, NodeIndex node) {
        if (!Step())
            return false;
        if (!compound.id.empty() && m_tree.GetId(node) != compound.id)
            return false;
        if (compound.firstChild && (m_tree.GetPreviousSibling(node) != c_noNode || m_tree.GetParent(node) == c_noNode))
            return false;
        if (compound.root && node != m_tree.GetRoot())
            return false;
        if (!compound.type.empty() &&
            (m_tree.GetLocalName(node) != compound.type || m_tree.GetKind(node) == ElementKind::Foreign))
            return false;
        return HasClasses(compound, node) &&
               std::all_of(compound.attributes.begin(), compound.attributes.end(),
                           [&](AttributeCondition const& condition) { return HasAttribute(condition, node); });
    }

    bool HasClasses(Compound const& compound, NodeIndex node) {
        if (compound.classes.empty())
            return true;
        std::string_view const list = m_tree.Find(node, Name::Class).value_or(std::string_view());
        return std::all_of(compound.classes.begin(), compound.classes.end(),
                           [&](std::string const& name) { return HasWord(list, name); });
    }

    bool HasWord(std::string_view list, std::string_view word) {
        Scanner scanner(list);
        for (;;) {
            scanner.SkipSpace();
            if (scanner.IsAtEnd() || !Step())
                return false;
            if (scanner.TakeUntil(" \t\r\n\f") == word)
                return true;
        }
    }

    bool HasAttribute(AttributeCondition const& condition, NodeIndex node) {
        auto const found = m_tree.FindByText(node, condition.name);
        if (!found || !Step())
            return false;
        std::string_view const value = *found;
        std::string const& wanted = condition.value;
        switch (condition.test) {
        case AttributeTest::Present:
            return true;
        case AttributeTest::Equals:
            return value == wanted;
        case AttributeTest::Word:
            return !wanted.empty() && HasWord(value, wanted);
        case AttributeTest::DashPrefix:
            return value == wanted ||
                   (value.starts_with(wanted) && value.size() > wanted.size() && value[wanted.size()] == '-');
        case AttributeTest::Prefix:
            return !wanted.empty() && value.starts_with(wanted);
        case AttributeTest::Suffix:
            return !wanted.empty() && value.ends_with(wanted);
        case AttributeTest::Contains:
            return !wanted.empty() && value.find(wanted) != std::string_view::npos;
        }
        return false;
    }

    StyleSheet const& m_sheet;
    SourceTree const& m_tree;
    std::uint64_t& m_steps;
};

void StyleSheet::Match(SourceTree const& tree, NodeIndex node, std::uint64_t& steps,
                       std::vector<Declaration>& out) const {
    if (m_rules.empty() || steps == 0)
        return;
    std::vector<RuleIndex> found;
    Matcher matcher(*this, tree, steps);
    auto meet = [&](std::vector<RuleIndex> const& candidates) {
        for (RuleIndex const index : candidates)
            if (matcher.Matches(m_rules[index], node))
                found.push_back(index);
    };
    auto meetBucket = [&](Buckets const& buckets, std::string_view key) {
        if (buckets.empty() || key.empty())
            return;
        if (auto const bucket = buckets.find(std::string(key)); bucket != buckets.end())
            meet(bucket->second);
    };
    meet(m_universal);
    meetBucket(m_byType, tree.GetLocalName(node));
    meetBucket(m_byId, tree.GetId(node));
    if (!m_byClass.empty()) {
        std::vector<std::string_view> classes;
        Scanner scanner(tree.Find(node, Name::Class).value_or(std::string_view()));
        for (scanner.SkipSpace(); !scanner.IsAtEnd(); scanner.SkipSpace())
            classes.push_back(scanner.TakeUntil(" \t\r\n\f"));
        std::sort(classes.begin(), classes.end());
        classes.erase(std::unique(classes.begin(), classes.end()), classes.end());
        for (std::string_view const name : classes)
            meetBucket(m_byClass, name);
    }
    std::sort(found.begin(), found.end(), [this](RuleIndex a, RuleIndex b) {
        return std::pair(m_rules[a].specificity, a) < std::pair(m_rules[b].specificity, b);
    });
    for (RuleIndex const index : found) {
        auto const begin = m_declarations.begin();
        out.insert(out.end(), begin + m_rules[index].declarationsBegin, begin + m_rules[index].declarationsEnd);
    }
}

} // namespace Formats::Svg
