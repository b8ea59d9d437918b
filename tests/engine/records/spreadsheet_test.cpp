// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/zip_archive.h"
#include "engine/records/cell_format.h"
#include "platform/kernel/exception.h"
#include "tests/engine/records/reading.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

using namespace Records;
using RecordTests::GetRows;
using RecordTests::Rows;

namespace {

struct Parts {
    std::string sheet{}, shared{}, styles{};
    std::string workbook =
        R"(<workbook xmlns:r="r"><sheets><sheet name="One" r:id="rId1"/><sheet name="Two" r:id="rId2"/></sheets></workbook>)";
    EPub::ZipArchive::Method method = EPub::ZipArchive::Method::Deflated;

    std::string Pack() const {
        static std::string const type = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
        std::string const top = "<Relationships><Relationship Id=\"a\" Type=\"" + type +
                                "officeDocument\" Target=\"/xl/workbook.xml\"/></Relationships>";
        std::string relations = "<Relationships>";
        auto const relate = [&](std::string const& id, std::string const& kind, std::string const& target) {
            relations += "<Relationship Id=\"" + id + "\" Type=\"" + type + kind + "\" Target=\"" + target + "\"/>";
        };
        relate("rId1", "worksheet", "worksheets/sheet1.xml");
        relate("rId2", "worksheet", "../xl/worksheets/sheet2.xml");
        relate("rId3", "sharedStrings", "sharedStrings.xml");
        relate("rId4", "styles", "styles.xml");
        relations += "</Relationships>";
        std::string const other =
            "<worksheet><sheetData><row><c t=\"inlineStr\"><is><t>other</t></is></c></row></sheetData></worksheet>";
        EPub::ZipArchive archive;
        archive.Add("_rels/.rels", top, method);
        archive.Add("xl/workbook.xml", workbook, method);
        archive.Add("xl/_rels/workbook.xml.rels", relations, method);
        archive.Add("xl/worksheets/sheet1.xml", sheet, method);
        archive.Add("xl/worksheets/sheet2.xml", other, method);
        if (!shared.empty())
            archive.Add("xl/sharedStrings.xml", shared, method);
        if (!styles.empty())
            archive.Add("xl/styles.xml", styles, method);
        auto const bytes = archive.Finish();
        return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
    }
};

std::string Sheet(std::string const& rows) {
    return "<?xml version=\"1.0\"?><worksheet><sheetViews><sheetView/></sheetViews><sheetData>" + rows +
           "</sheetData><pageMargins/></worksheet>";
}

std::string Inline(std::string const& text) { return "<c t=\"inlineStr\"><is><t>" + text + "</t></is></c>"; }

ReadResult ParseSheet(Parts const& parts, ReadOptions const& options = {}) {
    return ParseTable(parts.Pack(), "table.xlsx", options, nullptr);
}

Rows ParseSheetRows(std::string const& rows) { return GetRows(*ParseSheet({.sheet = Sheet(rows)}).table); }

std::string RefuseSheet(Parts const& parts, ReadOptions const& options = {}) {
    try {
        ParseSheet(parts, options);
    } catch (Kernel::Exception const& e) {
        return e.what();
    }
    return "read";
}

TEST(Spreadsheet, ReadsCellsOfEveryKind) {
    Parts parts;
    parts.shared = "<sst><si><t>name</t></si><si><r><t>rich </t></r><r><rPr/><t>text</t></r><rPh><t>no</t></rPh></si>"
                   "<si><t>a_x000D_b_x005F_</t></si><si/></sst>";
    parts.sheet =
        Sheet("<row r=\"1\"><c r=\"A1\" t=\"s\"><v>0</v></c>" + Inline("number") + Inline("flag") + Inline("error") +
              Inline("formula") + "</row>" +
              "<row r=\"2\"><c r=\"A2\" t=\"s\"><v>1</v></c><c r=\"B2\"><v>0.10000000000000001</v></c>"
              "<c r=\"C2\" t=\"b\"><v>1</v></c><c r=\"D2\" t=\"e\"><v>#DIV/0!</v></c>"
              "<c r=\"E2\" t=\"str\"><f>1+1</f><v>two</v></c></row>" +
              "<row r=\"3\"><c r=\"A3\" t=\"s\"><v>2</v></c><c r=\"B3\"><v>1E3</v></c><c r=\"C3\" t=\"b\"><v>0</v></c>"
              "<c r=\"E3\"><f>A1</f><v>7</v></c></row>");
    auto const result = ParseSheet(parts);
    EXPECT_EQ(GetRows(*result.table), (Rows{{"name", "number", "flag", "error", "formula"},
                                            {"rich text", "0.1", "TRUE", "#DIV/0!", "two"},
                                            {"a\rb_", "1000", "FALSE", "", "7"}}));
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].row, 0);
    EXPECT_EQ(result.warnings[0].column, "error");
    EXPECT_EQ(result.used.format, FileFormat::Spreadsheet);
    EXPECT_EQ(result.used.sheet, "One");
}

