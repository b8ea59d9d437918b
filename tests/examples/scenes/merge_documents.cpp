// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/merge_documents.h"

#include "platform/document/text_nodes.h"
#include "platform/story/field_glyphs.h"
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

char const* const c_people = "name,city,age,joined\n"
                             "Ines,Lisbon,31,2019-03-01\n"
                             "Bram,Ghent,45,2001-11-30\n"
                             "Chidi,Lagos,28,2022-06-15\n"
                             "Dora,Lisbon,60,1999-01-04\n"
                             "Emil,Oslo,19,2024-09-09\n"
                             "Farah,Oslo,37,2015-02-27\n"
                             "Gita,Pune,52,2008-08-08\n"
                             "Hugo,Ghent,41,2012-12-12\n"
                             "Aiko,Kobe,33,2020-10-20\n"
                             "Jan,Oslo,24,2023-04-05\n";

Kernel::Counted<DataMergeSource> MakePeople(DocumentController& controller) {
    auto& sources = controller.GetDocument()->GetDataMergeSettings();
    // Several of these scenes may stand in one document.
    auto const number = std::to_string(sources.size());
    auto source = Kernel::MakeCounted<DataMergeSource>(
        Kernel::String("people-" + number), Kernel::String("People " + number),
        DataMergeFetcher::MakeWithContent("people.csv", c_people), Kernel::MakeCounted<DataMergeParser>());
    sources.push_back(source);
    return source;
}

Kernel::Counted<DataMergeRuleClause> MakeMergeClause(char const* field, DataMergeRuleOperator comparison,
                                                     char const* value) {
    return Kernel::MakeCounted<DataMergeRuleClause>(Kernel::String(field), comparison, Kernel::String(value));
}

namespace {

void AddFilters(DataMergeSource& source) {
    auto const selected = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
    Kernel::IndexRangeList rows;
    rows.Add(0, 5);
    rows.Add(6, 8);
    selected->SetAllowedIndexes(rows);

    auto const byValue = Kernel::MakeCounted<DataMergeRecordValueFilter>();
    auto const two = Kernel::MakeCounted<DataMergeRule>(), one = Kernel::MakeCounted<DataMergeRule>();
    two->SetAggregateFunction(DataMergeRuleAggregateFunction::Any);
    two->GetClauses().push_back(MakeMergeClause("age", DataMergeRuleOperator::Greater, "30"));
    auto const included = MakeMergeClause("city", DataMergeRuleOperator::IsIncluded, "");
    DataMergeValueSet cities(true);
    cities.SetValueIncluded("Oslo", false);
    included->SetMatchValues(cities);
    two->GetClauses().push_back(included);
    one->GetClauses().push_back(MakeMergeClause("name", DataMergeRuleOperator::IsNotEmpty, ""));
    byValue->GetRules() = {two, one};

    auto const process = Kernel::MakeCounted<DataMergeProcessFilter>();
    process->GetRule()->GetClauses().push_back(MakeMergeClause("city", DataMergeRuleOperator::Equal, "Ghent"));
    process->SetAction(DataMergeProcessFilter::Action::Replace);
    process->SetReplacementField("city");
    process->SetReplacementValue("Gent");
    process->SetWarningMessageValue("old spelling");

    auto const script = Kernel::MakeCounted<DataMergeJavaScriptFilter>("Long names", "return record.name.length > 3;");
    script->SetIsEnabled(false);
    source.GetFilters() = {selected, byValue, process, script, Kernel::MakeCounted<DataMergeSortFilter>("name", true)};
}

} // namespace

void DataMergeWithoutPreview(DocumentController& controller) {
    AddFilters(*MakePeople(controller));
    MakePeople(controller)->SetPageRange(0, 0);
}

void DataMerge(DocumentController& controller) {
    auto const place = controller.GetDocument()->GetDataMergeSettings().size();
    DataMergeWithoutPreview(controller);
    auto const source = MergeSourceAt(controller, place);
    source->SetPreviewEnabled(true);
    source->SetPreviewRow(1);
    auto const field = [&](char const* name) {
        return Kernel::Counted<Story::Glyph const>(
            Kernel::MakeCounted<Story::MergeFieldGlyph>(source->GetGuid(), Kernel::String(name), 0));
    };
    Story::GlyphString text(U"Dear ");
    text.Add(field("name"));
    text.Add(U", how is ");
    text.Add(field("city"));
    text.Add(U"?");
    auto const frame = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 300, 120});
    frame->SetText(text, {}, {});
    Append(*controller.GetCurrentSpread(), frame);
}

Kernel::Counted<DataMergeSource> MergeSourceAt(DocumentController const& controller, std::size_t place) {
    return std::as_const(*controller.GetDocument()).GetDataMergeSettings().at(place);
}

Kernel::Counted<DataMergeSource> NewestMergeSourceAt(DocumentController const& controller, std::size_t place) {
    auto const count = std::as_const(*controller.GetDocument()).GetDataMergeSettings().size();
    return MergeSourceAt(controller, count - 2 + place);
}

Kernel::Counted<DataMergeRule> MergeRuleAt(DocumentController const& controller, std::size_t place) {
    return std::as_const(*MergeFilterAt<DataMergeRecordValueFilter>(controller, c_valueFilter)).GetRules().at(place);
}

Kernel::Counted<DataMergeRuleClause> MergeClauseAt(DocumentController const& controller, std::size_t place) {
    return std::as_const(*MergeRuleAt(controller, 0)).GetClauses().at(place);
}

} // namespace ExampleDocuments
