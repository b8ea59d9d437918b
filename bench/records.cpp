// SPDX-License-Identifier: Apache-2.0
// How long does it take to read a million records of twelve fields, 118 MB of text, into a table, and how much memory?
// In the same run: SQLite's C API, which is given the same fields in memory; Miller as a whole process, where it is
// installed; and a plain loop that finds where the fields end and keeps nothing else. The same table as JSON is read
// beside it, and what columns of numbers and of distinct texts cost when they are first asked for.
#include "bench/peak_memory.h"
#include "platform/records/read_table.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sqlite3.h>
#include <unistd.h>

namespace {

constexpr std::uint32_t c_rows = 1'000'000, c_columns = 12;
constexpr char const* c_names[c_columns] = {"id",     "first", "last", "email",  "city",   "zip",
                                            "amount", "score", "born", "active", "remark", "photo"};

// The files that are read, made when they are first asked for and removed at the end.
class Files {
public:
    Files() { std::filesystem::create_directories(m_folder); }
    ~Files() { std::filesystem::remove_all(m_folder); }
    std::string const& GetCsv() {
        if (m_csv.empty())
            Make();
        return m_csv;
    }
    std::string const& GetJson() {
        GetCsv();
        return m_json;
    }

private:
    void Make() {
        std::mt19937 random{23};
        auto const makeWord = [&](std::size_t length) {
            std::string word(1, static_cast<char>('A' + random() % 26));
            while (--length != 0)
                word.push_back("aeiounrstlmdk"[random() % 13]);
            return word;
        };
        m_csv = (m_folder / "records.csv").string();
        m_json = (m_folder / "records.json").string();
        std::ofstream csv(m_csv, std::ios::binary), json(m_json, std::ios::binary);
        for (auto const* name : c_names)
            csv << name << (name == c_names[c_columns - 1] ? '\n' : ',');
        json << "[\n";
        for (std::uint32_t row = 0; row != c_rows; ++row) {
            auto const first = makeWord(6), last = makeWord(8);
            std::string const fields[c_columns] = {
                std::to_string(100'000 + row),
                first,
                last,
                first + "." + last + "@a.org",
                row % 3 == 0 ? "Z\u00fcrich" : "Copenhagen",
                std::to_string(10'000 + random() % 89'999),
                std::to_string(random() % 10'000) + "." + std::to_string(10 + random() % 90),
                std::to_string(static_cast<int>(random() % 1100) - 100),
                "19" + std::to_string(50 + row % 50) + "-0" + std::to_string(1 + row % 9) + "-17",
                row % 2 == 0 ? "yes" : "no",
                row % 17 == 0 ? "says \"hello\", then leaves" : "words that fill a remark",
                std::to_string(random() % 5000) + ".jpg"};
            json << (row == 0 ? "{" : ",\n{");
            for (std::uint32_t column = 0; column != c_columns; ++column) {
                auto quoted = fields[column];
                bool const isQuoted = column == 10 && row % 17 == 0;
                for (auto at = quoted.find('"'); at != std::string::npos; at = quoted.find('"', at + 2))
                    quoted.insert(at, 1, '"');
                csv << (isQuoted ? "\"" + quoted + "\"" : quoted) << (column + 1 == c_columns ? '\n' : ',');
                auto escaped = fields[column];
                for (auto at = escaped.find('"'); at != std::string::npos; at = escaped.find('"', at + 2))
                    escaped.insert(at, 1, '\\');
                bool const isNumber = column == 0 || (column >= 5 && column <= 7);
                json << (column == 0 ? "\"" : ",\"") << c_names[column] << (isNumber ? "\":" : "\":\"") << escaped
                     << (isNumber ? "" : "\"");
            }
            json << '}';
        }
        json << "\n]\n";
    }

    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("bench-records-" + std::to_string(getpid()));
    std::string m_csv, m_json;
};

Files& GetFiles() {
    static Files s_files;
    return s_files;
}

void Read(benchmark::State& state, std::string const& path) {
    for (auto _ : state) {
        auto const result = Records::ReadTable(path, {}, nullptr);
        if (result.table->GetRowCount() != c_rows || result.table->GetColumnCount() != c_columns)
            state.SkipWithError("another table than was written");
    }
    state.counters["MB"] = static_cast<double>(std::filesystem::file_size(path)) / 1e6;
    state.counters["peakMiB"] = MeasurePeak(path);
}

void ReadCsv(benchmark::State& state) { Read(state, GetFiles().GetCsv()); }
void ReadJson(benchmark::State& state) { Read(state, GetFiles().GetJson()); }

std::string LoadCsv() {
    std::ifstream file(GetFiles().GetCsv(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Calls for every field, quotation marks taken off its ends, and for every end of a record.
template <class Field, class End>
void ForFields(std::string const& text, Field const& takeField, End const& endRecord) {
    std::size_t begin = 0;
    bool isQuoted = false;
    for (std::size_t i = 0; i != text.size(); ++i) {
        auto const c = text[i];
        if (c == '"')
            isQuoted = !isQuoted;
        if (isQuoted || (c != ',' && c != '\n'))
            continue;
        takeField(begin, i);
        begin = i + 1;
        if (c == '\n')
            endRecord();
    }
}

void Floor(benchmark::State& state) {
    GetFiles().GetCsv();
    for (auto _ : state) {
        std::string text(std::filesystem::file_size(GetFiles().GetCsv()), '\0');
        std::ifstream(GetFiles().GetCsv(), std::ios::binary)
            .read(text.data(), static_cast<std::streamsize>(text.size()));
        std::vector<std::uint32_t> ends;
        ForFields(
            text, [&](std::size_t, std::size_t end) { ends.push_back(static_cast<std::uint32_t>(end)); }, [] {});
        benchmark::DoNotOptimize(ends);
    }
}

// The time for finding the fields is in it, as it is in the program's own import.
void Sqlite(benchmark::State& state) {
    auto const text = LoadCsv();
    for (auto _ : state) {
        sqlite3* database = nullptr;
        sqlite3_open(":memory:", &database);
        std::string create = "CREATE TABLE records(", insert = "INSERT INTO records VALUES(";
        for (std::uint32_t column = 0; column != c_columns; ++column) {
            create += std::string(column == 0 ? "" : ",") + c_names[column] + " TEXT";
            insert += column == 0 ? "?" : ",?";
        }
        sqlite3_exec(database, (create + "); BEGIN").c_str(), nullptr, nullptr, nullptr);
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database, (insert + ")").c_str(), -1, &statement, nullptr);
        int column = 0;
        ForFields(
            text,
            [&](std::size_t begin, std::size_t end) {
                bool const isQuoted = text[begin] == '"';
                sqlite3_bind_text(statement, ++column, text.data() + begin + isQuoted,
                                  static_cast<int>(end - begin - 2 * isQuoted), SQLITE_STATIC);
            },
            [&] {
                sqlite3_step(statement);
                sqlite3_reset(statement);
                column = 0;
            });
        sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
        if (sqlite3_changes(database) != 1)
            state.SkipWithError("nothing was inserted");
        sqlite3_finalize(statement);
        sqlite3_close(database);
    }
}

void Miller(benchmark::State& state) {
    if (std::system("command -v mlr > /dev/null") != 0)
        return state.SkipWithError("Miller is not installed");
    auto const command = "mlr --icsv --ojson count '" + GetFiles().GetCsv() + "' > /dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("Miller failed");
    }
}

// Of a table that was just read.
void FirstUse(benchmark::State& state, std::size_t column, bool isDictionary) {
    for (auto _ : state) {
        state.PauseTiming();
        auto const table = Records::ReadTable(GetFiles().GetCsv(), {}, nullptr).table;
        state.ResumeTiming();
        if (isDictionary)
            benchmark::DoNotOptimize(table->GetDictionary(column));
        else
            benchmark::DoNotOptimize(table->GetNumbers(column));
    }
}
void Numbers(benchmark::State& state) { FirstUse(state, 6, false); }
void Dates(benchmark::State& state) { FirstUse(state, 8, false); }
void FewTexts(benchmark::State& state) { FirstUse(state, 4, true); }
void DistinctTexts(benchmark::State& state) { FirstUse(state, 3, true); }

BENCHMARK(ReadCsv)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Floor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Sqlite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Miller)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ReadJson)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Numbers)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Dates)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FewTexts)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DistinctTexts)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int count, char** arguments) {
    if (count == 3 && std::strcmp(arguments[1], "--peak") == 0) {
        auto const before = GetPeak();
        auto const result = Records::ReadTable(arguments[2], {}, nullptr);
        std::printf("%f\n", GetPeak() - before);
        return 0;
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