TEST(Spreadsheet, ShowsDatesByTheirFormats) {
    Parts parts;
    parts.styles = R"(<styleSheet><numFmts><numFmt numFmtId="170" formatCode="d\.\ mmm&quot;h&quot; yyyy"/>
        <numFmt numFmtId="171" formatCode="[h]:mm"/><numFmt numFmtId="172" formatCode="[Red]0.00&quot;days&quot;"/></numFmts>
        <cellXfs><xf numFmtId="0"/><xf numFmtId="14"/><xf numFmtId="22"/><xf numFmtId="20"/><xf numFmtId="170"/>
        <xf numFmtId="171"/><xf numFmtId="172"/></cellXfs></styleSheet>)";
    std::string rows = "<row>";
    for (auto const* name : {"a", "b", "c", "d", "e", "f"})
        rows += Inline(name);
    rows += "</row><row>";
    for (auto const& [style, value] :
         {std::pair(1, "45322"), {2, "45322.573032407"}, {3, "0.5"}, {4, "45322.9"}, {5, "1.25"}, {6, "2.5"}})
        rows += "<c s=\"" + std::to_string(style) + "\"><v>" + value + "</v></c>";
    parts.sheet = Sheet(rows + "</row>");
    auto const table = ParseSheet(parts).table;
    EXPECT_EQ(GetRows(*table)[1], (std::vector<std::string>{"2024-01-31", "2024-01-31T13:45:10", "12:00:00",
                                                            "2024-01-31", "30:00:00", "2.5"}));
    EXPECT_EQ(table->GetColumn(0).type, ColumnType::Date);
    EXPECT_EQ(table->GetColumn(1).type, ColumnType::Date);
    parts.workbook.replace(parts.workbook.find("<sheets>"), 0, "<workbookPr date1904=\"1\"/>");
    EXPECT_EQ(GetRows(*ParseSheet(parts).table)[1][0], "2028-02-01");
}

TEST(Spreadsheet, KnowsFormatsOfDatesFromOthers) {
    EXPECT_EQ(FindCellKind("General"), CellKind::Number);
    EXPECT_EQ(FindCellKind("0.00E+00"), CellKind::Number);
    EXPECT_EQ(FindCellKind("#,##0.00 \"EUR per day\""), CellKind::Number);
    EXPECT_EQ(FindCellKind("[$-407]dd.mm.yyyy"), CellKind::Date);
    EXPECT_EQ(FindCellKind("yyyy\\-mm\\-dd\\ hh:mm"), CellKind::DateAndTime);
    EXPECT_EQ(FindCellKind("mm:ss.0"), CellKind::Time);
    EXPECT_EQ(FindCellKind("[mm]:ss"), CellKind::ElapsedTime);
    EXPECT_EQ(FindCellKind("0;yyyy"), CellKind::Number);
    EXPECT_EQ(FindCellKind("[Red]0"), CellKind::Number);
    EXPECT_EQ(FindCellKind("mmm"), CellKind::Date);
}

TEST(Spreadsheet, CountsDaysAsSpreadsheetsDo) {
    auto const date = [](double value) { return WriteDate(value, CellKind::Date, false); };
    EXPECT_EQ(date(1), "1900-01-01");
    EXPECT_EQ(date(59), "1900-02-28");
    EXPECT_EQ(date(60), "1900-02-29");
    EXPECT_EQ(date(61), "1900-03-01");
    EXPECT_EQ(date(36526), "2000-01-01");
    EXPECT_EQ(date(2958465), "9999-12-31");
    EXPECT_EQ(date(2958466), "2958466");
    EXPECT_EQ(date(-1), "-1");
    EXPECT_EQ(date(0), "0");
    EXPECT_EQ(WriteDate(0, CellKind::Date, true), "1904-01-01");
    EXPECT_EQ(WriteDate(0.9999999, CellKind::Time, false), "23:59:59.991");
    EXPECT_EQ(WriteDate(1.9999999999, CellKind::DateAndTime, false), "1900-01-02T00:00:00");
}

