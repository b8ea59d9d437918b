// SPDX-License-Identifier: Apache-2.0
#include "shell/merge_values.h"

#include "platform/kernel/cast.h"
#include "shell/failure.h"
#include "shell/selector.h"
#include "shell/values.h"

#include <array>
#include <optional>

namespace Shell {

namespace {

constexpr std::array<std::string_view, 4> c_levelNames{"source", "filter", "rule", "clause"};

std::size_t At(MergeLevel level) { return static_cast<std::size_t>(level); }

std::string NeedsAddress(std::string_view text, MergeLevel wanted) {
    static constexpr std::string_view c_example = "source:0/filter:0/rule:0/clause:0";
    std::size_t end = 0;
    for (std::size_t i = 0; i <= At(wanted); ++i)
        end = std::min(c_example.find('/', end + 1), c_example.size());
    return "needs a " + std::string(c_levelNames[At(wanted)]) + ", as " + std::string(c_example.substr(0, end)) +
           ", not " + Quote(text);
}

// The places that an address gives, by level.
std::array<std::optional<std::size_t>, 4> SplitAddress(std::string_view text, MergeLevel wanted) {
    std::array<std::optional<std::size_t>, 4> places;
    std::vector<std::string_view> terms;
    for (auto rest = text;;) {
        auto const slash = rest.find('/');
        terms.push_back(rest.substr(0, slash));
        if (slash == rest.npos)
            break;
        rest.remove_prefix(slash + 1);
    }
    if (terms.size() > At(wanted) + 1 || terms.size() + 1 < At(wanted) + 1)
        throw ValueError(NeedsAddress(text, wanted));
    // Without a source the terms begin with the filter.
    auto level = At(wanted) + 1 - terms.size();
    for (auto term : terms) {
        auto const name = c_levelNames[level];
        if (auto const colon = term.find(':'); colon != term.npos) {
            if (term.substr(0, colon) != name)
                throw ValueError(NeedsAddress(text, wanted));
            term.remove_prefix(colon + 1);
        }
        if (term.empty() || term.find_first_not_of("0123456789") != term.npos)
            throw ValueError(NeedsAddress(text, wanted));
        places[level++] = static_cast<std::size_t>(ParseInteger(term, 0, INT32_MAX));
    }
    return places;
}

template <class List>
auto Pick(List const& list, std::size_t place, std::string_view owner, std::string_view name) {
    if (place >= list.size())
        throw ValueError("names " + std::string(name) + " " + std::to_string(place) + ", but " + std::string(owner) +
                         " has " + Count(list.size(), name, std::string(name) + "s"));
    return list[place];
}

Kernel::JailCounted<DataMergeRule> PickRule(DataMergeFilter& filter, std::size_t place) {
    if (auto const* const process = Kernel::CastPointer<DataMergeProcessFilter const>(&filter))
        return Pick(std::array{process->GetRule()}, place, "the filter", "rule");
    if (auto const* const byValue = Kernel::CastPointer<DataMergeRecordValueFilter const>(&filter))
        return Pick(byValue->GetRules(), place, "the filter", "rule");
    throw ValueError("names a rule of a filter of the type " + std::string(GetMergeFilterType(filter)) +
                     ", which has none");
}

} // namespace

MergeAddress FindMergeObject(DocumentController& document, std::string_view text, MergeLevel wanted) {
    auto const places = SplitAddress(text, wanted);
    auto const& sources = std::as_const(*document.GetDocument()).GetDataMergeSettings();
    MergeAddress found;
    if (!places[0] && sources.size() != 1)
        throw ValueError("needs the source in front of the " + std::string(c_levelNames[At(wanted)]) +
                         ": the document has " + Count(sources.size(), "source", "sources"));
    found.source = Pick(sources, places[0].value_or(0), "the document", "source");
    if (wanted >= MergeLevel::Filter)
        found.filter = Pick(std::as_const(*found.source).GetFilters(), *places[1], "the source", "filter");
    if (wanted >= MergeLevel::Rule)
        found.rule = PickRule(*found.filter, *places[2]);
    if (wanted >= MergeLevel::Clause)
        found.clause = Pick(std::as_const(*found.rule).GetClauses(), *places[3], "the rule", "clause");
    return found;
}

void MergeAddresses::Add(MergeAddress const& address) {
    auto const add = [](auto& known, auto const& named, MergeLevel level) {
        if (known && named && known != named)
            throw ValueError("names an object of another " + std::string(c_levelNames[At(level)]) +
                             " than the values before");
        if (named)
            known = named;
    };
    add(m_known.source, address.source, MergeLevel::Source);
    add(m_known.filter, address.filter, MergeLevel::Filter);
    add(m_known.rule, address.rule, MergeLevel::Rule);
    add(m_known.clause, address.clause, MergeLevel::Clause);
}

std::string_view GetMergeFilterType(DataMergeFilter const& filter) {
    if (Kernel::CastPointer<DataMergeSelectedRecordsFilter const>(&filter) != nullptr)
        return "selected";
    if (Kernel::CastPointer<DataMergeRecordValueFilter const>(&filter) != nullptr)
        return "records";
    if (Kernel::CastPointer<DataMergeProcessFilter const>(&filter) != nullptr)
        return "process";
    return Kernel::CastPointer<DataMergeJavaScriptFilter const>(&filter) != nullptr ? "script" : "sort";
}

Kernel::IndexRangeList ParseRows(std::string_view text) {
    Kernel::IndexRangeList rows;
    if (text == "none")
        return rows;
    for (auto const& term : SplitTerms(text)) {
        auto const trimmed = Trim(term);
        auto const dash = trimmed.find('-');
        try {
            auto const first = ParseInteger(Trim(trimmed.substr(0, dash)), 0, UINT32_MAX);
            auto const last =
                dash == trimmed.npos ? first : ParseInteger(Trim(trimmed.substr(dash + 1)), first, UINT32_MAX);
            rows.Add(first, last + 1);
        } catch (ValueError const&) {
            throw ValueError("needs rows counted from 0, as 0-9,20, or none, not " + Quote(text));
        }
    }
    return rows;
}

std::string FormatRows(Kernel::IndexRangeList const& rows) {
    if (rows.IsEmpty())
        return "none";
    std::string text;
    for (auto const& range : rows.GetRanges()) {
        text += (text.empty() ? "" : ",") + std::to_string(range.first);
        if (range.last - range.first > 1)
            text += "-" + std::to_string(range.last - 1);
    }
    return text;
}

Commands::OptionalCharacter ParseCharacter(std::string_view text) {
    if (text == "automatic")
        return {};
    if (text == "tab")
        return {'\t'};
    if (text.size() != 1 || static_cast<unsigned char>(text[0]) < ' ' || static_cast<unsigned char>(text[0]) > '~')
        throw ValueError("needs one ASCII character, tab or automatic, not " + Quote(text));
    return {text[0]};
}

std::string FormatCharacter(Commands::OptionalCharacter character) {
    if (character.character == '\t')
        return "tab";
    return character.character == 0 ? "automatic" : std::string(1, character.character);
}

} // namespace Shell
