// SPDX-License-Identifier: Apache-2.0
#include "shell/arguments.h"

#include "shell/failure.h"
#include "shell/nearest.h"
#include "shell/values.h"

#include <algorithm>
#include <array>

namespace Shell {

namespace {

// Of every verb.
constexpr std::array<OptionSpec, 2> c_commonOptions{
    {{"--json", "", "answers with one JSON value", false}, {"--help", "", "tells how the verb is called", false}}};
constexpr OptionSpec c_trusted{"--trusted", "", "runs the document's stored commands unchecked", false};
constexpr std::string_view c_document = "DOC";

bool IsOption(std::string_view word) { return word.size() > 1 && word.front() == '-'; }

std::string FormatOption(OptionSpec const& option) {
    std::string text(option.name);
    if (!option.value.empty())
        text += " " + std::string(option.value);
    return text;
}

std::string FormatPositional(PositionalSpec const& positional) {
    std::string const name(positional.name);
    switch (positional.times) {
    case PositionalSpec::Times::Once:
        return name;
    case PositionalSpec::Times::Optional:
        return "[" + name + "]";
    case PositionalSpec::Times::Any:
        return "[" + name + "]...";
    case PositionalSpec::Times::OnceOrMore:
        return name + "...";
    }
    return name;
}

} // namespace

Arguments::Arguments(Usage const& usage, std::span<std::string const> words, bool inScript) : m_usage(&usage) {
    std::vector<std::string> positionals;
    bool optionsEnded = false;
    for (std::size_t i = 0; i != words.size(); ++i) {
        if (optionsEnded || !IsOption(words[i]))
            positionals.push_back(words[i]);
        else if (words[i] == "--")
            optionsEnded = true;
        else
            i += TakeOption(words, i);
    }
    if (!Has("--help"))
        TakePositionals(std::move(positionals), inScript);
}

OptionSpec const& Arguments::FindOption(std::string_view name) const {
    if (name == "-h")
        name = "--help";
    auto const isIt = [name](OptionSpec const& option) { return option.name == name; };
    auto const own = std::find_if(m_usage->options.begin(), m_usage->options.end(), isIt);
    if (own != m_usage->options.end())
        return *own;
    if (m_usage->onDocument && isIt(c_trusted))
        return c_trusted;
    auto const common = std::find_if(c_commonOptions.begin(), c_commonOptions.end(), isIt);
    if (common != c_commonOptions.end())
        return *common;
    std::vector<std::string_view> names;
    for (auto const& option : GetAllOptions(*m_usage))
        names.push_back(option.name);
    auto const nearest = SuggestNearest(name, names);
    throw Failure(ExitStatus::Usage, std::string(m_usage->verb),
                  "no option " + Quote(name) + (nearest.empty() ? "; usage: " + FormatUsage(*m_usage) : nearest));
}

// How many further words the option took.
std::size_t Arguments::TakeOption(std::span<std::string const> words, std::size_t index) {
    std::string_view const word = words[index];
    auto const equals = word.starts_with("--") ? word.find('=') : word.npos;
    auto const& option = FindOption(word.substr(0, equals));
    bool const isGiven = equals != word.npos;
    std::string const subject(option.name);
    if (Has(option.name))
        throw Failure(ExitStatus::Usage, subject, "is given twice");
    auto& values = m_values[subject];
    if (option.value.empty()) {
        if (isGiven)
            throw Failure(ExitStatus::Usage, subject, "takes no value");
        return 0;
    }
    if (isGiven) {
        values.emplace_back(word.substr(equals + 1));
        return 0;
    }
    if (index + 1 == words.size())
        throw Failure(ExitStatus::Usage, subject, "needs a value: " + FormatOption(option));
    values.push_back(words[index + 1]);
    return 1;
}

void Arguments::TakePositionals(std::vector<std::string> words, bool inScript) {
    auto const missing = [this](std::string_view name) {
        return Failure(ExitStatus::Usage, std::string(m_usage->verb),
                       std::string(name) + " is missing; usage: " + FormatUsage(*m_usage));
    };
    auto next = words.begin();
    bool const isElsewhere = !m_usage->insteadOfDocument.empty() && Has(m_usage->insteadOfDocument);
    if (m_usage->onDocument && !inScript && !isElsewhere) {
        if (next == words.end())
            throw missing(c_document);
        m_document = *next++;
    }
    for (auto const& positional : m_usage->positionals) {
        using Times = PositionalSpec::Times;
        bool const isList = positional.times == Times::Any || positional.times == Times::OnceOrMore;
        if (next == words.end()) {
            if (positional.times == Times::Once || positional.times == Times::OnceOrMore)
                throw missing(positional.name);
            continue;
        }
        auto const end = isList ? words.end() : next + 1;
        m_values[std::string(positional.name)].assign(next, end);
        next = end;
    }
    if (next != words.end()) {
        throw Failure(ExitStatus::Usage, std::string(m_usage->verb),
                      Quote(*next) + " is one word too many; usage: " + FormatUsage(*m_usage));
    }
}

std::optional<std::string> Arguments::Find(std::string_view name) const {
    auto const found = m_values.find(name);
    if (found == m_values.end() || found->second.empty())
        return std::nullopt;
    return found->second.front();
}

std::string const& Arguments::Get(std::string_view name) const {
    auto const found = m_values.find(name);
    if (found == m_values.end() || found->second.empty())
        throw Failure(ExitStatus::Usage, std::string(m_usage->verb),
                      std::string(name) + " is missing; usage: " + FormatUsage(*m_usage));
    return found->second.front();
}

std::vector<std::string> const& Arguments::GetAll(std::string_view name) const {
    static std::vector<std::string> const s_none;
    auto const found = m_values.find(name);
    return found == m_values.end() ? s_none : found->second;
}

std::string FormatUsage(Usage const& usage) {
    std::string text = "redraft " + std::string(usage.verb);
    if (!usage.insteadOfDocument.empty())
        text += " DOC|" + std::string(usage.insteadOfDocument);
    else if (usage.onDocument)
        text += " DOC";
    for (auto const& positional : usage.positionals)
        text += " " + FormatPositional(positional);
    for (auto const& option : usage.options)
        if (option.name != usage.insteadOfDocument)
            text += option.isRequired ? " " + FormatOption(option) : " [" + FormatOption(option) + "]";
    return text;
}

std::string FormatHelp(Usage const& usage) {
    constexpr std::size_t c_nameWidth = 22;
    std::string text = FormatUsage(usage) + "\n\n" + std::string(usage.summary) + "\n";
    text += "\n";
    for (auto const& option : GetAllOptions(usage)) {
        auto name = FormatOption(option);
        name.resize(std::max(name.size() + 2, c_nameWidth), ' ');
        text += "  " + name + std::string(option.help) + "\n";
    }
    return text;
}

std::vector<OptionSpec> GetAllOptions(Usage const& usage) {
    auto options = usage.options;
    if (usage.onDocument)
        options.push_back(c_trusted);
    options.insert(options.end(), c_commonOptions.begin(), c_commonOptions.end());
    return options;
}

std::string_view GetFirstLine(std::string_view text) { return text.substr(0, text.find('\n')); }

std::vector<std::string> SplitLine(std::string_view line) {
    std::vector<std::string> words;
    line = Trim(line);
    if (line.starts_with('#'))
        return words;
    std::string word;
    bool inWord = false;
    char quote = 0;
    for (std::size_t i = 0; i != line.size(); ++i) {
        char const c = line[i];
        bool const isLast = i + 1 == line.size();
        if (quote == 0 && (c == ' ' || c == '\t' || c == '\r')) {
            if (inWord)
                words.push_back(std::exchange(word, {}));
            inWord = false;
            continue;
        }
        inWord = true;
        if (quote == 0 && (c == '\'' || c == '"')) {
            quote = c;
        } else if (quote == c) {
            quote = 0;
        } else if (c == '\\' && quote == 0) {
            if (isLast)
                throw Failure(ExitStatus::Usage, "line", "ends in a backslash");
            word += line[++i];
        } else if (c == '\\' && quote == '"' && !isLast && (line[i + 1] == '"' || line[i + 1] == '\\')) {
            word += line[++i];
        } else {
            word += c;
        }
    }
    if (quote != 0)
        throw Failure(ExitStatus::Usage, "line", "has an unclosed quotation mark");
    if (inWord)
        words.push_back(word);
    return words;
}

} // namespace Shell
