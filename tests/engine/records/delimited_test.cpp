// SPDX-License-Identifier: Apache-2.0
#include "engine/records/delimited_reader.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"
#include "tests/engine/records/reading.h"

#include <gtest/gtest.h>
#include <random>

using namespace Records;
using namespace std::string_literals;
using RecordTests::GetRows;
using RecordTests::Rows;

namespace {

ReadResult Parse(std::string const& text, ReadOptions const& options = {}) {
    return ParseTable(text, "table.csv", options, nullptr);
}

Rows ParseRows(std::string const& text, ReadOptions const& options = {}) {
    return GetRows(*Parse(text, options).table);
}

// A reader that is told everything, from one character to the next and without a thought for speed: the same rules in
// another way.
class PlainReader {
public:
    PlainReader(std::string text, Dialect dialect) : m_text(std::move(text)), m_dialect(dialect) {}

    Rows Read() {
        Rows rows;
        while (m_at < m_text.size()) {
            std::vector<std::string> row;
            auto const begin = m_at;
            do
                row.push_back(ReadField());
            while (!m_isLineEnd);
            bool const isBlank = row.size() == 1 && row[0].empty() && m_text[begin] != m_dialect.quote;
            if (!isBlank)
                rows.push_back(row);
        }
        return rows;
    }

private:
    std::string ReadField() {
        m_isLineEnd = false;
        std::string field;
        if (m_at < m_text.size() && m_text[m_at] == m_dialect.quote && ReadQuoted(field))
            return field;
        field = TakeToEnd();
        return field;
    }
    // To the next delimiter or line end, whatever stands there.
    std::string TakeToEnd() {
        std::string field;
        for (; m_at != m_text.size(); ++m_at) {
            if (m_text[m_at] == m_dialect.delimiter) {
                ++m_at;
                return field;
            }
            if (m_text[m_at] == m_dialect.lineEnd)
                break;
            field.push_back(m_text[m_at]);
        }
        m_isLineEnd = true;
        if (m_at != m_text.size())
            ++m_at;
        if (m_dialect.lineEnd == '\n' && field.ends_with('\r'))
            field.pop_back();
        return field;
    }
    bool ReadQuoted(std::string& field) {
        auto const begin = m_at++;
        bool crossesLines = false;
        for (;; ++m_at) {
            if (m_at == m_text.size()) {
                m_at = begin;
                return false;
            }
            if (m_text[m_at] == m_dialect.quote) {
                if (m_at + 1 == m_text.size() || m_text[m_at + 1] != m_dialect.quote)
                    break;
                ++m_at;
            }
            crossesLines = crossesLines || m_text[m_at] == m_dialect.lineEnd;
            field.push_back(m_text[m_at]);
        }
        ++m_at;
        auto const rest = TakeToEnd();
        if (rest.find_first_not_of(' ') == std::string::npos)
            return true;
        if (crossesLines) {
            m_isLineEnd = false;
            m_at = begin;
            field.clear();
            return false;
        }
        field += rest;
        return true;
    }

    std::string m_text;
    Dialect m_dialect;
    std::size_t m_at = 0;
    bool m_isLineEnd = false;
};

TEST(Delimited, ReadsWhatRfc4180Says) {
    EXPECT_EQ(ParseRows("a,b\n1,2\n"), (Rows{{"a", "b"}, {"1", "2"}}));
    EXPECT_EQ(ParseRows("a,b\r\n1,2\r\n"), (Rows{{"a", "b"}, {"1", "2"}}));
    EXPECT_EQ(ParseRows("a,b\r1,2\r"), (Rows{{"a", "b"}, {"1", "2"}}));
    EXPECT_EQ(ParseRows("a,b\n1,2"), (Rows{{"a", "b"}, {"1", "2"}}));
    EXPECT_EQ(ParseRows("a,b\n\"x,\"\"y\"\"\n\",\"\"\n"), (Rows{{"a", "b"}, {"x,\"y\"\n", ""}}));
    EXPECT_EQ(ParseRows("a,b\n\"x\r\ny\",2\r\n"), (Rows{{"a", "b"}, {"x\r\ny", "2"}}));
    EXPECT_EQ(ParseRows("a,b\n1,"), (Rows{{"a", "b"}, {"1", ""}}));
    EXPECT_EQ(ParseRows("a,b\n x , y \n"), (Rows{{"a", "b"}, {" x ", " y "}}));
}

TEST(Delimited, TakesQuotesWithinAFieldAsText) {
    auto const result = Parse("a,b\n5\" pipe,x\"y\"z\n");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a", "b"}, {"5\" pipe", "x\"y\"z"}}));
    EXPECT_TRUE(result.warnings.empty());
}

