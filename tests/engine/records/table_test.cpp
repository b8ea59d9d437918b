// SPDX-License-Identifier: Apache-2.0
#include "engine/records/table_builder.h"
#include "platform/kernel/exception.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace Records;

namespace {

TableRef MakeColumn(std::vector<std::string> const& fields, char decimalMark = 0) {
    TableBuilder builder;
    builder.AddColumn("a");
    for (auto const& field : fields) {
        builder.SetField(0, field);
        builder.EndRow();
    }
    return builder.Finish(decimalMark, false);
}

ColumnType FindType(std::vector<std::string> const& fields, char decimalMark = 0) {
    return MakeColumn(fields, decimalMark)->GetColumn(0).type;
}

// Milliseconds since 1970 in UTC.
double ReadDay(std::vector<std::string> const& fields) { return MakeColumn(fields)->GetNumbers(0)[0]; }

constexpr double c_day = 86'400'000;

TEST(Table, GivesFieldsOfColumnsThatCameLater) {
    TableBuilder builder;
    builder.AddColumn("a");
    builder.SetField(0, "1");
    builder.EndRow();
    builder.AddColumn("b");
    builder.SetField(1, "2");
    builder.EndRow();
    auto const table = builder.Finish(0, false);
    ASSERT_EQ(table->GetRowCount(), 2u);
    EXPECT_EQ(table->GetText(0, 0), "1");
    EXPECT_EQ(table->GetText(0, 1), "");
    EXPECT_EQ(table->GetText(1, 0), "");
    EXPECT_EQ(table->GetText(1, 1), "2");
    EXPECT_EQ(table->GetText(2, 0), "");
    EXPECT_EQ(table->GetText(0, 2), "");
    EXPECT_EQ(table->FindColumn("b"), 1u);
    EXPECT_EQ(table->FindColumn("c"), std::nullopt);
}

TEST(Table, FindsEveryRowOfManyGroups) {
    TableBuilder builder;
    builder.AddColumn("number");
    builder.AddColumn("filler");
    // Rows of very different size, so that groups have few rows and many.
    constexpr std::uint32_t c_rows = 60'000;
    for (std::uint32_t row = 0; row != c_rows; ++row) {
        builder.SetField(0, std::to_string(row));
        builder.SetField(1, std::string(row % 20'000 == 7 ? 700'000 : row % 31, 'x'));
        builder.EndRow();
    }
    auto const table = builder.Finish(0, false);
    ASSERT_EQ(table->GetRowCount(), c_rows);
    auto const numbers = table->GetNumbers(0);
    ColumnRun run;
    for (std::uint32_t row = 0; row != c_rows; ++row) {
        ASSERT_EQ(table->GetText(row, 0), std::to_string(row));
        ASSERT_EQ(numbers[row], row);
        if (row - run.firstRow >= run.rowCount)
            run = table->GetRun(row, 1);
        ASSERT_EQ(run.Get(row).size(), row % 20'000 == 7 ? 700'000 : row % 31);
    }
}

TEST(Table, NumbersADictionaryInTheOrderOfBytes) {
    TableBuilder builder;
    builder.AddColumn("a");
    constexpr std::uint32_t c_rows = 200'000;
    auto const name = [](std::uint32_t row) { return "text " + std::to_string(row * 7919 % 50'021); };
    for (std::uint32_t row = 0; row != c_rows; ++row) {
        builder.SetField(0, name(row));
        builder.EndRow();
    }
    auto const table = builder.Finish(0, false);
    auto const& dictionary = table->GetDictionary(0);
    ASSERT_EQ(dictionary.values.size(), 50'021u);
    for (std::size_t i = 1; i != dictionary.values.size(); ++i)
        ASSERT_LT(dictionary.values[i - 1], dictionary.values[i]);
    for (std::uint32_t row = 0; row != c_rows; ++row)
        ASSERT_EQ(dictionary.values[dictionary.codes[row]], name(row));
}

TEST(Table, StopsWhenItsAbortFlagIsSet) {
    auto const table = MakeColumn({"1", "2"});
    bool const isAborted = true;
    EXPECT_THROW(table->GetNumbers(0, &isAborted), Kernel::AbortException);
    EXPECT_THROW(table->GetDictionary(0, &isAborted), Kernel::AbortException);
    EXPECT_EQ(table->GetNumbers(0)[1], 2);
}

// As an object of a few bytes for each row of many columns does, or a sheet whose last row is far below.
TEST(Table, RefusesFewBytesThatAskForMuchMemory) {
    TableBuilder builder(1 << 20);
    for (int column = 0; column != 1000; ++column)
        builder.AddColumn(std::to_string(column));
    EXPECT_THROW(
        {
            for (int row = 0; row != 1000; ++row)
                builder.EndRow();
        },
        Kernel::Exception);
}

TEST(ColumnTypes, AreNumbersWhereAllFieldsAreOrAreEmpty) {
    EXPECT_EQ(FindType({"1", "", "-2", "+3.5", "1e6", ".5", "1E-3"}), ColumnType::Number);
    EXPECT_EQ(FindType({"1", "x"}), ColumnType::Text);
    EXPECT_EQ(FindType({"", ""}), ColumnType::Text);
    EXPECT_EQ(FindType({"1,234", "12,345,678.5"}), ColumnType::Number);
    EXPECT_EQ(MakeColumn({"1,234", "12,345,678.5"})->GetNumbers(0)[1], 12345678.5);
    EXPECT_EQ(FindType({"1,23,4"}), ColumnType::Text);
    EXPECT_EQ(FindType({"nan", "inf"}), ColumnType::Text);
    EXPECT_EQ(FindType({"0x10"}), ColumnType::Text);
    EXPECT_EQ(FindType({"-"}), ColumnType::Text);
    EXPECT_EQ(FindType({"."}), ColumnType::Text);
    EXPECT_EQ(FindType({"1e"}), ColumnType::Text);
}

TEST(ColumnTypes, AreTextWhereZerosLead) {
    EXPECT_EQ(FindType({"01067", "10115"}), ColumnType::Text);
    EXPECT_EQ(FindType({"0", "0.5", "10"}), ColumnType::Number);
    // Ids that would be equal as numbers.
    EXPECT_EQ(FindType({"999999999999999", "1"}), ColumnType::Number);
    EXPECT_EQ(FindType({"9007199254740992", "9007199254740993"}), ColumnType::Text);
    EXPECT_EQ(FindType({"0.12345678901234567", "3.1415926535897932385"}), ColumnType::Number);
}

TEST(ColumnTypes, KnowTheDecimalComma) {
    auto const table = MakeColumn({"1,5", "1.234,25", "7"});
    EXPECT_EQ(table->GetColumn(0).type, ColumnType::Number);
    EXPECT_EQ(table->GetNumbers(0)[0], 1.5);
    EXPECT_EQ(table->GetNumbers(0)[1], 1234.25);
    EXPECT_EQ(table->ParseField("2,5", ColumnType::Number), 2.5);
    EXPECT_EQ(FindType({"1,5"}, '.'), ColumnType::Text);
    EXPECT_EQ(MakeColumn({"1.234"}, ',')->GetNumbers(0)[0], 1234);
}

TEST(ColumnTypes, AreDatesInFormsThatAreCertain) {
    EXPECT_EQ(ReadDay({"1970-01-02"}), c_day);
    EXPECT_EQ(ReadDay({"1969-12-31"}), -c_day);
    EXPECT_EQ(ReadDay({"2000-02-29"}), 11016 * c_day);
    EXPECT_EQ(ReadDay({"1970/01/02 01:30"}), c_day + 5'400'000);
    EXPECT_EQ(ReadDay({"1970-01-02T00:00:01.5+01:00"}), c_day - 3'600'000 + 1500);
    EXPECT_EQ(ReadDay({"2.1.1970"}), c_day);
    EXPECT_EQ(ReadDay({"2 Jan 1970"}), c_day);
    EXPECT_EQ(ReadDay({"January 2, 1970"}), c_day);
    EXPECT_EQ(ReadDay({"1/2/1970 1:30 PM", "1/31/1970"}), c_day + 13.5 * 3'600'000);
    EXPECT_EQ(FindType({"2023-02-29"}), ColumnType::Text);
    EXPECT_EQ(FindType({"2023-02-28", "soon"}), ColumnType::Text);
}

TEST(ColumnTypes, TellDayFromMonthByTheWholeColumn) {
    EXPECT_EQ(ReadDay({"2/1/1970", "31/1/1970"}), c_day);
    EXPECT_EQ(ReadDay({"1/2/1970", "1/31/1970"}), c_day);
    EXPECT_EQ(FindType({"1/2/1970", "2/3/1970"}), ColumnType::Text);
    EXPECT_EQ(FindType({"31/1/1970", "1/31/1970"}), ColumnType::Text);
    auto const table = MakeColumn({"2/1/1970", "31/1/1970"});
    EXPECT_EQ(table->ParseField("3/1/1970", std::size_t(0)), 2 * c_day);
    EXPECT_EQ(table->ParseField("1970-01-03", std::size_t(0)), 2 * c_day);
    EXPECT_TRUE(std::isnan(table->ParseField("3/1/1970", ColumnType::Date)));
}

TEST(ColumnTypes, ArePicturesByTheirEndings) {
    EXPECT_EQ(FindType({"a.png", "", "b/c.JPEG"}), ColumnType::ImagePath);
    EXPECT_EQ(FindType({"a.png", "b.txt"}), ColumnType::Text);
    EXPECT_EQ(FindType({".png"}), ColumnType::Text);
}

TEST(ColumnTypes, ReadNumbersAtTheEdgesOfDoubles) {
    EXPECT_EQ(MakeColumn({"1e-400"})->GetNumbers(0)[0], 0);
    EXPECT_TRUE(std::isnan(MakeColumn({"1e400"})->GetNumbers(0)[0]));
    EXPECT_EQ(MakeColumn({"123456789012345678901234567890.0"})->GetNumbers(0)[0], 123456789012345678901234567890.0);
    EXPECT_EQ(MakeColumn({"0.1"})->GetNumbers(0)[0], 0.1);
}

} // namespace
