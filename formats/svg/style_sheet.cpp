// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/style_sheet.h"

#include "formats/svg/scanner.h"

#include <algorithm>
#include <optional>

namespace Formats::Svg {

namespace {

// The length of a quoted string at the start of a text, its marks included. An escaped mark does not end it.
std::size_t QuotedLength(std::string_view text) {
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '\\')
            ++i;
        else if (text[i] == text[0])
            return i + 1;
    }
    return text.size();
}

// The place of the first of `ends` that stands outside quotations and brackets, or the end. One pass, no recursion.
std::size_t FindOutside(std::string_view text, std::string_view ends) {
    std::size_t depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        // Letters and digits, most of the text, mean nothing here.
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            continue;
        if (depth == 0 && ends.find(c) != std::string_view::npos)
            return i;
        if (c == '"' || c == '\'')
            i += QuotedLength(text.substr(i)) - 1;
        else if (c == '\\')
            ++i;
        else if (c == '(' || c == '[' || c == '{')
            ++depth;
        else if ((c == ')' || c == ']' || c == '}') && depth > 0)
            --depth;
    }
    return text.size();
}

void AppendCharacter(std::string& out, std::uint32_t c) {
    if (c == 0 || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000))
        c = 0xFFFD;
    auto trail = [&out](std::uint32_t bits) { out += static_cast<char>(0x80 | (bits & 0x3F)); };
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        trail(c);
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        trail(c >> 6);
        trail(c);
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        trail(c >> 12);
        trail(c >> 6);
        trail(c);
    }
}

// The character that a backslash at the start of the scanner's text stands for (CSS Syntax 3, section 4.3.7).
void TakeEscape(Scanner& scanner, std::string& out) {
    scanner.Advance(1);
    std::uint32_t value = 0;
    int digits = 0;
    while (digits < 6) {
        auto const digit = HexDigit(scanner.Peek());
        if (!digit)
            break;
        value = value * 16 + *digit;
        scanner.Advance(1);
        ++digits;
    }
    if (digits == 0) {
        if (!scanner.IsAtEnd())
            out += scanner.Peek();
        scanner.Advance(1);
        return;
    }
    if (IsSpace(scanner.Peek()))
        scanner.Advance(1);
    AppendCharacter(out, value);
}

std::string TakeEscapedIdentifier(Scanner& scanner) {
    std::string identifier;
    for (;;) {
        identifier += scanner.TakeIdentifier();
        if (scanner.Peek() != '\\')
            return identifier;
        TakeEscape(scanner, identifier);
    }
}

std::string Unquoted(std::string_view quoted) {
    std::string text;
    Scanner scanner(quoted.substr(1, quoted.size() < 2 ? 0 : quoted.size() - 2));
    while (!scanner.IsAtEnd()) {
        text += scanner.TakeUntil("\\");
        if (!scanner.IsAtEnd())
            TakeEscape(scanner, text);
    }
    return text;
}

} // namespace

std::string WithoutComments(std::string_view css) {
    std::string out;
    out.reserve(css.size());
    std::size_t at = 0;
    while (at < css.size()) {
        if (css[at] == '"' || css[at] == '\'') {
            std::size_t const length = QuotedLength(css.substr(at));
            out += css.substr(at, length);
            at += length;
        } else if (css.substr(at, 2) == "/*") {
            auto const end = css.find("*/", at + 2);
            at = end == std::string_view::npos ? css.size() : end + 2;
            out += ' ';
        } else {
            out += css[at++];
        }
    }
    return out;
}

void ParseDeclarations(std::string_view text, std::vector<Declaration>& out) {
    while (!text.empty()) {
        std::size_t const length = FindOutside(text, ";");
        std::string_view const declaration = text.substr(0, length);
        text.remove_prefix(std::min(length + 1, text.size()));
        auto const colon = declaration.find(':');
        if (colon == std::string_view::npos)
            continue;
        Name const property = FindName(LowerCase(Trimmed(declaration.substr(0, colon))));
        if (!IsProperty(property))
            continue;
        std::string_view value = Trimmed(declaration.substr(colon + 1));
        bool important = false;
        if (auto const mark = value.rfind('!');
            mark != std::string_view::npos && EqualsIgnoringCase(Trimmed(value.substr(mark + 1)), "important")) {
            important = true;
            value = Trimmed(value.substr(0, mark));
        }
        if (!value.empty())
            out.push_back({property, value, important});
    }
}

