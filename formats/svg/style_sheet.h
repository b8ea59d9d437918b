// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/source_tree.h"

#include <deque>

namespace Formats::Svg {

struct Declaration {
    Name property;
    std::string_view value;
    bool important = false;
};

// Appends the declarations of a block or of a `style` attribute. Properties that have no meaning here and broken
// declarations are left out. The text must hold no comments; WithoutComments removes them.
void ParseDeclarations(std::string_view text, std::vector<Declaration>& out);
std::string WithoutComments(std::string_view css);

// The rules of a drawing's style sheets, after Selectors 3: type, universal, class, id, attribute selectors,
// :first-child and :root, joined by descendant, child and next-sibling combinators. At-rules and rules with other
// selectors are left out and counted.
class StyleSheet {
public:
    // Adds a sheet after those that were added before.
    void Add(std::string_view css, Report& report);
    bool IsEmpty() const { return m_rules.empty(); }

    // Appends the declarations of the rules that match, those of lower precedence first, important ones not moved.
    // `steps` is what matching may still cost; at 0 no more rules are found.
    void Match(SourceTree const& tree, NodeIndex node, std::uint64_t& steps, std::vector<Declaration>& out) const;

private:
    enum class Combinator : std::uint8_t { None, Descendant, Child, NextSibling };
    enum class AttributeTest : std::uint8_t { Present, Equals, Word, DashPrefix, Prefix, Suffix, Contains };
    struct AttributeCondition {
        AttributeTest test = AttributeTest::Present;
        std::string name;
        std::string value;
    };
    // One compound selector. The combinator joins it to the compound on its left.
    struct Compound {
        Combinator combinator = Combinator::None;
        bool firstChild = false;
        bool root = false;
        std::string type;
        std::string id;
        std::vector<std::string> classes;
        std::vector<AttributeCondition> attributes;
    };
    struct Rule {
        std::uint32_t specificity = 0;
        // From the subject leftwards.
        std::uint32_t compoundsBegin = 0;
        std::uint32_t compoundsEnd = 0;
        std::uint32_t declarationsBegin = 0;
        std::uint32_t declarationsEnd = 0;
    };
    using RuleIndex = std::uint32_t;
    using Buckets = std::unordered_map<std::string, std::vector<RuleIndex>>;
    class Parser;
    class Matcher;

    void AddRule(std::vector<Compound> compounds, std::uint32_t declarationsBegin);

    std::deque<std::string> m_texts;
    std::vector<Declaration> m_declarations;
    std::vector<Compound> m_compounds;
    std::vector<Rule> m_rules;
    // Rules by what their subject asks for first: an element meets only those that could match it.
    Buckets m_byId, m_byClass, m_byType;
    std::vector<RuleIndex> m_universal;
};

} // namespace Formats::Svg
