// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

namespace ExampleDocuments {

// Ten people with name, city, age and the day when they joined, as comma-separated text.
extern char const* const c_people;

// A source of those people, which the document holds itself, without filters.
Kernel::Counted<DataMergeSource> MakePeople(DocumentController& controller);
Kernel::Counted<DataMergeRuleClause> MakeMergeClause(char const* field, DataMergeRuleOperator comparison,
                                                     char const* value);

// The places of the filters below.
enum MergeFilterPlace { c_selectedFilter, c_valueFilter, c_processFilter, c_scriptFilter, c_sortFilter };
// The document has two sources. The first has five filters, one of each kind, of which the script is not enabled: the
// filter by value has a rule of two clauses and one of one, and the process filter's rule has one. A frame of text
// shows a person's name and city. The second source has no filters, and fills the first page only.
void DataMerge(DocumentController& controller);
// The same, and nothing is shown.
void DataMergeWithoutPreview(DocumentController& controller);

Kernel::Counted<DataMergeSource> MergeSourceAt(DocumentController const& controller, std::size_t place);
// One of the two that the scene added last: several of these scenes may stand in one document.
Kernel::Counted<DataMergeSource> NewestMergeSourceAt(DocumentController const& controller, std::size_t place);
// Of the first of these.
template <class F = DataMergeFilter>
Kernel::Counted<F> MergeFilterAt(DocumentController const& controller, std::size_t place) {
    return Kernel::Cast<F>(std::as_const(*NewestMergeSourceAt(controller, 0)).GetFilters().at(place));
}
// Of its filter by value.
Kernel::Counted<DataMergeRule> MergeRuleAt(DocumentController const& controller, std::size_t place);
// Of that filter's first rule.
Kernel::Counted<DataMergeRuleClause> MergeClauseAt(DocumentController const& controller, std::size_t place);

} // namespace ExampleDocuments
