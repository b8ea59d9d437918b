// SPDX-License-Identifier: Apache-2.0
// Thousands of commands on a merge source by chance, with undo and redo, beside a model that knows no more than lists
// and values.
#include "merge/add_data_merge_filter_command.h"
#include "merge/add_data_merge_filter_part_commands.h"
#include "merge/delete_data_merge_filter_clause_command.h"
#include "merge/delete_data_merge_filter_command.h"
#include "merge/delete_data_merge_source_command.h"
#include "merge/set_data_merge_enabled_command.h"
#include "merge/set_data_merge_filter_property_commands.h"
#include "merge/set_data_merge_java_script_filter_script_command.h"
#include "merge/set_data_merge_output_pages_command.h"
#include "merge/set_data_merge_source_options_commands.h"
#include "merge/set_data_merge_value_filter_match_values_commands.h"

#include "platform/kernel/type_name.h"
#include "tests/examples/scenes/merge_documents.h"
#include "tests/support/documents.h"

#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>

namespace {

using namespace Commands;
using namespace ExampleDocuments;
using Text = Kernel::String;

// A rule with its clauses, each as one line of text.
struct ModelRule {
    int combine = 0;
    std::vector<std::string> clauses;
    friend bool operator==(ModelRule const&, ModelRule const&) = default;
};
struct ModelFilter {
    bool isEnabled = true;
    // The values of the kinds that have no rules, and of process filters.
    std::string values;
    int combine = 0;
    std::vector<ModelRule> rules;
    friend bool operator==(ModelFilter const&, ModelFilter const&) = default;
};
struct ModelSource {
    bool isEnabled = true, coversWhole = true;
    int start = 0, end = 0;
    std::string data;
    std::vector<ModelFilter> filters;
    friend bool operator==(ModelSource const&, ModelSource const&) = default;
};
using Model = std::vector<ModelSource>;

std::string LineOf(DataMergeRuleClause const& clause) {
    auto line = clause.GetFieldId().ToStdString() + "|" + std::to_string(static_cast<int>(clause.GetOperator())) + "|" +
                clause.GetMatchValue().ToStdString() + "|" +
                std::to_string(clause.GetMatchValues().GetDefaultInclude());
    for (auto const& value : clause.GetMatchValues().GetExceptions())
        line += "|" + value.ToStdString();
    return line;
}

ModelRule ModelOf(DataMergeRule const& rule) {
    ModelRule model{static_cast<int>(rule.GetAggregateFunction()), {}};
    for (auto const& clause : rule.GetClauses())
        model.clauses.push_back(LineOf(*clause));
    return model;
}

ModelFilter ModelOf(DataMergeFilter const& filter) {
    ModelFilter model{filter.IsEnabled(), {}, 0, {}};
    if (auto const* const rows = Kernel::CastPointer<DataMergeSelectedRecordsFilter const>(&filter)) {
        for (auto const& range : rows->GetAllowedIndexes().GetRanges())
            model.values += std::to_string(range.first) + "-" + std::to_string(range.last) + ",";
    } else if (auto const* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter const>(&filter)) {
        model.combine = static_cast<int>(byValue->GetAggregateFunction());
        for (auto const& rule : byValue->GetRules())
            model.rules.push_back(ModelOf(*rule));
    } else if (auto const* const process = Kernel::CastPointer<DataMergeProcessFilter const>(&filter)) {
        model.values = std::to_string(static_cast<int>(process->GetAction())) + "|" +
                       process->GetWarningMessageValue().ToStdString() + "|" +
                       process->GetReplacementField().ToStdString() + "|" +
                       process->GetReplacementValue().ToStdString();
        model.rules = {ModelOf(*process->GetRule())};
    } else if (auto const* const script = Kernel::CastPointer<DataMergeJavaScriptFilter const>(&filter)) {
        model.values = script->GetName().ToStdString() + "|" + script->GetScript().ToStdString();
    } else if (auto const* const sort = Kernel::CastPointer<DataMergeSortFilter const>(&filter)) {
        model.values = sort->GetFieldId().ToStdString() + "|" + std::to_string(sort->GetAscending());
    }
    return model;
}

Model ModelOf(DocumentController const& document) {
    Model model;
    for (auto const& source : std::as_const(*document.GetDocument()).GetDataMergeSettings()) {
        ModelSource each{source->IsUserEnabled(),
                         source->CoversWholeDocument(),
                         source->GetStartPage(),
                         source->GetEndPage(),
                         {},
                         {}};
        each.data = source->GetFetcher()->GetPath().ToStdString() + source->GetParser()->GetLocale().ToStdString();
        for (auto const& filter : std::as_const(*source).GetFilters())
            each.filters.push_back(ModelOf(*filter));
        model.push_back(std::move(each));
    }
    return model;
}

class Chance {
public:
    explicit Chance(DocumentController& document) : m_document(document) {}

