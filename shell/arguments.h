// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Shell {

struct OptionSpec {
    // With its dashes: "--scale", "-o".
    std::string_view name;
    // The name of its value; empty for a switch.
    std::string_view value;
    std::string_view help;
    // Usage shows it without brackets.
    bool isRequired = false;
};

struct PositionalSpec {
    enum class Times { Once, Optional, Any, OnceOrMore };
    std::string_view name;
    Times times = Times::Once;
};

// How a verb is called.
struct Usage {
    std::string_view verb;
    std::string_view summary;
    // A verb on a document names it first, except in a script, whose lines are all about one document.
    bool onDocument = false;
    // A switch that takes the document's place; empty: there is none.
    std::string_view insteadOfDocument = {};
    std::vector<PositionalSpec> positionals;
    std::vector<OptionSpec> options;
};

// One call's words, sorted by its usage.
class Arguments {
public:
    // Throws Failure with ExitStatus::Usage where the words do not fit. `inScript`: the words are a script's line.
    Arguments(Usage const& usage, std::span<std::string const> words, bool inScript);

    Usage const& GetUsage() const { return *m_usage; }
    // DOC; empty in a script.
    std::string const& GetDocument() const { return m_document; }
    bool Has(std::string_view name) const { return m_values.find(name) != m_values.end(); }
    // Of an option, or of a positional that is given once or not at all.
    std::optional<std::string> Find(std::string_view name) const;
    // Of one that must be there.
    std::string const& Get(std::string_view name) const;
    // Of a positional that may stand more than once.
    std::vector<std::string> const& GetAll(std::string_view name) const;

private:
    OptionSpec const& FindOption(std::string_view name) const;
    std::size_t TakeOption(std::span<std::string const> words, std::size_t index);
    void TakePositionals(std::vector<std::string> words, bool inScript);

    Usage const* m_usage;
    std::string m_document;
    std::map<std::string, std::vector<std::string>, std::less<>> m_values;
};

// The options of a verb, and behind them those that all verbs take.
std::vector<OptionSpec> GetAllOptions(Usage const& usage);
// Of a summary.
std::string_view GetFirstLine(std::string_view text);

// "redraft do DOC COMMAND [name=value]... [--select SELECTOR]"
std::string FormatUsage(Usage const& usage);
// The same, with what each option means.
std::string FormatHelp(Usage const& usage);

// The words of a script's line: separated by blanks; 'as it is', "with \" and \\", and \ before any character. Empty
// for a comment, which begins with # as the line's first character. Throws Failure with ExitStatus::Usage.
std::vector<std::string> SplitLine(std::string_view line);

} // namespace Shell
