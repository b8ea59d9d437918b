// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_source.h"

// How programs outside the library give sources of data merges, objects of their filters, and what these are made of.

inline constexpr std::string_view c_dataMergeRuleOperatorNames[] = {
    "equal",       "notEqual", "contains",       "doesNotContain", "beginsWith", "endsWith", "less",
    "lessOrEqual", "greater",  "greaterOrEqual", "empty",          "notEmpty",   "included"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<DataMergeRuleOperator>{c_dataMergeRuleOperatorNames};
inline constexpr std::string_view c_dataMergeRuleAggregateFunctionNames[] = {"all", "any", "none"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<DataMergeRuleAggregateFunction>{
    c_dataMergeRuleAggregateFunctionNames};
inline constexpr std::string_view c_dataMergeProcessFilterActionNames[] = {"warn", "replace", "skip"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<DataMergeProcessFilter::Action>{
    c_dataMergeProcessFilterActionNames};

namespace Commands {

// An argument's name for programs outside, with its help.
struct DataMergeArgument {
    std::string_view name, help;
};

// A source by its place among those of the document, counted from 0.
struct DataMergeSourceReference {
    Kernel::JailCounted<DataMergeSource> source;
    operator Kernel::JailCounted<DataMergeSource>() const { return source; }
};

// A filter of some class, a rule or a clause, by its places in the lists that lead to it.
template <class T>
struct DataMergeReference {
    Kernel::JailCounted<T> object;
    operator Kernel::JailCounted<T>() const { return object; }
};

// The one that a new object goes in front of, or none.
template <class T>
struct DataMergePlace {
    // Stands for none.
    struct End {};

    DataMergePlace() = default;
    DataMergePlace(End) {}
    explicit DataMergePlace(Kernel::Counted<T const> given) : object(std::move(given)) {}

    Kernel::Counted<T const> object;
    operator Kernel::Counted<T const>() const { return object; }
};

// A filter, rule or clause that is in no list yet, as a record of values.
template <class T>
struct NewDataMergeObject {
    Kernel::Counted<T> object;
    operator Kernel::Counted<T>() const { return object; }
};

} // namespace Commands
