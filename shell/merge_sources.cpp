// SPDX-License-Identifier: Apache-2.0
#include "shell/merge_sources.h"
#include "shell/merge_values.h"
#include "shell/values.h"

#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_source.h"

#include <algorithm>
#include <utility>

namespace Shell {

namespace {

std::string_view GetTypeName(Records::ColumnType type) {
    switch (type) {
    case Records::ColumnType::Number:
        return "number";
    case Records::ColumnType::Date:
        return "date";
    case Records::ColumnType::ImagePath:
        return "picture";
    default:
        return "text";
    }
}

std::string DescribeWarning(Records::Warning const& warning) {
    std::string place;
    if (warning.row != Records::Warning::c_noRow)
        place = "record " + std::to_string(warning.row);
    if (!warning.column.empty())
        place += (place.empty() ? "" : ", ") + warning.column.ToStdString();
    return (place.empty() ? "" : place + ": ") + warning.text.ToStdString();
}

void WriteFilters(JsonWriter& json, DataMergeSource const& source, std::string const& address) {
    json.Key("filters").BeginArray();
    std::size_t number = 0;
    for (auto const& filter : source.GetFilters()) {
        json.BeginObject();
        json.Member("address", address + "/filter:" + std::to_string(number++));
        WriteMergeFilter(json, *filter);
        json.EndObject();
    }
    json.EndArray();
}

void WriteWarnings(JsonWriter& json, DataMergeWarningSink const& sink) {
    json.Key("warnings").BeginArray();
    for (auto const& warning : sink.GetWarnings()) {
        json.BeginObject();
        if (warning.row != Records::Warning::c_noRow)
            json.Member("row", warning.row);
        if (!warning.column.empty())
            json.Member("column", warning.column.ToStdString());
        json.Member("text", warning.text.ToStdString());
        json.EndObject();
    }
    json.EndArray();
    json.Member("furtherWarnings", sink.GetFurtherWarnings());
}

} // namespace

void WriteMergeSources(JsonWriter& json, DocumentController& document) {
    json.Key("sources").BeginArray();
    std::size_t number = 0;
    for (auto const& source : std::as_const(*document.GetDocument()).GetDataMergeSettings()) {
        auto const address = "source:" + std::to_string(number++);
        auto const payload = source->GetPayload();
        auto const& result = *payload->GetResult();
        json.BeginObject();
        json.Member("address", address);
        json.Member("name", source->GetName().ToStdString());
        if (source->GetFetcher() && !source->GetFetcher()->HasContent())
            json.Member("path", source->GetDataPath().ToStdString());
        json.Member("enabled", source->IsUserEnabled());
        json.Key("columns").BeginArray();
        for (std::size_t i = 0; result.table && i != result.table->GetColumnCount(); ++i) {
            json.BeginObject();
            json.Member("name", result.table->GetColumn(i).name.ToStdString());
            json.Member("type", GetTypeName(result.table->GetColumn(i).type));
            json.EndObject();
        }
        json.EndArray();
        json.Member("unfiltered", result.table ? result.table->GetRowCount() : 0);
        json.Member("records", result.rows.size());
        json.Member("preview", source->IsPreviewEnabled());
        json.Member("previewRow", source->GetPreviewRow());
        if (!source->CoversWholeDocument()) {
            json.Member("startPage", source->GetStartPage());
            json.Member("endPage", source->GetEndPage());
        }
        WriteFilters(json, *source, address);
        WriteWarnings(json, *payload->GetWarnings());
        json.EndObject();
    }
    json.EndArray();
}

void PrintMergeSources(Session& session, DocumentController& document) {
    std::size_t number = 0;
    for (auto const& source : std::as_const(*document.GetDocument()).GetDataMergeSettings()) {
        auto const payload = source->GetPayload();
        auto const& result = *payload->GetResult();
        auto const rows = result.table ? result.table->GetRowCount() : 0;
        session.Print(
            "source    " + std::to_string(number++) + ": " + OneLine(source->GetName().ToStdString()) + ", " +
            (result.rows.size() == rows ? "" : std::to_string(result.rows.size()) + " of ") +
            Count(rows, "record", "records") + " of " +
            Count(result.table ? result.table->GetColumnCount() : 0, "column", "columns") +
            (source->GetFilters().empty() ? "" : ", " + Count(source->GetFilters().size(), "filter", "filters")) +
            (source->IsUserEnabled() ? "" : ", not enabled") + "\n");
        TellMergeWarnings(source->GetName().ToStdString(), payload->GetWarnings()->GetWarnings(),
                          payload->GetWarnings()->GetFurtherWarnings());
    }
}

UpdateWarnings::UpdateWarnings(DocumentController& document) : m_document(document) {
    for (auto const& source : std::as_const(*document.GetDocument()).GetDataMergeSettings())
        m_known.push_back(source->GetWarnings());
}

UpdateWarnings::~UpdateWarnings() {
    for (auto const& source : std::as_const(*m_document.GetDocument()).GetDataMergeSettings()) {
        auto const warnings = source->GetWarnings();
        if (warnings && std::ranges::find(m_known, warnings) == m_known.end())
            TellMergeWarnings(source->GetName().ToStdString(), warnings->GetWarnings(), warnings->GetFurtherWarnings());
    }
}

void TellMergeWarnings(std::string const& subject, std::vector<Records::Warning> const& warnings,
                       std::uint64_t furtherWarnings) {
    constexpr std::size_t c_mostTold = 10;
    for (std::size_t i = 0; i != std::min(warnings.size(), c_mostTold); ++i)
        Session::Note(subject, DescribeWarning(warnings[i]));
    auto const rest = warnings.size() - std::min(warnings.size(), c_mostTold) + furtherWarnings;
    if (rest != 0)
        Session::Note(subject, "and " + Count(rest, "more warning", "more warnings"));
}

} // namespace Shell