// Reads one sheet into the rules.
class StyleSheet::Parser {
public:
    Parser(StyleSheet& sheet, std::string_view css, Report& report) : m_sheet(sheet), m_css(css), m_report(report) {}

    void Parse() {
        for (;;) {
            SkipBetweenRules();
            if (m_css.empty())
                return;
            if (m_css.front() == '@')
                SkipAtRule();
            else
                ParseRule();
        }
    }

private:
    void SkipBetweenRules() {
        for (;;) {
            m_css = Trimmed(m_css);
            if (m_css.starts_with("<!--"))
                m_css.remove_prefix(4);
            else if (m_css.starts_with("-->"))
                m_css.remove_prefix(3);
            else if (m_css.starts_with("}") || m_css.starts_with(";"))
                m_css.remove_prefix(1);
            else
                return;
        }
    }

    void SkipAtRule() {
        Scanner scanner(m_css.substr(1));
        std::string const name = LowerCase(scanner.TakeIdentifier());
        m_report.Add("style rule @" + Printable(name, 24));
        std::size_t const length = FindOutside(m_css, ";{");
        bool const hasBlock = length < m_css.size() && m_css[length] == '{';
        m_css.remove_prefix(std::min(length + 1, m_css.size()));
        if (hasBlock)
            TakeBlock();
    }

    // Behind the opening brace; returns what stands before the closing one.
    std::string_view TakeBlock() {
        std::size_t const length = FindOutside(m_css, "}");
        std::string_view const block = m_css.substr(0, length);
        m_css.remove_prefix(std::min(length + 1, m_css.size()));
        return block;
    }

    void ParseRule() {
        std::size_t const length = FindOutside(m_css, "{");
        std::string_view selectors = m_css.substr(0, length);
        m_css.remove_prefix(std::min(length + 1, m_css.size()));
        auto const begin = static_cast<std::uint32_t>(m_sheet.m_declarations.size());
        ParseDeclarations(TakeBlock(), m_sheet.m_declarations);
        while (!selectors.empty()) {
            std::size_t const end = FindOutside(selectors, ",");
            std::vector<Compound> compounds;
            if (ParseSelector(selectors.substr(0, end), compounds))
                m_sheet.AddRule(std::move(compounds), begin);
            else
                m_report.Add("style selector", Trimmed(selectors.substr(0, end)));
            selectors.remove_prefix(std::min(end + 1, selectors.size()));
        }
    }

    static bool ParseSelector(std::string_view text, std::vector<Compound>& compounds) {
        Scanner scanner(Trimmed(text));
        auto combinator = Combinator::None;
        while (!scanner.IsAtEnd()) {
            Compound compound;
            compound.combinator = combinator;
            if (!ParseCompound(scanner, compound))
                return false;
            compounds.push_back(std::move(compound));
            bool const spaced = IsSpace(scanner.Peek());
            scanner.SkipSpace();
            if (scanner.IsAtEnd())
                break;
            if (scanner.Take('>'))
                combinator = Combinator::Child;
            else if (scanner.Take('+'))
                combinator = Combinator::NextSibling;
            else if (spaced)
                combinator = Combinator::Descendant;
            else
                return false;
            scanner.SkipSpace();
            if (scanner.IsAtEnd())
                return false;
        }
        return !compounds.empty();
    }

    static bool ParseCompound(Scanner& scanner, Compound& compound) {
        std::string_view const before = scanner.GetRest();
        if (!scanner.Take('*'))
            compound.type = TakeEscapedIdentifier(scanner);
        if (scanner.Take('|')) {
            // A namespace before the type; all elements that matter are SVG's.
            if (!scanner.Take('*'))
                compound.type = TakeEscapedIdentifier(scanner);
            else
                compound.type.clear();
        }
        for (;;) {
            if (scanner.Take('#')) {
                std::string id = TakeEscapedIdentifier(scanner);
                if (id.empty() || (!compound.id.empty() && compound.id != id))
                    return false;
                compound.id = std::move(id);
            } else if (scanner.Take('.')) {
                compound.classes.push_back(TakeEscapedIdentifier(scanner));
                if (compound.classes.back().empty())
                    return false;
            } else if (scanner.Take('[')) {
                if (!ParseAttribute(scanner, compound.attributes))
                    return false;
            } else if (scanner.Take(':')) {
                std::string const name = LowerCase(scanner.TakeIdentifier());
                if (name == "first-child")
                    compound.firstChild = true;
                else if (name == "root")
                    compound.root = true;
                else
                    return false;
            } else {
                return scanner.GetRest().size() != before.size();
            }
        }
    }

