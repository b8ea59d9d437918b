// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/merge_options_arguments.h"
#include "merge/merge_references.h"
#include "platform/document/document_controller.h"

#include <string>
#include <string_view>

// Data merges from the command line: how values of commands name sources and the objects of their filters, and how new
// filters are written. All of these throw ValueError.
namespace Shell {

class JsonWriter;

// The objects that an address names: each up to the one that it ends with, the others empty.
struct MergeAddress {
    Kernel::JailCounted<DataMergeSource> source;
    Kernel::JailCounted<DataMergeFilter> filter;
    Kernel::JailCounted<DataMergeRule> rule;
    Kernel::JailCounted<DataMergeRuleClause> clause;
};

enum class MergeLevel : std::uint8_t { Source, Filter, Rule, Clause };

// `source:0/filter:1/rule:0/clause:2` down to the level that is wanted, with places counted from 0. The words may be
// left out, as in `0/1/0/2`, and so may the source where the document has one only.
MergeAddress FindMergeObject(DocumentController& document, std::string_view text, MergeLevel wanted);

// The objects that the values of one command name: each lies in the others.
class MergeAddresses {
public:
    // Throws ValueError for an object that lies elsewhere.
    void Add(MergeAddress const& address);

private:
    MergeAddress m_known;
};

// The word by which a filter's record gives its type, as "records".
std::string_view GetMergeFilterType(DataMergeFilter const& filter);

// `0-9,20`, counted from 0, both ends included; none for no rows.
Kernel::IndexRangeList ParseRows(std::string_view text);
std::string FormatRows(Kernel::IndexRangeList const& rows);

// One ASCII character, `tab`, or `automatic`.
Commands::OptionalCharacter ParseCharacter(std::string_view text);
std::string FormatCharacter(Commands::OptionalCharacter character);

// The members of a filter, into an open object, as ParseMergeFilter takes them.
void WriteMergeFilter(JsonWriter& json, DataMergeFilter const& filter);

// New objects from JSON.
Kernel::Counted<DataMergeFilter> ParseMergeFilter(std::string const& text);
Kernel::Counted<DataMergeRule> ParseMergeRule(std::string const& text);
Kernel::Counted<DataMergeRuleClause> ParseMergeClause(std::string const& text);

} // namespace Shell