    // Runs one command, on places that chance chooses, and does the same to the model. Empty where chance found
    // nothing to work on.
    std::string Run(Model& model) {
        if (model.empty())
            return {};
        m_source = Below(model.size());
        auto& modelled = model[m_source];
        auto const source = MergeSourceAt(m_document, m_source);
        auto const kind = Below(27);
        if (kind < 5)
            return RunOnSource(kind, model, modelled, source);
        if (kind == 5)
            return AddFilter(modelled, source);
        if (modelled.filters.empty())
            return {};
        m_filter = Below(modelled.filters.size());
        m_object = std::as_const(*source).GetFilters()[m_filter];
        auto& filter = modelled.filters[m_filter];
        if (kind == 6) {
            if (modelled.filters.size() < 3)
                return {};
            modelled.filters.erase(modelled.filters.begin() + static_cast<std::ptrdiff_t>(m_filter));
            return Do<DeleteDataMergeFilterCommand>(source, m_object);
        }
        return kind < 16 ? RunOnFilter(kind, filter, source) : RunOnRule(kind, modelled, filter, source);
    }

    std::size_t Below(std::size_t count) { return m_numbers() % count; }

private:
    template <class C, class... A>
    std::string Do(A const&... arguments) {
        m_document.Run(Kernel::MakeCounted<C>(arguments...));
        return std::string(Kernel::TypeName<C>());
    }
    std::string Word() {
        static std::vector<std::string> const s_words{"name", "city", "age", "Oslo", "30"};
        return s_words[Below(s_words.size())];
    }

    std::string RunOnSource(std::size_t kind, Model& model, ModelSource& modelled,
                            Kernel::Counted<DataMergeSource> const& source) {
        switch (kind) {
        case 0:
            if (model.size() == 1)
                return {};
            model.erase(model.begin() + static_cast<std::ptrdiff_t>(m_source));
            return Do<DeleteDataMergeSourceCommand>(source);
        case 1:
            modelled.isEnabled = Below(2) == 0;
            return Do<SetDataMergeEnabledCommand>(source, modelled.isEnabled);
        case 2: {
            auto const locale = Word();
            auto const path = source->GetFetcher()->GetPath().ToStdString();
            modelled.data = path + locale;
            return Do<SetDataMergeParserOptionsCommand>(
                source, Kernel::MakeCounted<DataMergeParser>(Records::ReadOptions{}, Text(locale)));
        }
        case 3: {
            auto const path = Word() + ".csv";
            modelled.data = path + source->GetParser()->GetLocale().ToStdString();
            return Do<SetDataMergeFetcherOptionsCommand>(
                source,
                Kernel::Counted<DataMergeFetcher const>(DataMergeFetcher::MakeWithContent(Text(path), c_people)));
        }
        default:
            modelled.coversWhole = false;
            modelled.start = static_cast<int>(Below(5));
            modelled.end = modelled.start + static_cast<int>(Below(5));
            return Do<SetDataMergeOutputPagesCommand>(source, false, modelled.start, modelled.end);
        }
    }

