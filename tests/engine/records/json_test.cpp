// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/exception.h"
#include "tests/engine/records/reading.h"

#include <gtest/gtest.h>

using namespace Records;
using RecordTests::GetRows;
using RecordTests::Rows;

namespace {

ReadResult ParseJson(std::string const& text, ReadOptions const& options = {}) {
    return ParseTable(text, "table.json", options, nullptr);
}

Rows ParseJsonRows(std::string const& text) { return GetRows(*ParseJson(text).table); }

std::string RefuseJson(std::string const& text) {
    try {
        ParseJson(text);
    } catch (Kernel::Exception const& e) {
        return e.what();
    }
    return "read";
}

Rows const c_twoRows{{"a", "b"}, {"1", "x"}, {"", "y"}};

TEST(Json, ReadsObjectsInAnArray) { EXPECT_EQ(ParseJsonRows(R"([{"a":1,"b":"x"},{"b":"y"}])"), c_twoRows); }

TEST(Json, ReadsObjectsInLines) {
    EXPECT_EQ(ParseJsonRows("{\"a\":1,\"b\":\"x\"}\n{\"b\":\"y\"}\n"), c_twoRows);
    EXPECT_EQ(ParseJsonRows("{\"a\":1,\"b\":\"x\"}\r\n\r\n{\"b\":\"y\"}"), c_twoRows);
}

TEST(Json, ReadsAnObjectWithTheArray) {
    EXPECT_EQ(ParseJsonRows(R"({"count":[2],"rows":[{"a":1,"b":"x"},{"b":"y"}],"more":{"z":[{"c":1}]}})"), c_twoRows);
    auto const result = ParseJson(R"({"rows":[{"a":1}],"others":[{"b":2}]})");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a"}, {"1"}}));
    EXPECT_EQ(result.warnings.size(), 1u);
}

TEST(Json, ReadsOneObjectAsARecord) { EXPECT_EQ(ParseJsonRows(R"({"a":1,"b":"x"})"), (Rows{{"a", "b"}, {"1", "x"}})); }

TEST(Json, NamesMembersOfObjectsWithinObjectsByTheirPath) {
    EXPECT_EQ(ParseJsonRows(R"([{"a":{"b":1,"c":{"d":2}},"e":[1,{"f":"g\"\n"},[],{}, null ,true]}])"),
              (Rows{{"a.b", "a.c.d", "e"}, {"1", "2", R"([1,{"f":"g\"\u000a"},[],{},null,true])"}}));
}

TEST(Json, WritesValuesAsTheyAre) {
    auto const result = ParseJson(R"([{"a":1.50,"b":123456789012345678901234567890,"c":true,"d":null,"e":-0,"f":1e999},
        {"a":"\u00e9\ud83d\ude00\t"}])");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a", "b", "c", "d", "e", "f"},
                                            {"1.50", "123456789012345678901234567890", "true", "", "-0", "1e999"},
                                            {"\u00e9\U0001f600\t", "", "", "", "", ""}}));
    EXPECT_TRUE(result.warnings.empty());
}

TEST(Json, TakesTheFirstOfEqualMembersAndSaysSo) {
    auto const result = ParseJson(R"([{"a":0},{"a":1,"a":2}])");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a"}, {"0"}, {"1"}}));
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].row, 1);
    EXPECT_EQ(result.warnings[0].column, "a");
}

TEST(Json, LeavesOutWhatIsNoObjectAndSaysSo) {
    auto const result = ParseJson(R"([1,"x",null,[],{"a":1},true])");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a"}, {"1"}}));
    ASSERT_EQ(result.warnings.size(), 5u);
    EXPECT_EQ(result.warnings[0].text, "value 0 is no object and was left out");
    EXPECT_EQ(result.warnings[4].text, "value 5 is no object and was left out");
}

TEST(Json, KeepsRecordsWithoutMembers) { EXPECT_EQ(ParseJson(R"([{"a":1},{},{}])").table->GetRowCount(), 3u); }

TEST(Json, ReplacesZeroBytes) {
    auto const result = ParseJson(R"([{"a":"x\u0000y"}])");
    EXPECT_EQ(GetRows(*result.table)[1][0], "x\ufffdy");
    EXPECT_EQ(result.warnings.size(), 1u);
}

