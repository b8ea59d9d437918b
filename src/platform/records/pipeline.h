// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/index_range_list.h"
#include "platform/records/table.h"

#include <chrono>
#include <set>
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

// A condition on one field.
//
// Equal, Less and their kind compare by value where the column is of numbers or dates and the clause's value can be
// read as one: "1.0" equals "1", and "9" is less than "10". A field that cannot be read so then fails each of these
// comparisons. Otherwise they compare texts byte by byte, so that "Z" is less than "a" and a field of spaces is not
// empty. The other operators take every field as a text. NotEqual, DoesNotContain and IsNotEmpty are true of exactly
// the records of which their opposites are not. Every text contains, begins with and ends with the empty one.
//
// An unknown field is empty in every record, with one warning.
struct Clause {
    Kernel::String field;
    DataMergeRuleOperator comparison = DataMergeRuleOperator::Equal;
    Kernel::String value;
    // For IsIncluded: the fields that are included although the default is false, or the other way round. They are
    // texts, also of numbers: "1.0" is not "1".
    bool defaultInclude = true;
    std::set<Kernel::String> exceptions;
};
struct Rule {
    std::vector<Clause> clauses;
    DataMergeRuleAggregateFunction combine = DataMergeRuleAggregateFunction::All;
};

// The steps that records go through, one after the other.
struct SelectRecords {
    // Rows of the table, whatever came before; those beyond its end are passed over.
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
    // Of Warn: a warning for each record, with its row and the field of the first clause. {Name} in it is replaced by
    // the record's field of that name; other braces stay. Empty: a text of ours.
    Kernel::String message;
    // Of Replace: the field gets the value, for the steps that follow and for the result. In columns of numbers or
    // dates the value counts as one where it can be read so.
    Kernel::String field, value;
};
// Numbers and dates sort by value in their columns, other fields by the locale's collation. In columns of numbers or
// dates the fields that are none follow those that are, and empty fields come last in all columns; both whichever the
// direction. Records with fields that count as equal keep the order that they had.
struct SortRecords {
    Kernel::String field;
    bool ascending = true;
};
// Keeps the records of which the script says so: the body of a strict JavaScript (ECMAScript 5.1) function of `record`,
// whose members are fields, and `index`, the row in the table. Any value that counts as true keeps the record.
//
// A field of a column of numbers is a number where it can be read as one; all others are texts. The fields that are
// handed over are those that the script names as record.Name or record["Name"]; if it uses `record` in any other way,
// or `arguments`, `eval` or escapes, those whose names occur anywhere in it. Nothing is kept from one record to the
// next: what is global cannot be changed.
//
// A record for which the script throws is kept, with a warning. A script that is no JavaScript, takes too long for one
// record or cannot be run makes one warning, and the step keeps every record.
struct RunScript {
    Kernel::String name, script;
};
using Step = std::variant<SelectRecords, MatchRecords, ProcessRecords, SortRecords, RunScript>;

struct Options {
    // Of the sort, as ICU names it, such as "en_US"; empty: English.
    Kernel::String locale;
    // For scripts: none are run, and a script step keeps every record and warns, where this is false.
    bool runScripts = true;
    // The bounds of a script: time for one record, and memory in bytes for each process that runs it.
    std::chrono::milliseconds scriptTime{10'000};
    std::size_t scriptMemory = std::size_t(128) << 20;
};

// A column of which some fields have other values.
struct ReplacedColumn {
    std::size_t column = 0;
    // For each row of the table one more than the place of its value; 0: the field is the table's.
    std::vector<std::uint32_t> codes;
    std::vector<Kernel::String> values;
};

// The records that came through, in their order. Immutable once made.
class REDRAFT_ENGINE Result final : public virtual Kernel::Countable {
public:
    ~Result() override;
    // Null: there are no data.
    TableRef table;
    // Rows of the table.
    std::vector<std::uint32_t> rows;
    // At most one for each column.
    std::vector<ReplacedColumn> replacements;
    // As many as c_maximumWarnings of read_table.h.
    std::vector<Warning> warnings;
    // Beyond those.
    std::uint64_t furtherWarnings = 0;

    // A field of the record at a place in the order, with what replaces it; empty beyond the records and for a column
    // that there is not. Valid as long as the result.
    std::string_view GetText(std::size_t place, std::size_t column) const;
    std::string_view GetText(std::size_t place, std::string_view column) const;
};

// Takes the records of a table through the steps, on all processors. Throws Kernel::AbortException when the flag is
// set, which is looked at every millisecond or so; other failures are warnings of the result, and the step that failed
// keeps every record. An empty list of steps gives all records. A null table gives a result without records.
REDRAFT_ENGINE Kernel::Counted<Result const> RunSteps(TableRef table, std::vector<Step> const& steps,
                                                      Options const& options, bool const* abort);

} // namespace Records
