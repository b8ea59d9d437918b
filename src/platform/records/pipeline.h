// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/index_range_list.h"
#include "platform/records/table.h"

#include <set>
#include <unordered_map>
#include <variant>

// How a field is compared with a clause's value. The names of the values are stored: they are never changed.
enum class DataMergeRuleOperator : std::uint8_t {
    Equal,
    NotEqual,
    Contains,
    DoesNotContain,
    BeginsWith,
    EndsWith,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    IsEmpty,
    IsNotEmpty,
    // The clause's set of values says it.
    IsIncluded
};

// How several answers make one. None: not one of them may be true. Of no answers All and None are true, Any is not.
enum class DataMergeRuleAggregateFunction : std::uint8_t { All, Any, None };

namespace Records {

// Texts compare by their bytes. Less and its kind compare numbers with numbers and dates with dates where the column is
// of that type and the value can be read as such, and a field that is neither fails; else texts. Equal and NotEqual do
// so too. An unknown field is empty in every record, with one warning.
struct Clause {
    Kernel::String field;
    DataMergeRuleOperator comparison = DataMergeRuleOperator::Equal;
    Kernel::String value;
    // For IsIncluded: a field counts if it is among the exceptions and the default is false, or the other way round.
    bool defaultInclude = true;
    std::set<Kernel::String> exceptions;
};
struct Rule {
    std::vector<Clause> clauses;
    DataMergeRuleAggregateFunction combine = DataMergeRuleAggregateFunction::All;
};

// The steps that records go through, one after the other.
struct SelectRecords {
    // Rows of the table, whatever came before.
    Kernel::IndexRangeList rows;
};
struct MatchRecords {
    // No rules: every record matches.
    std::vector<Rule> rules;
    DataMergeRuleAggregateFunction combine = DataMergeRuleAggregateFunction::All;
};
// Acts on the records that the rule is true of.
struct ProcessRecords {
    enum class Action : std::uint8_t { Warn, Replace, Skip };
    Rule rule;
    Action action = Action::Warn;
    // Of Warn.
    Kernel::String message;
    // Of Replace: the field gets the value, for the steps that follow and for the result.
    Kernel::String field, value;
};
struct SortRecords {
    Kernel::String field;
    bool ascending = true;
};
// Keeps the records of which the script says so: the body of a JavaScript function of `record`, whose members are the
// fields that the script names, and `index`, the row in the table.
struct RunScript {
    Kernel::String name, script;
};
using Step = std::variant<SelectRecords, MatchRecords, ProcessRecords, SortRecords, RunScript>;

struct Options {
    // Of the sort, as ICU names it, such as "en_US"; empty: English.
    Kernel::String locale;
    // For scripts: none are run, and a script step keeps every record and warns, where this is false.
    bool runScripts = true;
};

// Another value for a field of a row.
struct Replacement {
    std::uint32_t row = 0;
    std::uint32_t column = 0;
    friend bool operator==(Replacement const&, Replacement const&) = default;
};
struct ReplacementHash {
    std::size_t operator()(Replacement const& at) const noexcept {
        return std::hash<std::uint64_t>()(std::uint64_t(at.row) << 32 | at.column);
    }
};

// The records that came through, in their order. Immutable once made.
class REDRAFT_ENGINE Result final : public virtual Kernel::Countable {
public:
    ~Result() override;
    // Null: there are no data.
    TableRef table;
    // Rows of the table.
    std::vector<std::uint32_t> rows;
    std::unordered_map<Replacement, Kernel::String, ReplacementHash> replacements;
    std::vector<Warning> warnings;
    std::uint64_t furtherWarnings = 0;

    // A field of the record at a place in the order, with what replaces it; empty beyond the records and for a column
    // that there is not. Valid as long as the result.
    std::string_view GetText(std::size_t place, std::string_view column) const;
};

// Takes the records of a table through the steps, on all processors. Throws Kernel::AbortException when the flag is
// set, which is looked at every millisecond or so; other failures are warnings of the result, and the step that failed
// keeps every record. An empty list of steps gives all records.
REDRAFT_ENGINE Kernel::Counted<Result const> RunSteps(TableRef table, std::vector<Step> const& steps,
                                                      Options const& options, bool const* abort);

} // namespace Records