TEST(Delimited, KeepsTextBehindAClosingQuoteAndSaysSo) {
    auto const result = Parse("a,b\n1,\"x\"y\n2,\"z\" \n");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a", "b"}, {"1", "xy"}, {"2", "z"}}));
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].row, 0);
    EXPECT_EQ(result.warnings[0].column, "b");
}

TEST(Delimited, LosesNothingBehindAQuoteThatIsNeverClosed) {
    auto const result = Parse("a,b\n1,x\n2,\"y\n3,z\n4,\"w\"\n5,v\n");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a", "b"}, {"1", "x"}, {"2", "\"y"}, {"3", "z"}, {"4", "w"}, {"5", "v"}}));
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].row, 1);
    EXPECT_EQ(result.warnings[0].column, "b");
    EXPECT_EQ(Parse("a,b\n1,\"x\n2,y").table->GetRowCount(), 2u);
}

TEST(Delimited, EvensOutRecordsAndSaysWhich) {
    auto const result = Parse("a,b,c\n1,2,3\n4,5\n6,7,8,9\n10,11,12,\n");
    EXPECT_EQ(GetRows(*result.table),
              (Rows{{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", ""}, {"6", "7", "8"}, {"10", "11", "12"}}));
    ASSERT_EQ(result.warnings.size(), 2u);
    EXPECT_EQ(result.warnings[0].row, 1);
    EXPECT_EQ(result.warnings[1].row, 2);
}

TEST(Delimited, CountsWarningsBeyondTheFirstHundred) {
    std::string text = "a,b,c\n";
    for (int i = 0; i != 150; ++i)
        text += "1,2,3\n4\n5,6,7\n";
    auto const result = Parse(text);
    EXPECT_EQ(result.warnings.size(), c_maximumWarnings);
    EXPECT_EQ(result.furtherWarnings, 50u);
    EXPECT_EQ(result.warnings[99].row, 99 * 3 + 1);
}

TEST(Delimited, LeavesBlankLinesOutAndEmptyRecordsAtTheEnd) {
    auto const result = Parse("a,b\n\n1,2\n\n,\n3,4\n,\n,\n\n");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a", "b"}, {"1", "2"}, {"", ""}, {"3", "4"}}));
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].text, "2 empty records at the end were left out");
}

TEST(Delimited, FindsTheDelimiter) {
    EXPECT_EQ(Parse("a;b\n1,5;2\n3,5;4\n").used.delimiter, ';');
    EXPECT_EQ(Parse("a\tb\n1,5\t2\n").used.delimiter, '\t');
    EXPECT_EQ(Parse("a|b|c\nx|y, z|1\n").used.delimiter, '|');
    EXPECT_EQ(Parse("sep=;\na;b,c\n1;2\n").used.delimiter, ';');
    EXPECT_EQ(GetRows(*Parse("sep=;\r\na;b,c\r\n1;2\r\n").table), (Rows{{"a", "b,c"}, {"1", "2"}}));
    // One column: a character that does not occur divides nothing.
    EXPECT_EQ(ParseRows("text\nyes, no\nmaybe\nperhaps\n"), (Rows{{"text"}, {"yes, no"}, {"maybe"}, {"perhaps"}}));
    ReadOptions options;
    options.delimiter = ':';
    EXPECT_EQ(ParseRows("a:b\n1:2\n", options), (Rows{{"a", "b"}, {"1", "2"}}));
}

TEST(Delimited, FindsApostrophesThatQuote) {
    EXPECT_EQ(ParseRows("'a','b'\n'x,y','z'\n'it''s',''\n"), (Rows{{"a", "b"}, {"x,y", "z"}, {"it's", ""}}));
    EXPECT_EQ(ParseRows("a,b\n'tis,1\nno',2\n"), (Rows{{"a", "b"}, {"'tis", "1"}, {"no'", "2"}}));
}

TEST(Delimited, TellsAHeaderFromTheFirstRecord) {
    EXPECT_EQ(Parse("name,age\nAnn,5\nBob,7\n").used.header, HeaderRow::Present);
    EXPECT_EQ(Parse("Ann,5\nBob,7\nCid,9\n").used.header, HeaderRow::Absent);
    EXPECT_EQ(Parse("a,b\nx,y\n").used.header, HeaderRow::Present);
    EXPECT_EQ(ParseRows("1,2\n3,4\n"), (Rows{{"Column 1", "Column 2"}, {"1", "2"}, {"3", "4"}}));
    EXPECT_EQ(Parse("city,2019,2020\nRome,1,2\n").used.header, HeaderRow::Present);
    ReadOptions options;
    options.header = HeaderRow::Present;
    EXPECT_EQ(ParseRows("1,2\n3,4\n", options), (Rows{{"1", "2"}, {"3", "4"}}));
}

TEST(Delimited, GivesEveryColumnAName) {
    auto const result = Parse("name,name,, ,\"na\nme\",name (2)\n1,2,3,4,5,6\n");
    EXPECT_EQ(GetRows(*result.table)[0],
              (std::vector<std::string>{"name", "name (2)", "Column 3", "Column 4", "na me", "name (2) (2)"}));
    EXPECT_EQ(result.warnings.size(), 4u);
    auto const more = Parse("a,b\n1,2,3\n4,5,6\n");
    EXPECT_EQ(GetRows(*more.table), (Rows{{"a", "b", "Column 3"}, {"1", "2", "3"}, {"4", "5", "6"}}));
}

TEST(Delimited, ReadsEncodingsByTheirMarksAndTheirBytes) {
    auto const asUtf16 = [](std::string const& ascii, bool isBigEndian, bool hasMark) {
        std::string text = !hasMark ? "" : isBigEndian ? "\xfe\xff" : "\xff\xfe";
        for (auto const c : ascii)
            text += isBigEndian ? std::string{'\0', c} : std::string{c, '\0'};
        return text;
    };
    Rows const expected{{"a", "b"}, {"1", "2"}};
    for (bool const isBigEndian : {false, true}) {
        for (bool const hasMark : {false, true}) {
            auto const result = Parse(asUtf16("a\tb\r\n1\t2\r\n", isBigEndian, hasMark));
            EXPECT_EQ(GetRows(*result.table), expected);
            EXPECT_EQ(result.used.encoding, isBigEndian ? Encoding::Utf16BigEndian : Encoding::Utf16LittleEndian);
        }
    }
    EXPECT_EQ(ParseRows("\xef\xbb\xbf"
                        "a,b\n1,2\n"),
              expected);
    // A pair of surrogates, and one alone.
    EXPECT_EQ(ParseRows("\xff\xfe"
                        "a\0\n\0\x3d\xd8\x00\xde\x3d\xd8\n\0"s),
              (Rows{{"a"}, {"\U0001f600\ufffd"}}));
}

TEST(Delimited, TakesTextThatIsNotUtf8AsWindows1252) {
    auto const result = Parse("a,b\n1,x\n2,caf\xe9 \x80\n");
    EXPECT_EQ(GetRows(*result.table)[2][1], "caf\u00e9 \u20ac");
    EXPECT_EQ(result.used.encoding, Encoding::Windows1252);
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].row, 1);
    EXPECT_EQ(result.warnings[0].column, "b");
}