    Kernel::Counted<DataMergeRule> MakeRule() {
        auto rule = Kernel::MakeCounted<DataMergeRule>();
        for (auto count = 1 + Below(2); count != 0; --count)
            rule->GetClauses().push_back(MakeClause());
        return rule;
    }
    Kernel::Counted<DataMergeRuleClause> MakeClause() {
        return MakeMergeClause(Word().c_str(), static_cast<DataMergeRuleOperator>(Below(13)), Word().c_str());
    }

    std::string AddFilter(ModelSource& modelled, Kernel::Counted<DataMergeSource> const& source) {
        if (modelled.filters.size() > 7)
            return {};
        Kernel::Counted<DataMergeFilter> filter;
        auto const kind = Below(5);
        if (kind == 0)
            filter = Kernel::MakeCounted<DataMergeSelectedRecordsFilter>();
        else if (kind == 1)
            filter = Kernel::MakeCounted<DataMergeSortFilter>(Text(Word()), true);
        else if (kind == 2)
            filter = Kernel::MakeCounted<DataMergeJavaScriptFilter>("script", "return true;");
        else if (kind == 3)
            filter = Kernel::MakeCounted<DataMergeProcessFilter>();
        else
            filter = Kernel::MakeCounted<DataMergeRecordValueFilter>();
        // Scripts are programs of their own, which would take all the time.
        if (kind == 2)
            filter->SetIsEnabled(false);
        if (auto const byValue = Kernel::Cast<DataMergeRecordValueFilter>(filter))
            byValue->GetRules().push_back(MakeRule());
        auto place = modelled.filters.size();
        Kernel::Counted<DataMergeFilter const> before;
        auto const& filters = std::as_const(*source).GetFilters();
        if (Below(2) == 0 && !filters.empty()) {
            place = Below(filters.size());
            before = filters[place];
        } else if (kind == 0) {
            place = 0;
        } else {
            for (std::size_t i = filters.size(); i-- != 0;) {
                if (Kernel::Cast<DataMergeSortFilter>(filters[i]))
                    place = i;
            }
        }
        modelled.filters.insert(modelled.filters.begin() + static_cast<std::ptrdiff_t>(place), ModelOf(*filter));
        return Do<AddDataMergeFilterCommand>(source, filter, before);
    }

    // `part`: of the words of process filters and the like, the one that changes.
    static void SetPart(std::string& values, std::size_t part, std::string const& value) {
        std::size_t begin = 0;
        for (; part != 0; --part)
            begin = values.find('|', begin) + 1;
        auto const end = values.find('|', begin);
        values.replace(begin, end == values.npos ? end : end - begin, value);
    }