TEST(Spreadsheet, WritesNumbersAsShortAsTheyReadBack) {
    EXPECT_EQ(WriteNumber(0.1), "0.1");
    EXPECT_EQ(WriteNumber(100000), "100000");
    EXPECT_EQ(WriteNumber(-0.0), "0");
    EXPECT_EQ(WriteNumber(1e20), "1e+20");
    EXPECT_EQ(WriteNumber(1e-7), "1e-07");
    EXPECT_EQ(WriteNumber(0.00025), "0.00025");
    EXPECT_EQ(WriteNumber(123456789012345), "123456789012345");
    std::mt19937_64 random{9};
    for (int i = 0; i != 10'000; ++i) {
        auto const value = std::bit_cast<double>(random());
        if (std::isfinite(value)) {
            ASSERT_EQ(std::strtod(WriteNumber(value).c_str(), nullptr), value);
        }
    }
}

TEST(Spreadsheet, ReadsTheSheetThatIsNamed) {
    ReadOptions options;
    options.sheet = "Two";
    EXPECT_EQ(GetRows(*ParseSheet({.sheet = Sheet("")}, options).table), (Rows{{"other"}}));
    options.sheet = "Three";
    EXPECT_EQ(RefuseSheet({.sheet = Sheet("")}, options),
              "table.xlsx: the spreadsheet has no sheet \"Three\"; there are \"One\", \"Two\"");
}

TEST(Spreadsheet, FillsWhatIsMissing) {
    // A table that begins at C3, with a row and cells left out, and rows behind it that are only formatted.
    EXPECT_EQ(ParseSheetRows("<row r=\"3\"><c r=\"C3\" t=\"str\"><v>a</v></c><c r=\"E3\" t=\"str\"><v>c</v></c></row>"
                             "<row r=\"4\"><c r=\"D4\"><v>1</v></c></row><row r=\"6\"><c r=\"E6\"><v>2</v></c>"
                             "<c r=\"H6\"><v>3</v></c></row><row r=\"9\"/><row r=\"10\"><c r=\"C10\" s=\"1\"/></row>"),
              (Rows{{"a", "Column 2", "c", "Column 4"}, {"", "1", "", ""}, {"", "", "", ""}, {"", "", "2", "3"}}));
}

TEST(Spreadsheet, TellsAHeaderFromTheFirstRecord) {
    EXPECT_EQ(ParseSheetRows("<row><c><v>1</v></c></row><row><c><v>2</v></c></row>"),
              (Rows{{"Column 1"}, {"1"}, {"2"}}));
}

TEST(Spreadsheet, ReadsElementsWithPrefixes) {
    Parts parts;
    parts.shared = "<x:sst><x:si><x:t>a</x:t></x:si></x:sst>";
    parts.sheet =
        "<x:worksheet><x:sheetData><x:row><x:c t=\"s\"><x:v>0</x:v></x:c></x:row></x:sheetData></x:worksheet>";
    EXPECT_EQ(GetRows(*ParseSheet(parts).table), (Rows{{"a"}}));
}

TEST(Spreadsheet, TakesAnEmptySheetAsATableOfNothing) {
    for (auto const& sheet : {Sheet(""), std::string("<worksheet><sheetData/></worksheet>"), Sheet("<row r=\"1\"/>")}) {
        auto const result = ParseSheet({.sheet = sheet});
        EXPECT_EQ(result.table->GetColumnCount(), 0u);
        EXPECT_EQ(result.warnings.size(), 1u);
    }
}

TEST(Spreadsheet, GivesTheRowsThatDelimitedTextGives) {
    std::string csv = "id,name,score,day\n",
                sheet = "<row>" + Inline("id") + Inline("name") + Inline("score") + Inline("day") + "</row>";
    Parts parts;
    parts.styles = "<styleSheet><cellXfs><xf numFmtId=\"0\"/><xf numFmtId=\"14\"/></cellXfs></styleSheet>";
    for (int i = 0; i != 20'000; ++i) {
        auto const id = std::to_string(i), name = "n\u00e4me " + std::to_string(i % 97),
                   score = std::to_string(i % 13) + ".25";
        auto const day = std::to_string(36526 + i % 28);
        csv +=
            id + "," + name + "," + score + ",2000-01-" + (i % 28 < 9 ? "0" : "") + std::to_string(1 + i % 28) + "\n";
        sheet += "<row><c><v>" + id + "</v></c>" + Inline(name) + "<c><v>" + score + "</v></c><c s=\"1\"><v>" + day +
                 "</v></c></row>";
    }
    parts.sheet = Sheet(sheet);
    auto const fromCsv = ParseTable(csv, "table.csv", {}, nullptr).table;
    auto const fromSheet = ParseSheet(parts).table;
    EXPECT_EQ(GetRows(*fromSheet), GetRows(*fromCsv));
    for (std::size_t column = 0; column != 4; ++column)
        EXPECT_EQ(fromSheet->GetColumn(column).type, fromCsv->GetColumn(column).type);
}