TEST(Delimited, RepairsUtf8ThatIsDamaged) {
    auto const result = Parse("a,b\n\u00e9\u00e8,\u00fc\n2,caf\xe9\n");
    EXPECT_EQ(GetRows(*result.table), (Rows{{"a", "b"}, {"\u00e9\u00e8", "\u00fc"}, {"2", "caf\ufffd"}}));
    EXPECT_EQ(result.used.encoding, Encoding::Utf8);
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].row, 1);
    EXPECT_EQ(result.warnings[0].column, "b");
    ReadOptions options;
    options.encoding = Encoding::Utf8;
    EXPECT_EQ(ParseRows("a\n\xe9\n", options)[1][0], "\ufffd");
}

TEST(Delimited, ReplacesZeroBytes) {
    auto const result = Parse("a,b\n1,x\0y\n"s);
    EXPECT_EQ(GetRows(*result.table)[1][1], "x\ufffdy");
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].column, "b");
}

TEST(Delimited, LeavesFormulasOfSpreadsheetsAsText) {
    auto const table = Parse("a,b\n=1+1,\"=cmd|' /C calc'!A0\"\n@SUM(1),+1-1\n").table;
    EXPECT_EQ(GetRows(*table), (Rows{{"a", "b"}, {"=1+1", "=cmd|' /C calc'!A0"}, {"@SUM(1)", "+1-1"}}));
    EXPECT_EQ(table->GetColumn(0).type, ColumnType::Text);
}