    std::string RunOnFilter(std::size_t kind, ModelFilter& filter, Kernel::Counted<DataMergeSource> const& source) {
        auto const selected = Kernel::Cast<DataMergeSelectedRecordsFilter>(m_object);
        auto const process = Kernel::Cast<DataMergeProcessFilter>(m_object);
        auto const script = Kernel::Cast<DataMergeJavaScriptFilter>(m_object);
        auto const sort = Kernel::Cast<DataMergeSortFilter>(m_object);
        auto const word = Word();
        if (kind == 7 && !script) {
            filter.isEnabled = Below(2) == 0;
            return Do<SetDataMergeFilterEnabledCommand>(source, m_object, filter.isEnabled);
        }
        if (kind == 8 && selected) {
            auto const first = Below(5), last = first + 1 + Below(20);
            Kernel::IndexRangeList rows;
            rows.Add(static_cast<std::int64_t>(first), static_cast<std::int64_t>(last));
            filter.values = std::to_string(first) + "-" + std::to_string(std::min<std::size_t>(last, 10)) + ",";
            return Do<SetDataMergeFilterAllowedRecords>(source, selected, rows);
        }
        if (kind == 9 && script) {
            SetPart(filter.values, 0, word);
            return Do<SetDataMergeJavaScriptFilterNameCommand>(source, script, Text(word));
        }
        if (kind == 10 && script) {
            SetPart(filter.values, 1, word);
            return Do<SetDataMergeJavaScriptFilterScriptCommand>(source, script, Text(word));
        }
        if (kind == 11 && process) {
            auto const action = Below(3);
            SetPart(filter.values, 0, std::to_string(action));
            return Do<SetDataMergeProcessFilterActionCommand>(source, process,
                                                              static_cast<DataMergeProcessFilter::Action>(action));
        }
        if (kind == 12 && process) {
            SetPart(filter.values, 1, word);
            return Do<SetDataMergeProcessFilterWarningMessageCommand>(source, process, Text(word));
        }
        if (kind == 13 && process) {
            if (Below(2) == 0) {
                SetPart(filter.values, 2, word);
                return Do<SetDataMergeProcessFilterReplacementFieldCommand>(source, process, Text(word));
            }
            SetPart(filter.values, 3, word);
            return Do<SetDataMergeProcessFilterReplacementValueCommand>(source, process, Text(word));
        }
        if (kind == 14 && sort) {
            SetPart(filter.values, 0, word);
            return Do<SetDataMergeSortFilterFieldIdCommand>(source, sort, Text(word));
        }
        if (kind == 15 && sort) {
            auto const ascending = Below(2) == 0;
            SetPart(filter.values, 1, std::to_string(ascending));
            return Do<SetDataMergeSortFilterAscendingCommand>(source, sort, ascending);
        }
        return {};
    }

    std::string RunOnRule(std::size_t kind, ModelSource& modelled, ModelFilter& filter,
                          Kernel::Counted<DataMergeSource> const& source) {
        auto const byValue = Kernel::Cast<DataMergeRecordValueFilter>(m_object);
        auto const process = Kernel::Cast<DataMergeProcessFilter>(m_object);
        if (kind == 16 && byValue) {
            filter.combine = static_cast<int>(Below(3));
            return Do<SetDataMergeValueFilterRuleCombineCommand>(
                source, byValue, static_cast<DataMergeRuleAggregateFunction>(filter.combine));
        }
        if (kind == 17 && byValue && filter.rules.size() < 4) {
            auto const rule = MakeRule();
            auto const place = Below(filter.rules.size() + 1);
            auto const& rules = std::as_const(*byValue).GetRules();
            Kernel::Counted<DataMergeRule const> const before =
                place == rules.size() ? Kernel::Counted<DataMergeRule const>() : rules[place];
            filter.rules.insert(filter.rules.begin() + static_cast<std::ptrdiff_t>(place), ModelOf(*rule));
            return Do<AddDataMergeFilterRuleCommand>(source, byValue, rule, before);
        }
        if (filter.rules.empty())
            return {};
        auto const ruleAt = Below(filter.rules.size());
        auto& modelledRule = filter.rules[ruleAt];
        auto const rule = process ? process->GetRule() : std::as_const(*byValue).GetRules()[ruleAt];
        auto const& clauses = std::as_const(*rule).GetClauses();
        if (kind == 18) {
            modelledRule.combine = static_cast<int>(Below(3));
            return Do<SetDataMergeValueFilterClauseCombineCommand>(
                source, rule, static_cast<DataMergeRuleAggregateFunction>(modelledRule.combine));
        }
        if (kind == 19 && clauses.size() < 4) {
            auto const clause = MakeClause();
            auto const place = Below(clauses.size() + 1);
            Kernel::Counted<DataMergeRuleClause const> const before =
                place == clauses.size() ? Kernel::Counted<DataMergeRuleClause const>() : clauses[place];
            modelledRule.clauses.insert(modelledRule.clauses.begin() + static_cast<std::ptrdiff_t>(place),
                                        LineOf(*clause));
            return Do<AddDataMergeFilterClauseCommand>(source, rule, clause, before);
        }
        if (clauses.empty())
            return {};
        auto const at = Below(clauses.size());
        auto const clause = clauses[at];
        if (kind == 20) {
            modelledRule.clauses.erase(modelledRule.clauses.begin() + static_cast<std::ptrdiff_t>(at));
            if (modelledRule.clauses.empty() && process)
                modelled.filters.erase(modelled.filters.begin() + static_cast<std::ptrdiff_t>(m_filter));
            else if (modelledRule.clauses.empty())
                filter.rules.erase(filter.rules.begin() + static_cast<std::ptrdiff_t>(ruleAt));
            return Do<DeleteDataMergeFilterClauseCommand>(source, m_object, rule, clause);
        }
        return RunOnClause(kind, modelledRule.clauses[at], source, clause);
    }