TEST(Json, ReadsOtherEncodings) {
    EXPECT_EQ(GetRows(*ParseJson("[{\"a\":\"caf\xe9\"}]").table)[1][0], "caf\u00e9");
    EXPECT_EQ(ParseJson("[{\"a\":\"caf\xe9\"}]").used.encoding, Encoding::Windows1252);
    std::string utf16 = "\xff\xfe";
    for (auto const c : std::string_view(R"([{"a":"x"}])"))
        utf16 += {c, '\0'};
    EXPECT_EQ(ParseJsonRows(utf16), (Rows{{"a"}, {"x"}}));
    EXPECT_EQ(ParseJsonRows("\xef\xbb\xbf[{\"a\":1}]"), (Rows{{"a"}, {"1"}}));
}

TEST(Json, TakesAnEmptyFileOrArrayAsATableOfNothing) {
    EXPECT_EQ(ParseJson("").table->GetColumnCount(), 0u);
    EXPECT_EQ(ParseJson(" \n").warnings.size(), 1u);
    EXPECT_EQ(ParseJson("[]").table->GetRowCount(), 0u);
}

TEST(Json, RefusesWhatIsNoJson) {
    for (auto const* text : {"42",
                             "\"x\"",
                             "null",
                             "[1,2]",
                             "[{\"a\":1},]",
                             "[{\"a\":1,}]",
                             "[{\"a\":NaN}]",
                             "[{\"a\":Infinity}]",
                             "[{\"a\":01}]",
                             "[{\"a\":1.}]",
                             "[{\"a\":.5}]",
                             "[{\"a\":+1}]",
                             "[{\"a\":tru}]",
                             "[{\"a\":nulL}]",
                             "[{a:1}]",
                             "[{'a':1}]",
                             "[{\"a\":1}",
                             "[{\"a\":1",
                             "[{\"a\":\"",
                             "[{\"a\":\"\\",
                             "[{\"a\":1}] x",
                             "[{\"a\":1}{\"a\":2}]",
                             "{\"a\":1}]",
                             "]",
                             "[{\"a\":1]]",
                             "[{\"a\":\"\x01\"}]",
                             "[{\"a\":\"\\q\"}]",
                             "[{\"a\":\"\\ud800\"}]",
                             "[{\"a\" 1}]",
                             "[{\"a\":}]",
                             "[,]",
                             "[{\"a\":[1,]}]",
                             "[{\"a\":[NaN]}]",
                             "[NaN,{\"a\":1}]",
                             "[01,{\"a\":1}]",
                             "[{\"a\":1} // x\n]",
                             "{",
                             "[",
                             "\"",
                             "{\"a\":1,"})
        EXPECT_NE(RefuseJson(text), "read") << text;
}

TEST(Json, NamesTheLineWhereItCannotGoOn) {
    EXPECT_EQ(RefuseJson("[{\"a\":1},\n{\"a\":2}\n;"), "table.json: the JSON cannot be read: line 3: ']' is missing");
}

TEST(Json, RefusesDeepNestingAndManyColumns) {
    EXPECT_NE(RefuseJson(std::string(100'000, '[')), "read");
    EXPECT_NE(RefuseJson("[{\"a\":" + std::string(200, '[') + std::string(200, ']') + "}]"), "read");
    std::string deep = "[";
    for (int i = 0; i != 200; ++i)
        deep += "{\"a\":";
    EXPECT_NE(RefuseJson(deep), "read");
    std::string wide = "[{";
    for (std::uint32_t i = 0; i <= c_maximumColumns; ++i)
        wide += "\"m" + std::to_string(i) + "\":1,";
    wide.back() = '}';
    EXPECT_EQ(RefuseJson(wide + "]"), "table.json: there are more than 16384 columns");
}

TEST(Json, GivesTheRowsThatDelimitedTextGives) {
    std::string csv = "id,name,score\n", json = "[";
    for (int i = 0; i != 20'000; ++i) {
        auto const id = std::to_string(i), name = "n\u00e4me " + std::to_string(i % 97),
                   score = std::to_string(i % 13) + ".25";
        csv += id + "," + name + "," + score + "\n";
        json += (i == 0 ? "" : ",") + ("{\"id\":" + id) + ",\"name\":\"" + name + "\",\"score\":" + score + "}";
    }
    auto const fromCsv = ParseTable(csv, "table.csv", {}, nullptr).table;
    auto const fromJson = ParseJson(json + "]").table;
    EXPECT_EQ(GetRows(*fromJson), GetRows(*fromCsv));
    for (std::size_t column = 0; column != 3; ++column)
        EXPECT_EQ(fromJson->GetColumn(column).type, fromCsv->GetColumn(column).type);
}

TEST(Json, StopsWhenItsAbortFlagIsSet) {
    bool const isAborted = true;
    EXPECT_THROW(ParseTable("[{\"a\":1}]", "table.json", {}, &isAborted), Kernel::AbortException);
}

} // namespace