TEST(Spreadsheet, RefusesDocumentTypes) {
    std::string const entities = "<!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>";
    Parts parts{.sheet = entities + Sheet("<row>" + Inline("&b;") + "</row>")};
    EXPECT_NE(RefuseSheet(parts).find("document type"), std::string::npos);
    parts.sheet = Sheet("<row>" + Inline("a") + "</row>");
    parts.shared = entities + "<sst><si><t>&b;</t></si></sst>";
    EXPECT_NE(RefuseSheet(parts).find("document type"), std::string::npos);
    parts.shared.clear();
    parts.workbook = entities + parts.workbook;
    EXPECT_NE(RefuseSheet(parts).find("document type"), std::string::npos);
}

TEST(Spreadsheet, RefusesPartsThatUnpackWithoutEnd) {
    Parts parts{.sheet = Sheet("<row>" + Inline("a") + "</row>" + std::string(std::size_t(100) << 20, ' '))};
    EXPECT_NE(RefuseSheet(parts).find("times its size"), std::string::npos);
}

TEST(Spreadsheet, RefusesWhatCannotBe) {
    for (auto const* rows :
         {"<row r=\"2\"/><row r=\"2\"/>", "<row r=\"0\"/>", "<row r=\"1048577\"/>", "<row><c r=\"XFE1\"/></row>",
          "<row><c r=\"ZZZZZZZZZZZZZZZZ1\"/></row>", "<row><c t=\"s\"><v>0</v></c></row>",
          "<row><c t=\"s\"><v>-1</v></c></row>", "<row><c></row>", "<row>", "<row></c></row>"})
        EXPECT_NE(RefuseSheet({.sheet = Sheet(rows)}), "read") << rows;
    EXPECT_NE(RefuseSheet({.sheet = "<worksheet><sheetData><row/>"}), "read");
    EXPECT_NE(RefuseSheet({.sheet = ""}), "read");
    EXPECT_NE(RefuseSheet({.sheet = Sheet(""), .workbook = "<workbook><sheets/></workbook>"}), "read");
    EXPECT_NE(RefuseSheet({.sheet = Sheet(""), .workbook = "<workbook"}), "read");
    EXPECT_THROW(ParseTable("PK\x03\x04 and no archive", "a.xlsx", {}, nullptr), Kernel::Exception);
    EXPECT_THROW(ParseTable("", "a.xlsx", {}, nullptr), Kernel::Exception);
    EXPECT_THROW(ParseTable("\xd0\xcf\x11\xe0", "a.xls", {}, nullptr), Kernel::Exception);
}

TEST(Spreadsheet, ReadsOrRefusesDamagedBytes) {
    std::mt19937 random{3};
    std::string rows;
    for (int i = 0; i != 200; ++i)
        rows += "<row>" + Inline("text " + std::to_string(i)) + "<c><v>" + std::to_string(i) + "</v></c></row>";
    for (auto const method : {EPub::ZipArchive::Method::Deflated, EPub::ZipArchive::Method::Stored}) {
        auto const whole = Parts{.sheet = Sheet(rows), .method = method}.Pack();
        int read = 0, refused = 0;
        for (int round = 0; round != 2000; ++round) {
            auto damaged = whole;
            for (auto count = 1 + random() % 3; count != 0; --count)
                damaged[random() % damaged.size()] = static_cast<char>(random());
            if (round % 5 == 0)
                damaged.resize(random() % damaged.size());
            try {
                ParseTable(damaged, "table.xlsx", {}, nullptr);
                ++read;
            } catch (Kernel::Exception const&) {
                ++refused;
            }
        }
        // Some bytes say nothing that matters, such as times.
        EXPECT_GT(refused, read);
    }
}

TEST(Spreadsheet, StopsWhenItsAbortFlagIsSet) {
    bool const isAborted = true;
    EXPECT_THROW(ParseTable(Parts{.sheet = Sheet("")}.Pack(), "table.xlsx", {}, &isAborted), Kernel::AbortException);
}

} // namespace