    std::string RunOnClause(std::size_t kind, std::string& line, Kernel::Counted<DataMergeSource> const& source,
                            Kernel::Counted<DataMergeRuleClause> const& clause) {
        auto const word = Word();
        auto const cutValues = [&](bool include) {
            std::size_t begin = 0;
            for (int i = 0; i != 3; ++i)
                begin = line.find('|', begin) + 1;
            line = line.substr(0, begin) + std::to_string(include);
        };
        switch (kind) {
        case 21:
            cutValues(clause->GetMatchValues().GetDefaultInclude());
            SetPart(line, 0, word);
            return Do<SetDataMergeValueFilterFieldIdCommand>(source, clause, Text(word));
        case 22: {
            auto const comparison = Below(13);
            SetPart(line, 1, std::to_string(comparison));
            return Do<SetDataMergeValueFilterOperatorCommand>(source, clause,
                                                              static_cast<DataMergeRuleOperator>(comparison));
        }
        case 23:
            SetPart(line, 2, word);
            return Do<SetDataMergeValueFilterMatchValueCommand>(source, clause, Text(word));
        case 24: {
            bool const include = Below(2) == 0;
            cutValues(include);
            return Do<SetDataMergeValueFilterMatchValuesIncludeAllCommand>(source, clause, include);
        }
        default: {
            bool const include = Below(2) == 0;
            bool const byDefault = clause->GetMatchValues().GetDefaultInclude();
            std::set<std::string> exceptions;
            for (auto const& value : clause->GetMatchValues().GetExceptions())
                exceptions.insert(value.ToStdString());
            if (include == byDefault)
                exceptions.erase(word);
            else
                exceptions.insert(word);
            cutValues(byDefault);
            for (auto const& value : exceptions)
                line += "|" + value;
            return Do<SetDataMergeValueFilterMatchValuesCommand>(source, clause, Text(word), include);
        }
        }
    }

    DocumentController& m_document;
    std::mt19937_64 m_numbers{20'261'123};
    std::size_t m_source = 0, m_filter = 0;
    Kernel::Counted<DataMergeFilter> m_object;
};

TEST(MergeSequences, HoldAgainstAModel) {
    auto const document = Support::NewDocument();
    DataMergeWithoutPreview(*document);
    Chance chance(*document);
    // The states before and behind the steps of the history.
    std::vector<Model> states{ModelOf(*document)};
    std::map<std::string, int> ran;
    for (int step = 0; step != 10'000; ++step) {
        auto const position = document->GetHistory()->GetPosition();
        auto const move = chance.Below(10);
        if (move < 2 && position != 0) {
            document->Undo();
        } else if (move == 2 && position + 1 < states.size()) {
            document->Redo();
        } else {
            auto model = states[position];
            auto const name = chance.Run(model);
            if (name.empty())
                continue;
            ++ran[name];
            // A command that merged has changed the newest state.
            states.resize(document->GetHistory()->GetPosition());
            states.push_back(std::move(model));
        }
        auto const now = ModelOf(*document);
        ASSERT_EQ(states.size(), document->GetHistory()->GetCount() + 1) << "at step " << step;
        ASSERT_TRUE(states[document->GetHistory()->GetPosition()] == now) << "at step " << step;
    }
    EXPECT_EQ(27u, ran.size()) << "every command ran";
}

} // namespace
