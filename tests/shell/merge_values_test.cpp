// SPDX-License-Identifier: Apache-2.0
#include "shell/merge_values.h"

#include "shell/json_writer.h"
#include "shell/values.h"
#include "tests/examples/scenes/merge_documents.h"

#include <gtest/gtest.h>

namespace {

using Shell::MergeLevel;

std::string Write(DataMergeFilter const& filter) {
    std::string text;
    {
        Shell::JsonWriter json([&](std::string_view piece) { text += piece; });
        json.BeginObject();
        Shell::WriteMergeFilter(json, filter);
        json.EndObject();
        json.Flush();
    }
    return text;
}

TEST(MergeValues, AFilterThatIsWrittenIsReadAsItWas) {
    auto const document = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
    ExampleDocuments::DataMerge(*document);
    for (std::size_t place = 0; place != 5; ++place) {
        auto const text = Write(*ExampleDocuments::MergeFilterAt(*document, place));
        EXPECT_EQ(text, Write(*Shell::ParseMergeFilter(text)));
    }
    EXPECT_EQ(R"({"type":"selected","enabled":true,"records":"0-4,6-7"})",
              Write(*ExampleDocuments::MergeFilterAt(*document, ExampleDocuments::c_selectedFilter)));
    EXPECT_EQ(
        R"({"type":"records","enabled":true,"combine":"all","rules":[{"combine":"any","clauses":[{"field":"age",)"
        R"("operator":"greater","value":"30"},{"field":"city","operator":"included","value":"","includeAll":true,)"
        R"("exceptions":["Oslo"]}]},{"combine":"all","clauses":[{"field":"name","operator":"notEmpty","value":""}]}]})",
        Write(*ExampleDocuments::MergeFilterAt(*document, ExampleDocuments::c_valueFilter)));
}

TEST(MergeValues, RowsAreCountedFrom0AndBothEndsBelong) {
    auto const rows = Shell::ParseRows("0-9, 20");
    EXPECT_EQ(11u, rows.GetCount());
    EXPECT_TRUE(rows.Contains(9));
    EXPECT_FALSE(rows.Contains(10));
    EXPECT_EQ("0-9,20", Shell::FormatRows(rows));
    EXPECT_EQ("none", Shell::FormatRows(Shell::ParseRows("none")));
    for (auto const* const text : {"", "5-3", "-1", "1-", "a", "1-2-3", "99999999999999999999"})
        EXPECT_THROW(Shell::ParseRows(text), Shell::ValueError) << text;
}

TEST(MergeValues, AddressesLeadThroughTheLists) {
    auto const document = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
    ExampleDocuments::DataMerge(*document);
    auto const clause = ExampleDocuments::MergeClauseAt(*document, 1);
    for (auto const* const text : {"source:0/filter:1/rule:0/clause:1", "0/1/0/1", "source:0/1/rule:0/1"})
        EXPECT_EQ(clause, Shell::FindMergeObject(*document, text, MergeLevel::Clause).clause) << text;
    EXPECT_EQ(ExampleDocuments::MergeFilterAt<DataMergeProcessFilter>(*document, 2)->GetRule(),
              Shell::FindMergeObject(*document, "0/2/0", MergeLevel::Rule).rule);
    // The document has two sources, so that one must be named.
    for (auto const* const text : {"1/0/1", "0/1/0/2", "0/0/0/0", "0/2/1/0", "2/0/0/0", "0/1/0/1/0",
                                   "source:0/rule:1/0/1", "0/1//1", "-1/0/0/0", "0/1/0/x", ""})
        EXPECT_THROW(Shell::FindMergeObject(*document, text, MergeLevel::Clause), Shell::ValueError) << text;
    document->GetDocument()->GetDataMergeSettings().pop_back();
    EXPECT_EQ(clause, Shell::FindMergeObject(*document, "filter:1/rule:0/clause:1", MergeLevel::Clause).clause);
}

} // namespace