TEST(Delimited, TakesNoDataAsATableOfNothing) {
    for (auto const* text : {"", "\xef\xbb\xbf", "\n", "\n\n\r\n"}) {
        auto const result = Parse(text);
        EXPECT_EQ(result.table->GetRowCount(), 0u);
        EXPECT_EQ(result.table->GetColumnCount(), 0u);
    }
    EXPECT_EQ(Parse("a,b\n").table->GetRowCount(), 0u);
    EXPECT_EQ(Parse("a,b").table->GetColumnCount(), 2u);
}

TEST(Delimited, RefusesWhatBreaksABound) {
    EXPECT_THROW(Parse(std::string(c_maximumColumns + 1, ',') + "\n1\n"), Kernel::Exception);
    EXPECT_EQ(Parse(std::string(c_maximumColumns - 1, ',') + "\n1\n").table->GetColumnCount(), c_maximumColumns);
    try {
        Parse("a,b\n1,2\n3," + std::string(c_maximumFieldSize + 1, 'x') + "\n");
        FAIL();
    } catch (Kernel::Exception const& e) {
        EXPECT_STREQ(e.what(), "table.csv: record 1: a field has more than 64 MiB");
    }
    EXPECT_THROW(Parse("a,b\n" + std::string(100'000, ',') + "\n"), Kernel::Exception);
}

TEST(Delimited, RefusesOptionsThatMakeNoSense) {
    for (auto const& options :
         {ReadOptions{.delimiter = '\n'}, ReadOptions{.quote = '\r'}, ReadOptions{.decimalMark = 'x'},
          ReadOptions{.delimiter = '"', .quote = '"'}, ReadOptions{.delimiter = '\xe9'}})
        EXPECT_THROW(Parse("a,b\n", options), Kernel::Exception);
}

// Text of the characters that matter, in which fields are quoted well and badly.
std::string MakeText(std::mt19937& random, std::size_t records, char delimiter) {
    static constexpr std::string_view c_parts[] = {"a",  "bc", "\"",     "\"\"", "\n", "\r\n",
                                                   "\r", " ",  "\u00e9", "1.5",  "\t"};
    std::string text;
    auto const wild = random() % 4;
    for (std::size_t i = 0; i != records; ++i) {
        auto const columns = random() % 9 == 0 ? random() % 6 : 3;
        for (std::size_t column = 0; column < columns; ++column) {
            if (column != 0)
                text.push_back(delimiter);
            std::string field;
            for (auto parts = random() % 5; parts != 0; --parts)
                field += c_parts[random() % std::size(c_parts)];
            if (random() % 8 < wild) {
                text += field;
                continue;
            }
            text.push_back('"');
            for (auto const c : field)
                text += c == '"' ? "\"\"" : std::string(1, c);
            text.push_back('"');
        }
        text += random() % 3 == 0 ? "\r\n" : "\n";
    }
    return text;
}

// Whatever the chunks, and however badly the text is written.
TEST(Delimited, AgreesWithAPlainReaderOnTextByChance) {
    std::mt19937 random{20};
    for (int round = 0; round != 3000; ++round) {
        auto const text = "a,b,c\n" + MakeText(random, random() % 30, ',');
        auto expected = PlainReader(text, {}).Read();
        ReadOptions const options{.header = HeaderRow::Present, .delimiter = ',', .quote = '"'};
        auto const source = OpenMemory(text, "text", text.size());
        auto const result = ReadDelimited(*source, "", options, nullptr, 8 + 4 * (random() % 40));
        auto actual = GetRows(*result.table);
        // Columns that most records have beside those of the header are named.
        for (auto& row : expected)
            row.resize(result.table->GetColumnCount());
        expected[0] = actual[0];
        while (expected.size() > 1 &&
               std::all_of(expected.back().begin(), expected.back().end(), std::mem_fn(&std::string::empty)))
            expected.pop_back();
        ASSERT_EQ(actual, expected) << "round " << round << ":\n" << text;
    }
}

TEST(Delimited, ReadsChunksInEveryEncodingAlike) {
    std::mt19937 random{21};
    for (int round = 0; round != 500; ++round) {
        std::string utf8 = "a,b,c\n", utf16, windows;
        std::string const letters[] = {"a", "\u00e9", "\u20ac", "\U0001f600", ",", "\n", "\""};
        for (auto count = random() % 200; count != 0; --count)
            utf8 += letters[random() % (round % 2 == 0 ? 7 : 3)];
        // By code point.
        auto const decode = [](std::string const& text) {
            std::u32string points;
            for (std::size_t i = 0; i != text.size();) {
                auto const lead = static_cast<unsigned char>(text[i]);
                auto const length = lead < 0x80 ? 1u : lead < 0xe0 ? 2u : lead < 0xf0 ? 3u : 4u;
                char32_t point = length == 1 ? lead : lead & (0x7fu >> length);
                for (unsigned k = 1; k != length; ++k)
                    point = point << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3fu);
                points.push_back(point);
                i += length;
            }
            return points;
        };
        auto const put = [&](char32_t unit) {
            utf16 += {static_cast<char>(unit & 0xff), static_cast<char>(unit >> 8)};
        };
        for (auto const point : decode(utf8)) {
            if (point < 0x10000) {
                put(point);
            } else {
                put(0xd800 + ((point - 0x10000) >> 10));
                put(0xdc00 + ((point - 0x10000) & 0x3ff));
            }
            windows.push_back(point == 0x20ac ? '\x80' : static_cast<char>(point));
        }
        auto const read = [&](std::string const& text, Encoding encoding, std::size_t chunkBytes) {
            ReadOptions const options{
                .encoding = encoding, .header = HeaderRow::Present, .delimiter = ',', .quote = '"'};
            return GetRows(*ReadDelimited(*OpenMemory(text, "", text.size()), "", options, nullptr, chunkBytes).table);
        };
        auto const expected = read(utf8, Encoding::Utf8, 1 << 20);
        auto const chunkBytes = 8 + 4 * (random() % 10);
        ASSERT_EQ(read(utf16, Encoding::Utf16LittleEndian, chunkBytes), expected);
        if (round % 2 == 1) {
            ASSERT_EQ(read(windows, Encoding::Windows1252, chunkBytes), expected);
        }
        // One byte that is not UTF-8 at a place by chance: both chunkings repair alike.
        auto damaged = utf8;
        damaged.insert(6 + random() % (damaged.size() - 5), 1, static_cast<char>(0x80 + random() % 0x80));
        ASSERT_EQ(read(damaged, Encoding::Utf8, chunkBytes), read(damaged, Encoding::Utf8, 1 << 20));
    }
}

class AbortAtPoll final : public Kernel::AbortPollObserver {
public:
    explicit AbortAtPoll(int poll) : m_left(poll) { Set(this); }
    ~AbortAtPoll() override { Set(nullptr); }
    void BeforePoll(bool& flag) override {
        if (m_left.fetch_sub(1) == 0)
            std::atomic_ref<bool>(flag).store(true);
    }
    int GetPolls(int begun) const { return begun - m_left; }

private:
    std::atomic<int> m_left;
};

TEST(Delimited, StopsAtEveryLookAtItsAbortFlag) {
    std::string text = "a,b\n";
    for (int i = 0; i != 100'000; ++i)
        text += std::to_string(i) + ",x\n";
    int polls = 0;
    {
        AbortAtPoll observer(1 << 30);
        bool flag = false;
        ParseTable(text, "a.csv", {}, &flag);
        polls = observer.GetPolls(1 << 30);
    }
    // A look for each 64 KiB at least.
    EXPECT_GE(polls, static_cast<int>(text.size() >> 16));
    for (int poll = 0; poll != polls; ++poll) {
        AbortAtPoll observer(poll);
        bool flag = false;
        EXPECT_THROW(ParseTable(text, "a.csv", {}, &flag), Kernel::AbortException);
    }
}

} // namespace