    static bool ParseAttribute(Scanner& scanner, std::vector<AttributeCondition>& conditions) {
        struct Operator {
            char mark;
            AttributeTest test;
        };
        static constexpr Operator c_operators[] = {{'~', AttributeTest::Word},
                                                   {'|', AttributeTest::DashPrefix},
                                                   {'^', AttributeTest::Prefix},
                                                   {'$', AttributeTest::Suffix},
                                                   {'*', AttributeTest::Contains}};
        AttributeCondition condition;
        scanner.SkipSpace();
        condition.name = TakeEscapedIdentifier(scanner);
        // A prefix is written with a bar here and with a colon in the source.
        if (scanner.Peek() == '|' && !scanner.GetRest().starts_with("|=")) {
            scanner.Advance(1);
            condition.name += ':' + TakeEscapedIdentifier(scanner);
        }
        scanner.SkipSpace();
        if (condition.name.empty())
            return false;
        if (!scanner.Take(']')) {
            condition.test = AttributeTest::Equals;
            for (Operator const& known : c_operators)
                if (scanner.Take(known.mark)) {
                    condition.test = known.test;
                    break;
                }
            if (!scanner.Take('='))
                return false;
            scanner.SkipSpace();
            if (scanner.Peek() == '"' || scanner.Peek() == '\'') {
                std::size_t const length = QuotedLength(scanner.GetRest());
                condition.value = Unquoted(scanner.GetRest().substr(0, length));
                scanner.Advance(length);
            } else {
                condition.value = TakeEscapedIdentifier(scanner);
                if (condition.value.empty())
                    return false;
            }
            scanner.SkipSpace();
            if (!scanner.Take(']'))
                return false;
        }
        conditions.push_back(std::move(condition));
        return true;
    }

    StyleSheet& m_sheet;
    std::string_view m_css;
    Report& m_report;
};

void StyleSheet::Add(std::string_view css, Report& report) {
    m_texts.push_back(WithoutComments(css));
    Parser(*this, m_texts.back(), report).Parse();
}

void StyleSheet::AddRule(std::vector<Compound> compounds, std::uint32_t declarationsBegin) {
    auto const declarationsEnd = static_cast<std::uint32_t>(m_declarations.size());
    if (declarationsBegin == declarationsEnd)
        return;
    std::size_t ids = 0, classes = 0, types = 0;
    for (Compound const& compound : compounds) {
        ids += compound.id.empty() ? 0 : 1;
        classes += compound.classes.size() + compound.attributes.size() + compound.firstChild + compound.root;
        types += compound.type.empty() ? 0 : 1;
    }
    auto capped = [](std::size_t count) { return static_cast<std::uint32_t>(std::min<std::size_t>(count, 1023)); };
    Rule rule;
    rule.specificity = capped(ids) << 20 | capped(classes) << 10 | capped(types);
    rule.compoundsBegin = static_cast<std::uint32_t>(m_compounds.size());
    // The combinator of a compound joins it to its left neighbour: the order is turned, the meaning stays.
    std::move(compounds.rbegin(), compounds.rend(), std::back_inserter(m_compounds));
    rule.compoundsEnd = static_cast<std::uint32_t>(m_compounds.size());
    rule.declarationsBegin = declarationsBegin;
    rule.declarationsEnd = declarationsEnd;
    auto const index = static_cast<RuleIndex>(m_rules.size());
    m_rules.push_back(rule);
    Compound const& subject = m_compounds[rule.compoundsBegin];
    if (!subject.id.empty())
        m_byId[subject.id].push_back(index);
    else if (!subject.classes.empty())
        m_byClass[subject.classes.front()].push_back(index);
    else if (!subject.type.empty())
        m_byType[subject.type].push_back(index);
    else
        m_universal.push_back(index);
}

} // namespace Formats::Svg
